#include "frame/narrow.h"

#include "platform/module_loader.h"
#include "platform/probe.h"
#include "platform/text.h"

#include <cstring>

namespace quv {
namespace {

// The caller's field need not be terminated: it is read to its 264 bytes.
void pathToWide(const char (&narrow)[CLR_PATH_CHARS], ClrWChar (&wide)[CLR_PATH_CHARS]) {
    wide[0] = 0;
    const std::u16string text = utf8ToUtf16(std::string_view(narrow, strnlen(narrow, CLR_PATH_CHARS)));
    if (text.size() < CLR_PATH_CHARS) std::memcpy(wide, text.c_str(), (text.size() + 1) * sizeof(ClrWChar));
}

void pathToNarrow(const ClrWChar (&wide)[CLR_PATH_CHARS], char (&narrow)[CLR_PATH_CHARS]) {
    ClrWChar terminated[CLR_PATH_CHARS + 1];
    std::memcpy(terminated, wide, sizeof wide);
    terminated[CLR_PATH_CHARS] = 0;
    if (wideToNarrowField(terminated, narrow, CLR_PATH_CHARS) == CLR_BUFFER_TOO_SMALL) narrow[0] = 0;
}

}  // namespace

void forwardRecord(const ClrParamsA& narrow, ClrParams* wide) {
    std::memset(wide, 0, sizeof *wide);
    wide->size = CLR_PARAMS_SIZE;
    wide->activeMethod = narrow.activeMethod;
    wide->whitePoint = narrow.whitePoint;
    pathToWide(narrow.inputProfilePath, wide->inputProfilePath);
    wide->inputProfileBlock = narrow.inputProfileBlock;
    pathToWide(narrow.outputProfilePath, wide->outputProfilePath);
    wide->outputProfileBlock = narrow.outputProfileBlock;
    pathToWide(narrow.emulationTablePath, wide->emulationTablePath);
    wide->cmykParams = narrow.cmykParams;
    wide->yuvParams = narrow.yuvParams;
    wide->labParams = narrow.labParams;
    wide->methodMask = narrow.methodMask;
    wide->emulationKind = narrow.emulationKind;
}

void copyBack(const ClrParams& wide, ClrParamsA* narrow) {
    narrow->size = wide.size;
    narrow->activeMethod = wide.activeMethod;
    narrow->whitePoint = wide.whitePoint;
    pathToNarrow(wide.inputProfilePath, narrow->inputProfilePath);
    narrow->inputProfileBlock = wide.inputProfileBlock;
    pathToNarrow(wide.outputProfilePath, narrow->outputProfilePath);
    narrow->outputProfileBlock = wide.outputProfileBlock;
    pathToNarrow(wide.emulationTablePath, narrow->emulationTablePath);
    narrow->cmykParams = wide.cmykParams;
    narrow->yuvParams = wide.yuvParams;
    narrow->labParams = wide.labParams;
    narrow->methodMask = wide.methodMask;
    narrow->emulationKind = wide.emulationKind;
}

bool narrowRecordReadable(const ClrParamsA* record) {
    MemoryProbe probe;
    return probe.readable(record, sizeof *record);
}

}  // namespace quv

extern "C" QUV_API ClrStatus Quv_ClrInitA(ClrHandle** handle, ClrSpace source, ClrSpace dest, ClrParamsA* params) {
    if (!params) return Quv_ClrInit(handle, source, dest, nullptr);
    if (!quv::narrowRecordReadable(params)) return CLR_BAD_POINTER;
    ClrParams wide;
    quv::forwardRecord(*params, &wide);
    return Quv_ClrInit(handle, source, dest, &wide);
}

extern "C" QUV_API ClrStatus Quv_ClrSetConversionParamsA(ClrHandle* handle, ClrParamsA* params) {
    if (!params) return Quv_ClrSetConversionParams(handle, nullptr);
    if (!quv::narrowRecordReadable(params)) return CLR_BAD_POINTER;
    ClrParams wide;
    quv::forwardRecord(*params, &wide);
    return Quv_ClrSetConversionParams(handle, &wide);
}

extern "C" QUV_API ClrStatus QUV_Load(void*, void* first, void* second, void* third, uint32_t reserved) {
    return quv::quvLoaderHook(reinterpret_cast<void*>(&QUV_Load), first, second, third, reserved);
}
