// The kernels as their formulas are written, one pixel and one step at a
// time. The kernels the conversions call give these bytes by faster means
// (tables of exact values, branch-free forms); the tests hold them to it.
#pragma once

#include "kernels/kernel.h"
#include "kernels/lab.h"

namespace quv::kernels::reference {

ClrStatus yiqToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHsv(const KernelIo& io, int orderFlag);
ClrStatus hsvToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToHls(const KernelIo& io, int orderFlag);
ClrStatus hlsToRgb(const KernelIo& io, int orderFlag);
ClrStatus hsiToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToLab(const KernelIo& io, int orderFlag);
ClrStatus labToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag);
ClrStatus labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag);

}  // namespace quv::kernels::reference
