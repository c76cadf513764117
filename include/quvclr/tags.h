/* quvclr: ICC tag records and the tag calls. A record begins with IccTagHead
 * and comes in two byte orders: a host-order record holds native numbers (Get
 * fills one; Set and Create take one), a wire-order record holds the file's
 * big-endian bytes in every multi-byte field and array (Create gives one). The
 * two are told apart by head.signature: equal to the type's number means host
 * order. Records are byte-packed, so a pointer may stand at an odd offset. */
#ifndef QUVCLR_TAGS_H
#define QUVCLR_TAGS_H

#include "common.h"
#include "profile.h"
#include "status.h"

/* Type signatures with a codec in this library. Any other type travels as an
 * IccUnknownType, with a warning status. */
#define ICC_TYPE_TEXT 0x74657874u    /* "text" */
#define ICC_TYPE_DATA 0x64617461u    /* "data" */
#define ICC_TYPE_SIG 0x73696720u     /* "sig " */
#define ICC_TYPE_UINT8 0x75693038u   /* "ui08" */
#define ICC_TYPE_UINT16 0x75693136u  /* "ui16" */
#define ICC_TYPE_UINT32 0x75693332u  /* "ui32" */
#define ICC_TYPE_UINT64 0x75693634u  /* "ui64" */
#define ICC_TYPE_U16F16 0x75663332u  /* "uf32" */
#define ICC_TYPE_S15F16 0x73663332u  /* "sf32" */
#define ICC_TYPE_XYZ 0x58595a20u     /* "XYZ " */
/* Localized text, response curves, profile sequences, colour lists and the
 * small fixed types. */
#define ICC_TYPE_MLUC 0x6d6c7563u /* "mluc" */
#define ICC_TYPE_RCS2 0x72637332u /* "rcs2" */
#define ICC_TYPE_PSEQ 0x70736571u /* "pseq" */
#define ICC_TYPE_NCL2 0x6e636c32u /* "ncl2" */
#define ICC_TYPE_CLRT 0x636c7274u /* "clrt" */
#define ICC_TYPE_CLRO 0x636c726fu /* "clro" */
#define ICC_TYPE_MEAS 0x6d656173u /* "meas" */
#define ICC_TYPE_VIEW 0x76696577u /* "view" */
#define ICC_TYPE_CHRM 0x6368726du /* "chrm" */
#define ICC_TYPE_DTIM 0x6474696du /* "dtim" */
/* Curves and lookup tables. */
#define ICC_TYPE_CURVE 0x63757276u           /* "curv" */
#define ICC_TYPE_PARAMETRIC_CURVE 0x70617261u /* "para" */
#define ICC_TYPE_LUT8 0x6d667431u            /* "mft1" */
#define ICC_TYPE_LUT16 0x6d667432u           /* "mft2" */
#define ICC_TYPE_LUT_A_TO_B 0x6d414220u      /* "mAB " */
#define ICC_TYPE_LUT_B_TO_A 0x6d424120u      /* "mBA " */

#pragma pack(push, 1)

typedef struct IccTagHead {
    uint32_t signature; /* the type signature */
    uint32_t reserved;
} IccTagHead;

/* "text": the characters as the tag holds them; no length field. Set and
 * Create read a caller's text up to its first zero 16-bit unit (two zero bytes
 * at an even offset), which the caller's block must hold; a text from Get has
 * such zeros behind its bytes. */
typedef struct IccTextType {
    IccTagHead head;
    char* text;
} IccTextType;

/* "data": flag 0 for ASCII, 1 for binary. In a wire-order record `size` stays
 * a native number. */
typedef struct IccDataType {
    IccTagHead head;
    uint32_t flag;
    uint8_t* bytes;
    uint32_t size;
} IccDataType;

/* "sig ": one signature. */
typedef struct IccSignatureType {
    IccTagHead head;
    uint32_t value;
} IccSignatureType;

/* The number arrays: `count` elements, always a native number. The fixed-point
 * arrays hold the encoded numbers. */
typedef struct IccUInt8ArrayType {
    IccTagHead head;
    uint8_t* values;
    uint32_t count;
} IccUInt8ArrayType;

