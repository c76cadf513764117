// The video pixel formats: packed 4:2:2 (YUY2, UYVY) and 4:1:1 (Y41P), the
// planar 4 x 4 block format YVU9, 12-bit RGB in two bytes, and YUV layouts a
// caller describes. All but RGB444 share the studio-range matrix (Y 16..235,
// chroma around 128), with separate forward and inverse constants.
#pragma once

#include "kernels/kernel.h"

#include <quvclr/conversion.h>

namespace quv::kernels {

ClrStatus rgbToYuy2(const KernelIo& io, int orderFlag);
ClrStatus yuy2ToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToUyvy(const KernelIo& io, int orderFlag);
ClrStatus uyvyToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToY41p(const KernelIo& io, int orderFlag);
ClrStatus y41pToRgb(const KernelIo& io, int orderFlag);
// YVU9 planes carry no row padding: the forward kernel ignores dstPad, the
// inverse srcPad.
ClrStatus rgbToYvu9(const KernelIo& io, int orderFlag);
ClrStatus yvu9ToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToRgb444(const KernelIo& io, int orderFlag);
ClrStatus rgb444ToRgb(const KernelIo& io, int orderFlag);

// A described layout to B, G, R (always that order). Its source proof fails
// with CLR_BAD_POINTER, the others with CLR_INVALID_PARAMETER.
ClrStatus yuvLayoutToBgr(const KernelIo& io, const ClrYuvParams& layout);

}  // namespace quv::kernels
