// The colour spaces as bytes: bits per pixel, row lengths, and the geometry
// each space demands of an image.
#pragma once

#include <quvclr/conversion.h>

#include <cstdint>

namespace quv::kernels {

bool isKnownSpace(uint32_t space);

// True for the two layouts of the RGB hub.
constexpr bool isRgbSide(uint32_t space) { return space == ClrSpaceRgb || space == ClrSpaceBgr; }

// Bits per pixel, or CLR_INVALID_SPACE for a value that is not a space.
int32_t bitsPerPixel(uint32_t space);

// Bytes of a row: (bits x width + 7) / 8, with the bit count read as a 16-bit
// unsigned number, so a value that is not a space still gives a length.
uint64_t rowBytes(uint32_t space, int32_t width);

// The test each side of a formula conversion passes: a known space, a buffer,
// a size of at least 1 x 1, and the width and height its packing needs.
ClrStatus checkGeometry(uint32_t space, const void* buffer, int32_t width, int32_t height);

}  // namespace quv::kernels
