/* quvclr: ICC profiles in memory. An IccProfile holds the decoded header, the
 * tag table, the tag values as file bytes and the complete file image; the
 * calls here create and release it, edit its header, turn files and memory
 * images into it and back, and convert the ICC fixed-point numbers. */
#ifndef QUVCLR_PROFILE_H
#define QUVCLR_PROFILE_H

#include "common.h"
#include "status.h"

/* A four-character ICC signature as a number, first character in the high byte. */
#define QUV_ICC_SIG(a, b, c, d)                                                          \
    (((uint32_t)(uint8_t)(a) << 24) | ((uint32_t)(uint8_t)(b) << 16) | ((uint32_t)(uint8_t)(c) << 8) | \
     (uint32_t)(uint8_t)(d))

#define ICC_PROFILE_STRUCT_SIZE 56u
#define ICC_HEADER_BYTES 128u
#define ICC_PROFILE_VERSION 0x04200000u
#define ICC_MAGIC 0x61637370u /* "acsp" */

#pragma pack(push, 1)

/* Year, month, day, hours, minutes, seconds. */
typedef struct IccDateTimeNumber {
    uint16_t year;
    uint16_t month;
    uint16_t day;
    uint16_t hours;
    uint16_t minutes;
    uint16_t seconds;
} IccDateTimeNumber;

/* The 128 header bytes of an ICC file in the file's field order, numbers in
 * host byte order; profileId and reserved are raw bytes. */
typedef struct IccHeader {
    uint32_t size;            /* profile size in bytes */
    uint32_t cmmType;         /* preferred CMM */
    uint32_t version;         /* 0x04200000 for 4.2.0.0 */
    uint32_t deviceClass;     /* "scnr", "mntr", "prtr", "link", "spac", "abst", "nmcl" */
    uint32_t colorSpace;      /* data colour space */
    uint32_t connectionSpace; /* profile connection space */
    IccDateTimeNumber dateTime;
    uint32_t signature;       /* "acsp" */
    uint32_t primaryPlatform; /* 0, "APPL", "MSFT", "SGI ", "SUNW" */
    uint32_t flags;
    uint32_t manufacturer;
    uint32_t model;
    uint64_t attributes;
    uint32_t renderingIntent; /* 0 to 3 */
    int32_t illuminantX;      /* s15Fixed16 */
    int32_t illuminantY;
    int32_t illuminantZ;
    uint32_t creator;
    uint8_t profileId[16];
    uint8_t reserved[28];
} IccHeader;

/* One row of the tag table, host byte order. `offset` counts from the first
 * byte of the file; `size` excludes padding. */
typedef struct IccTagEntry {
    uint32_t signature;
    uint32_t offset;
    uint32_t size;
} IccTagEntry;

/* A profile. The caller owns the record; the record owns every block it
 * points to. `tagData` and `image` hold big-endian file bytes. */
typedef struct IccProfile {
    uint32_t structSize;  /* 56 once Quv_InitICCProfile has run */
    uint64_t dataSize;    /* bytes in image */
    uint64_t tagDataSize; /* bytes in tagData, padding included */
    IccHeader* header;
    int32_t tagCount;
    IccTagEntry* tagTable;
    uint8_t* tagData; /* the tag values as they stand behind the table in a file */
    uint8_t* image;   /* a complete ICC file of dataSize bytes; release with the profile */
} IccProfile;

#pragma pack(pop)

QUV_STATIC_ASSERT(sizeof(IccDateTimeNumber) == 12, "IccDateTimeNumber size");
QUV_STATIC_ASSERT(offsetof(IccDateTimeNumber, month) == 2, "IccDateTimeNumber.month");
QUV_STATIC_ASSERT(offsetof(IccDateTimeNumber, day) == 4, "IccDateTimeNumber.day");
QUV_STATIC_ASSERT(offsetof(IccDateTimeNumber, hours) == 6, "IccDateTimeNumber.hours");
QUV_STATIC_ASSERT(offsetof(IccDateTimeNumber, minutes) == 8, "IccDateTimeNumber.minutes");
QUV_STATIC_ASSERT(offsetof(IccDateTimeNumber, seconds) == 10, "IccDateTimeNumber.seconds");

