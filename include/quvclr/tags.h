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
QUV_STATIC_ASSERT(sizeof(IccTagRecord) == 24, "IccTagRecord size: the largest record");

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

QUV_EXTERN_C_END

#endif
