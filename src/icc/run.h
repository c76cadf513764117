// Running an lcms2 transform for a handle: over a span of pixels, with YCCK
// turned to CMYK around it and Lab output stored as signed bytes.
#pragma once

#include <quvclr/status.h>

#include <cstdint>

namespace quv::kernels {
struct YcckTables;
}

namespace quv::icc {

// The bare engine call: cmsDoTransform over `pixels` pixels of a
// cmsHTRANSFORM, bytes as lcms2 lays them out.
void transformPixels(const void* transform, const void* in, void* out, uint32_t pixels);

// A handle's ICC method over a whole image or one row: the engine call with
// YCCK turned to and from CMYK around it and Lab a and b stored as signed
// bytes. Returns 1, -13
// without a transform, or 0 when the temporary YCCK buffer can't be made.
ClrStatus runIccMethod(void* transform, const kernels::YcckTables* ycck, const uint8_t* src, uint8_t* dst,
                       uint32_t sourceSpace, uint32_t destSpace, uint32_t pixels);

// Closes a transform made by the builder.
void deleteTransform(void* transform);

}  // namespace quv::icc