QUV_STATIC_ASSERT(sizeof(IccHeader) == 128, "IccHeader size");
QUV_STATIC_ASSERT(offsetof(IccHeader, cmmType) == 4, "IccHeader.cmmType");
QUV_STATIC_ASSERT(offsetof(IccHeader, version) == 8, "IccHeader.version");
QUV_STATIC_ASSERT(offsetof(IccHeader, deviceClass) == 12, "IccHeader.deviceClass");
QUV_STATIC_ASSERT(offsetof(IccHeader, colorSpace) == 16, "IccHeader.colorSpace");
QUV_STATIC_ASSERT(offsetof(IccHeader, connectionSpace) == 20, "IccHeader.connectionSpace");
QUV_STATIC_ASSERT(offsetof(IccHeader, dateTime) == 24, "IccHeader.dateTime");
QUV_STATIC_ASSERT(offsetof(IccHeader, signature) == 36, "IccHeader.signature");
QUV_STATIC_ASSERT(offsetof(IccHeader, primaryPlatform) == 40, "IccHeader.primaryPlatform");
QUV_STATIC_ASSERT(offsetof(IccHeader, flags) == 44, "IccHeader.flags");
QUV_STATIC_ASSERT(offsetof(IccHeader, manufacturer) == 48, "IccHeader.manufacturer");
QUV_STATIC_ASSERT(offsetof(IccHeader, model) == 52, "IccHeader.model");
QUV_STATIC_ASSERT(offsetof(IccHeader, attributes) == 56, "IccHeader.attributes");
QUV_STATIC_ASSERT(offsetof(IccHeader, renderingIntent) == 64, "IccHeader.renderingIntent");
QUV_STATIC_ASSERT(offsetof(IccHeader, illuminantX) == 68, "IccHeader.illuminantX");
QUV_STATIC_ASSERT(offsetof(IccHeader, illuminantY) == 72, "IccHeader.illuminantY");
QUV_STATIC_ASSERT(offsetof(IccHeader, illuminantZ) == 76, "IccHeader.illuminantZ");
QUV_STATIC_ASSERT(offsetof(IccHeader, creator) == 80, "IccHeader.creator");
QUV_STATIC_ASSERT(offsetof(IccHeader, profileId) == 84, "IccHeader.profileId");
QUV_STATIC_ASSERT(offsetof(IccHeader, reserved) == 100, "IccHeader.reserved");

QUV_STATIC_ASSERT(sizeof(IccTagEntry) == 12, "IccTagEntry size");
QUV_STATIC_ASSERT(offsetof(IccTagEntry, offset) == 4, "IccTagEntry.offset");
QUV_STATIC_ASSERT(offsetof(IccTagEntry, size) == 8, "IccTagEntry.size");

QUV_STATIC_ASSERT(sizeof(IccProfile) == 56, "IccProfile size");
QUV_STATIC_ASSERT(offsetof(IccProfile, dataSize) == 4, "IccProfile.dataSize");
QUV_STATIC_ASSERT(offsetof(IccProfile, tagDataSize) == 12, "IccProfile.tagDataSize");
QUV_STATIC_ASSERT(offsetof(IccProfile, header) == 20, "IccProfile.header");
QUV_STATIC_ASSERT(offsetof(IccProfile, tagCount) == 28, "IccProfile.tagCount");
QUV_STATIC_ASSERT(offsetof(IccProfile, tagTable) == 32, "IccProfile.tagTable");
QUV_STATIC_ASSERT(offsetof(IccProfile, tagData) == 40, "IccProfile.tagData");
QUV_STATIC_ASSERT(offsetof(IccProfile, image) == 48, "IccProfile.image");

QUV_EXTERN_C_BEGIN

/* Lifetime. Init zeroes the first structSize bytes (at most 56) and sets
 * structSize to 56; Free releases every block and nulls the pointers. */
