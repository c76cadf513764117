/* quvclr: colour spaces, conversion methods, the conversion parameters and the
 * conversion handle. */
#ifndef QUVCLR_CONVERSION_H
#define QUVCLR_CONVERSION_H

#include "common.h"
#include "status.h"
#include "bitmap.h"

/* Colour spaces. The byte layout of each is fixed; RGB is the hub every
 * conversion passes through. */
typedef uint32_t ClrSpace;
enum ClrSpaceValue {
    ClrSpaceRgb = 0,     /* R, G, B */
    ClrSpaceYuv = 1,     /* Y, U, V, each scaled to 0..255 */
    ClrSpaceCmyk = 2,    /* C, M, Y, K */
    ClrSpaceHsv = 3,     /* H, S, V */
    ClrSpaceHls = 4,     /* H, L, S */
    ClrSpaceYiq = 5,     /* Y, I, Q, each scaled to 0..255 */
    ClrSpaceCmy = 6,     /* C, M, Y */
    ClrSpaceLab = 7,     /* L, a, b */
    ClrSpaceXyz = 8,     /* X, Y, Z */
    ClrSpaceYuy2 = 9,    /* packed 4:2:2, Y0 U Y1 V */
    ClrSpaceYvu9 = 10,   /* planar Y, V, U; one chroma sample per 4 x 4 block */
    ClrSpaceYcck = 11,   /* Y, Cb, Cr, K */
    ClrSpaceBgr = 12,    /* B, G, R */
    ClrSpaceY41p = 13,   /* packed 4:1:1, 12 bytes for 8 pixels */
    ClrSpaceUyvy = 14,   /* packed 4:2:2, U Y0 V Y1 */
    ClrSpaceYcbcr = 15,  /* Y unsigned; Cb, Cr signed around 0 */
    ClrSpaceHsi = 128,   /* I, H, S */
    ClrSpaceRgb444 = 144 /* 12-bit RGB in two bytes */
};

/* Conversion methods, as flags. */
typedef uint32_t ClrMethod;
enum ClrMethodFlag {
    CLR_METHOD_BUILTIN = 1,
    CLR_METHOD_ICC = 2,
    CLR_METHOD_CUSTOM_ICC = 4,
    CLR_METHOD_EMULATION = 8,
    CLR_METHOD_CUSTOM_EMULATION = 16,
    CLR_METHOD_AUTO = 32
};

#define CLR_PARAMS_SIZE 1652u
#define CLR_PARAMS_SIZE_NO_FLAGS 1648u
#define CLR_PATH_CHARS 264

/* Sub-records with their natural layout. */
typedef struct ClrCmykParams {
    uint32_t size; /* 12 */
    int32_t gcrLevel;
    uint32_t updateMask;
} ClrCmykParams;

typedef struct ClrYuvParams {
    uint32_t size; /* 48 */
    uint32_t updateMask;
    int32_t uHorizontal;
    int32_t uVertical;
    int32_t vHorizontal;
    int32_t vVertical;
    int32_t* layout;
    int32_t macroPixelSize;
    int32_t fullRange;
    int32_t planar;
    int32_t layoutLength;
} ClrYuvParams;

typedef struct ClrLabParams {
    uint32_t size; /* 32 */
    uint32_t updateMask;
    int32_t lOffset;
    int32_t lRange;
    int32_t aOffset;
    int32_t aRange;
    int32_t bOffset;
    int32_t bRange;
} ClrLabParams;

/* The records whose sizes need 4-byte packing: doubles and pointers stand
 * straight behind 32-bit words. */
#pragma pack(push, 4)

/* White point: code 0 is a custom xyY chromaticity, 50/55/65/75/93 the D illuminants. */
typedef struct ClrWhitePoint {
    uint32_t code;
    double x;
    double y;
} ClrWhitePoint;

/* A profile held in memory. */
typedef struct ClrProfileBlock {
    uint32_t size; /* 20 */
    const void* data;
    uint64_t length;
} ClrProfileBlock;

/* The caller's conversion parameters. Two sizes are accepted: 1652, and 1648
 * for the form without iccFlags. */
typedef struct ClrParams {
    uint32_t size;
    ClrMethod activeMethod;
    ClrWhitePoint* whitePoint;
    ClrWChar inputProfilePath[CLR_PATH_CHARS];
    ClrProfileBlock* inputProfileBlock;
    ClrWChar outputProfilePath[CLR_PATH_CHARS];
    ClrProfileBlock* outputProfileBlock;
    ClrWChar emulationTablePath[CLR_PATH_CHARS];
    ClrCmykParams* cmykParams;
    ClrYuvParams* yuvParams;
    ClrLabParams* labParams;
    uint32_t methodMask;
    uint32_t emulationKind;
    uint32_t iccFlags;
} ClrParams;

