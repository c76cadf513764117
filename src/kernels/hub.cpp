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

namespace {

// Byte k of a 48-byte block of 16 swapped pixels comes from source byte
// k + 2 - 2 (k mod 3). The mask picks, for output vector `out`, the bytes that
// come from source vector `in`; 0x80 clears the others.
struct SwapMasks {
    alignas(16) uint8_t bytes[3][3][16];
};

constexpr SwapMasks makeSwapMasks() {
    SwapMasks m{};
    for (int out = 0; out < 3; ++out)
        for (int j = 0; j < 16; ++j) {
            const int k = 16 * out + j;
            const int from = k + 2 - 2 * (k % 3);
            for (int in = 0; in < 3; ++in) m.bytes[out][in][j] = static_cast<uint8_t>(from / 16 == in ? from % 16 : 0x80);
        }
    return m;
}

constexpr SwapMasks kSwapMasks = makeSwapMasks();

}  // namespace

// Sixteen pixels a step: three 16-byte loads, then three stores that never
// overlap a later load, so buffers whose addresses agree modulo the page size
// don't stall store forwarding. All loads of a step precede its stores, which
// keeps an in-place swap correct.
__attribute__((target("ssse3"))) void swapRunSsse3(const uint8_t* src, uint8_t* dst, size_t pixels) {
    auto mask = [](int out, int in) {
        return _mm_load_si128(reinterpret_cast<const __m128i*>(kSwapMasks.bytes[out][in]));
    };
    const __m128i m00 = mask(0, 0), m01 = mask(0, 1);
    const __m128i m10 = mask(1, 0), m11 = mask(1, 1), m12 = mask(1, 2);
    const __m128i m21 = mask(2, 1), m22 = mask(2, 2);
    size_t i = 0;
    for (; i + 16 <= pixels; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 3 * i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 3 * i + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 3 * i + 32));
        const __m128i o0 = _mm_or_si128(_mm_shuffle_epi8(a, m00), _mm_shuffle_epi8(b, m01));
        const __m128i o1 = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, m10), _mm_shuffle_epi8(b, m11)),
                                        _mm_shuffle_epi8(c, m12));
        const __m128i o2 = _mm_or_si128(_mm_shuffle_epi8(b, m21), _mm_shuffle_epi8(c, m22));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 3 * i), o0);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 3 * i + 16), o1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 3 * i + 32), o2);
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