typedef struct IccUInt16ArrayType {
    IccTagHead head;
    uint16_t* values;
    uint32_t count;
} IccUInt16ArrayType;

typedef struct IccUInt32ArrayType {
    IccTagHead head;
    uint32_t* values;
    uint32_t count;
} IccUInt32ArrayType;

typedef struct IccUInt64ArrayType {
    IccTagHead head;
    uint64_t* values;
    uint32_t count;
} IccUInt64ArrayType;

typedef struct IccU16Fixed16ArrayType {
    IccTagHead head;
    uint32_t* values;
    uint32_t count;
} IccU16Fixed16ArrayType;

typedef struct IccS15Fixed16ArrayType {
    IccTagHead head;
    uint32_t* values;
    uint32_t count;
} IccS15Fixed16ArrayType;

/* Three s15Fixed16 numbers. */
typedef struct IccXYZNumber {
    uint32_t x;
    uint32_t y;
    uint32_t z;
} IccXYZNumber;

typedef struct IccXYZType {
    IccTagHead head;
    IccXYZNumber* values;
    uint32_t count;
} IccXYZType;

/* Any type without a codec: the bytes behind the type signature and reserved
 * word. */
typedef struct IccUnknownType {
    IccTagHead head;
    uint8_t* bytes;
    uint32_t size;
} IccUnknownType;

/* ---- localized text, response curves, profile sequences, colour lists,
 * measurement, viewing conditions, chromaticity, date ---- */

/* One language of an "mluc": `offset` counts from the tag's first byte and is
 * kept as the file or caller gives it; in a host-order record the strings
 * stand one after the other, each `length` bytes. */
typedef struct IccMlucEntry {
    uint16_t language;
    uint16_t country;
    uint32_t length;
    uint32_t offset;
} IccMlucEntry;

/* "mluc": `count` entries walked at 12 bytes whatever `recordSize` says;
 * `strings` holds 16-bit units. */
typedef struct IccMultiLocalizedUnicodeType {
    IccTagHead head;
    uint32_t count;
    uint32_t recordSize;
    IccMlucEntry* records;
    uint16_t* strings;
} IccMultiLocalizedUnicodeType;

/* One point of a response curve: device code and s15Fixed16 measurement. */
typedef struct IccResponsePoint {
    uint16_t device;
    uint16_t reserved;
    uint32_t measurement;
} IccResponsePoint;

/* One measurement type of an "rcs2": per channel a patch count, an XYZ triple
 * (three s15Fixed16) and a curve of as many points as the set has measures. */
typedef struct IccResponseCurve {
    uint32_t measureType;
    uint32_t* patchCounts;
    uint32_t* xyz;
    IccResponsePoint** points;
} IccResponseCurve;

/* "rcs2": `channels` c, `measureCount` k, k offsets and k measures. */
typedef struct IccResponseCurveSet16Type {
    IccTagHead head;
    uint16_t channels;
    uint16_t measureCount;
    uint32_t* offsets;
    IccResponseCurve* measures;
} IccResponseCurveSet16Type;

/* One profile of a "pseq"; the two texts are "mluc" records. */
typedef struct IccProfileSequenceEntry {
    uint32_t manufacturer;
    uint32_t model;
    uint64_t attributes;
    uint32_t technology;
    IccMultiLocalizedUnicodeType manufacturerText;
    IccMultiLocalizedUnicodeType modelText;
} IccProfileSequenceEntry;

typedef struct IccProfileSequenceDescType {
    IccTagHead head;
    uint32_t count;
    IccProfileSequenceEntry* entries;
} IccProfileSequenceDescType;

/* One colour of an "ncl2": root name, PCS value, `coordinates` device values. */
typedef struct IccNamedColorEntry {
    uint8_t name[32];
    uint16_t pcs[3];
    uint16_t* device;
} IccNamedColorEntry;

/* "ncl2". Names, prefix and suffix are the file's bytes in either order; its
 * encoder keeps only the high half of `vendorFlag`. */
