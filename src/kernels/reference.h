// The kernels as their formulas are written, one pixel and one step at a
// time. The kernels the conversions call give these bytes by faster means
// (tables of exact values, branch-free forms); the tests hold them to it.
#pragma once

#include "kernels/kernel.h"
#include "kernels/ink.h"
#include "kernels/lab.h"

namespace quv::kernels::reference {

ClrStatus rgbToYuv(const KernelIo& io, int orderFlag);
ClrStatus yuvToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYiq(const KernelIo& io, int orderFlag);
ClrStatus yiqToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYcbcr(const KernelIo& io, int orderFlag);
ClrStatus ycbcrToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHsv(const KernelIo& io, int orderFlag);
ClrStatus hsvToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHls(const KernelIo& io, int orderFlag);
ClrStatus hlsToRgb(const KernelIo& io, int orderFlag);
ClrStatus hsiToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToLab(const KernelIo& io, int orderFlag);
ClrStatus labToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYcck(const KernelIo& io, const YcckContext& context);
ClrStatus ycckToRgb(const KernelIo& io, const YcckContext& context, int orderFlag);
ClrStatus rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag);
ClrStatus labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag);
ClrStatus rgbToYuy2(const KernelIo& io, int orderFlag);
ClrStatus yuy2ToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToUyvy(const KernelIo& io, int orderFlag);
ClrStatus uyvyToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToY41p(const KernelIo& io, int orderFlag);
ClrStatus y41pToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToYvu9(const KernelIo& io, int orderFlag);
ClrStatus yvu9ToRgb(const KernelIo& io, int orderFlag);

}  // namespace quv::kernels::reference
