// The two conversion entry points: through a handle, which obeys its method,
// and direct, which always uses the formula kernels with their defaults.
#include "frame/convert.h"
#include "frame/handle.h"
#include "frame/routing.h"
#include "kernels/catalogue.h"
#include "icc/run.h"
#include "kernels/emulation.h"
#include "kernels/hub.h"
#include "kernels/ink.h"
#include "kernels/video.h"
#include "platform/memory.h"
#include "platform/probe.h"
#include "platform/scope_guard.h"

#include <algorithm>
#include <cstring>

namespace quv {
namespace {

using kernels::isRgbSide;
using kernels::KernelIo;

// A formula conversion with RGB or BGR on at least one side. A pair without
// a kernel writes nothing and succeeds.
ClrStatus convertAtHub(uint32_t source, uint32_t dest, const KernelIo& io, const ClrHandle* handle) {
    if (isRgbSide(source)) {
        if (isRgbSide(dest)) return kernels::swapRedBlue(io);
        const SpaceRoute* route = findRoute(dest);
        return route ? route->fromRgb({io, source == ClrSpaceRgb, handle}) : CLR_SUCCESS;
    }
    if (isRgbSide(dest)) {
        const SpaceRoute* route = findRoute(source);
        return route ? route->toRgb({io, dest == ClrSpaceRgb, handle}) : CLR_SUCCESS;
    }
    return CLR_SUCCESS;
}

// Two formula kernels through a temporary RGB image, both handed the
// caller's pads as they stand. The temporary is sized for the padded walks
// both kernels make over it, so mismatched pads misplace rows but never
// leave the buffer.
ClrStatus convertThroughHub(MemoryProbe& probe, uint32_t sourceSpace, uint32_t destSpace, const uint8_t* src,
                            uint8_t* dst, int32_t width, int32_t height, int32_t srcAlign, int32_t dstAlign) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    const int32_t widestPad = std::max(kernels::padBytes(srcAlign), kernels::padBytes(dstAlign));
    auto* rgb = static_cast<uint8_t*>(quvCalloc(kernels::walkExtent(3 * int64_t{width}, widestPad, height), 1));
    if (!rgb) return CLR_NO_MEMORY;
    ScopeGuard release([rgb] { quvFree(rgb); });

    const uint64_t srcPad = kernels::padBytes(srcAlign), dstPad = kernels::padBytes(dstAlign);
    auto prove444 = [&] {
        return probe.readable(src, (srcPad + 3 * uint64_t(width)) * height) &&
               probe.writable(dst, 3 * pixels / 2 + dstPad * height);
    };

    if (sourceSpace == ClrSpaceRgb444) {
        if (!prove444()) return CLR_INVALID_PARAMETER;
        // Without pads: the caller's rows are read as one run of pixels.
        kernels::rgb444ToRgb({src, rgb, width, height, 0, 0, &probe}, 1);
    } else if (const SpaceRoute* route = findRoute(sourceSpace)) {
        ClrStatus first = route->toRgb({{src, rgb, width, height, srcAlign, dstAlign, &probe}, 1, nullptr});
        if (first != CLR_SUCCESS) return first;
    }

