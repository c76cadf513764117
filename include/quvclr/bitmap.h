/* quvclr: the bitmap record of the base library. The conversion calls that
 * take bitmaps read only the fields named here; the rest belongs to the base
 * library. */
#ifndef QUVCLR_BITMAP_H
#define QUVCLR_BITMAP_H

#include "common.h"

#define QUV_BITMAP_SIZE 284u
#define QUV_BITMAP_HAS_DATA 0x1u /* flags bit 0: the bitmap holds allocated data */

typedef struct QuvBitmap {
    uint32_t size; /* QUV_BITMAP_SIZE */
    uint8_t reserved4[16];
    int32_t width;        /* pixels per row */
    int32_t height;       /* rows */
    int32_t bitsPerPixel; /* 24 for conversions of whole bitmaps, 8 for CMYK planes */
    uint32_t bytesPerLine;
    uint8_t reserved36[12];
    uint32_t flags;
    uint8_t reserved52[12];
    int32_t viewPerspective; /* row origin; 1 and 4 are one class */
    uint8_t reserved68[216];
} QuvBitmap;

QUV_STATIC_ASSERT(sizeof(QuvBitmap) == 284, "QuvBitmap size");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, width) == 20, "QuvBitmap.width");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, height) == 24, "QuvBitmap.height");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, bitsPerPixel) == 28, "QuvBitmap.bitsPerPixel");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, bytesPerLine) == 32, "QuvBitmap.bytesPerLine");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, flags) == 48, "QuvBitmap.flags");
QUV_STATIC_ASSERT(offsetof(QuvBitmap, viewPerspective) == 64, "QuvBitmap.viewPerspective");

#endif
