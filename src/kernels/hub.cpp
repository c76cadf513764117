#include "kernels/hub.h"

#include <immintrin.h>

namespace quv::kernels {

void swapRunScalar(const uint8_t* src, uint8_t* dst, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, src += 3, dst += 3) {
        const uint8_t b0 = src[0], b1 = src[1], b2 = src[2];
        dst[0] = b2;
        dst[1] = b1;
        dst[2] = b0;
    }
}

// Five pixels per step: a 16-byte load at a 15-byte stride, shuffled, and
// stored back with its 16th byte unchanged, which the next step rewrites.
__attribute__((target("ssse3"))) void swapRunSsse3(const uint8_t* src, uint8_t* dst, size_t pixels) {
    const __m128i mask = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    size_t i = 0;
    // 16 bytes must stay inside the run: 6 pixels or more remain.
    for (; i + 6 <= pixels; i += 5) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 3 * i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 3 * i), _mm_shuffle_epi8(v, mask));
    }
    swapRunScalar(src + 3 * i, dst + 3 * i, pixels - i);
}

bool cpuHasSsse3() {
    static const bool has = (__builtin_cpu_init(), __builtin_cpu_supports("ssse3"));
    return has;
}

namespace {

void swapRun(const uint8_t* src, uint8_t* dst, size_t pixels) {
    const size_t bytes = 3 * pixels;
    const bool apart = src + bytes <= dst || dst + bytes <= src;
    if ((src == dst || apart) && cpuHasSsse3())
        swapRunSsse3(src, dst, pixels);
    else
        swapRunScalar(src, dst, pixels);
}

}  // namespace

ClrStatus swapRedBlue(const KernelIo& io) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, 3 * w, 3 * w);
    if (proved != CLR_SUCCESS || io.height < 1) return proved;
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);
    if (sp == 0 && dp == 0) {
        swapRun(io.src, io.dst, static_cast<size_t>(w) * static_cast<size_t>(io.height));
        return CLR_SUCCESS;
    }
    const uint8_t* s = io.src;
    uint8_t* d = io.dst;
    for (int32_t y = 0; y < io.height; ++y, s += 3 * w + sp, d += 3 * w + dp)
        swapRun(s, d, static_cast<size_t>(w));
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