    if (destSpace == ClrSpaceRgb444) {
        // Packs the caller's source, read as RGB, into the temporary, which
        // is then dropped: the destination is left as it was. A source whose
        // own space holds fewer than three bytes a pixel would be read past
        // its end; that is refused as a buffer that fails its proof.
        const uint64_t sourceHolds = (kernels::rowBytes(sourceSpace, width) + srcPad) * uint64_t(height);
        if (!prove444() || 3 * uint64_t{pixels} > sourceHolds) return CLR_INVALID_PARAMETER;
        kernels::rgbToRgb444({src, rgb, width, height, 0, 0, &probe}, 1);
        return CLR_SUCCESS;
    }
    const SpaceRoute* route = findRoute(destSpace);
    return route ? route->fromRgb({{rgb, dst, width, height, srcAlign, dstAlign, &probe}, 1, nullptr}) : CLR_SUCCESS;
}

ClrStatus convertDirect(MemoryProbe& probe, uint32_t sourceSpace, uint32_t destSpace, const void* source,
                        void* dest, int32_t width, int32_t height, int32_t srcAlign, int32_t dstAlign) {
    if (!source || !dest) return CLR_INVALID_PARAMETER;
    if (ClrStatus s = kernels::checkGeometry(sourceSpace, source, width, height); s != CLR_SUCCESS) return s;
    if (ClrStatus s = kernels::checkGeometry(destSpace, dest, width, height); s != CLR_SUCCESS) return s;

    const uint64_t srcPad = std::max(srcAlign, 0), dstPad = std::max(dstAlign, 0);
    const auto rows = static_cast<uint64_t>(height);
    if (!probe.readable(source, (kernels::rowBytes(sourceSpace, width) + srcPad) * rows)) return CLR_BAD_POINTER;
    if (!probe.writable(dest, (kernels::rowBytes(destSpace, width) + dstPad) * rows)) return CLR_BAD_POINTER;

    const auto* src = static_cast<const uint8_t*>(source);
    auto* dst = static_cast<uint8_t*>(dest);
    if (sourceSpace == destSpace) {
        if (source == dest && srcPad == dstPad) return CLR_SAME_BUFFER;
        // Here the row length has no rounding, and an alignment of 2 or more
        // is the distance from one row to the next.
        const uint64_t row = static_cast<uint64_t>(kernels::bitsPerPixel(sourceSpace)) * width / 8;
        if (srcPad < 2 && dstPad < 2) {
            std::memmove(dst, src, row * rows);
        } else {
            for (uint64_t y = 0; y < rows; ++y, src += srcPad, dst += dstPad) std::memmove(dst, src, row);
        }
        return CLR_SUCCESS;
    }

    if (isRgbSide(sourceSpace) || isRgbSide(destSpace))
        return convertAtHub(sourceSpace, destSpace, {src, dst, width, height, srcAlign, dstAlign, &probe}, nullptr);
    return convertThroughHub(probe, sourceSpace, destSpace, src, dst, width, height, srcAlign, dstAlign);
}

// The ICC method: one run over the whole image when rows are packed, else
// one a row; in place with a wider destination stride the rows go from the
// last, so that output never overruns rows not yet read.
ClrStatus runIcc(const ClrHandle& h, const uint8_t* src, uint8_t* dst, int32_t width, int32_t height,
                 uint64_t srcStride, uint64_t dstStride) {
    void* transform = h.activeMethod == CLR_METHOD_ICC ? h.iccTransform : h.customTransform;
    if (!transform) return CLR_NULL_ARGUMENT;
    auto run = [&](const uint8_t* s, uint8_t* d, uint64_t pixels) {
        return icc::runIccMethod(transform, h.ycckTable, s, d, h.sourceSpace, h.destSpace,
                                 static_cast<uint32_t>(pixels));
    };
    const auto w = static_cast<uint64_t>(width);
    if (srcStride == kernels::rowBytes(h.sourceSpace, width) && dstStride == kernels::rowBytes(h.destSpace, width))
        return run(src, dst, w * static_cast<uint64_t>(height));
    const bool backwards = static_cast<const void*>(src) == dst && srcStride < dstStride;
    for (int32_t i = 0; i < height; ++i) {
        const uint64_t y = backwards ? uint64_t(height - 1 - i) : uint64_t(i);
        if (ClrStatus s = run(src + y * srcStride, dst + y * dstStride, w); s != CLR_SUCCESS) return s;
    }
    return CLR_SUCCESS;
}

// The emulation methods serve three pairs by table and RGB to CMYK by
// formula (reading B, G, R whatever the source); others write nothing.
void emulate(const ClrHandle& h, const KernelIo& io) {
    const uint8_t* table = static_cast<const uint8_t*>(h.activeMethod == CLR_METHOD_EMULATION ? h.emulationTable
                                                                                               : h.customTable);
    const uint32_t s = h.sourceSpace, d = h.destSpace;
    if (isRgbSide(s) && d == ClrSpaceCmyk) {
        kernels::rgbToCmyk(io, h.cmykParams ? h.cmykParams->gcrLevel : kernels::kDefaultGcrLevel, 0);
        return;
    }
    // A handle without its table has nothing to look up.
    if (!table) return;
    kernels::lookUpPair(table, io, s, d);
}

uint64_t alignedStride(uint64_t row, int32_t align) {
    const auto a = static_cast<uint64_t>(align);
    return row + (a - row % a) % a;
}

// Strides of a handle conversion: each row rounded up to its alignment when
// both alignments are 1 or more, else the plain row lengths.
struct Strides {
    uint64_t src, dst, srcRow;
};
Strides strides(const ClrHandle& h, int32_t width, int32_t sourceAlign, int32_t destAlign) {
    const uint64_t srcRow = kernels::rowBytes(h.sourceSpace, width), dstRow = kernels::rowBytes(h.destSpace, width);
    if (sourceAlign >= 1 && destAlign >= 1)
        return {alignedStride(srcRow, sourceAlign), alignedStride(dstRow, destAlign), srcRow};
    return {srcRow, dstRow, srcRow};
}

}  // namespace
}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_ClrConvertDirect(ClrSpace sourceSpace, ClrSpace destSpace, const void* source,
                                                  void* dest, int32_t width, int32_t height, int32_t sourceAlign,
                                                  int32_t destAlign) {
    MemoryProbe probe;
    return convertDirect(probe, sourceSpace, destSpace, source, dest, width, height, sourceAlign, destAlign);
}

