// Eight pixels at a time with AVX2: loads that spread eight packed pixels
// over one vector of 32-bit lanes per channel, the stores that pack them
// back, and a row walk that runs whole groups of eight through a vector body
// and the rest through the kernel's per-pixel body. The vector bodies do the
// per-pixel body's arithmetic (the same double operations in the same order,
// or integer forms the exhaustive tests prove equal), so the bytes match.
#pragma once

#include "kernels/kernel.h"

#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#define QUV_AVX2 __attribute__((target("avx2"))) inline

namespace quv::kernels::avx2 {

struct Lanes {
    __m256i c0, c1, c2, c3;  // c3 only for four-byte pixels
};

template <int Bytes, int K>
QUV_AVX2 __m256i spreadMask() {
    constexpr char a = K, b = K + Bytes, c = K + 2 * Bytes, d = K + 3 * Bytes;
    return _mm256_setr_epi8(a, -1, -1, -1, b, -1, -1, -1, c, -1, -1, -1, d, -1, -1, -1,  //
                            a, -1, -1, -1, b, -1, -1, -1, c, -1, -1, -1, d, -1, -1, -1);
}

// Eight 3-byte pixels; reads 28 bytes, four past the group.
QUV_AVX2 Lanes load3(const uint8_t* s) {
    const __m256i v = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s))),
                                              _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 12)), 1);
    return {_mm256_shuffle_epi8(v, spreadMask<3, 0>()), _mm256_shuffle_epi8(v, spreadMask<3, 1>()),
            _mm256_shuffle_epi8(v, spreadMask<3, 2>()), _mm256_setzero_si256()};
}

// Eight 4-byte pixels.
QUV_AVX2 Lanes load4(const uint8_t* s) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
    return {_mm256_shuffle_epi8(v, spreadMask<4, 0>()), _mm256_shuffle_epi8(v, spreadMask<4, 1>()),
            _mm256_shuffle_epi8(v, spreadMask<4, 2>()), _mm256_shuffle_epi8(v, spreadMask<4, 3>())};
}

// Lanes that hold bytes (0 to 255) as 3-byte pixels; writes exactly 24 bytes.
QUV_AVX2 void store3Bytes(uint8_t* d, __m256i a, __m256i b, __m256i c) {
    const __m256i packed = _mm256_or_si256(a, _mm256_or_si256(_mm256_slli_epi32(b, 8), _mm256_slli_epi32(c, 16)));
    const __m256i squeeze = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                             0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i rows = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(packed, squeeze),
                                                     _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(rows));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm256_extracti128_si256(rows, 1));
}

// The low bytes of any lanes as 3-byte pixels.
QUV_AVX2 void store3(uint8_t* d, __m256i a, __m256i b, __m256i c) {
    const __m256i byte = _mm256_set1_epi32(0xff);
    store3Bytes(d, _mm256_and_si256(a, byte), _mm256_and_si256(b, byte), _mm256_and_si256(c, byte));
}

QUV_AVX2 void store4(uint8_t* d, __m256i a, __m256i b, __m256i c, __m256i k) {
    const __m256i byte = _mm256_set1_epi32(0xff);
    const __m256i lo = _mm256_or_si256(_mm256_and_si256(a, byte), _mm256_slli_epi32(_mm256_and_si256(b, byte), 8));
    const __m256i hi = _mm256_or_si256(_mm256_slli_epi32(_mm256_and_si256(c, byte), 16), _mm256_slli_epi32(k, 24));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), _mm256_or_si256(lo, hi));
}

// n / d toward zero through single precision: exact while n and d are below
// 2^24 and the quotient is small enough that its rounding error stays under
// 1/d (every use is checked over its whole input range by the tests).
QUV_AVX2 __m256i divSmall(__m256i n, __m256i d) {
    return _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(n), _mm256_cvtepi32_ps(d)));
}

QUV_AVX2 __m256i splat(int32_t v) { return _mm256_set1_epi32(v); }
QUV_AVX2 __m256i select(__m256i mask, __m256i ifSet, __m256i otherwise) {
    return _mm256_blendv_epi8(otherwise, ifSet, mask);
}

