// TIFF tags through libtiff: reading from any byte source, and rewriting the
// first directory of a copy that then replaces the file.
#include "platform/image_file.h"

#include <tiffio.h>

#include <memory>

namespace quv {
namespace {

ByteSource& sourceOf(thandle_t h) { return *static_cast<ByteSource*>(h); }

tmsize_t readProc(thandle_t h, void* buffer, tmsize_t size) {
    return size < 0 ? -1 : static_cast<tmsize_t>(sourceOf(h).read(buffer, static_cast<size_t>(size)));
}
tmsize_t writeProc(thandle_t, void*, tmsize_t) { return -1; }
toff_t seekProc(thandle_t h, toff_t offset, int whence) {
    const int origin = whence == SEEK_CUR ? 1 : whence == SEEK_END ? 2 : 0;
    const int64_t at = sourceOf(h).seek(static_cast<int64_t>(offset), origin);
    return at < 0 ? static_cast<toff_t>(-1) : static_cast<toff_t>(at);
}
int closeProc(thandle_t) { return 0; }
toff_t sizeProc(thandle_t h) {
    const int64_t n = sourceOf(h).size();
    return n < 0 ? 0 : static_cast<toff_t>(n);
}
int mapProc(thandle_t, void**, toff_t*) { return 0; }
void unmapProc(thandle_t, void*, toff_t) {}

// libtiff's complaints about a damaged file are not ours to print: the
// status says it.
int quiet(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct OptionsDeleter {
    void operator()(TIFFOpenOptions* o) const { TIFFOpenOptionsFree(o); }
};
struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

std::unique_ptr<TIFFOpenOptions, OptionsDeleter> quietOptions() {
    std::unique_ptr<TIFFOpenOptions, OptionsDeleter> options(TIFFOpenOptionsAlloc());
    if (options) {
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), quiet, nullptr);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), quiet, nullptr);
    }
    return options;
}

}  // namespace

ClrStatus readTiffTag(ByteSource& source, uint32_t tag, const std::function<uint8_t*(uint32_t)>& allocate) {
    auto options = quietOptions();
    if (!options) return CLR_FAILURE;
    // "m": no memory mapping, the source is read through the procedures.
    TiffPtr tiff(TIFFClientOpenExt("source", "rm", &source, readProc, writeProc, seekProc, closeProc, sizeProc,
                                   mapProc, unmapProc, options.get()));
    if (!tiff) return CLR_INVALID_FORMAT;
    uint32_t count = 0;
    const uint8_t* value = nullptr;
    if (TIFFGetField(tiff.get(), tag, &count, &value) != 1 || !value) return CLR_NO_PROFILE_IN_FILE;
    uint8_t* target = allocate(count);
    if (!target) return CLR_FAILURE;
    std::copy(value, value + count, target);
    return CLR_SUCCESS;
}

ClrStatus rewriteTiffTag(const ClrWChar* path, uint32_t tag, uint32_t count, const uint8_t* data) {
    std::string name;
    if (!quvNarrowPath(path, &name)) return CLR_FILE_NOT_FOUND;
    const QuvFile in = quvFileOpen(path, kOpenRead, kShareRead);
    if (in == kBadFile) return CLR_FILE_OPEN_FAILED;
    ReplacementFile out(name);
    if (!out.ok()) {
        quvFileClose(in);
        return CLR_FILE_CREATE_FAILED;
    }
    {
        // A byte copy first: libtiff then changes only the directory of the
        // copy, leaving strips and tiles where they are.
        std::vector<uint8_t> block(1 << 16);
        int64_t n;
        while ((n = quvFileRead(in, block.data(), block.size())) > 0)
            if (!out.write(block.data(), static_cast<size_t>(n))) break;
        quvFileClose(in);
        if (n != 0) return n < 0 ? CLR_FILE_READ_FAILED : CLR_FILE_WRITE_FAILED;
    }
    out.closeDescriptor();

    auto options = quietOptions();
    if (!options) return CLR_FAILURE;
    TiffPtr tiff(TIFFOpenExt(out.path().c_str(), "r+", options.get()));
    if (!tiff) return CLR_INVALID_FORMAT;
    const int set = count ? TIFFSetField(tiff.get(), tag, count, data) : TIFFUnsetField(tiff.get(), tag);
    if (set != 1 || TIFFRewriteDirectory(tiff.get()) != 1 || TIFFFlush(tiff.get()) != 1)
        return CLR_FILE_WRITE_FAILED;
    tiff.reset();
    return out.commit();
}

}  // namespace quv