typedef struct IccNamedColor2Type {
    IccTagHead head;
    uint32_t vendorFlag;
    uint32_t count;
    uint32_t coordinates;
    uint8_t prefix[32];
    uint8_t suffix[32];
    IccNamedColorEntry* entries;
} IccNamedColor2Type;

typedef struct IccColorantEntry {
    uint8_t name[32];
    uint16_t pcs[3];
} IccColorantEntry;

/* "clrt": `count` colorants. */
typedef struct IccColorantTableType {
    IccTagHead head;
    uint32_t count;
    IccColorantEntry* entries;
} IccColorantTableType;

/* "clro": `count` bytes of colorant order. */
typedef struct IccColorantOrderType {
    IccTagHead head;
    uint32_t count;
    uint8_t* order;
} IccColorantOrderType;

/* "meas": observer 0 to 2, backing XYZ, geometry 0 to 2, flare 0 or 0x10000,
 * illuminant 0 to 8. */
typedef struct IccMeasurementType {
    IccTagHead head;
    uint32_t observer;
    IccXYZNumber backing;
    uint32_t geometry;
    uint32_t flare;
    uint32_t illuminant;
} IccMeasurementType;

/* "view": illuminant and surround XYZ, illuminant type 0 to 8. */
typedef struct IccViewingConditionsType {
    IccTagHead head;
    IccXYZNumber illuminant;
    IccXYZNumber surround;
    uint32_t illuminantType;
} IccViewingConditionsType;

/* "chrm": `channels` pairs of u16Fixed16 x, y. `colorant` 1 to 4 names a
 * standard set of primaries that replaces the values on encoding; the file
 * holds 16 bits of it. */
typedef struct IccChromaticityType {
    IccTagHead head;
    uint16_t channels;
    uint32_t colorant;
    uint32_t* values;
} IccChromaticityType;

/* "dtim". */
typedef struct IccDateTimeType {
    IccTagHead head;
    IccDateTimeNumber dateTime;
} IccDateTimeType;
/* ---- curves and lookup tables ---- */

/* "curv": `count` points as stored; count 0 and 1 get no special reading. */
typedef struct IccCurveType {
    IccTagHead head;
    uint32_t count;
    uint16_t* points;
} IccCurveType;

/* "para": `function` 0 to 4 and its 1, 3, 4, 5 or 7 s15Fixed16 parameters. */
typedef struct IccParametricCurveType {
    IccTagHead head;
    uint16_t function;
    uint16_t reserved2;
    uint32_t* parameters;
} IccParametricCurveType;

/* A CLUT block: grid points per input channel (the first `in` count),
 * precision 1 (8-bit values) or 2 (16-bit values), three padding bytes, then
 * `out` values per node. */
typedef struct IccClut {
    uint8_t grid[16];
    uint8_t precision;
    uint8_t pad[3];
    uint8_t* data;
} IccClut;

/* "mft2" (16-bit elements) and "mft1" (8-bit elements): i inputs, o outputs,
 * g grid points, a 3x3 s15Fixed16 matrix, n entries per input table and m per
 * output table. The CLUT holds trunc(g^i) * o elements. In "mft1" the two
 * entry counts are native numbers in either order. */
typedef struct IccLut16Type {
    IccTagHead head;
    uint8_t inputChannels;
    uint8_t outputChannels;
    uint8_t gridPoints;
    uint8_t pad;
    uint32_t matrix[9];
    uint16_t inputEntries;
    uint16_t outputEntries;
    uint16_t* inputTables;
    uint16_t* clut;
    uint16_t* outputTables;
} IccLut16Type;

typedef struct IccLut8Type {
    IccTagHead head;
    uint8_t inputChannels;
    uint8_t outputChannels;
    uint8_t gridPoints;
    uint8_t pad;
    uint32_t matrix[9];
    uint16_t inputEntries;
    uint16_t outputEntries;
    uint8_t* inputTables;
    uint8_t* clut;
    uint8_t* outputTables;
} IccLut8Type;

