#include "containers/png_codec.h"

#include "platform/memory.h"
#include "platform/module_loader.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace quv {
namespace {

const ModuleLoader& pngCodec() {
    static ModuleLoader loader;
    static std::once_flag once;
    std::call_once(once, [] {
        if (loader.loadLibrary(kPngCodecModule)) loader.addFunction(kPngExtractFunction);
    });
    return loader;
}

}  // namespace

ClrStatus extractPngProfile(QuvFile file, IccProfile* profile) {
    const ModuleLoader& codec = pngCodec();
    if (!codec.isFunctionOk(kPngExtractFunction)) return CLR_CODEC_MISSING;
    auto extract = reinterpret_cast<PngExtractICCProfileFn>(codec.getFunction(kPngExtractFunction));
    uint8_t* data = nullptr;
    uint64_t size = 0;
    const ClrStatus status = extract(file, &data, &size);
    if (status != CLR_SUCCESS) return status;
    // The module's block comes from the C heap (it cannot reach ours); the
    // caller's copy from the shared family.
    auto* bytes = static_cast<uint8_t*>(quvSharedAlloc(size, 1));
    if (bytes) std::memcpy(bytes, data, size);
    std::free(data);
    if (!bytes) return CLR_FAILURE;
    profile->image = bytes;
    profile->dataSize = size;
    return CLR_SUCCESS;
}

}  // namespace quv