#pragma pack(pop)

QUV_STATIC_ASSERT(sizeof(ClrWhitePoint) == 20, "ClrWhitePoint size");
QUV_STATIC_ASSERT(offsetof(ClrWhitePoint, x) == 4, "ClrWhitePoint.x");
QUV_STATIC_ASSERT(offsetof(ClrWhitePoint, y) == 12, "ClrWhitePoint.y");

QUV_STATIC_ASSERT(sizeof(ClrProfileBlock) == 20, "ClrProfileBlock size");
QUV_STATIC_ASSERT(offsetof(ClrProfileBlock, data) == 4, "ClrProfileBlock.data");
QUV_STATIC_ASSERT(offsetof(ClrProfileBlock, length) == 12, "ClrProfileBlock.length");

QUV_STATIC_ASSERT(sizeof(ClrCmykParams) == 12, "ClrCmykParams size");
QUV_STATIC_ASSERT(offsetof(ClrCmykParams, gcrLevel) == 4, "ClrCmykParams.gcrLevel");
QUV_STATIC_ASSERT(offsetof(ClrCmykParams, updateMask) == 8, "ClrCmykParams.updateMask");

QUV_STATIC_ASSERT(sizeof(ClrYuvParams) == 48, "ClrYuvParams size");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, updateMask) == 4, "ClrYuvParams.updateMask");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, uHorizontal) == 8, "ClrYuvParams.uHorizontal");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, uVertical) == 12, "ClrYuvParams.uVertical");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, vHorizontal) == 16, "ClrYuvParams.vHorizontal");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, vVertical) == 20, "ClrYuvParams.vVertical");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, layout) == 24, "ClrYuvParams.layout");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, macroPixelSize) == 32, "ClrYuvParams.macroPixelSize");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, fullRange) == 36, "ClrYuvParams.fullRange");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, planar) == 40, "ClrYuvParams.planar");
QUV_STATIC_ASSERT(offsetof(ClrYuvParams, layoutLength) == 44, "ClrYuvParams.layoutLength");

QUV_STATIC_ASSERT(sizeof(ClrLabParams) == 32, "ClrLabParams size");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, updateMask) == 4, "ClrLabParams.updateMask");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, lOffset) == 8, "ClrLabParams.lOffset");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, lRange) == 12, "ClrLabParams.lRange");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, aOffset) == 16, "ClrLabParams.aOffset");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, aRange) == 20, "ClrLabParams.aRange");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, bOffset) == 24, "ClrLabParams.bOffset");
QUV_STATIC_ASSERT(offsetof(ClrLabParams, bRange) == 28, "ClrLabParams.bRange");

QUV_STATIC_ASSERT(sizeof(ClrParams) == 1652, "ClrParams size");
QUV_STATIC_ASSERT(offsetof(ClrParams, activeMethod) == 4, "ClrParams.activeMethod");
QUV_STATIC_ASSERT(offsetof(ClrParams, whitePoint) == 8, "ClrParams.whitePoint");
QUV_STATIC_ASSERT(offsetof(ClrParams, inputProfilePath) == 16, "ClrParams.inputProfilePath");
QUV_STATIC_ASSERT(offsetof(ClrParams, inputProfileBlock) == 544, "ClrParams.inputProfileBlock");
QUV_STATIC_ASSERT(offsetof(ClrParams, outputProfilePath) == 552, "ClrParams.outputProfilePath");
QUV_STATIC_ASSERT(offsetof(ClrParams, outputProfileBlock) == 1080, "ClrParams.outputProfileBlock");
QUV_STATIC_ASSERT(offsetof(ClrParams, emulationTablePath) == 1088, "ClrParams.emulationTablePath");
QUV_STATIC_ASSERT(offsetof(ClrParams, cmykParams) == 1616, "ClrParams.cmykParams");
QUV_STATIC_ASSERT(offsetof(ClrParams, yuvParams) == 1624, "ClrParams.yuvParams");
QUV_STATIC_ASSERT(offsetof(ClrParams, labParams) == 1632, "ClrParams.labParams");
QUV_STATIC_ASSERT(offsetof(ClrParams, methodMask) == 1640, "ClrParams.methodMask");
QUV_STATIC_ASSERT(offsetof(ClrParams, emulationKind) == 1644, "ClrParams.emulationKind");
QUV_STATIC_ASSERT(offsetof(ClrParams, iccFlags) == 1648, "ClrParams.iccFlags");