/* "mAB " and "mBA ". After a read, `block` holds every stage in reading order
 * (curve elements as 12-byte heads and data in host order), the curve
 * pointers copies of their runs of it, and `clut` a flat CLUT block. As input
 * to Set and Create the curve pointers each point to an array of
 * IccCurveType / IccParametricCurveType records, `clut` to an IccClut and
 * `matrix` holds native numbers; the offsets and `block` are not read. An
 * encoding swaps that `matrix` and the CLUT's 16-bit values to file order in
 * place: the input record comes back changed. */
typedef struct IccLutAToBType {
    IccTagHead head;
    uint8_t inputChannels;
    uint8_t outputChannels;
    uint16_t pad;
    uint32_t offsetB;
    uint32_t offsetMatrix;
    uint32_t offsetM;
    uint32_t offsetClut;
    uint32_t offsetA;
    uint8_t* block;
    void* curvesB;
    void* curvesM;
    void* curvesA;
    void* clut;
    uint32_t matrix[12];
} IccLutAToBType;
typedef IccLutAToBType IccLutBToAType;

/* The caller's view of one tag. */
typedef union IccTagRecord {
    IccTagHead head;
    IccTextType text;
    IccDataType data;
    IccSignatureType sig;
    IccUInt8ArrayType uint8Array;
    IccUInt16ArrayType uint16Array;
    IccUInt32ArrayType uint32Array;
    IccUInt64ArrayType uint64Array;
    IccU16Fixed16ArrayType u16Fixed16Array;
    IccS15Fixed16ArrayType s15Fixed16Array;
    IccXYZType xyz;
    IccUnknownType unknown;
    IccMultiLocalizedUnicodeType mluc;
    IccResponseCurveSet16Type responseCurveSet;
    IccProfileSequenceDescType profileSequence;
    IccNamedColor2Type namedColor2;
    IccColorantTableType colorantTable;
    IccColorantOrderType colorantOrder;
    IccMeasurementType measurement;
    IccViewingConditionsType viewingConditions;
    IccChromaticityType chromaticity;
    IccDateTimeType dateTime;
    IccCurveType curve;
    IccParametricCurveType parametricCurve;
    IccLut8Type lut8;
    IccLut16Type lut16;
    IccLutAToBType lutAToB;
    IccLutBToAType lutBToA;
} IccTagRecord;

#pragma pack(pop)