extern "C" QUV_API ClrStatus Quv_ClrConvert(ClrHandle* handle, const void* source, void* dest, int32_t width,
                                            int32_t height, int32_t sourceAlign, int32_t destAlign) {
    if (!source || !handle || !dest) return CLR_NULL_ARGUMENT;
    if (width < 1 || height < 1) return CLR_INVALID_DIMENSION;
    if (sourceAlign < 0 || destAlign < 0) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    // A registered handle is memory this library holds, readable by
    // construction: only an unlisted pointer needs proving. The statuses
    // come out as if the proof came first, since a listed handle passes it.
    const bool registered = registryHolds(handle);
    if (!registered && !probe.readable(handle, CLR_HANDLE_SIZE)) return CLR_BAD_POINTER;

    const Strides st = strides(*handle, width, sourceAlign, destAlign);
    const auto rows = static_cast<uint64_t>(height);
    if (!probe.readable(source, st.src * rows) || !probe.writable(dest, st.dst * rows)) return CLR_BAD_POINTER;
    if (!registered) return CLR_INVALID_HANDLE;
    return convertProven(*handle, source, dest, width, height, sourceAlign, destAlign, probe);
}

ClrStatus quv::checkHandleForConvert(const ClrHandle* handle, MemoryProbe& probe) {
    if (!handle) return CLR_NULL_ARGUMENT;
    if (registryHolds(handle)) return CLR_SUCCESS;
    return probe.readable(handle, CLR_HANDLE_SIZE) ? CLR_INVALID_HANDLE : CLR_BAD_POINTER;
}

ClrStatus quv::convertProven(const ClrHandle& h, const void* source, void* dest, int32_t width, int32_t height,
                             int32_t sourceAlign, int32_t destAlign, MemoryProbe& probe,
                             const kernels::WarmAhead& ahead) {
    const auto [srcStride, dstStride, srcRow] = strides(h, width, sourceAlign, destAlign);
    const auto rows = static_cast<uint64_t>(height);
    const bool sameSpace = h.sourceSpace == h.destSpace;
    if (source == dest && sameSpace && sourceAlign != destAlign) return CLR_SAME_BUFFER;
    if (sameSpace && h.activeMethod != CLR_METHOD_CUSTOM_ICC) {
        const auto* from = static_cast<const uint8_t*>(source);
        auto* to = static_cast<uint8_t*>(dest);
        if (srcStride == dstStride) {
            std::memmove(to, from, srcStride * rows);
        } else {
            for (uint64_t y = 0; y < rows; ++y, from += srcStride, to += dstStride) std::memmove(to, from, srcRow);
        }
        return CLR_SUCCESS;
    }

    if (h.stageCount == 2) {
        // The path through the hub reports nothing back to this caller.
        convertDirect(probe, h.sourceSpace, h.destSpace, source, dest, width, height, sourceAlign, destAlign);
        return CLR_SUCCESS;
    }

    const auto* src = static_cast<const uint8_t*>(source);
    auto* dst = static_cast<uint8_t*>(dest);
    const KernelIo io{src, dst, width, height, sourceAlign, destAlign, &probe, ahead};
    switch (h.activeMethod) {
    case CLR_METHOD_BUILTIN:
        return convertAtHub(h.sourceSpace, h.destSpace, io, &h);
    case CLR_METHOD_ICC:
    case CLR_METHOD_CUSTOM_ICC:
        return runIcc(h, src, dst, width, height, srcStride, dstStride);
    case CLR_METHOD_EMULATION:
    case CLR_METHOD_CUSTOM_EMULATION:
        emulate(h, io);
        return CLR_SUCCESS;
    default:
        return CLR_INVALID_METHOD;
    }
}
