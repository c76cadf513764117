// Spaces one 3 x 3 matrix and a scale away from RGB: YUV, YIQ, YCbCr, XYZ.
// Each direction has its own constants and rounding; a round trip drifts by
// a few counts, and that drift is part of the results.
#pragma once

#include "kernels/kernel.h"

namespace quv::kernels {

ClrStatus rgbToYuv(const KernelIo& io, int orderFlag);
ClrStatus yuvToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYiq(const KernelIo& io, int orderFlag);
ClrStatus yiqToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYcbcr(const KernelIo& io, int orderFlag);
ClrStatus ycbcrToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToXyz(const KernelIo& io, int orderFlag);
ClrStatus xyzToRgb(const KernelIo& io, int orderFlag);

}  // namespace quv::kernels
