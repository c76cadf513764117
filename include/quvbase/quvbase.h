/* quvbase: the base library's bitmaps. Applications make and read with these
 * calls the bitmaps that the conversion calls of quvclr take and give.
 * Compiles as C99 and as C++. Results are quvclr status codes: 1 for
 * success, negative for failure; the row calls answer bytes moved instead. */
#ifndef QUVBASE_H
#define QUVBASE_H

#include "../quvclr/status.h"

#if defined(__GNUC__)
#define QUVBASE_API __attribute__((visibility("default")))
#else
#define QUVBASE_API
#endif

#define QUV_BITMAP_SIZE 284u
#define QUV_BITMAP_HAS_DATA 0x1u /* flags bit 0: the bitmap holds allocated data */
#define QUV_DIB_HEADER_SIZE 44u

/* View perspectives: where storage row 0 and column 0 are shown, numbered as
 * TIFF orientations. 1: row 0 top, column 0 left; 2: top, right; 3: bottom,
 * right; 4: bottom, left (the rows of a bottom-up DIB); 5 to 8 are 1 to 4
 * with rows and columns exchanged. */
enum QuvViewPerspective {
    QUV_VIEW_TOP_LEFT = 1,
    QUV_VIEW_TOP_RIGHT = 2,
    QUV_VIEW_BOTTOM_RIGHT = 3,
    QUV_VIEW_BOTTOM_LEFT = 4,
    QUV_VIEW_LEFT_TOP = 5,
    QUV_VIEW_RIGHT_TOP = 6,
    QUV_VIEW_RIGHT_BOTTOM = 7,
    QUV_VIEW_LEFT_BOTTOM = 8
};

#pragma pack(push, 4)
/* A bitmap. Start a record zeroed; the calls that allocate do not release
 * data the record already holds (call quvBitmapFree first). Rows are stored
 * one after another, bytesPerLine apart. */
typedef struct QuvBitmap {
    uint32_t size;         /* QUV_BITMAP_SIZE */
    int32_t accessCount;   /* quvBitmapAccess calls not yet released */
    uint8_t* pixels;       /* bytesPerLine x height bytes, 64-byte aligned, or null */
    uint32_t rowAlignment; /* bytesPerLine is a multiple of this */
    int32_t width;         /* pixels per row */
    int32_t height;        /* rows */
    int32_t bitsPerPixel;  /* 8, 16, 24 or 32 */
    uint32_t bytesPerLine;
    uint32_t reserved36;
    uint64_t dataBytes; /* bytes at pixels */
    uint32_t flags;     /* QUV_BITMAP_HAS_DATA */
    uint32_t reserved52;
    uint64_t dotsPerMeterX;
    int32_t viewPerspective; /* a QuvViewPerspective */
    uint32_t reserved68;
    uint64_t dotsPerMeterY;
    uint8_t reserved80[204];
} QuvBitmap;

/* A device-independent bitmap header (BITMAPINFOHEADER): a negative height
 * means the rows run top to bottom. Rows are 4-byte aligned. */
typedef struct QuvDibHeader {
    uint32_t size; /* QUV_DIB_HEADER_SIZE */
    int32_t width;
    int32_t height;
    uint16_t planes;   /* 1 */
    uint16_t bitCount; /* 8, 24 or 32 */
    uint32_t compression; /* 0: uncompressed */
    uint32_t sizeImage;
    int32_t xPelsPerMeter;
    int32_t yPelsPerMeter;
    uint32_t clrUsed;
    uint32_t clrImportant;
    uint32_t reserved;
} QuvDibHeader;
#pragma pack(pop)

QUV_STATIC_ASSERT(sizeof(QuvBitmap) == 284, "QuvBitmap size");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, pixels) == 8, "QuvBitmap.pixels");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, width) == 20, "QuvBitmap.width");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, height) == 24, "QuvBitmap.height");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, bitsPerPixel) == 28, "QuvBitmap.bitsPerPixel");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, bytesPerLine) == 32, "QuvBitmap.bytesPerLine");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, dataBytes) == 40, "QuvBitmap.dataBytes");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, flags) == 48, "QuvBitmap.flags");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, viewPerspective) == 64, "QuvBitmap.viewPerspective");
QUV_STATIC_ASSERT(sizeof(QuvDibHeader) == 44, "QuvDibHeader size");
QUV_STATIC_ASSERT(offsetof(QuvDibHeader, planes) == 12, "QuvDibHeader.planes");
QUV_STATIC_ASSERT(offsetof(QuvDibHeader, sizeImage) == 20, "QuvDibHeader.sizeImage");
QUV_STATIC_ASSERT(offsetof(QuvDibHeader, reserved) == 40, "QuvDibHeader.reserved");

QUV_EXTERN_C_BEGIN

/* Allocates width x height pixels (zeroed when zeroFill is nonzero), rows
 * rounded up to a multiple of rowAlignment bytes (below 1: packed).
 * reservedZero must be 0. */
QUVBASE_API int32_t quvBitmapAllocate(QuvBitmap* bitmap, uint32_t structSize, int32_t zeroFill, int32_t width,
                                      int32_t height, int32_t bitsPerPixel, int32_t rowAlignment,
                                      int32_t reservedZero, int32_t viewPerspective, uint64_t dotsPerMeterX,
                                      uint64_t dotsPerMeterY);
/* Releases the pixels; the record keeps its geometry. A null bitmap is ignored. */
QUVBASE_API void quvBitmapFree(QuvBitmap* bitmap);
/* Allocates the bitmap from a DIB: pixels holds |height| rows of the DIB's
 * 4-byte aligned stride, in the DIB's order (perspective 1 when top-down,
 * 4 when bottom-up). */
QUVBASE_API int32_t quvBitmapFromDib(QuvBitmap* bitmap, uint32_t structSize, const QuvDibHeader* header,
                                     const void* pixels);
/* Begins access to the rows of a bitmap holding data. reservedZero: pass 0. */
QUVBASE_API int32_t quvBitmapAccess(QuvBitmap* bitmap, int32_t reservedZero);
/* Ends `accesses` accesses (below 1: one) and returns previousStatus, or,
 * when that was success and the bitmap was not accessed, a failure. */
QUVBASE_API int32_t quvBitmapRelease(QuvBitmap* bitmap, int32_t accesses, int32_t previousStatus);
/* Copy of up to `bytes` bytes of storage row `row`, no more than a row holds:
 * the bytes moved, or below 1. */
QUVBASE_API int32_t quvBitmapGetRow(QuvBitmap* bitmap, void* buffer, int32_t row, uint32_t bytes);
QUVBASE_API int32_t quvBitmapPutRow(QuvBitmap* bitmap, const void* buffer, int32_t row, uint32_t bytes);
/* Rearranges the pixels so that storage follows the target perspective; 5 to
 * 8 against 1 to 4 exchange width and height. unused: pass null. */
QUVBASE_API int32_t quvBitmapChangePerspective(const void* unused, QuvBitmap* bitmap, uint32_t structSize,
                                               int32_t targetPerspective);
/* Makes a 24-bit bitmap 32-bit, its fourth byte taken from an 8-bit bitmap of
 * the same size (an alpha plane). */
QUVBASE_API int32_t quvBitmapCombineAlpha(QuvBitmap* bitmap, const QuvBitmap* alpha);

QUV_EXTERN_C_END

#endif
