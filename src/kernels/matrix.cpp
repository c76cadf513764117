#include "kernels/matrix.h"

#include "kernels/blocks.h"
#include "kernels/reference.h"

#include <utility>

namespace quv::kernels {
namespace {

inline uint8_t toByte(double x, double lo, double hi) { return static_cast<uint8_t>(truncToInt(clamp(x, lo, hi))); }

// Each kernel is a per-pixel body (the formulas as written, which the
// reference walks) and a vector body for groups of eight on AVX2.
template <int R, int B>
struct RgbToYuvPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const double r = s[R], g = s[1], b = s[B];
        const uint8_t y = toByte(0.587 * g + 0.299 * r + 0.114 * b, 0, 255);
        const uint8_t u = toByte((-0.146 * r - 0.288 * g + 0.434 * b + 112.0) / 223.0 * 255.0 + 0.5, 0, 255);
        const uint8_t v = toByte((0.617 * r - 0.517 * g - 0.1 * b + 138.0) / 275.0 * 255.0 + 0.5, 0, 255);
        d[0] = y;
        d[1] = u;
        d[2] = v;
    }
};

// Integer inverse: the chroma bytes are decoded once in floating point, then
// the offsets 112 and 138 are folded into the 15-bit constants.
template <int R, int B>
struct YuvToRgbPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const int32_t y = s[0];
        const int32_t u = truncToInt(s[1] / -255.0 * 223.0);
        const int32_t v = truncToInt(s[2] / -255.0 * 275.0);
        const int32_t r = clamp(((29 * u - 37221 * v - 5133250) >> 15) + y, 0, 255);
        const int32_t g = clamp(((12943 * u + 18940 * v + 4063336) >> 15) + y, 0, 255);
        const int32_t b = clamp(((33 * v - 66883 * u - 7486342) >> 15) + y, 0, 255);
        d[R] = static_cast<uint8_t>(r);
        d[1] = static_cast<uint8_t>(g);
        d[B] = static_cast<uint8_t>(b);
    }
};

template <int R, int B>
struct RgbToYiqPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const double r = s[R], g = s[1], b = s[B];
        const uint8_t y = toByte((0.587 * g + 0.299 * r + 0.114 * b) / 263.0 * 255.0 + 0.5, 0, 255);
        const uint8_t i = toByte((0.596 * r - 0.274 * g - 0.322 * b + 152.0) / 303.0 * 255.0 + 0.5, 0, 255);
        const uint8_t q = toByte((0.212 * r - 0.523 * g + 0.311 * b + 134.0) / 267.0 * 255.0 + 0.5, 0, 255);
        d[0] = y;
        d[1] = i;
        d[2] = q;
    }
};

template <int R, int B>
struct YiqToRgbPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const double y = truncToInt(s[0] / 255.0 * 263.0);
        const double i = truncToInt(s[1] / 255.0 * 303.0 - 152.0);
        const double q = truncToInt(s[2] / 255.0 * 267.0 - 134.0);
        const uint8_t r = toByte(i * 0.956 + y + q * 0.621, 0, 255);
        const uint8_t g = toByte(y - i * 0.272 - q * 0.647, 0, 255);
        const uint8_t b = toByte(y - i * 1.105 + q * 1.702, 0, 255);
        d[R] = r;
        d[1] = g;
        d[B] = b;
    }
};

// Chroma is signed and kept as the low byte of its two's complement.
template <int R, int B>
struct RgbToYcbcrPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const double r = s[R], g = s[1], b = s[B];
        const uint8_t y = toByte(0.299 * r + 0.587 * g + 0.114 * b, 0, 255);
        const uint8_t cb = toByte(-0.16874 * r - 0.33126 * g + 0.5 * b, -128, 127);
        const uint8_t cr = toByte(0.5 * r - 0.41869 * g - 0.08131 * b, -128, 127);
        d[0] = y;
        d[1] = cb;
        d[2] = cr;
    }
};