QUV_STATIC_ASSERT(sizeof(IccTagHead) == 8, "IccTagHead size");
QUV_STATIC_ASSERT(offsetof(IccTagHead, reserved) == 4, "IccTagHead.reserved");
QUV_STATIC_ASSERT(sizeof(IccTextType) == 16, "IccTextType size");
QUV_STATIC_ASSERT(offsetof(IccTextType, text) == 8, "IccTextType.text");
QUV_STATIC_ASSERT(sizeof(IccDataType) == 24, "IccDataType size");
QUV_STATIC_ASSERT(offsetof(IccDataType, flag) == 8, "IccDataType.flag");
QUV_STATIC_ASSERT(offsetof(IccDataType, bytes) == 12, "IccDataType.bytes");
QUV_STATIC_ASSERT(offsetof(IccDataType, size) == 20, "IccDataType.size");
QUV_STATIC_ASSERT(sizeof(IccSignatureType) == 12, "IccSignatureType size");
QUV_STATIC_ASSERT(offsetof(IccSignatureType, value) == 8, "IccSignatureType.value");
QUV_STATIC_ASSERT(sizeof(IccUInt8ArrayType) == 20, "IccUInt8ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccUInt8ArrayType, values) == 8, "IccUInt8ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccUInt8ArrayType, count) == 16, "IccUInt8ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccUInt16ArrayType) == 20, "IccUInt16ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccUInt16ArrayType, values) == 8, "IccUInt16ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccUInt16ArrayType, count) == 16, "IccUInt16ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccUInt32ArrayType) == 20, "IccUInt32ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccUInt32ArrayType, values) == 8, "IccUInt32ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccUInt32ArrayType, count) == 16, "IccUInt32ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccUInt64ArrayType) == 20, "IccUInt64ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccUInt64ArrayType, values) == 8, "IccUInt64ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccUInt64ArrayType, count) == 16, "IccUInt64ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccU16Fixed16ArrayType) == 20, "IccU16Fixed16ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccU16Fixed16ArrayType, values) == 8, "IccU16Fixed16ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccU16Fixed16ArrayType, count) == 16, "IccU16Fixed16ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccS15Fixed16ArrayType) == 20, "IccS15Fixed16ArrayType size");
QUV_STATIC_ASSERT(offsetof(IccS15Fixed16ArrayType, values) == 8, "IccS15Fixed16ArrayType.values");
QUV_STATIC_ASSERT(offsetof(IccS15Fixed16ArrayType, count) == 16, "IccS15Fixed16ArrayType.count");
QUV_STATIC_ASSERT(sizeof(IccXYZNumber) == 12, "IccXYZNumber size");
QUV_STATIC_ASSERT(offsetof(IccXYZNumber, y) == 4, "IccXYZNumber.y");
QUV_STATIC_ASSERT(offsetof(IccXYZNumber, z) == 8, "IccXYZNumber.z");
QUV_STATIC_ASSERT(sizeof(IccXYZType) == 20, "IccXYZType size");
QUV_STATIC_ASSERT(offsetof(IccXYZType, values) == 8, "IccXYZType.values");
QUV_STATIC_ASSERT(offsetof(IccXYZType, count) == 16, "IccXYZType.count");
QUV_STATIC_ASSERT(sizeof(IccUnknownType) == 20, "IccUnknownType size");
QUV_STATIC_ASSERT(offsetof(IccUnknownType, bytes) == 8, "IccUnknownType.bytes");
QUV_STATIC_ASSERT(offsetof(IccUnknownType, size) == 16, "IccUnknownType.size");
QUV_STATIC_ASSERT(sizeof(IccMlucEntry) == 12, "IccMlucEntry size");
QUV_STATIC_ASSERT(offsetof(IccMlucEntry, country) == 2, "IccMlucEntry.country");
QUV_STATIC_ASSERT(offsetof(IccMlucEntry, length) == 4, "IccMlucEntry.length");
QUV_STATIC_ASSERT(offsetof(IccMlucEntry, offset) == 8, "IccMlucEntry.offset");
QUV_STATIC_ASSERT(sizeof(IccMultiLocalizedUnicodeType) == 32, "IccMultiLocalizedUnicodeType size");
QUV_STATIC_ASSERT(offsetof(IccMultiLocalizedUnicodeType, count) == 8, "IccMultiLocalizedUnicodeType.count");
QUV_STATIC_ASSERT(offsetof(IccMultiLocalizedUnicodeType, recordSize) == 12, "IccMultiLocalizedUnicodeType.recordSize");
QUV_STATIC_ASSERT(offsetof(IccMultiLocalizedUnicodeType, records) == 16, "IccMultiLocalizedUnicodeType.records");
QUV_STATIC_ASSERT(offsetof(IccMultiLocalizedUnicodeType, strings) == 24, "IccMultiLocalizedUnicodeType.strings");
QUV_STATIC_ASSERT(sizeof(IccResponsePoint) == 8, "IccResponsePoint size");
QUV_STATIC_ASSERT(offsetof(IccResponsePoint, measurement) == 4, "IccResponsePoint.measurement");
QUV_STATIC_ASSERT(sizeof(IccResponseCurve) == 28, "IccResponseCurve size");
QUV_STATIC_ASSERT(offsetof(IccResponseCurve, patchCounts) == 4, "IccResponseCurve.patchCounts");
QUV_STATIC_ASSERT(offsetof(IccResponseCurve, xyz) == 12, "IccResponseCurve.xyz");
QUV_STATIC_ASSERT(offsetof(IccResponseCurve, points) == 20, "IccResponseCurve.points");
QUV_STATIC_ASSERT(sizeof(IccResponseCurveSet16Type) == 28, "IccResponseCurveSet16Type size");
QUV_STATIC_ASSERT(offsetof(IccResponseCurveSet16Type, measureCount) == 10, "IccResponseCurveSet16Type.measureCount");
QUV_STATIC_ASSERT(offsetof(IccResponseCurveSet16Type, offsets) == 12, "IccResponseCurveSet16Type.offsets");
QUV_STATIC_ASSERT(offsetof(IccResponseCurveSet16Type, measures) == 20, "IccResponseCurveSet16Type.measures");
QUV_STATIC_ASSERT(sizeof(IccProfileSequenceEntry) == 84, "IccProfileSequenceEntry size");
QUV_STATIC_ASSERT(offsetof(IccProfileSequenceEntry, attributes) == 8, "IccProfileSequenceEntry.attributes");
QUV_STATIC_ASSERT(offsetof(IccProfileSequenceEntry, technology) == 16, "IccProfileSequenceEntry.technology");
QUV_STATIC_ASSERT(offsetof(IccProfileSequenceEntry, manufacturerText) == 20,
                  "IccProfileSequenceEntry.manufacturerText");
