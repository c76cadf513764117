// Running an lcms2 transform for a handle: over a span of pixels, with YCCK
// turned to CMYK around it and Lab output stored as signed bytes.
#pragma once

#include <quvclr/status.h>

#include <cstdint>

namespace quv::kernels {
struct YcckTables;
}

namespace quv::icc {

// cmsDoTransform over `pixels` pixels; the transform is a cmsHTRANSFORM.
void runTransformPixels(const void* transform, const void* in, void* out, uint32_t pixels);

// One run of the ICC method: a whole image or one row. Returns 1, -13
// without a transform, or 0 when the temporary YCCK buffer can't be made.
ClrStatus runTransform(void* transform, const kernels::YcckTables* ycck, const uint8_t* src, uint8_t* dst,
                       uint32_t sourceSpace, uint32_t destSpace, uint32_t pixels);

// Closes a transform made by the builder.
void deleteTransform(void* transform);

}  // namespace quv::icc