template <int R, int B>
struct YcbcrToRgbPixel {
    void operator()(const uint8_t* s, uint8_t* d) const {
        const double y = s[0];
        const double cb = static_cast<int8_t>(s[1]);
        const double cr = static_cast<int8_t>(s[2]);
        const uint8_t r = toByte(cr * 1.402 + y, 0, 255);
        const uint8_t g = toByte(y - cb * 0.3441363 - cr * 0.71413636, 0, 255);
        const uint8_t b = toByte(cb * 1.772 + y, 0, 255);
        d[R] = r;
        d[1] = g;
        d[B] = b;
    }
};

using namespace avx2;

QUV_AVX2 __m256d mul(double k, __m256d x) { return _mm256_mul_pd(_mm256_set1_pd(k), x); }
QUV_AVX2 __m256d add(__m256d a, __m256d b) { return _mm256_add_pd(a, b); }
QUV_AVX2 __m256d sub(__m256d a, __m256d b) { return _mm256_sub_pd(a, b); }
QUV_AVX2 __m256d add(__m256d a, double k) { return _mm256_add_pd(a, _mm256_set1_pd(k)); }
// (x / den) x 255 + 0.5, the scaling of the forward kernels' chroma.
QUV_AVX2 __m256d scaled(__m256d x, double den) {
    return add(_mm256_mul_pd(_mm256_div_pd(x, _mm256_set1_pd(den)), _mm256_set1_pd(255.0)), 0.5);
}
QUV_AVX2 __m256d truncPd(__m256d x) { return _mm256_round_pd(x, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }

// A vector body whose formulas are in doubles: F::half maps four pixels'
// channels (in source byte order) to three clamped doubles in destination
// byte order; the two halves of the group are truncated and stored.
template <class F>
struct ByHalves {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        __m256d lo[3], hi[3];
        F::half(lowHalf(p.c0), lowHalf(p.c1), lowHalf(p.c2), lo);
        F::half(highHalf(p.c0), highHalf(p.c1), highHalf(p.c2), hi);
        store3(d, truncHalves(lo[0], hi[0]), truncHalves(lo[1], hi[1]), truncHalves(lo[2], hi[2]));
    }
};

template <int R>
QUV_AVX2 void rgbOut(__m256d* out, __m256d r, __m256d g, __m256d b) {
    out[0] = R == 0 ? r : b;
    out[1] = g;
    out[2] = R == 0 ? b : r;
}

template <int R, int B>
struct RgbToYuvHalf {
    QUV_AVX2 static void half(__m256d c0, __m256d g, __m256d c2, __m256d* out) {
        const __m256d r = R == 0 ? c0 : c2, b = R == 0 ? c2 : c0;
        out[0] = clampPd(add(add(mul(0.587, g), mul(0.299, r)), mul(0.114, b)), 0, 255);
        out[1] = clampPd(scaled(add(add(sub(mul(-0.146, r), mul(0.288, g)), mul(0.434, b)), 112.0), 223.0), 0, 255);
        out[2] = clampPd(scaled(add(sub(sub(mul(0.617, r), mul(0.517, g)), mul(0.1, b)), 138.0), 275.0), 0, 255);
    }
};

template <int R, int B>
struct RgbToYiqHalf {
    QUV_AVX2 static void half(__m256d c0, __m256d g, __m256d c2, __m256d* out) {
        const __m256d r = R == 0 ? c0 : c2, b = R == 0 ? c2 : c0;
        out[0] = clampPd(scaled(add(add(mul(0.587, g), mul(0.299, r)), mul(0.114, b)), 263.0), 0, 255);
        out[1] = clampPd(scaled(add(sub(sub(mul(0.596, r), mul(0.274, g)), mul(0.322, b)), 152.0), 303.0), 0, 255);
        out[2] = clampPd(scaled(add(add(sub(mul(0.212, r), mul(0.523, g)), mul(0.311, b)), 134.0), 267.0), 0, 255);
    }
};

