/* quvclr: the bitmap record of the base library, quvbase, whose header
 * defines it and the calls that make and read bitmaps. The conversion calls
 * that take bitmaps read size, width, height, bitsPerPixel, bytesPerLine,
 * flags and viewPerspective. */
#ifndef QUVCLR_BITMAP_H
#define QUVCLR_BITMAP_H

#include "../quvbase/quvbase.h"

#endif