QUV_STATIC_ASSERT(offsetof(IccProfileSequenceEntry, modelText) == 52, "IccProfileSequenceEntry.modelText");
QUV_STATIC_ASSERT(sizeof(IccProfileSequenceDescType) == 20, "IccProfileSequenceDescType size");
QUV_STATIC_ASSERT(offsetof(IccProfileSequenceDescType, entries) == 12, "IccProfileSequenceDescType.entries");
QUV_STATIC_ASSERT(sizeof(IccNamedColorEntry) == 46, "IccNamedColorEntry size");
QUV_STATIC_ASSERT(offsetof(IccNamedColorEntry, pcs) == 32, "IccNamedColorEntry.pcs");
QUV_STATIC_ASSERT(offsetof(IccNamedColorEntry, device) == 38, "IccNamedColorEntry.device");
QUV_STATIC_ASSERT(sizeof(IccNamedColor2Type) == 92, "IccNamedColor2Type size");
QUV_STATIC_ASSERT(offsetof(IccNamedColor2Type, count) == 12, "IccNamedColor2Type.count");
QUV_STATIC_ASSERT(offsetof(IccNamedColor2Type, coordinates) == 16, "IccNamedColor2Type.coordinates");
QUV_STATIC_ASSERT(offsetof(IccNamedColor2Type, prefix) == 20, "IccNamedColor2Type.prefix");
QUV_STATIC_ASSERT(offsetof(IccNamedColor2Type, suffix) == 52, "IccNamedColor2Type.suffix");
QUV_STATIC_ASSERT(offsetof(IccNamedColor2Type, entries) == 84, "IccNamedColor2Type.entries");
QUV_STATIC_ASSERT(sizeof(IccColorantEntry) == 38, "IccColorantEntry size");
QUV_STATIC_ASSERT(offsetof(IccColorantEntry, pcs) == 32, "IccColorantEntry.pcs");
QUV_STATIC_ASSERT(sizeof(IccColorantTableType) == 20, "IccColorantTableType size");
QUV_STATIC_ASSERT(offsetof(IccColorantTableType, entries) == 12, "IccColorantTableType.entries");
QUV_STATIC_ASSERT(sizeof(IccColorantOrderType) == 20, "IccColorantOrderType size");
QUV_STATIC_ASSERT(offsetof(IccColorantOrderType, order) == 12, "IccColorantOrderType.order");
QUV_STATIC_ASSERT(sizeof(IccMeasurementType) == 36, "IccMeasurementType size");
QUV_STATIC_ASSERT(offsetof(IccMeasurementType, backing) == 12, "IccMeasurementType.backing");
QUV_STATIC_ASSERT(offsetof(IccMeasurementType, geometry) == 24, "IccMeasurementType.geometry");
QUV_STATIC_ASSERT(offsetof(IccMeasurementType, flare) == 28, "IccMeasurementType.flare");
QUV_STATIC_ASSERT(offsetof(IccMeasurementType, illuminant) == 32, "IccMeasurementType.illuminant");
QUV_STATIC_ASSERT(sizeof(IccViewingConditionsType) == 36, "IccViewingConditionsType size");
QUV_STATIC_ASSERT(offsetof(IccViewingConditionsType, surround) == 20, "IccViewingConditionsType.surround");
QUV_STATIC_ASSERT(offsetof(IccViewingConditionsType, illuminantType) == 32, "IccViewingConditionsType.illuminantType");
QUV_STATIC_ASSERT(sizeof(IccChromaticityType) == 22, "IccChromaticityType size");
QUV_STATIC_ASSERT(offsetof(IccChromaticityType, colorant) == 10, "IccChromaticityType.colorant");
QUV_STATIC_ASSERT(offsetof(IccChromaticityType, values) == 14, "IccChromaticityType.values");
QUV_STATIC_ASSERT(sizeof(IccDateTimeType) == 20, "IccDateTimeType size");
QUV_STATIC_ASSERT(offsetof(IccDateTimeType, dateTime) == 8, "IccDateTimeType.dateTime");
QUV_STATIC_ASSERT(sizeof(IccCurveType) == 20, "IccCurveType size");
QUV_STATIC_ASSERT(offsetof(IccCurveType, count) == 8, "IccCurveType.count");
QUV_STATIC_ASSERT(offsetof(IccCurveType, points) == 12, "IccCurveType.points");
QUV_STATIC_ASSERT(sizeof(IccParametricCurveType) == 20, "IccParametricCurveType size");
QUV_STATIC_ASSERT(offsetof(IccParametricCurveType, function) == 8, "IccParametricCurveType.function");
QUV_STATIC_ASSERT(offsetof(IccParametricCurveType, reserved2) == 10, "IccParametricCurveType.reserved2");
QUV_STATIC_ASSERT(offsetof(IccParametricCurveType, parameters) == 12, "IccParametricCurveType.parameters");
QUV_STATIC_ASSERT(sizeof(IccClut) == 28, "IccClut size");
QUV_STATIC_ASSERT(offsetof(IccClut, precision) == 16, "IccClut.precision");
QUV_STATIC_ASSERT(offsetof(IccClut, data) == 20, "IccClut.data");
QUV_STATIC_ASSERT(sizeof(IccLut16Type) == 76, "IccLut16Type size");
QUV_STATIC_ASSERT(offsetof(IccLut16Type, matrix) == 12, "IccLut16Type.matrix");
QUV_STATIC_ASSERT(offsetof(IccLut16Type, inputEntries) == 48, "IccLut16Type.inputEntries");
QUV_STATIC_ASSERT(offsetof(IccLut16Type, inputTables) == 52, "IccLut16Type.inputTables");
QUV_STATIC_ASSERT(offsetof(IccLut16Type, clut) == 60, "IccLut16Type.clut");
QUV_STATIC_ASSERT(offsetof(IccLut16Type, outputTables) == 68, "IccLut16Type.outputTables");
QUV_STATIC_ASSERT(sizeof(IccLut8Type) == 76, "IccLut8Type size");
QUV_STATIC_ASSERT(offsetof(IccLut8Type, inputTables) == 52, "IccLut8Type.inputTables");
QUV_STATIC_ASSERT(offsetof(IccLut8Type, outputTables) == 68, "IccLut8Type.outputTables");
QUV_STATIC_ASSERT(sizeof(IccLutAToBType) == 120, "IccLutAToBType size");
QUV_STATIC_ASSERT(offsetof(IccLutAToBType, offsetB) == 12, "IccLutAToBType.offsetB");
QUV_STATIC_ASSERT(offsetof(IccLutAToBType, offsetA) == 28, "IccLutAToBType.offsetA");
QUV_STATIC_ASSERT(offsetof(IccLutAToBType, block) == 32, "IccLutAToBType.block");
QUV_STATIC_ASSERT(offsetof(IccLutAToBType, clut) == 64, "IccLutAToBType.clut");
QUV_STATIC_ASSERT(offsetof(IccLutAToBType, matrix) == 72, "IccLutAToBType.matrix");
QUV_STATIC_ASSERT(sizeof(IccTagRecord) == 120, "IccTagRecord size: the largest record");