template <int R, int B>
struct YiqToRgbHalf {
    QUV_AVX2 static void half(__m256d c0, __m256d c1, __m256d c2, __m256d* out) {
        const __m256d k255 = _mm256_set1_pd(255.0);
        const __m256d y = truncPd(mul(263.0, _mm256_div_pd(c0, k255)));
        const __m256d i = truncPd(add(mul(303.0, _mm256_div_pd(c1, k255)), -152.0));
        const __m256d q = truncPd(add(mul(267.0, _mm256_div_pd(c2, k255)), -134.0));
        rgbOut<R>(out, clampPd(add(add(mul(0.956, i), y), mul(0.621, q)), 0, 255),
                  clampPd(sub(sub(y, mul(0.272, i)), mul(0.647, q)), 0, 255),
                  clampPd(add(sub(y, mul(1.105, i)), mul(1.702, q)), 0, 255));
    }
};

template <int R, int B>
struct RgbToYcbcrHalf {
    QUV_AVX2 static void half(__m256d c0, __m256d g, __m256d c2, __m256d* out) {
        const __m256d r = R == 0 ? c0 : c2, b = R == 0 ? c2 : c0;
        out[0] = clampPd(add(add(mul(0.299, r), mul(0.587, g)), mul(0.114, b)), 0, 255);
        out[1] = clampPd(add(sub(mul(-0.16874, r), mul(0.33126, g)), mul(0.5, b)), -128, 127);
        out[2] = clampPd(sub(sub(mul(0.5, r), mul(0.41869, g)), mul(0.08131, b)), -128, 127);
    }
};

// Signed chroma: lanes hold the bytes, so sign-extend them first.
template <int R, int B>
struct YcbcrToRgbHalf {
    QUV_AVX2 static void half(__m256d y, __m256d cb, __m256d cr, __m256d* out) {
        rgbOut<R>(out, clampPd(add(mul(1.402, cr), y), 0, 255),
                  clampPd(sub(sub(y, mul(0.3441363, cb)), mul(0.71413636, cr)), 0, 255),
                  clampPd(add(mul(1.772, cb), y), 0, 255));
    }
};

template <int R, int B>
struct YcbcrToRgbBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        Lanes p = load3(s);
        p.c1 = _mm256_srai_epi32(_mm256_slli_epi32(p.c1, 24), 24);
        p.c2 = _mm256_srai_epi32(_mm256_slli_epi32(p.c2, 24), 24);
        __m256d lo[3], hi[3];
        YcbcrToRgbHalf<R, B>::half(lowHalf(p.c0), lowHalf(p.c1), lowHalf(p.c2), lo);
        YcbcrToRgbHalf<R, B>::half(highHalf(p.c0), highHalf(p.c1), highHalf(p.c2), hi);
        store3(d, truncHalves(lo[0], hi[0]), truncHalves(lo[1], hi[1]), truncHalves(lo[2], hi[2]));
    }
};

// clamp(((ku + kv + k) >> 15) + y, 0, 255)
QUV_AVX2 __m256i yuvChannel(__m256i ku, __m256i kv, __m256i k, __m256i y) {
    const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(ku, kv), k);
    const __m256i c = _mm256_add_epi32(_mm256_srai_epi32(sum, 15), y);
    return _mm256_min_epi32(_mm256_max_epi32(c, _mm256_setzero_si256()), _mm256_set1_epi32(255));
}

// In integers throughout: the decoded chroma trunc(byte / -255 x 223) is
// -(byte x 223 / 255), exact at 0 and 255 and at least 1/255 from an integer
// elsewhere, far beyond the rounding of the doubles.
template <int R, int B>
struct YuvToRgbBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i y = p.c0, zero = _mm256_setzero_si256(), k255 = splat(255);
        const __m256i u = _mm256_sub_epi32(zero, divSmall(_mm256_mullo_epi32(p.c1, splat(223)), k255));
        const __m256i v = _mm256_sub_epi32(zero, divSmall(_mm256_mullo_epi32(p.c2, splat(275)), k255));
        const __m256i r = yuvChannel(_mm256_mullo_epi32(u, splat(29)), _mm256_mullo_epi32(v, splat(-37221)),
                                  splat(-5133250), y);
        const __m256i g = yuvChannel(_mm256_mullo_epi32(u, splat(12943)), _mm256_mullo_epi32(v, splat(18940)),
                                  splat(4063336), y);
        const __m256i b = yuvChannel(_mm256_mullo_epi32(u, splat(-66883)), _mm256_mullo_epi32(v, splat(33)),
                                  splat(-7486342), y);
        R == 0 ? store3(d, r, g, b) : store3(d, b, g, r);
    }
};

