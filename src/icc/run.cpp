#include "icc/run.h"

#include "kernels/ink.h"
#include "platform/memory.h"

#include <quvclr/conversion.h>

#include <lcms2.h>

namespace quv::icc {

void transformPixels(const void* transform, const void* in, void* out, uint32_t pixels) {
    cmsDoTransform(const_cast<void*>(transform), in, out, pixels);
}

void deleteTransform(void* transform) {
    if (transform) cmsDeleteTransform(transform);
}

ClrStatus runIccMethod(void* transform, const kernels::YcckTables* ycck, const uint8_t* src, uint8_t* dst,
                       uint32_t sourceSpace, uint32_t destSpace, uint32_t pixels) {
    ClrStatus status = CLR_SUCCESS;
    const uint8_t* input = src;
    uint8_t* temporary = nullptr;

    // The transform sees YCCK as CMYK: turn it first, in place when the
    // caller converts in place.
    if (sourceSpace == ClrSpaceYcck && ycck && src && dst) {
        if (src == dst) {
            for (uint32_t i = 0; i < pixels; ++i) kernels::ycckPixelToCmyk(*ycck, dst + 4 * size_t{i}, dst + 4 * size_t{i});
        } else {
            temporary = static_cast<uint8_t*>(quvMalloc(pixels, 4));
            if (temporary) {
                for (uint32_t i = 0; i < pixels; ++i) {
                    kernels::ycckPixelToCmyk(*ycck, src + 4 * size_t{i}, temporary + 4 * size_t{i});
                    temporary[4 * size_t{i} + 3] = src[4 * size_t{i} + 3];
                }
                input = temporary;
            } else {
                status = 0;  // reported as it stands: neither success nor a failure code
            }
        }
    }

    if (status == CLR_SUCCESS) {
        if (!transform)
            status = CLR_INVALID_PARAMETER;
        else
            cmsDoTransform(transform, input, dst, pixels);
    }
    if (destSpace == ClrSpaceYcck && ycck) {
        for (uint32_t i = 0; i < pixels; ++i) kernels::cmykPixelToYcck(*ycck, dst + 4 * size_t{i}, dst + 4 * size_t{i});
    }
    quvFree(temporary);

    // lcms2 stores a and b with an offset of 128; this library's Lab bytes
    // are two's complement.
    if (destSpace == ClrSpaceLab) {
        for (uint32_t i = 0; i < pixels; ++i) {
            dst[3 * size_t{i} + 1] = static_cast<uint8_t>(dst[3 * size_t{i} + 1] + 128);
            dst[3 * size_t{i} + 2] = static_cast<uint8_t>(dst[3 * size_t{i} + 2] + 128);
        }
    }
    return status;
}

}  // namespace quv::icc
