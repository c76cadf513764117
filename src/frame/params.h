// The caller's conversion parameters: what Quv_ClrInit takes from a record,
// and the updates of Quv_ClrSetConversionParams.
#pragma once

#include "frame/handle.h"
#include "platform/probe.h"

namespace quv {

// Fills a fresh handle, already registered, from `params` for the pair
// source -> dest. On failure the caller releases the handle; what this wrote
// into the caller's record (a resolved automatic method) stays.
ClrStatus applyInitParams(ClrHandle* h, uint32_t source, uint32_t dest, ClrParams* params, MemoryProbe& probe);

}  // namespace quv