QUV_EXTERN_C_BEGIN

/* Decodes the first tag `tagSig` into `record`, host order. The record's
 * blocks are the caller's; release them with Quv_FreeICCTagType. */
QUV_API ClrStatus Quv_GetICCTagData(IccProfile* profile, IccTagRecord* record, uint32_t tagSig);
/* Encodes the host-order `record` of type `typeSig` and puts it at the end of
 * the profile as tag `tagSig`, replacing a tag of that signature. */
QUV_API ClrStatus Quv_SetICCTagData(IccProfile* profile, const IccTagRecord* record, uint32_t tagSig,
                                    uint32_t typeSig);
/* Builds the wire-order `outRecord` from the host-order `inRecord`. */
QUV_API ClrStatus Quv_CreateICCTagData(IccTagRecord* outRecord, const IccTagRecord* inRecord, uint32_t typeSig);
/* Removes the tag; `record`, when given, first receives its content. */
QUV_API ClrStatus Quv_DeleteICCTag(IccProfile* profile, uint32_t tagSig, IccTagRecord* record);
/* Releases what the record points to and nulls those pointers. */
QUV_API void Quv_FreeICCTagType(IccTagRecord* record, uint32_t typeSig);

/* ---- curves: flat buffers hold a record's first 12 bytes, then its points
 * or parameters ---- */

