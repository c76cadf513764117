#include "frame/handle.h"

#include "frame/params.h"
#include "icc/run.h"
#include "kernels/catalogue.h"
#include "kernels/ink.h"
#include "kernels/lab.h"
#include "platform/memory.h"
#include "platform/probe.h"
#include "platform/scope_guard.h"

namespace quv {
namespace {

ClrHandle* newHandle() {
    auto* h = static_cast<ClrHandle*>(quvCalloc(1, sizeof(ClrHandle)));
    if (h) h->size = CLR_HANDLE_SIZE;
    return h;
}

void freeBlock(ClrProfileBlock* block) {
    if (!block) return;
    quvFree(const_cast<void*>(block->data));
    quvFree(block);
}

}  // namespace

void destroyHandle(ClrHandle* h) {
    quvFree(h->cmykParams);
    if (h->yuvParams && !h->yuvLayoutBorrowed) quvFree(h->yuvParams->layout);
    quvFree(h->yuvParams);
    quvFree(h->labFromTable);
    quvFree(h->labToTable);
    quvFree(h->ycckTable);
    quvFree(h->whitePoint);
    quvFree(h->customTable);
    icc::deleteTransform(h->iccTransform);
    icc::deleteTransform(h->customTransform);
    freeBlock(h->inputProfileBlock);
    freeBlock(h->outputProfileBlock);
    quvFree(h);
}

ClrStatus attachYcckTables(ClrHandle* h) {
    h->ycckTable = static_cast<kernels::YcckTables*>(quvMalloc(1, sizeof(kernels::YcckTables)));
    if (!h->ycckTable) return CLR_NO_MEMORY;
    kernels::buildYcckTables(*h->ycckTable);
    return CLR_SUCCESS;
}

}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_ClrInit(ClrHandle** out, ClrSpace source, ClrSpace dest, ClrParams* params) {
    if (!out) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (params) {
        if (!probe.readable(params, sizeof params->size)) return CLR_BAD_POINTER;
        if (params->size != CLR_PARAMS_SIZE && params->size != CLR_PARAMS_SIZE_NO_FLAGS)
            return CLR_INVALID_STRUCT_SIZE;
        if (!probe.readable(params, params->size)) return CLR_BAD_POINTER;
    }

    // Equal spaces make a handle that only copies, whatever the values are,
    // unless a custom ICC transform is asked for.
    if (source == dest && !(params && (params->methodMask & CLR_METHOD_CUSTOM_ICC))) {
        ClrHandle* h = newHandle();
        if (!h) return CLR_NO_MEMORY;
        h->sourceSpace = source;
        h->destSpace = dest;
        if (!registryAppend(h)) {
            quvFree(h);
            return CLR_NO_MEMORY;
        }
        *out = h;
        return CLR_SUCCESS;
    }

    if (!kernels::isKnownSpace(source) || !kernels::isKnownSpace(dest)) return CLR_ICC_SPACE_MISMATCH;
    ClrHandle* h = newHandle();
    if (!h) return CLR_NO_MEMORY;

    if (params) {
        if (params->activeMethod == CLR_METHOD_EMULATION && params->emulationKind != CLR_METHOD_EMULATION) {
            quvFree(h);
            return CLR_INVALID_PARAMETER;
        }
        if (!registryAppend(h)) {
            quvFree(h);
            return CLR_NO_MEMORY;
        }
        ScopeGuard release([h] {
            registryForget(h);
            destroyHandle(h);
        });
        const bool automatic = params->activeMethod == CLR_METHOD_AUTO && params->methodMask == CLR_METHOD_AUTO;
        if (ClrStatus s = applyInitParams(h, source, dest, params, probe); s != CLR_SUCCESS) return s;
        h->sourceSpace = source;
        h->destSpace = dest;
        // A resolved automatic method is written back only while init can fail.
        if (automatic) params->activeMethod = params->methodMask = CLR_METHOD_AUTO;
        release.dismiss();
        *out = h;
        return CLR_SUCCESS;
    }

    h->activeMethod = CLR_METHOD_BUILTIN;
    h->methodMask = CLR_METHOD_BUILTIN;
    h->gamma = kernels::kLabGamma;
    h->sourceSpace = source;
    h->destSpace = dest;
    h->stageCount = kernels::isRgbSide(source) || kernels::isRgbSide(dest) ? 1 : 2;
    if (!registryAppend(h)) {
        quvFree(h);
        return CLR_NO_MEMORY;
    }
    if ((source == ClrSpaceYcck || dest == ClrSpaceYcck) && attachYcckTables(h) != CLR_SUCCESS) {
        registryForget(h);
        quvFree(h);
        return CLR_NO_MEMORY;
    }
    *out = h;
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ClrFree(ClrHandle* handle) {
    if (!handle) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!probe.readable(handle, CLR_HANDLE_SIZE)) return CLR_INVALID_PARAMETER;
    // Unlisting first means a released handle is never read again here, and
    // two callers freeing one handle can't both release it.
    if (!registryTake(handle)) return CLR_INVALID_HANDLE;
    destroyHandle(handle);
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ClrIsValid(ClrHandle* handle) {
    if (!handle) return CLR_INVALID_HANDLE;
    MemoryProbe probe;
    if (!probe.readable(handle, CLR_HANDLE_SIZE)) return CLR_INVALID_HANDLE;
    return registryHolds(handle) ? CLR_SUCCESS : CLR_INVALID_HANDLE;
}