// The low and high four lanes as doubles, and back with truncation.
QUV_AVX2 __m256d lowHalf(__m256i v) { return _mm256_cvtepi32_pd(_mm256_castsi256_si128(v)); }
QUV_AVX2 __m256d highHalf(__m256i v) { return _mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)); }
QUV_AVX2 __m256i truncHalves(__m256d lo, __m256d hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(lo)), _mm256_cvttpd_epi32(hi), 1);
}
// clamp(x, lo, hi) for values that are never NaN.
QUV_AVX2 __m256d clampPd(__m256d x, double lo, double hi) {
    return _mm256_min_pd(_mm256_max_pd(x, _mm256_set1_pd(lo)), _mm256_set1_pd(hi));
}

// Runs every row: groups of eight through `body`, the rest through `pixel`.
// A row whose destination overlaps its source other than by trailing it (or
// lying on it with pixels no wider) goes pixel by pixel, so each pixel is
// read before anything writes over it, as the per-pixel walk does. A body
// returning false leaves its group (and the rest of the row) to `pixel`; a
// pixel body returning false stops the walk, and the walk returns false.
template <int SrcBytes, int DstBytes, class Body, class Pixel>
__attribute__((target("avx2"))) bool walkGroups(const KernelIo& io, const Body& body, Pixel& pixel) {
    constexpr int32_t kLookAhead = SrcBytes == 3 ? 2 : 0;  // pixels a 3-byte load reads past its group
    const int32_t width = io.width > 0 ? io.width : 0, height = io.height;
    const uint8_t* s = io.src;
    uint8_t* d = io.dst;
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);
    const int64_t srcRow = int64_t{SrcBytes} * width, dstRow = int64_t{DstBytes} * width;
    Warming warming(io.ahead, uint64_t(width / 8) * uint64_t(height > 0 ? height : 0));
    for (int32_t y = 0; y < height; ++y, s += srcRow + sp, d += dstRow + dp) {
        const auto sa = reinterpret_cast<uintptr_t>(s), da = reinterpret_cast<uintptr_t>(d);
        const bool apart = da + dstRow <= sa || sa + srcRow <= da || (da <= sa && DstBytes <= SrcBytes);
        int32_t x = 0;
        if (apart)
            for (; x + 8 + kLookAhead <= width; x += 8) {
                if (warming.active()) warming.step();
                if constexpr (std::is_same_v<decltype(body(s, d)), bool>) {
                    if (!body(s + SrcBytes * x, d + DstBytes * x)) break;
                } else {
                    body(s + SrcBytes * x, d + DstBytes * x);
                }
            }
        for (; x < width; ++x) {
            if constexpr (std::is_same_v<decltype(pixel(s, d)), bool>) {
                if (!pixel(s + SrcBytes * x, d + DstBytes * x)) return false;
            } else {
                pixel(s + SrcBytes * x, d + DstBytes * x);
            }
        }
    }
    return true;
}

}  // namespace quv::kernels::avx2

namespace quv::kernels {

// Groups of eight on AVX2, or the per-pixel walk on the baseline.
template <int SrcBytes, int DstBytes, class Body, class Pixel>
inline void runGroups(const KernelIo& io, const Body& body, Pixel&& pixel) {
    if (kernelIsa() >= KernelIsa::Avx2)
        avx2::walkGroups<SrcBytes, DstBytes>(io, body, pixel);
    else
        walkPixelsBaseline<SrcBytes, DstBytes>(io, pixel);
}

// The body of a kernel with a vector form: proofs, then the walk.
template <int SrcBytes, int DstBytes, class Body, class Pixel>
inline ClrStatus mapGroups(const KernelIo& io, const Body& body, Pixel&& pixel) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, SrcBytes * w, DstBytes * w);
    if (proved != CLR_SUCCESS) return proved;
    runGroups<SrcBytes, DstBytes>(io, body, pixel);
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