QUV_API ClrStatus Quv_InitICCProfile(IccProfile* profile, uint64_t structSize);
QUV_API void Quv_FreeICCProfile(IccProfile* profile);
QUV_API void Quv_ClrIntFreeTagList(IccProfile* profile);
QUV_API void Quv_ClrIntFreeICCData(IccProfile* profile);

/* Big-endian numbers of 1 to 8 bytes. GetBytes accumulates in 32 bits, so of
 * a longer number only the last four bytes remain; SetBytes writes all 64. */
QUV_API uint32_t Quv_ClrIntIccGetBytes(const uint8_t* bytes, int32_t count);
QUV_API ClrStatus Quv_ClrIntIccSetBytes(uint8_t* bytes, uint64_t value, int32_t count);

/* Header. Each setter refuses values off its list with CLR_INVALID_PARAMETER
 * and rebuilds the file image after storing. */
QUV_API ClrStatus Quv_InitICCHeader(IccProfile* profile);
QUV_API ClrStatus Quv_SetICCProfileId(IccProfile* profile);
QUV_API ClrStatus Quv_SetICCCMMType(IccProfile* profile, uint32_t cmmType);
QUV_API ClrStatus Quv_SetICCDeviceClass(IccProfile* profile, uint32_t deviceClass);
QUV_API ClrStatus Quv_SetICCColorSpace(IccProfile* profile, uint32_t colorSpace);
QUV_API ClrStatus Quv_SetICCConnectionSpace(IccProfile* profile, uint32_t connectionSpace);
QUV_API ClrStatus Quv_SetICCPrimaryPlatform(IccProfile* profile, int32_t platform);
QUV_API ClrStatus Quv_SetICCFlags(IccProfile* profile, int32_t flags);
QUV_API ClrStatus Quv_SetICCDevManufacturer(IccProfile* profile, uint32_t manufacturer);
QUV_API ClrStatus Quv_SetICCDevModel(IccProfile* profile, uint32_t model);
QUV_API ClrStatus Quv_SetICCDeviceAttributes(IccProfile* profile, int32_t attributes);
QUV_API ClrStatus Quv_SetICCRenderingIntent(IccProfile* profile, uint32_t intent);
QUV_API ClrStatus Quv_SetICCCreator(IccProfile* profile, uint32_t creator);
QUV_API ClrStatus Quv_SetICCDateTime(IccProfile* profile, const IccDateTimeNumber* dateTime);

/* File images. Fill parses a memory image (which may be profile->image itself)
 * and trusts it; FromICCFile checks the file's header first. GenerateICCPointer
 * builds image from the record; GenerateICCFile writes image to a file. The
 * A forms take UTF-8 names. */
QUV_API ClrStatus Quv_FillICCProfileStructure(IccProfile* profile, uint8_t* buffer, uint64_t size);
QUV_API ClrStatus Quv_FillICCProfileFromICCFile(const ClrWChar* fileName, IccProfile* profile);
QUV_API ClrStatus Quv_FillICCProfileFromICCFileA(const char* fileName, IccProfile* profile);
QUV_API ClrStatus Quv_GenerateICCPointer(IccProfile* profile);
QUV_API ClrStatus Quv_GenerateICCFile(IccProfile* profile, const ClrWChar* fileName);
QUV_API ClrStatus Quv_GenerateICCFileA(IccProfile* profile, const char* fileName);
/* The type signature of the first tag `tagSignature`, 0 when there is none. */
QUV_API uint32_t Quv_GetICCTagTypeSig(IccProfile* profile, uint32_t tagSignature);

/* Fixed-point numbers, built and read one hexadecimal digit at a time:
 * s15Fixed16 (2bFixed2b) and u8Fixed8, the latter in the low 16 bits. */
QUV_API uint32_t Quv_DoubleTo2bFixed2bNumber(double value);
QUV_API double Quv_2bFixed2bNumberToDouble(uint32_t number);
QUV_API uint32_t Quv_DoubleToU8Fixed8Number(double value);
QUV_API double Quv_U8Fixed8NumberToDouble(uint16_t number);

QUV_EXTERN_C_END

#endif
