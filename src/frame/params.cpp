#include "frame/params.h"
#include "frame/table_file.h"

#include "icc/run.h"
#include "icc/transform.h"
#include "kernels/catalogue.h"
#include "kernels/emulation.h"
#include "kernels/ink.h"
#include "kernels/lab.h"
#include "platform/file.h"
#include "platform/memory.h"
#include "platform/scope_guard.h"
#include "platform/text.h"

#include <cstring>

namespace quv {
namespace {

using kernels::isRgbSide;

constexpr uint32_t kServableMethods = CLR_METHOD_BUILTIN | CLR_METHOD_ICC | CLR_METHOD_CUSTOM_ICC |
                                      CLR_METHOD_EMULATION | CLR_METHOD_CUSTOM_EMULATION;

bool either(uint32_t source, uint32_t dest, uint32_t space) { return source == space || dest == space; }

uint32_t iccFlags(const ClrParams* p) { return p->size == CLR_PARAMS_SIZE ? p->iccFlags : 0; }

// Length of a path field, which need not be terminated inside its 264 units.
size_t pathLength(const ClrWChar* path, size_t capacity = CLR_PATH_CHARS) {
    size_t n = 0;
    while (n < capacity && path[n]) ++n;
    return n;
}

// Copies a path into a handle field, cut to what the field holds.
void copyPath(ClrWChar* to, const ClrWChar* from) {
    const size_t n = std::min(pathLength(from), size_t{kHandlePathChars - 1});
    std::memcpy(to, from, n * sizeof(ClrWChar));
    to[n] = 0;
}

// True when a path field names an existing file (its length aside).
bool namesFile(const ClrWChar* path) {
    ClrWChar terminated[CLR_PATH_CHARS + 1];
    const size_t n = pathLength(path);
    std::memcpy(terminated, path, n * sizeof(ClrWChar));
    terminated[n] = 0;
    return n > 0 && quvFileExists(terminated);
}

// The automatic method, chosen by the pair; 32 stays where the pair has none.
uint32_t automaticMethod(uint32_t source, uint32_t dest) {
    if (!isRgbSide(source) && !isRgbSide(dest)) return CLR_METHOD_BUILTIN;
    if (!isRgbSide(source) && source == ClrSpaceCmyk) return CLR_METHOD_ICC;
    if (dest == ClrSpaceCmyk) return CLR_METHOD_ICC;
    if (either(source, dest, ClrSpaceLab)) return CLR_METHOD_BUILTIN;
    if (source == ClrSpaceYcck) return CLR_METHOD_ICC;
    return CLR_METHOD_AUTO;
}

// A copy of the caller's profile block and its bytes, kept on the handle.
ClrStatus keepBlock(const ClrProfileBlock* block, MemoryProbe& probe, ClrProfileBlock** kept) {
    if (!probe.readable(block, sizeof *block) || block->length == 0 || block->length > UINT32_MAX ||
        !probe.readable(block->data, block->length))
        return CLR_INVALID_PARAMETER;
    auto* copy = static_cast<ClrProfileBlock*>(quvMalloc(1, sizeof(ClrProfileBlock)));
    if (!copy) return CLR_NO_MEMORY;
    void* bytes = quvMalloc(block->length, 1);
    if (!bytes) {
        quvFree(copy);
        return CLR_NO_MEMORY;
    }
    std::memcpy(bytes, block->data, block->length);
    *copy = {sizeof(ClrProfileBlock), bytes, block->length};
    *kept = copy;
    return CLR_SUCCESS;
}

// Gathers one side of a custom transform: the caller's block wins over its
// path, and a path that names no file leaves the side absent.
ClrStatus gatherSide(const ClrProfileBlock* block, const ClrWChar* path, MemoryProbe& probe, ClrProfileBlock** kept,
                     ClrWChar* keptPath, icc::ProfileSource* source) {
    *source = {nullptr, nullptr, 0};
    if (block) {
        if (ClrStatus s = keepBlock(block, probe, kept); s != CLR_SUCCESS) return s;
        *source = {nullptr, block->data, static_cast<uint32_t>(block->length)};
    } else if (namesFile(path)) {
        if (pathLength(path) >= kHandlePathChars) return CLR_FILE_NOT_FOUND;
        copyPath(keptPath, path);
        *source = {keptPath, nullptr, 0};
    }
    return CLR_SUCCESS;
}

ClrStatus makeCustomTransform(ClrHandle* h, const ClrParams* p, uint32_t source, uint32_t dest, MemoryProbe& probe) {
    if (!p || !h) return CLR_INVALID_PARAMETER;
    const uint32_t inFormat = source > ClrSpaceBgr ? 0 : kernels::iccFormat(source);
    const uint32_t outFormat = dest > ClrSpaceBgr ? 0 : kernels::iccFormat(dest);
    if (!inFormat || !outFormat) return CLR_TRANSFORM_LINK_FAILED;
    h->inputFormat = inFormat;
    h->outputFormat = outFormat;
    icc::ProfileSource in, out;
    if (ClrStatus s = gatherSide(p->inputProfileBlock, p->inputProfilePath, probe, &h->inputProfileBlock,
                                 h->inputProfilePath, &in);
        s != CLR_SUCCESS)
        return s;
    if (ClrStatus s = gatherSide(p->outputProfileBlock, p->outputProfilePath, probe, &h->outputProfileBlock,
                                 h->outputProfilePath, &out);
        s != CLR_SUCCESS)
        return s;
    ClrStatus status;
    h->customTransform = icc::buildTransform(inFormat, outFormat, (iccFlags(p) & icc::kEngineFlagMask) | icc::kCustomProfiles,
                                             in, out, &status);
    return status;
}

// The table file of the pair: kind 4 for CMYK to RGB, kind 3 for the Lab
// pairs; 0 when the pair takes none.
ClrStatus keepCmykParams(ClrHandle* h, const ClrCmykParams* cmyk, MemoryProbe& probe) {
    if (!probe.readable(cmyk, sizeof cmyk->size)) return CLR_BAD_POINTER;
    if (cmyk->size != sizeof(ClrCmykParams)) return CLR_INVALID_STRUCT_SIZE;
    if (!probe.readable(cmyk, sizeof *cmyk)) return CLR_BAD_POINTER;
    h->cmykParams = static_cast<ClrCmykParams*>(quvMalloc(1, sizeof(ClrCmykParams)));
    if (!h->cmykParams) return CLR_FAILURE;
    *h->cmykParams = *cmyk;
    return CLR_SUCCESS;
}

ClrStatus keepYuvParams(ClrHandle* h, const ClrYuvParams* yuv, MemoryProbe& probe) {
    if (!probe.readable(yuv, sizeof yuv->size) || !probe.readable(yuv, yuv->size)) return CLR_BAD_POINTER;
    // Only the 48-byte form passes; the earlier 44-byte form is refused too.
    if (yuv->size != sizeof(ClrYuvParams)) return CLR_INVALID_STRUCT_SIZE;
    const int32_t mps = yuv->macroPixelSize;
    // The caller's numbers in 32-bit arithmetic that wraps.
    using kernels::wrapAdd, kernels::wrapDiv, kernels::wrapMul, kernels::wrapRem;
    const int32_t uSamples = wrapMul(yuv->uHorizontal, yuv->uVertical);
    const int32_t vSamples = wrapMul(yuv->vHorizontal, yuv->vVertical);
    // A sampling product of 0 can't divide the macro-pixel.
    if (!yuv->planar && (uSamples == 0 || vSamples == 0)) return CLR_YUV_LAYOUT_DIVISIBILITY;
    const int32_t needed = yuv->planar ? 1 : wrapAdd(wrapAdd(mps, wrapDiv(mps, uSamples)), wrapDiv(mps, vSamples));
    if (yuv->layoutLength != needed) return CLR_YUV_LAYOUT_LENGTH;
    if (!yuv->planar && (wrapRem(mps, uSamples) != 0 || wrapRem(mps, vSamples) != 0))
        return CLR_YUV_LAYOUT_DIVISIBILITY;
    const bool copyLayout = yuv->layout && yuv->layoutLength != 0;
    if (copyLayout && (yuv->layoutLength < 0 || !probe.readable(yuv->layout, 4 * size_t(yuv->layoutLength))))
        return CLR_BAD_POINTER;
    h->yuvParams = static_cast<ClrYuvParams*>(quvMalloc(1, sizeof(ClrYuvParams)));
    if (!h->yuvParams) return CLR_FAILURE;
    *h->yuvParams = *yuv;
    h->yuvParams->layout = nullptr;
    if (copyLayout) {
        h->yuvParams->layout = static_cast<int32_t*>(quvMalloc(size_t(yuv->layoutLength), 4));
        if (!h->yuvParams->layout) return CLR_FAILURE;
        std::memcpy(h->yuvParams->layout, yuv->layout, 4 * size_t(yuv->layoutLength));
    }
    return CLR_SUCCESS;
}

ClrStatus keepLabParams(ClrHandle* h, const ClrLabParams* lab, MemoryProbe& probe) {
    if (!probe.readable(lab, sizeof lab->size)) return CLR_BAD_POINTER;
    if (lab->size != sizeof(ClrLabParams)) return CLR_INVALID_STRUCT_SIZE;
    if (!probe.readable(lab, sizeof *lab)) return CLR_BAD_POINTER;
    auto* decode = static_cast<kernels::LabDecodeTables*>(quvMalloc(1, sizeof(kernels::LabDecodeTables)));
    if (!decode) return CLR_NO_MEMORY;
    h->labFromTable = decode;
    auto* encode = static_cast<kernels::LabEncodeTables*>(quvMalloc(1, sizeof(kernels::LabEncodeTables)));
    if (!encode) return CLR_NO_MEMORY;
    h->labToTable = encode;
    kernels::initLabDecodeTables(*decode, *lab);
    kernels::deriveLabDecodeTables(*decode, h->gamma);
    kernels::initLabEncodeTables(*encode, *lab, h->gamma);
    return CLR_SUCCESS;
}

// Formats the built-in ICC transform can take: RGB, BGR, CMYK, YCCK, CMY, Lab.
bool hasIccFormat(uint32_t space) { return space <= ClrSpaceBgr && kernels::iccFormat(space) != 0; }

}  // namespace

ClrStatus applyInitParams(ClrHandle* h, uint32_t source, uint32_t dest, ClrParams* p, MemoryProbe& probe) {
    h->whitePoint = static_cast<ClrWhitePoint*>(quvMalloc(1, sizeof(ClrWhitePoint)));
    if (!h->whitePoint) return CLR_NO_MEMORY;
    if (p->whitePoint) {
        if (!probe.readable(p->whitePoint, sizeof(ClrWhitePoint))) return CLR_BAD_POINTER;
        *h->whitePoint = *p->whitePoint;
    } else {
        *h->whitePoint = {50, 0.0, 0.0};
    }

    if (p->methodMask == CLR_METHOD_AUTO && p->activeMethod == CLR_METHOD_AUTO) {
        if (!probe.writable(p, CLR_PARAMS_SIZE_NO_FLAGS)) return CLR_BAD_POINTER;
        p->activeMethod = p->methodMask = automaticMethod(source, dest);
    }
    if (!(p->methodMask & kServableMethods) || !(p->activeMethod & p->methodMask)) return CLR_INVALID_METHOD;

    h->activeMethod = p->activeMethod;
    h->methodMask = p->methodMask;
    h->gamma = kernels::kLabGamma;
    const bool oneStage = source == dest || either(source, dest, ClrSpaceRgb) || either(source, dest, ClrSpaceBgr) ||
                          either(source, dest, ClrSpaceLab) || source == ClrSpaceXyz;
    h->stageCount = oneStage ? 1 : 2;

    if ((h->methodMask & CLR_METHOD_ICC) && oneStage) {
        if (!hasIccFormat(source) || !hasIccFormat(dest)) return CLR_INVALID_SPACE;
        h->inputFormat = kernels::iccFormat(source);
        h->outputFormat = kernels::iccFormat(dest);
        ClrStatus status;
        h->iccTransform = icc::buildTransform(h->inputFormat, h->outputFormat, iccFlags(p) & icc::kEngineFlagMask,
                                              {}, {}, &status);
        if (status != CLR_SUCCESS) return status;
    }
    if (!oneStage) {
        h->inputFormat = source;
        h->outputFormat = dest;
    }
    if (h->methodMask & CLR_METHOD_CUSTOM_ICC) {
        h->stageCount = 1;
        if (ClrStatus s = makeCustomTransform(h, p, source, dest, probe); s != CLR_SUCCESS) return s;
    }
    const kernels::EmulationPair pair = kernels::emulationPair(source, dest);
    if (h->methodMask & CLR_METHOD_EMULATION) h->emulationTable = kernels::builtinTable(pair);
    if (h->methodMask & CLR_METHOD_CUSTOM_EMULATION) {
        if (!namesFile(p->emulationTablePath) || pathLength(p->emulationTablePath) >= kHandlePathChars)
            return CLR_FILE_NOT_FOUND;
        copyPath(h->emulationPath, p->emulationTablePath);
        if (const int32_t kind = kernels::tableKind(pair)) {
            uint8_t* table = nullptr;
            const ClrStatus loaded = loadEmulationTable(h->emulationPath, &table, kind);
            h->customTable = table;
            if (loaded > 1) return CLR_FILE_READ_FAILED;
            if (loaded != CLR_SUCCESS) return loaded;
        }
    }

    if (either(source, dest, ClrSpaceCmyk) && p->cmykParams)
        if (ClrStatus s = keepCmykParams(h, p->cmykParams, probe); s != CLR_SUCCESS) return s;
    if (either(source, dest, ClrSpaceYuv) && p->yuvParams)
        if (ClrStatus s = keepYuvParams(h, p->yuvParams, probe); s != CLR_SUCCESS) return s;
    if (either(source, dest, ClrSpaceLab) && p->labParams)
        if (ClrStatus s = keepLabParams(h, p->labParams, probe); s != CLR_SUCCESS) return s;
    if (either(source, dest, ClrSpaceYcck))
        if (ClrStatus s = attachYcckTables(h); s != CLR_SUCCESS) return s;
    return CLR_SUCCESS;
}

}  // namespace quv

