// Quv_ClrConvert in two parts, for the callers that convert their own row
// buffers: the handle's checks once, then the conversion proper.
#pragma once

#include "frame/handle.h"
#include "kernels/kernel.h"
#include "platform/probe.h"

namespace quv {

// What Quv_ClrConvert answers for a handle given proven buffers: 1 for a
// listed handle, CLR_NULL_ARGUMENT, CLR_BAD_POINTER or CLR_INVALID_HANDLE.
ClrStatus checkHandleForConvert(const ClrHandle* handle, MemoryProbe& probe);

// Quv_ClrConvert past its checks: a listed handle, a width and height of at
// least 1, alignments of 0 or more, buffers proven over their strides.
// `ahead` is memory the caller goes on to, for the formula kernels to warm.
ClrStatus convertProven(const ClrHandle& h, const void* source, void* dest, int32_t width, int32_t height,
                        int32_t sourceAlign, int32_t destAlign, MemoryProbe& probe,
                        const kernels::WarmAhead& ahead = {});

}  // namespace quv