/* Parameters of a "para" function: 1, 3, 4, 5, 7 for 0 to 4, else 0. */
QUV_API uint32_t Quv_GetParametricCurveNumberOfParameters(uint32_t function);
/* 1 when the buffer's first word is "para": read big-endian when `wire` is
 * 1, else native. */
QUV_API int32_t Quv_ClrIntIsParametricCurveType(const void* buffer, int32_t wire);
/* Bytes behind the first 8 of a "curv" of `count` points: 5 for one point
 * (one short), else 2 * count + 4. 0 for a null `curve`. */
QUV_API uint32_t Quv_ClrIntGetCurveTypeSize(const void* curve, uint32_t count);
/* Bytes behind the first 8 of a "para" record or buffer, by its native
 * function word: 8, 16, 20, 24, 32, else 4. 0 for a null `curve`. */
QUV_API uint32_t Quv_ClrIntGetParametricCurveTypeSize(const void* curve);
/* A record from a flat buffer of native numbers. */
QUV_API ClrStatus Quv_ClrIntGetCurveTypeLittleIndian(const void* buffer, IccCurveType* curve);
QUV_API ClrStatus Quv_ClrIntGetParametricCurveTypeLittleIndian(const void* buffer, IccParametricCurveType* curve);
QUV_API void Quv_ClrIntIccFreeCurveType(IccCurveType* curve);
QUV_API void Quv_ClrIntIccFreeParametricCurveType(IccParametricCurveType* curve);

/* ---- CLUT blocks and curve buffers ---- */

/* Size of a CLUT block, head included, rounded up to 4 bytes; `clut` is a
 * block or an IccClut (they agree in their first 17 bytes). */
QUV_API uint32_t Quv_ClrIntGetCLUTSize(const void* clut, int32_t in, uint32_t out);
/* The 20-byte head of `record`, then `size` bytes of its values. */
QUV_API ClrStatus Quv_ConvertCLUTToBuffer(void* buffer, const IccClut* record, uint32_t precision, uint64_t size);
/* A CLUT block `source` from a file into a native-order `buffer` and/or a
 * `record`; the record alone keeps 16-bit values in file byte order. */
QUV_API ClrStatus Quv_ClrIntGetCLUTBuffer(void* buffer, const void* source, int32_t in, uint32_t out,
                                          IccClut* record);
/* Releases `data`; the field is left as it stood. */
QUV_API void Quv_ClrIntFreeCLUT(IccClut* record);
/* A curve record into a flat buffer, numbers in the record's byte order. */
QUV_API ClrStatus Quv_ConvertCurveTypeToBuffer(void* buffer, const IccCurveType* curve);
QUV_API ClrStatus Quv_ConvertParametricCurveTypeToBuffer(void* buffer, const IccParametricCurveType* curve);
/* Bytes taken by `count` curve elements in a run, each rounded up to 4;
 * `fixedStride` nonzero steps 16 bytes from one element to the next. */
QUV_API uint32_t Quv_ClrIntGetLutCurveSize(const void* curves, uint32_t count, int32_t wire, int32_t fixedStride);

QUV_EXTERN_C_END

#endif