// Fixed point with an exact fallback. A channel w0 x a + w1 x b + w2 x c + k
// of small integers is summed with weights rounded to units of 2^-21: each
// is off by at most half a unit, so the sum lies within half a unit per unit
// of operand magnitude (383 units for three bytes, 144 for the YIQ inverse)
// of the real value, from which the doubles stray far less. Outside a band
// of 512 units around an integer both truncate alike; a group with any lane
// inside the band goes the double way.
constexpr int32_t kFracBits = 21, kOne = 1 << kFracBits, kBand = 512;
struct Fixed {
    int32_t w0, w1, w2, k, lo, hi;
};
constexpr int32_t fix(double x) { return static_cast<int32_t>(x * kOne + (x < 0 ? -0.5 : 0.5)); }
// (w . rgb + offset) x scale + half, clamped to [lo, hi].
constexpr Fixed channel(double w0, double w1, double w2, double offset, double scale, double half, int32_t lo = 0,
                        int32_t hi = 255) {
    return {fix(w0 * scale), fix(w1 * scale), fix(w2 * scale), fix(offset * scale + half), lo, hi};
}
// Channels of R, G, B (forward) or of the decoded source channels (inverse).
constexpr Fixed kYuvForward[3] = {channel(0.299, 0.587, 0.114, 0, 1, 0),
                                  channel(-0.146, -0.288, 0.434, 112.0, 255.0 / 223.0, 0.5),
                                  channel(0.617, -0.517, -0.1, 138.0, 255.0 / 275.0, 0.5)};
constexpr Fixed kYiqForward[3] = {channel(0.299, 0.587, 0.114, 0, 255.0 / 263.0, 0.5),
                                  channel(0.596, -0.274, -0.322, 152.0, 255.0 / 303.0, 0.5),
                                  channel(0.212, -0.523, 0.311, 134.0, 255.0 / 267.0, 0.5)};
constexpr Fixed kYcbcrForward[3] = {channel(0.299, 0.587, 0.114, 0, 1, 0),
                                    channel(-0.16874, -0.33126, 0.5, 0, 1, 0, -128, 127),
                                    channel(0.5, -0.41869, -0.08131, 0, 1, 0, -128, 127)};
constexpr Fixed kYiqInverse[3] = {channel(1, 0.956, 0.621, 0, 1, 0), channel(1, -0.272, -0.647, 0, 1, 0),
                                  channel(1, -1.105, 1.702, 0, 1, 0)};
constexpr Fixed kYcbcrInverse[3] = {channel(1, 0, 1.402, 0, 1, 0), channel(1, -0.3441363, -0.71413636, 0, 1, 0),
                                    channel(1, 1.772, 0, 0, 1, 0)};

