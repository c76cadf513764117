// The PNG codec module: the iCCP profile of a PNG file through libpng. Loaded
// by libquvclr.so at run time; the library itself does not link libpng.
#include <png.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

// Statuses shared with the library.
constexpr int32_t kSuccess = 1, kFailure = -1, kInvalidFormat = -9, kNoProfile = -812;

void quietWarning(png_structp, png_const_charp) {}
void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }

}  // namespace

// Reads the PNG at the descriptor's present position. 1 with a malloc'd copy
// of the profile in *data and its length in *size; -812 without an iCCP
// chunk; -9 for a file libpng refuses; -1 when memory runs out.
extern "C" __attribute__((visibility("default"))) int32_t PngExtractICCProfile(intptr_t file, uint8_t** data,
                                                                                uint64_t* size) {
    if (!data || !size) return kFailure;
    *data = nullptr;
    *size = 0;
    const int fd = dup(static_cast<int>(file));
    if (fd < 0) return kFailure;
    FILE* stream = fdopen(fd, "rb");
    if (!stream) {
        close(fd);
        return kFailure;
    }
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, quietWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    volatile int32_t status = kInvalidFormat;
    if (png && info && !setjmp(png_jmpbuf(png))) {
        png_init_io(png, stream);
        png_read_info(png, info);
        png_charp name = nullptr;
        int compression = 0;
        png_bytep profile = nullptr;
        png_uint_32 length = 0;
        if (png_get_iCCP(png, info, &name, &compression, &profile, &length) != PNG_INFO_iCCP || !profile) {
            status = kNoProfile;
        } else if ((*data = static_cast<uint8_t*>(std::malloc(length ? length : 1))) == nullptr) {
            status = kFailure;
        } else {
            std::memcpy(*data, profile, length);
            *size = length;
            status = kSuccess;
        }
    }
    png_destroy_read_struct(png ? &png : nullptr, info ? &info : nullptr, nullptr);
    std::fclose(stream);
    return status;
}