namespace quv {
namespace {

// Update bits of methodMask in Quv_ClrSetConversionParams.
constexpr uint32_t kUpdateMethod = 1, kUpdateProfiles = 2, kUpdateWhitePoint = 4, kUpdateEmulationFile = 8,
                   kUpdateCmyk = 16, kUpdateYuv = 32, kUpdateLab = 64;

bool handleHas(const ClrHandle* h, uint32_t space) { return h->sourceSpace == space || h->destSpace == space; }

// A stored profile with the length a rebuild hands over. A length beyond
// the stored bytes would make the engine read past them: refused as the
// unreadable bytes the builder reports.
bool storedSource(const ClrProfileBlock* block, uint64_t length, const ClrWChar* path, icc::ProfileSource* source) {
    *source = {path, block ? block->data : nullptr, static_cast<uint32_t>(length)};
    return !block || length <= block->length;
}

uint64_t blockLength(const ClrProfileBlock* block, MemoryProbe& probe) {
    return block && probe.readable(block, sizeof *block) ? block->length : 0;
}

// Closes `slot` and makes it again from the handle's stored paths and
// blocks with the given lengths; the slot holds the result, null on failure.
ClrStatus rebuild(ClrHandle* h, void** slot, uint32_t flags, uint64_t inputLength, uint64_t outputLength) {
    icc::deleteTransform(*slot);
    *slot = nullptr;
    icc::ProfileSource in, out;
    if (!storedSource(h->inputProfileBlock, inputLength, h->inputProfilePath, &in) ||
        !storedSource(h->outputProfileBlock, outputLength, h->outputProfilePath, &out))
        return CLR_INVALID_PARAMETER;
    ClrStatus status;
    *slot = icc::buildTransform(h->inputFormat, h->outputFormat, flags, in, out, &status);
    return status;
}

ClrStatus updateYuv(ClrHandle* h, const ClrYuvParams* yuv, MemoryProbe& probe) {
    if (!probe.readable(yuv, sizeof yuv->size) || !probe.readable(yuv, std::min<uint32_t>(yuv->size, sizeof *yuv)))
        return CLR_BAD_POINTER;
    ClrYuvParams* kept = h->yuvParams;
    if (!kept) {
        // The first update keeps the caller's layout array itself.
        kept = static_cast<ClrYuvParams*>(quvMalloc(1, sizeof(ClrYuvParams)));
        if (!kept) return CLR_NO_MEMORY;
        std::memcpy(kept, yuv, sizeof *kept);
        h->yuvParams = kept;
        h->yuvLayoutBorrowed = 1;
        return CLR_SUCCESS;
    }
    const uint32_t mask = yuv->updateMask;
    if (mask & 1) kept->uHorizontal = yuv->uHorizontal;
    if (mask & 2) kept->uVertical = yuv->uVertical;
    if (mask & 4) kept->vHorizontal = yuv->vHorizontal;
    if (mask & 8) kept->vVertical = yuv->vVertical;
    if ((mask & 16) && yuv->layout && kept->layout) {
        // A byte count: layoutLength bytes from a 48-byte record, macroPixelSize
        // from a shorter one; never more than the stored array holds.
        const int32_t bytes = yuv->size >= sizeof(ClrYuvParams) ? yuv->layoutLength : yuv->macroPixelSize;
        const size_t room = kept->layoutLength > 0 ? 4 * size_t(kept->layoutLength) : 0;
        const size_t n = std::min(bytes > 0 ? size_t(bytes) : 0, room);
        if (!probe.readable(yuv->layout, n)) return CLR_BAD_POINTER;
        std::memmove(kept->layout, yuv->layout, n);
    }
    if (mask & 32) kept->macroPixelSize = yuv->macroPixelSize;
    if (mask & 64) kept->fullRange = yuv->fullRange;
    return CLR_SUCCESS;
}

}  // namespace
}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_ClrSetConversionParams(ClrHandle* handle, ClrParams* p) {
    if (!p) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!probe.readable(p, sizeof p->size)) return CLR_BAD_POINTER;
    if (p->size != CLR_PARAMS_SIZE && p->size != CLR_PARAMS_SIZE_NO_FLAGS) return CLR_INVALID_STRUCT_SIZE;
    if (!handle) return CLR_INVALID_PARAMETER;
    const bool registered = registryHolds(handle);
    if (!probe.readable(p, p->size) || (!registered && !probe.readable(handle, CLR_HANDLE_SIZE))) return CLR_BAD_POINTER;
    if (!registered) return CLR_INVALID_HANDLE;
    ClrHandle* h = handle;
    const uint32_t updates = p->methodMask;

    if (updates & kUpdateMethod) {
        const uint32_t m = p->activeMethod;
        const bool single = m == CLR_METHOD_BUILTIN || m == CLR_METHOD_ICC || m == CLR_METHOD_CUSTOM_ICC ||
                            m == CLR_METHOD_EMULATION;
        if (single && !(m & h->methodMask)) return CLR_INVALID_METHOD;
        h->activeMethod = m;
    }

    // What steps 16 and 32 make is given back if a later allocation fails.
    ClrCmykParams* madeCmyk = nullptr;
    ClrYuvParams* madeYuv = nullptr;
    auto dropMade = [&] {
        if (madeCmyk) {
            quvFree(madeCmyk);
            h->cmykParams = nullptr;
        }
        if (madeYuv) {
            quvFree(madeYuv);
            h->yuvParams = nullptr;
            h->yuvLayoutBorrowed = 0;
        }
    };

    if (updates & kUpdateCmyk) {
        if (!handleHas(h, ClrSpaceCmyk)) return CLR_INVALID_METHOD;
        if (!p->cmykParams) return CLR_INVALID_PARAMETER;
        if (!probe.readable(p->cmykParams, sizeof(ClrCmykParams))) return CLR_BAD_POINTER;
        if (!h->cmykParams) {
            madeCmyk = static_cast<ClrCmykParams*>(quvMalloc(1, sizeof(ClrCmykParams)));
            if (!madeCmyk) return CLR_NO_MEMORY;
            *madeCmyk = *p->cmykParams;
            h->cmykParams = madeCmyk;
        } else if (p->cmykParams->updateMask & 1) {
            h->cmykParams->gcrLevel = p->cmykParams->gcrLevel;
        }
    }

    if (updates & kUpdateYuv) {
        if (!handleHas(h, ClrSpaceYuv)) return CLR_INVALID_METHOD;
        if (!p->cmykParams) return CLR_INVALID_PARAMETER;  // this step looks at the CMYK pointer
        if (!p->yuvParams) return CLR_INVALID_PARAMETER;    // and a null YUV record can't be read
        const bool hadYuv = h->yuvParams != nullptr;
        ClrStatus s = updateYuv(h, p->yuvParams, probe);
        if (s == CLR_NO_MEMORY) dropMade();
        if (s != CLR_SUCCESS) return s;
        if (!hadYuv) madeYuv = h->yuvParams;
    }

    if (updates & kUpdateLab) {
        if (!handleHas(h, ClrSpaceLab)) return CLR_INVALID_METHOD;
        if (!p->labParams) return CLR_INVALID_PARAMETER;
        auto* t = static_cast<kernels::LabDecodeTables*>(h->labFromTable);
        if (t) {
            const ClrLabParams* lab = p->labParams;
            if (!probe.readable(lab, sizeof *lab)) return CLR_BAD_POINTER;
            const uint32_t mask = lab->updateMask;
            if (mask & 1) t->lOffset = lab->lOffset;
            if (mask & 2) t->lRange = lab->lRange;
            if (mask & 4) t->aOffset = lab->aOffset;
            if (mask & 8) t->aRange = lab->aRange;
            if (mask & 16) t->bOffset = lab->bOffset;
            if (mask & 32) t->bRange = lab->bRange;
        } else {
            // The first update makes the decode record with its own white and
            // default ranges; the caller's values are not read.
            t = static_cast<kernels::LabDecodeTables*>(quvMalloc(1, sizeof(kernels::LabDecodeTables)));
            if (!t) {
                dropMade();
                return CLR_NO_MEMORY;
            }
            kernels::initLabDecodeTablesForUpdate(*t);
            h->labFromTable = t;
        }
        kernels::deriveLabDecodeTables(*t, h->gamma);
    }

    if (updates & kUpdateWhitePoint) {
        if (!p->whitePoint) return CLR_INVALID_PARAMETER;
        if (!probe.readable(p->whitePoint, sizeof(ClrWhitePoint))) return CLR_BAD_POINTER;
        auto replaceWhite = [&] {
            if (!h->whitePoint) h->whitePoint = static_cast<ClrWhitePoint*>(quvMalloc(1, sizeof(ClrWhitePoint)));
            if (!h->whitePoint) return false;
            *h->whitePoint = *p->whitePoint;
            return true;
        };
        const uint32_t method = h->activeMethod;
        if (method == CLR_METHOD_BUILTIN || method == CLR_METHOD_EMULATION) {
            if (!replaceWhite()) return CLR_NO_MEMORY;
        } else if (method == CLR_METHOD_CUSTOM_ICC || method == CLR_METHOD_ICC) {
            if (!replaceWhite()) return CLR_NO_MEMORY;
            if (updates & kUpdateProfiles) {
                copyPath(h->inputProfilePath, p->inputProfilePath);
                copyPath(h->outputProfilePath, p->outputProfilePath);
            }
            ClrStatus s;
            if (method == CLR_METHOD_CUSTOM_ICC) {
                // The input length comes from the stored block unless the new
                // white point is custom; the output length always from the record.
                const uint64_t inLength = p->whitePoint->code != 0 ? blockLength(h->inputProfileBlock, probe)
                                                                   : blockLength(p->inputProfileBlock, probe);
                s = rebuild(h, &h->customTransform, (iccFlags(p) & icc::kEngineFlagMask) | icc::kCustomProfiles,
                            inLength, blockLength(p->outputProfileBlock, probe));
            } else {
                s = rebuild(h, &h->iccTransform, iccFlags(p) & icc::kEngineFlagMask, 0, 0);
            }
            if (s != CLR_SUCCESS) return s;
        }
    }

    if (updates & kUpdateProfiles) {
        copyPath(h->inputProfilePath, p->inputProfilePath);
        copyPath(h->outputProfilePath, p->outputProfilePath);
        ClrStatus s = rebuild(h, &h->customTransform, (iccFlags(p) & icc::kEngineFlagMask) | icc::kCustomProfiles,
                              blockLength(h->inputProfileBlock, probe), blockLength(h->outputProfileBlock, probe));
        if (s != CLR_SUCCESS) return s;
    }

    if (updates & kUpdateEmulationFile) {
        copyPath(h->emulationPath, p->emulationTablePath);
        quvFree(h->customTable);
        h->customTable = nullptr;
        // Unlike init, an update loads no table for BGR to Lab nor for Lab to RGB.
        const kernels::EmulationPair pair = kernels::emulationPair(h->sourceSpace, h->destSpace);
        if (pair == kernels::EmulationPair::CmykToRgb ||
            (pair == kernels::EmulationPair::RgbToLab && h->sourceSpace == ClrSpaceRgb)) {
            uint8_t* table = nullptr;
            loadEmulationTable(h->emulationPath, &table, kernels::tableKind(pair));  // its status is not reported
            h->customTable = table;
        }
    }
    return CLR_SUCCESS;
}