// The channel truncated toward zero and clamped; `near` collects the lanes
// within the band of an integer. The sum carries the band as an offset: a
// lane is in the band when its fraction is below twice the band, and out of
// it the offset never carries into the integer part.
QUV_AVX2 __m256i fixedChannel(const Fixed& f, __m256i a, __m256i b, __m256i c, __m256i& near) {
    const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(a, splat(f.w0)), _mm256_mullo_epi32(b, splat(f.w1))),
                                         _mm256_add_epi32(_mm256_mullo_epi32(c, splat(f.w2)), splat(f.k + kBand)));
    __m256i inBand = _mm256_cmpgt_epi32(splat(2 * kBand), _mm256_and_si256(sum, splat(kOne - 1)));
    // A channel that is `a` plus weighted terms is exactly `a` in both forms
    // where those terms' operands are 0, as with zero chroma.
    if (f.w0 == kOne && f.k == 0) {
        const __m256i zero = _mm256_setzero_si256();
        const __m256i bZero = f.w1 == 0 ? splat(-1) : _mm256_cmpeq_epi32(b, zero);
        const __m256i cZero = f.w2 == 0 ? splat(-1) : _mm256_cmpeq_epi32(c, zero);
        inBand = _mm256_andnot_si256(_mm256_and_si256(bZero, cZero), inBand);
    }
    near = _mm256_or_si256(near, inBand);
    // Toward zero is the floor plus one below zero (the fraction is never 0
    // here); where the clamp's floor is 0 the floor alone clamps the same.
    const __m256i floor = _mm256_srai_epi32(sum, kFracBits);
    const __m256i truncated = f.lo < 0 ? _mm256_sub_epi32(floor, _mm256_srai_epi32(sum, 31)) : floor;
    return _mm256_min_epi32(_mm256_max_epi32(truncated, splat(f.lo)), splat(f.hi));
}

// The exact body out of line: it runs for a few groups only.
template <class Exact>
__attribute__((target("avx2"), noinline)) void exactGroup(const uint8_t* s, uint8_t* d) {
    Exact{}(s, d);
}

// Three channels of (a, b, c) stored in order, or the exact body's bytes.
template <class Exact>
QUV_AVX2 void fixedOrExact(const Fixed* ch, __m256i a, __m256i b, __m256i c, const uint8_t* s, uint8_t* d,
                           bool reversed) {
    __m256i near = _mm256_setzero_si256();
    __m256i x = fixedChannel(ch[0], a, b, c, near), y = fixedChannel(ch[1], a, b, c, near),
            z = fixedChannel(ch[2], a, b, c, near);
    if (!_mm256_testz_si256(near, near)) {
        exactGroup<Exact>(s, d);
        return;
    }
    if (reversed) std::swap(x, z);
    if (ch[1].lo < 0 || ch[2].lo < 0)
        store3(d, x, y, z);
    else
        store3Bytes(d, x, y, z);
}

template <const Fixed* Ch, template <int, int> class Half>
struct FixedForward {
    template <int R, int B>
    struct Body {
        QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
            const Lanes p = load3(s);
            fixedOrExact<ByHalves<Half<R, B>>>(Ch, R == 0 ? p.c0 : p.c2, p.c1, R == 0 ? p.c2 : p.c0, s, d, false);
        }
    };
};

// The YIQ decode in integers: trunc(byte / 255 x 263) and trunc(byte / 255
// x 303 - 152) are byte + byte x 8 / 255 and the signed quotient of
// byte x 303 - 152 x 255 by 255 (likewise Q), as the tests check for every byte.
// n / 255 for 0 <= n < 66299, by multiplication.
QUV_AVX2 __m256i div255(__m256i n) { return _mm256_srli_epi32(_mm256_mullo_epi32(n, splat(32897)), 23); }
QUV_AVX2 __m256i signedDiv255(__m256i n) { return _mm256_sign_epi32(div255(_mm256_abs_epi32(n)), n); }

template <int R, int B>
struct YiqToRgbFixed {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i y = _mm256_add_epi32(p.c0, div255(_mm256_slli_epi32(p.c0, 3)));  // 263 = 255 + 8
        const __m256i i = signedDiv255(_mm256_sub_epi32(_mm256_mullo_epi32(p.c1, splat(303)), splat(152 * 255)));
        const __m256i q = signedDiv255(_mm256_sub_epi32(_mm256_mullo_epi32(p.c2, splat(267)), splat(134 * 255)));
        fixedOrExact<ByHalves<YiqToRgbHalf<R, B>>>(kYiqInverse, y, i, q, s, d, R != 0);
    }
};

template <int R, int B>
struct YcbcrToRgbFixed {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i cb = _mm256_srai_epi32(_mm256_slli_epi32(p.c1, 24), 24);
        const __m256i cr = _mm256_srai_epi32(_mm256_slli_epi32(p.c2, 24), 24);
        fixedOrExact<YcbcrToRgbBody<R, B>>(kYcbcrInverse, p.c0, cb, cr, s, d, R != 0);
    }
};