/* A conversion handle: opaque, made by Quv_ClrInit and released by Quv_ClrFree.
 * Its first 32-bit word is its identity, CLR_HANDLE_SIZE. */
typedef struct ClrHandle ClrHandle;
#define CLR_HANDLE_SIZE 1712u

QUV_EXTERN_C_BEGIN

/* Makes a handle converting from `source` to `dest`. `params` may be null. */
QUV_API ClrStatus Quv_ClrInit(ClrHandle** handle, ClrSpace source, ClrSpace dest, ClrParams* params);
/* Releases a handle and everything it owns. */
QUV_API ClrStatus Quv_ClrFree(ClrHandle* handle);
/* 1 for a live handle, CLR_INVALID_HANDLE otherwise. */
QUV_API ClrStatus Quv_ClrIsValid(ClrHandle* handle);

/* Changes a live handle: methodMask of the record says which parts apply
 * (1 method, 2 profiles, 4 white point, 8 emulation file, 16 CMYK, 32 YUV,
 * 64 Lab). Parts applied before a failure stay applied. */
QUV_API ClrStatus Quv_ClrSetConversionParams(ClrHandle* handle, ClrParams* params);

/* Converts width x height pixels through a handle. The alignments are row
 * stride multiples for the copies and ICC runs, and bytes skipped after each
 * row for the formula kernels. */
QUV_API ClrStatus Quv_ClrConvert(ClrHandle* handle, const void* source, void* dest, int32_t width,
                                 int32_t height, int32_t sourceAlign, int32_t destAlign);
/* Converts between two spaces by formula, without a handle. */
QUV_API ClrStatus Quv_ClrConvertDirect(ClrSpace sourceSpace, ClrSpace destSpace, const void* source,
                                       void* dest, int32_t width, int32_t height, int32_t sourceAlign,
                                       int32_t destAlign);

/* Bitmaps (QuvBitmap, made and read with quvbase). The two ToBitmap calls
 * convert a buffer into a new 24-bit bitmap (the destination space RGB or
 * BGR), freeing what the bitmap held first. The bitmap takes DIB rows, 4-byte
 * aligned: rows land in place when destAlign pads 3 x width up to that. */
QUV_API ClrStatus Quv_ClrConvertDirectToBitmap(ClrSpace sourceSpace, ClrSpace destSpace, const void* source,
                                               QuvBitmap* bitmap, uint32_t bitmapSize, int32_t width,
                                               int32_t height, int32_t sourceAlign, int32_t destAlign);
QUV_API ClrStatus Quv_ClrConvertToBitmap(ClrHandle* handle, const void* source, QuvBitmap* bitmap,
                                         uint32_t bitmapSize, int32_t width, int32_t height, int32_t sourceAlign,
                                         int32_t destAlign);
/* Converts a 24-bit bitmap row by row into another of its size, or in place
 * when dest is null. */
QUV_API ClrStatus Quv_ClrConvertBitmap(ClrHandle* handle, QuvBitmap* source, QuvBitmap* dest);
/* Joins four 8-bit planes, in the order of the CMYK bytes, into one converted
 * image in dest; a fifth plane with data (count 5) is combined as alpha. */
QUV_API ClrStatus Quv_ClrConvertCMYKArray(ClrHandle* handle, QuvBitmap** planes, int32_t count, QuvBitmap* dest,
                                          uint32_t bitmapSize);

/* Embedded profiles: the ICC profiles the library carries, by id. */
enum ClrEmbeddedProfileId {
    CLR_EMBEDDED_PROFILE_RGB = 105,  /* display RGB: sRGB primaries and tone curve */
    CLR_EMBEDDED_PROFILE_LAB = 106,  /* Lab to Lab identity */
    CLR_EMBEDDED_PROFILE_CMYK = 107, /* printer CMYK: a coated offset press */
    CLR_EMBEDDED_PROFILE_CMY = 110   /* CMY: the same press's three colour inks */
};
/* Reports the size of the profile `id` in *length and, with a buffer, copies
 * the profile into it. A buffer needs *length to hold at least the size;
 * otherwise CLR_BUFFER_TOO_SMALL, and neither the buffer nor *length changes.
 * Pass a null buffer to ask for the size. */
QUV_API ClrStatus Quv_ClrGetEmbeddedProfile(uint32_t id, void* buffer, int32_t* length);

/* Sets the module whose resources the settings dialogs use. */
QUV_API void SetResModule(void* module);

QUV_EXTERN_C_END

#endif
