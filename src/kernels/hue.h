// Spaces that describe a colour by hue: HSV, HLS (integer algorithms whose
// rounding is part of the result) and HSI (floating, and its two directions
// are not inverses of each other).
#pragma once

#include "kernels/kernel.h"

namespace quv::kernels {

ClrStatus rgbToHsv(const KernelIo& io, int orderFlag);
ClrStatus hsvToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHls(const KernelIo& io, int orderFlag);
// Stops with CLR_INVALID_TAG_DATA at a pixel of S 0 and H not 0, leaving the
// pixels before it written.
ClrStatus hlsToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHsi(const KernelIo& io, int orderFlag);
ClrStatus hsiToRgb(const KernelIo& io, int orderFlag);

}  // namespace quv::kernels