template <template <int, int> class Pixel>
ClrStatus perPixel(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, Pixel<R, B>{});
    });
}

template <template <int, int> class Pixel, template <int, int> class Body>
ClrStatus inGroups(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapGroups<3, 3>(io, Body<R, B>{}, Pixel<R, B>{});
    });
}

template <int R, int B> using RgbToYuvBody = FixedForward<kYuvForward, RgbToYuvHalf>::Body<R, B>;
template <int R, int B> using RgbToYiqBody = FixedForward<kYiqForward, RgbToYiqHalf>::Body<R, B>;
template <int R, int B> using RgbToYcbcrBody = FixedForward<kYcbcrForward, RgbToYcbcrHalf>::Body<R, B>;

}  // namespace

ClrStatus reference::rgbToYuv(const KernelIo& io, int o) { return perPixel<RgbToYuvPixel>(io, o); }
ClrStatus reference::yuvToRgb(const KernelIo& io, int o) { return perPixel<YuvToRgbPixel>(io, o); }
ClrStatus reference::rgbToYiq(const KernelIo& io, int o) { return perPixel<RgbToYiqPixel>(io, o); }
ClrStatus reference::yiqToRgb(const KernelIo& io, int o) { return perPixel<YiqToRgbPixel>(io, o); }
ClrStatus reference::rgbToYcbcr(const KernelIo& io, int o) { return perPixel<RgbToYcbcrPixel>(io, o); }
ClrStatus reference::ycbcrToRgb(const KernelIo& io, int o) { return perPixel<YcbcrToRgbPixel>(io, o); }

ClrStatus rgbToYuv(const KernelIo& io, int o) { return inGroups<RgbToYuvPixel, RgbToYuvBody>(io, o); }
ClrStatus yuvToRgb(const KernelIo& io, int o) { return inGroups<YuvToRgbPixel, YuvToRgbBody>(io, o); }
ClrStatus rgbToYiq(const KernelIo& io, int o) { return inGroups<RgbToYiqPixel, RgbToYiqBody>(io, o); }
ClrStatus yiqToRgb(const KernelIo& io, int o) { return inGroups<YiqToRgbPixel, YiqToRgbFixed>(io, o); }
ClrStatus rgbToYcbcr(const KernelIo& io, int o) { return inGroups<RgbToYcbcrPixel, RgbToYcbcrBody>(io, o); }
ClrStatus ycbcrToRgb(const KernelIo& io, int o) { return inGroups<YcbcrToRgbPixel, YcbcrToRgbFixed>(io, o); }

// The weights of each row sum below one, so no clamp is needed.
ClrStatus rgbToXyz(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double r = s[R], g = s[1], b = s[B];
            const int32_t x = truncToInt(0.228457 * g + 0.63267 * r + 0.0 * b);
            const int32_t y = truncToInt(0.737352 * g + 0.204556 * r + 0.00951424 * b);
            const int32_t z = truncToInt(0.0341908 * g + 0.126995 * r + 0.815696 * b);
            d[0] = static_cast<uint8_t>(x);
            d[1] = static_cast<uint8_t>(y);
            d[2] = static_cast<uint8_t>(z);
        });
    });
}

// Here the clamp is on the truncated integer.
ClrStatus xyzToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double x = s[0], y = s[1], z = s[2];
            const int32_t r = clamp(truncToInt(1.75526 * x - 0.544134 * y + 0.00634681 * z), 0, 255);
            const int32_t g = clamp(truncToInt(1.50688 * y - 0.483679 * x - 0.0175762 * z), 0, 255);
            const int32_t b = clamp(truncToInt(0.0215528 * y - 0.253 * x + 1.2257 * z), 0, 255);
            d[R] = static_cast<uint8_t>(r);
            d[1] = static_cast<uint8_t>(g);
            d[B] = static_cast<uint8_t>(b);
        });
    });
}

}  // namespace quv::kernels
