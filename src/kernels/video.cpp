#include "kernels/video.h"

#include "kernels/reference.h"

#include <algorithm>
#include <array>
#include <utility>

#include <immintrin.h>

namespace quv::kernels {
namespace {

struct Yuv {
    uint8_t y, u, v;
};

// The studio matrix forward: the half taken from each input is part of it,
// so black gives Y 15. Nothing is clamped; the low byte is kept. From bytes
// every sum lies within a few hundred of zero, so the conversion to integer
// needs no range test (and the loops stay free of branches).
inline Yuv studioForward(double r, double g, double b) {
    const auto y = static_cast<int32_t>(((g - 0.5) * 516.0 + (b - 0.5) * 100.0 + (r - 0.5) * 263.0) * 0.0009765625 + 16.0);
    const auto u = static_cast<int32_t>(((b - 0.5) * 450.0 - (g - 0.5) * 298.0 - (r - 0.5) * 152.0) * 0.0009765625 + 128.0);
    const auto v = static_cast<int32_t>(((b - 0.5) * -73.0 - (g - 0.5) * 377.0 + (r - 0.5) * 450.0) * 0.0009765625 + 128.0);
    return {static_cast<uint8_t>(y), static_cast<uint8_t>(u), static_cast<uint8_t>(v)};
}

// The studio matrix inverse in integers: the 16 and 128 offsets and 512 for
// rounding are folded into the constants; division truncates toward zero.
template <int R, int B>
inline void studioInverse(int32_t y, int32_t u, int32_t v, uint8_t* rgb) {
    const int32_t m = y * 1192;
    rgb[B] = static_cast<uint8_t>(clamp((m - 283008 + u * 2066) / 1024, 0, 255));
    rgb[1] = static_cast<uint8_t>(clamp((m - v * 833 - u * 400 + 139264) / 1024, 0, 255));
    rgb[R] = static_cast<uint8_t>(clamp((m - 227712 + v * 1634) / 1024, 0, 255));
}

// A packed format as one group of pixels: where each Y, U and V byte sits,
// and how many pixels share one chroma pair (1 << chromaShift).
struct PackedFormat {
    int pixels;
    int bytes;
    int chromaShift;
    std::array<int, 8> y;
    std::array<int, 2> u;
    std::array<int, 2> v;
};

constexpr PackedFormat kYuy2{2, 4, 1, {0, 2}, {1}, {3}};
constexpr PackedFormat kUyvy{2, 4, 1, {1, 3}, {0}, {2}};
constexpr PackedFormat kY41p{8, 12, 2, {1, 3, 5, 7, 8, 9, 10, 11}, {0, 4}, {2, 6}};

int64_t pixelsOf(int32_t width) { return width > 0 ? width : 0; }

template <PackedFormat F>
ClrStatus rgbToPacked(const KernelIo& io, int orderFlag) {
    if (io.width % F.pixels != 0) return CLR_WIDTH_NOT_MULTIPLE;
    const int64_t groups = pixelsOf(io.width) / F.pixels;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        // Chroma samples a group: static, so the inner lambda needs no
        // capture for it (clang asks for one of a plain constexpr).
        static constexpr int samples = F.pixels >> F.chromaShift;
        return mapRows(io, 3 * F.pixels * groups, F.bytes * groups, [groups](const uint8_t* s, uint8_t* d, int32_t) {
            for (int64_t g = 0; g < groups; ++g, s += 3 * F.pixels, d += F.bytes) {
                int32_t u[samples] = {}, v[samples] = {};
                for (int i = 0; i < F.pixels; ++i) {
                    const Yuv p = studioForward(s[3 * i + R], s[3 * i + 1], s[3 * i + B]);
                    d[F.y[i]] = p.y;
                    u[i >> F.chromaShift] += p.u;
                    v[i >> F.chromaShift] += p.v;
                }
                for (int c = 0; c < samples; ++c) {
                    d[F.u[c]] = static_cast<uint8_t>(u[c] >> F.chromaShift);
                    d[F.v[c]] = static_cast<uint8_t>(v[c] >> F.chromaShift);
                }
            }
        });
    });
}

template <PackedFormat F>
ClrStatus packedToRgb(const KernelIo& io, int orderFlag) {
    if (io.width % F.pixels != 0) return CLR_WIDTH_NOT_MULTIPLE;
    const int64_t groups = pixelsOf(io.width) / F.pixels;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapRows(io, F.bytes * groups, 3 * F.pixels * groups, [groups](const uint8_t* s, uint8_t* d, int32_t) {
            // In runs of up to 256 pixels: samples spread to one array each,
            // the matrix over the arrays (a loop that vectorises), then the
            // bytes interleaved into the row.
            constexpr int64_t kRun = 256;
            alignas(32) int32_t ys[kRun], us[kRun], vs[kRun];
            alignas(32) uint8_t out[3][kRun];
            const int64_t pixels = groups * F.pixels;
            for (int64_t x0 = 0; x0 < pixels; x0 += kRun, s += kRun / F.pixels * F.bytes, d += 3 * kRun) {
                const int64_t n = std::min(kRun, pixels - x0);
                auto group = [&]<size_t... I>(int64_t g, std::index_sequence<I...>) {
                    const uint8_t* in = s + g * F.bytes;
                    ((ys[g * F.pixels + I] = in[F.y[I]], us[g * F.pixels + I] = in[F.u[I >> F.chromaShift]],
                      vs[g * F.pixels + I] = in[F.v[I >> F.chromaShift]]),
                     ...);
                };
                for (int64_t g = 0; g < n / F.pixels; ++g) group(g, std::make_index_sequence<F.pixels>{});
                for (int64_t i = 0; i < n; ++i) {
                    uint8_t rgb[3];
                    studioInverse<R, B>(ys[i], us[i], vs[i], rgb);
                    out[0][i] = rgb[0], out[1][i] = rgb[1], out[2][i] = rgb[2];
                }
                for (int64_t i = 0; i < n; ++i) d[3 * i] = out[0][i], d[3 * i + 1] = out[1][i], d[3 * i + 2] = out[2][i];
            }
        });
    });
}

// YVU9: the Y plane (width x height), then V and U with one sample per 4 x 4
// block. The planes have no row padding.
constexpr int kBlock = 4;

uint64_t yvu9Bytes(int32_t width, int32_t height) {
    const auto pixels = static_cast<uint64_t>(pixelsOf(width)) * static_cast<uint64_t>(pixelsOf(height));
    return pixels + pixels / 8;  // 9 bits a pixel; whole blocks make it exact
}

// Decoding of a described layout: no 512 for rounding, an arithmetic shift.
inline void layoutPixel(int32_t y, int32_t u, int32_t v, bool fullRange, uint8_t* bgr) {
    if (!fullRange) {
        y -= 16;
        u -= 128;
        v -= 128;
    }
    const int32_t m = y * 1192;
    bgr[0] = static_cast<uint8_t>(clamp((u * 2066 + m) >> 10, 0, 255));
    bgr[1] = static_cast<uint8_t>(clamp((u * -400 - v * 833 + m) >> 10, 0, 255));
    bgr[2] = static_cast<uint8_t>(clamp((v * 1634 + m) >> 10, 0, 255));
}

// Whether a divides b; zero divides only zero.
bool divides(int64_t a, int64_t b) { return a == 0 ? b == 0 : b % a == 0; }

using Wide = unsigned __int128;  // byte counts from caller numbers, without overflow

bool readable(MemoryProbe& probe, const void* p, Wide bytes) {
    return bytes <= SIZE_MAX && probe.readable(p, static_cast<size_t>(bytes));
}
bool writable(MemoryProbe& probe, void* p, Wide bytes) {
    return bytes <= SIZE_MAX && probe.writable(p, static_cast<size_t>(bytes));
}

// The planar walk of a described layout. After pixel i (counted from 1) the
// chroma pointers step every uHorizontal / vHorizontal pixels, their row
// starts every width x uVertical / vVertical pixels, and at each row end they
// return to the row start. Only width x height - 1 pixels are converted.
struct PlanarWalk {
    int64_t width, pixels, su, sv;
    const ClrYuvParams& p;

    // Plane offsets of Y, U and V for a plane order code 0 to 5.
    std::array<int64_t, 3> planes(int32_t code) const {
        const int64_t wh = pixels;
        switch (code) {
        case 0: return {0, wh, wh + su};
        case 1: return {0, wh + sv, wh};
        case 2: return {su, 0, su + wh};
        case 3: return {su + sv, 0, su};
        case 4: return {sv, sv + wh, 0};
        default: return {sv + su, sv, 0};
        }
    }

    // One past the last byte of a chroma plane the walk reads.
    int64_t chromaEnd(int64_t horizontal, int64_t vertical) const {
        int64_t end = 0;
        const int64_t rows = pixels / width;
        for (int64_t y = 0; y < rows; ++y) {
            const int64_t first = y * width, last = std::min(first + width - 1, pixels - 2);
            if (last < first) break;
            const int64_t rowStart = (y / vertical) * (width / horizontal);
            end = std::max(end, rowStart + last / horizontal - first / horizontal + 1);
        }
        return end;
    }

    Wide extent(int32_t code) const {
        const auto at = planes(code);
        const int64_t ends[3] = {pixels - 1, chromaEnd(p.uHorizontal, p.uVertical), chromaEnd(p.vHorizontal, p.vVertical)};
        Wide extent = 0;
        for (int k = 0; k < 3; ++k)
            if (ends[k] > 0) extent = std::max(extent, Wide(at[k] + ends[k]));
        return extent;
    }

    void run(const uint8_t* src, uint8_t* d, int32_t code, int64_t dstPad) const {
        const auto at = planes(code);
        const bool full = p.fullRange != 0;
        const int64_t uRowsEvery = width * p.uVertical, vRowsEvery = width * p.vVertical;
        int64_t yAt = at[0], uRow = at[1], vRow = at[2], uAt = uRow, vAt = vRow;
        for (int64_t i = 1; i < pixels; ++i, d += 3) {
            layoutPixel(src[yAt], src[uAt], src[vAt], full, d);
            ++yAt;
            if (i % p.uHorizontal == 0) ++uAt;
            if (i % p.vHorizontal == 0) ++vAt;
            if (i % uRowsEvery == 0) uRow += width / p.uHorizontal;
            if (i % vRowsEvery == 0) vRow += width / p.vHorizontal;
            if (i % width == 0) {
                uAt = uRow;
                vAt = vRow;
                d += dstPad;
            }
        }
    }
};

}  // namespace

// The kernels the conversions call for YUY2, UYVY, Y41P and YVU9. Integer
// forms of the studio matrix that give the bytes of the formulas above, a
// row at a time: AVX2 over blocks of 8 or 16 pixels where the processor has
// it, the integer loop for what is left and on other processors.
namespace {

// From bytes, every step of the forward formulas is exact in double: the
// inputs less a half are halves, their products with the constants and
// the sums are multiples of a half below 2^19, the scaling by 1/1024 is
// exact, and so is the offset added after it. Each sample is thus the
// integer sum over 1024 plus its offset, truncated; the halves taken from
// the inputs cancel in U and V and come to -439.5 in Y, and every sum is
// positive, so truncation is a shift (and the half in Y never carries).
// The per-pixel chroma comes back less its 128; callers add it after the
// means, which keeps the means the same.
constexpr int32_t studioLuma(int32_t r, int32_t g, int32_t b) { return (516 * g + 100 * b + 263 * r + 15944) >> 10; }
constexpr int32_t studioBlueDiff(int32_t r, int32_t g, int32_t b) { return (450 * b - 298 * g - 152 * r) >> 10; }
constexpr int32_t studioRedDiff(int32_t r, int32_t g, int32_t b) { return (-73 * b - 377 * g + 450 * r) >> 10; }

// The inverse with an arithmetic shift for the truncating division: the two
// differ only on negative sums, which the clamp takes to 0 either way.
inline uint8_t clampShifted(int32_t sum) { return static_cast<uint8_t>(clamp(sum >> 10, 0, 255)); }

template <int R, int B>
inline void studioInverseExact(int32_t y, int32_t u, int32_t v, uint8_t* rgb) {
    const int32_t m = y * 1192;
    rgb[B] = clampShifted(m - 283008 + u * 2066);
    rgb[1] = clampShifted(m - v * 833 - u * 400 + 139264);
    rgb[R] = clampShifted(m - 227712 + v * 1634);
}

// One row of whole groups, from pixel `from` on, in plain integers.
template <PackedFormat F, int R, int B>
void packedForwardRow(const uint8_t* s, uint8_t* d, int64_t from, int64_t pixels) {
    constexpr int samples = F.pixels >> F.chromaShift;
    s += 3 * from;
    d += from / F.pixels * F.bytes;
    for (int64_t x = from; x < pixels; x += F.pixels, s += 3 * F.pixels, d += F.bytes) {
        int32_t u[samples] = {}, v[samples] = {};
        for (int i = 0; i < F.pixels; ++i) {
            const int32_t r = s[3 * i + R], g = s[3 * i + 1], b = s[3 * i + B];
            d[F.y[i]] = static_cast<uint8_t>(studioLuma(r, g, b));
            u[i >> F.chromaShift] += studioBlueDiff(r, g, b);
            v[i >> F.chromaShift] += studioRedDiff(r, g, b);
        }
        for (int c = 0; c < samples; ++c) {
            d[F.u[c]] = static_cast<uint8_t>((u[c] >> F.chromaShift) + 128);
            d[F.v[c]] = static_cast<uint8_t>((v[c] >> F.chromaShift) + 128);
        }
    }
}

template <PackedFormat F, int R, int B>
void packedInverseRow(const uint8_t* s, uint8_t* d, int64_t from, int64_t pixels) {
    s += from / F.pixels * F.bytes;
    d += 3 * from;
    for (int64_t x = from; x < pixels; x += F.pixels, s += F.bytes, d += 3 * F.pixels)
        for (int i = 0; i < F.pixels; ++i)
            studioInverseExact<R, B>(s[F.y[i]], s[F.u[i >> F.chromaShift]], s[F.v[i >> F.chromaShift]], d + 3 * i);
}

// Byte shuffles for the AVX2 rows. A mask entry below 0 gives a zero byte.
struct alignas(32) ShuffleMask {
    int8_t at[32];
};

// Four 3-byte pixels a lane, lane 1's starting `lane1Offset` bytes into its
// load: a 16-bit word pair (first, second channel) for each pixel, a
// channel below 0 giving zero.
constexpr ShuffleMask pixelWordPairs(int first, int second, int lane1Offset) {
    ShuffleMask m{};
    for (int lane = 0; lane < 2; ++lane)
        for (int i = 0; i < 4; ++i) {
            const int at = (lane ? lane1Offset : 0) + 3 * i;
            int8_t* w = m.at + 16 * lane + 4 * i;
            w[0] = static_cast<int8_t>(at + first);
            w[1] = -1;
            w[2] = static_cast<int8_t>(second < 0 ? -1 : at + second);
            w[3] = -1;
        }
    return m;
}

__attribute__((target("avx2"))) inline __m256i load(const ShuffleMask& m) {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(m.at));
}
__attribute__((target("avx2"))) inline __m256i loadLanes(const uint8_t* lo, const uint8_t* hi) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lo));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(a), _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi)), 1);
}
// Two word-pair products summed, per 32-bit lane.
__attribute__((target("avx2"))) inline __m256i dot(__m256i a, __m256i ka, __m256i b, __m256i kb) {
    return _mm256_add_epi32(_mm256_madd_epi16(a, ka), _mm256_madd_epi16(b, kb));
}
__attribute__((target("avx2"))) inline __m256i pairs(int16_t first, int16_t second) {
    return _mm256_set1_epi32(static_cast<int32_t>(static_cast<uint16_t>(first) | (uint32_t{static_cast<uint16_t>(second)} << 16)));
}

// Y, U - 128 and V - 128 of eight pixels as 32-bit lanes.
struct Samples8 {
    __m256i y, u, v;
};

template <int R, int B>
__attribute__((target("avx2"))) inline Samples8 forward8(__m256i pixels, const ShuffleMask& bgMask,
                                                         const ShuffleMask& rMask) {
    const __m256i bg = _mm256_shuffle_epi8(pixels, load(bgMask));
    const __m256i r = _mm256_shuffle_epi8(pixels, load(rMask));
    const __m256i y = _mm256_add_epi32(dot(bg, pairs(100, 516), r, pairs(263, 0)), _mm256_set1_epi32(15944));
    return {_mm256_srai_epi32(y, 10), _mm256_srai_epi32(dot(bg, pairs(450, -298), r, pairs(-152, 0)), 10),
            _mm256_srai_epi32(dot(bg, pairs(-73, -377), r, pairs(450, 0)), 10)};
}

// Chroma of pixels 0-3 | 8-11 and 4-7 | 12-15, less 128: the mean of each
// pair in order, as (s0 + s1) >> 1 on the samples, with the 128 back.
__attribute__((target("avx2"))) inline __m256i pairMeans(__m256i a, __m256i b) {
    const __m256i sums = _mm256_madd_epi16(_mm256_packs_epi32(a, b), _mm256_set1_epi16(1));
    return _mm256_add_epi32(_mm256_srai_epi32(sums, 1), _mm256_set1_epi32(128));
}

// RGB to YUY2 (LumaFirst) or UYVY, 16 pixels a step: returns the pixels done.
// Lanes are loaded as pixels 0-3 | 8-11 and 4-7 | 12-15, so that packing
// the two to 16 bits puts the pixels in order; the last load starts 32
// bytes in, so nothing past the 48 bytes of the block is read.
template <int R, int B, bool LumaFirst>
__attribute__((target("avx2"))) int64_t packed422ForwardAvx2(const uint8_t* s, uint8_t* d, int64_t pixels) {
    static constexpr ShuffleMask bgA = pixelWordPairs(B, 1, 0), rA = pixelWordPairs(R, -1, 0);
    static constexpr ShuffleMask bgB = pixelWordPairs(B, 1, 4), rB = pixelWordPairs(R, -1, 4);
    int64_t x = 0;
    for (; x + 16 <= pixels; x += 16, s += 48, d += 32) {
        const Samples8 a = forward8<R, B>(loadLanes(s, s + 24), bgA, rA);
        const Samples8 b = forward8<R, B>(loadLanes(s + 12, s + 32), bgB, rB);
        const __m256i y = _mm256_packs_epi32(a.y, b.y);
        const __m256i chroma = _mm256_or_si256(pairMeans(a.u, b.u), _mm256_slli_epi32(pairMeans(a.v, b.v), 16));
        const __m256i out = LumaFirst ? _mm256_or_si256(y, _mm256_slli_epi16(chroma, 8))
                                      : _mm256_or_si256(chroma, _mm256_slli_epi16(y, 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), out);
    }
    return x;
}

// Where each output byte of four pairs of pixels a lane comes from: bytes
// [X0 of pairs 0-3, G0, Z0, X1] of one register (`firstPart`) and [G1, Z1]
// of another, X being the channel at byte 0 and Z at byte 2, 0 and 1 the
// pixels of a pair. Lane 0 makes output bytes from0 to from0 + 15 of its
// 24, lane 1 from1 on; -1 leaves a byte zero.
constexpr ShuffleMask pairBytes(bool firstPart, int from0, int from1) {
    ShuffleMask m{};
    for (int lane = 0; lane < 2; ++lane)
        for (int j = 0; j < 16; ++j) {
            const int out = (lane ? from1 : from0) + j, pair = out / 6, channel = out % 6;
            const bool mine = out < 24 && (channel < 4) == firstPart;
            m.at[16 * lane + j] = static_cast<int8_t>(mine ? 4 * (firstPart ? channel : channel - 4) + pair : -1);
        }
    return m;
}

// A channel of the pixels of a pair: 1192 Y plus the pair's chroma terms,
// shifted; the clamp comes with the saturating packs.
__attribute__((target("avx2"))) inline __m256i channel(__m256i luma, __m256i chroma) {
    return _mm256_srai_epi32(_mm256_add_epi32(luma, chroma), 10);
}

// YUY2 or UYVY to RGB, 16 pixels a step: returns the pixels done. Each
// 32-bit lane holds one pair of pixels: its U and V as 16-bit words give the
// chroma terms once for both pixels, its two Y words the luma term of each.
template <PackedFormat F, int R, int B>
__attribute__((target("avx2"))) int64_t packed422InverseAvx2(const uint8_t* s, uint8_t* d, int64_t pixels) {
    // The 48 bytes of a step as out0 = [0-15 | 32-47] and out1 = [8-23 |
    // 24-39] (lane 0 its pixels' bytes 8-23, lane 1 its 0-15): out1's middle
    // 16 bytes are bytes 16-31, stored first, and out0's halves over its ends.
    static constexpr ShuffleMask firstHead = pairBytes(true, 0, 8), secondHead = pairBytes(false, 0, 8);
    static constexpr ShuffleMask firstTail = pairBytes(true, 8, 0), secondTail = pairBytes(false, 8, 0);
    const __m256i lowByte = _mm256_set1_epi16(0xFF);
    int64_t x = 0;
#pragma GCC unroll 2
    for (; x + 16 <= pixels; x += 16, s += 32, d += 48) {
        const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
        const __m256i low = _mm256_and_si256(in, lowByte), high = _mm256_srli_epi16(in, 8);
        const __m256i y = F.y[0] == 0 ? low : high, uv = F.y[0] == 0 ? high : low;
        const __m256i m0 = _mm256_madd_epi16(y, pairs(1192, 0)), m1 = _mm256_madd_epi16(y, pairs(0, 1192));
        const __m256i blue = _mm256_add_epi32(_mm256_madd_epi16(uv, pairs(2066, 0)), _mm256_set1_epi32(-283008));
        const __m256i green = _mm256_add_epi32(_mm256_madd_epi16(uv, pairs(-400, -833)), _mm256_set1_epi32(139264));
        const __m256i red = _mm256_add_epi32(_mm256_madd_epi16(uv, pairs(0, 1634)), _mm256_set1_epi32(-227712));
        const __m256i first = R == 0 ? red : blue, last = R == 0 ? blue : red;
        const __m256i head = _mm256_packus_epi16(_mm256_packs_epi32(channel(m0, first), channel(m0, green)),
                                                 _mm256_packs_epi32(channel(m0, last), channel(m1, first)));
        const __m256i tail = _mm256_packs_epi32(channel(m1, green), channel(m1, last));
        const __m256i rest = _mm256_packus_epi16(tail, tail);
        const __m256i out0 = _mm256_or_si256(_mm256_shuffle_epi8(head, load(firstHead)),
                                             _mm256_shuffle_epi8(rest, load(secondHead)));
        const __m256i out1 = _mm256_or_si256(_mm256_shuffle_epi8(head, load(firstTail)),
                                             _mm256_shuffle_epi8(rest, load(secondTail)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 8), out1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(out0));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32), _mm256_extracti128_si256(out0, 1));
    }
    return x;
}

// GCC 12's AVX-512 headers fill the unused source of a shift from a
// variable initialised with itself, which its own analysis then reports.
#pragma GCC diagnostic push
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
struct alignas(64) ByteIndex {
    uint8_t at[64];
};

// Output bytes from..from + 63 of a step's 96 (pixel j / 3, channel j % 3)
// as indexes into [X, G] (bytes 0-63) then [Z, Z] (64-127), lane L holding
// pixels 8L to 8L + 7 with the even pixels' samples before the odd ones'.
constexpr ByteIndex rgbStepBytes(int from) {
    ByteIndex m{};
    for (int j = 0; j < 64 && from + j < 96; ++j) {
        const int pixel = (from + j) / 3, channel = (from + j) % 3, q = pixel % 8;
        const int at = 16 * (pixel / 8) + (q % 2 ? 4 : 0) + q / 2;
        m.at[j] = static_cast<uint8_t>(at + (channel == 1 ? 8 : 0) + (channel == 2 ? 64 : 0));
    }
    return m;
}

__attribute__((target("avx512bw,avx512vbmi"))) inline __m512i pairs512(int16_t first, int16_t second) {
    return _mm512_set1_epi32(static_cast<int32_t>(static_cast<uint16_t>(first) | (uint32_t{static_cast<uint16_t>(second)} << 16)));
}
__attribute__((target("avx512bw,avx512vbmi"))) inline __m512i channel512(__m512i luma, __m512i chroma) {
    return _mm512_srai_epi32(_mm512_add_epi32(luma, chroma), 10);
}

// YUY2 or UYVY to RGB with AVX-512, 32 pixels a step: the sums of the
// AVX2 row over four 128-bit lanes, and the 96 bytes of a step put in
// order by two byte permutes across both packed registers. Returns the
// pixels done.
template <PackedFormat F, int R, int B>
__attribute__((target("avx512bw,avx512vbmi"))) int64_t packed422InverseAvx512(const uint8_t* s, uint8_t* d, int64_t pixels) {
    static constexpr ByteIndex head = rgbStepBytes(0), tail = rgbStepBytes(64);
    const __m512i headAt = _mm512_load_si512(head.at), tailAt = _mm512_load_si512(tail.at);
    const __m512i lowByte = _mm512_set1_epi16(0xFF);
    int64_t x = 0;
    for (; x + 32 <= pixels; x += 32, s += 64, d += 96) {
        const __m512i in = _mm512_loadu_si512(s);
        const __m512i low = _mm512_and_si512(in, lowByte), high = _mm512_srli_epi16(in, 8);
        const __m512i y = F.y[0] == 0 ? low : high, uv = F.y[0] == 0 ? high : low;
        const __m512i m0 = _mm512_madd_epi16(y, pairs512(1192, 0)), m1 = _mm512_madd_epi16(y, pairs512(0, 1192));
        const __m512i blue = _mm512_add_epi32(_mm512_madd_epi16(uv, pairs512(2066, 0)), _mm512_set1_epi32(-283008));
        const __m512i green = _mm512_add_epi32(_mm512_madd_epi16(uv, pairs512(-400, -833)), _mm512_set1_epi32(139264));
        const __m512i red = _mm512_add_epi32(_mm512_madd_epi16(uv, pairs512(0, 1634)), _mm512_set1_epi32(-227712));
        const __m512i first = R == 0 ? red : blue, last = R == 0 ? blue : red;
        // Bytes [X, G] and [Z, Z] of eight pixels a lane; the packs clamp.
        const __m512i xg = _mm512_packus_epi16(_mm512_packs_epi32(channel512(m0, first), channel512(m1, first)),
                                               _mm512_packs_epi32(channel512(m0, green), channel512(m1, green)));
        const __m512i z = _mm512_packs_epi32(channel512(m0, last), channel512(m1, last));
        const __m512i zz = _mm512_packus_epi16(z, z);
        _mm512_storeu_si512(d, _mm512_permutex2var_epi8(xg, headAt, zz));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 64),
                            _mm512_castsi512_si256(_mm512_permutex2var_epi8(xg, tailAt, zz)));
    }
    return x;
}

#pragma GCC diagnostic pop

// Y41P, 16 pixels (two groups) a step, one group to a lane: the samples
// as for 4:2:2, chroma summed over four pixels, and each lane's 12 bytes
// put in order and moved together: returns the pixels done.
template <int R, int B>
__attribute__((target("avx2"))) int64_t y41pForwardAvx2(const uint8_t* s, uint8_t* d, int64_t pixels) {
    static constexpr ShuffleMask bgA = pixelWordPairs(B, 1, 0), rA = pixelWordPairs(R, -1, 0);
    static constexpr ShuffleMask bgB = pixelWordPairs(B, 1, 4), rB = pixelWordPairs(R, -1, 4);
    // Lane bytes [Y0..Y7, U0, U4, V0, V4, ...] to U0 Y0 V0 Y1 U4 Y2 V4 Y3 Y4..Y7.
    static constexpr ShuffleMask order{{8, 0, 10, 1, 9, 2, 11, 3, 4, 5, 6, 7, -1, -1, -1, -1,
                                        8, 0, 10, 1, 9, 2, 11, 3, 4, 5, 6, 7, -1, -1, -1, -1}};
    const __m256i ones = _mm256_set1_epi16(1);
    const __m256i together = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    int64_t x = 0;
    for (; x + 16 <= pixels; x += 16, s += 48, d += 24) {
        const Samples8 a = forward8<R, B>(loadLanes(s, s + 24), bgA, rA);
        const Samples8 b = forward8<R, B>(loadLanes(s + 12, s + 32), bgB, rB);
        const __m256i uPairs = _mm256_madd_epi16(_mm256_packs_epi32(a.u, b.u), ones);
        const __m256i vPairs = _mm256_madd_epi16(_mm256_packs_epi32(a.v, b.v), ones);
        // [U0, U4, V0, V4] of each group: sums of four, quartered, with 128 back.
        const __m256i chroma = _mm256_add_epi32(_mm256_srai_epi32(_mm256_hadd_epi32(uPairs, vPairs), 2),
                                                _mm256_set1_epi32(128));
        const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(a.y, b.y), _mm256_packs_epi32(chroma, chroma));
        const __m256i out = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(bytes, load(order)), together);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(out));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm256_extracti128_si256(out, 1));
    }
    return x;
}

// One Y41P group to a register, pixels 0-3 in lane 0 and 4-7 in lane 1:
// the word pair (Y, U or V of the lane's half) of each pixel.
constexpr ShuffleMask y41pWordPairs(bool red) {
    ShuffleMask m{};
    for (int lane = 0; lane < 2; ++lane)
        for (int i = 0; i < 4; ++i) {
            int8_t* w = m.at + 16 * lane + 4 * i;
            w[0] = static_cast<int8_t>(kY41p.y[4 * lane + i]);
            w[1] = -1;
            w[2] = static_cast<int8_t>(red ? kY41p.v[lane] : kY41p.u[lane]);
            w[3] = -1;
        }
    return m;
}

// Bytes [X0..3, Z0..3, G0..3, G0..3] of a lane to X, G, Z pixels in 12
// bytes, X being the channel at byte 0.
constexpr ShuffleMask kInterleave{{0, 8, 4, 1, 9, 5, 2, 10, 6, 3, 11, 7, -1, -1, -1, -1,
                                   0, 8, 4, 1, 9, 5, 2, 10, 6, 3, 11, 7, -1, -1, -1, -1}};

// Eight pixels from their word pairs (Y, U) and (Y, V), pixels 0-3 in lane
// 0 and 4-7 in lane 1, to their 24 bytes at d.
template <int R, int B>
__attribute__((target("avx2"))) inline void decode8(__m256i yu, __m256i yv, uint8_t* d) {
    const __m256i b = _mm256_add_epi32(_mm256_madd_epi16(yu, pairs(1192, 2066)), _mm256_set1_epi32(-283008));
    const __m256i g = _mm256_add_epi32(dot(yu, pairs(1192, -400), yv, pairs(0, -833)), _mm256_set1_epi32(139264));
    const __m256i r = _mm256_add_epi32(_mm256_madd_epi16(yv, pairs(1192, 1634)), _mm256_set1_epi32(-227712));
    const __m256i first = _mm256_srai_epi32(R == 0 ? r : b, 10), last = _mm256_srai_epi32(R == 0 ? b : r, 10);
    const __m256i green = _mm256_srai_epi32(g, 10);
    const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(first, last), _mm256_packs_epi32(green, green));
    const __m256i out = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(bytes, load(kInterleave)),
                                                    _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(out));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 16), _mm256_extracti128_si256(out, 1));
}

// Y41P to RGB, a group of 8 pixels a step: returns the pixels done. Each
// group is read with 16-byte loads, so the last group of a row is left to
// the integer loop.
template <int R, int B>
__attribute__((target("avx2"))) int64_t y41pInverseAvx2(const uint8_t* s, uint8_t* d, int64_t pixels) {
    static constexpr ShuffleMask yuMask = y41pWordPairs(false), yvMask = y41pWordPairs(true);
    int64_t x = 0;
    for (; x + 16 <= pixels; x += 8, s += 12, d += 24) {
        const __m256i in = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
        decode8<R, B>(_mm256_shuffle_epi8(in, load(yuMask)), _mm256_shuffle_epi8(in, load(yvMask)), d);
    }
    return x;
}

// Eight pixels of a YVU9 row from [Y0..Y7, U0, U1, V0, V1]: the word pair
// (Y, U or V of its block) of each, pixels 0-3 in lane 0, 4-7 in lane 1.
constexpr ShuffleMask yvu9WordPairs(bool red) {
    ShuffleMask m{};
    for (int lane = 0; lane < 2; ++lane)
        for (int i = 0; i < 4; ++i) {
            int8_t* w = m.at + 16 * lane + 4 * i;
            w[0] = static_cast<int8_t>(4 * lane + i);
            w[1] = -1;
            w[2] = static_cast<int8_t>((red ? 10 : 8) + lane);
            w[3] = -1;
        }
    return m;
}

// A YVU9 row to RGB, 8 pixels a step, from its Y row and its block row's U
// and V samples: returns the pixels done.
template <int R, int B>
__attribute__((target("avx2"))) int64_t yvu9InverseRowAvx2(const uint8_t* y, const uint8_t* u, const uint8_t* v,
                                                          uint8_t* d, int64_t pixels) {
    static constexpr ShuffleMask yuMask = yvu9WordPairs(false), yvMask = yvu9WordPairs(true);
    int64_t x = 0;
    for (; x + 8 <= pixels; x += 8, d += 24) {
        const uint32_t chroma = uint32_t{u[x / 4]} | uint32_t{u[x / 4 + 1]} << 8 | uint32_t{v[x / 4]} << 16 |
                                uint32_t{v[x / 4 + 1]} << 24;
        const __m128i in = _mm_insert_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(y + x)),
                                            static_cast<int32_t>(chroma), 2);
        const __m256i both = _mm256_broadcastsi128_si256(in);
        decode8<R, B>(_mm256_shuffle_epi8(both, load(yuMask)), _mm256_shuffle_epi8(both, load(yvMask)), d);
    }
    return x;
}

template <PackedFormat F>
ClrStatus packedForward(const KernelIo& io, int orderFlag) {
    if (io.width % F.pixels != 0) return CLR_WIDTH_NOT_MULTIPLE;
    const int64_t pixels = pixelsOf(io.width);
    if (sharesBytes(io, walkExtent(3 * pixels, io.srcPad, io.height),
                    walkExtent(pixels / F.pixels * F.bytes, io.dstPad, io.height)))
        return rgbToPacked<F>(io, orderFlag);
    const bool avx2 = kernelIsa() >= KernelIsa::Avx2;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapRows(io, 3 * pixels, pixels / F.pixels * F.bytes, [=](const uint8_t* s, uint8_t* d, int32_t) {
            int64_t done = 0;
            if (avx2) {
                if constexpr (F.pixels == 2)
                    done = packed422ForwardAvx2<R, B, F.y[0] == 0>(s, d, pixels);
                else
                    done = y41pForwardAvx2<R, B>(s, d, pixels);
            }
            packedForwardRow<F, R, B>(s, d, done, pixels);
        });
    });
}

template <PackedFormat F>
ClrStatus packedInverse(const KernelIo& io, int orderFlag) {
    if (io.width % F.pixels != 0) return CLR_WIDTH_NOT_MULTIPLE;
    const int64_t pixels = pixelsOf(io.width);
    if (sharesBytes(io, walkExtent(pixels / F.pixels * F.bytes, io.srcPad, io.height),
                    walkExtent(3 * pixels, io.dstPad, io.height)))
        return packedToRgb<F>(io, orderFlag);
    const KernelIsa isa = kernelIsa();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapRows(io, pixels / F.pixels * F.bytes, 3 * pixels, [=](const uint8_t* s, uint8_t* d, int32_t) {
            int64_t done = 0;
            if constexpr (F.pixels == 2) {
                if (isa >= KernelIsa::Avx512) done = packed422InverseAvx512<F, R, B>(s, d, pixels);
                if (isa >= KernelIsa::Avx2)
                    done += packed422InverseAvx2<F, R, B>(s + done / 2 * 4, d + 3 * done, pixels - done);
            } else if (isa >= KernelIsa::Avx2) {
                done = y41pInverseAvx2<R, B>(s, d, pixels);
            }
            packedInverseRow<F, R, B>(s, d, done, pixels);
        });
    });
}

}  // namespace

ClrStatus rgbToYuy2(const KernelIo& io, int orderFlag) { return packedForward<kYuy2>(io, orderFlag); }
ClrStatus yuy2ToRgb(const KernelIo& io, int orderFlag) { return packedInverse<kYuy2>(io, orderFlag); }
ClrStatus rgbToUyvy(const KernelIo& io, int orderFlag) { return packedForward<kUyvy>(io, orderFlag); }
ClrStatus uyvyToRgb(const KernelIo& io, int orderFlag) { return packedInverse<kUyvy>(io, orderFlag); }
ClrStatus rgbToY41p(const KernelIo& io, int orderFlag) { return packedForward<kY41p>(io, orderFlag); }
ClrStatus y41pToRgb(const KernelIo& io, int orderFlag) { return packedInverse<kY41p>(io, orderFlag); }

ClrStatus reference::rgbToYuy2(const KernelIo& io, int orderFlag) { return rgbToPacked<kYuy2>(io, orderFlag); }
ClrStatus reference::yuy2ToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kYuy2>(io, orderFlag); }
ClrStatus reference::rgbToUyvy(const KernelIo& io, int orderFlag) { return rgbToPacked<kUyvy>(io, orderFlag); }
ClrStatus reference::uyvyToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kUyvy>(io, orderFlag); }
ClrStatus reference::rgbToY41p(const KernelIo& io, int orderFlag) { return rgbToPacked<kY41p>(io, orderFlag); }
ClrStatus reference::y41pToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kY41p>(io, orderFlag); }

namespace {

// A block's running chroma after its row k of 4, from the row's sum of the
// block's four samples.
inline int32_t runningChroma(int32_t c, int32_t sum, int k) { return k == 0 ? sum >> 2 : (c + sum) / 5; }

// One source row of a YVU9 block row, pixels `from` to `pixels`: Y to its
// plane row, and the running chroma of each block (indexed from the row's
// first pixel) brought past row k.
template <int R, int B>
void yvu9ForwardRow(const uint8_t* s, uint8_t* y, int32_t* cu, int32_t* cv, int k, int64_t from, int64_t pixels) {
    for (int64_t x = from; x < pixels; x += kBlock) {
        int32_t su = 0, sv = 0;
        for (int64_t i = x; i < x + kBlock; ++i) {
            const int32_t r = s[3 * i + R], g = s[3 * i + 1], b = s[3 * i + B];
            y[i] = static_cast<uint8_t>(studioLuma(r, g, b));
            su += studioBlueDiff(r, g, b) + 128;
            sv += studioRedDiff(r, g, b) + 128;
        }
        cu[x / kBlock] = runningChroma(cu[x / kBlock], su, k);
        cv[x / kBlock] = runningChroma(cv[x / kBlock], sv, k);
    }
}

// The same, 16 pixels (four blocks) a step in AVX2: returns the pixels done.
template <int R, int B>
__attribute__((target("avx2"))) int64_t yvu9ForwardRowAvx2(const uint8_t* s, uint8_t* y, int32_t* cu, int32_t* cv,
                                                          int k, int64_t pixels) {
    static constexpr ShuffleMask bgA = pixelWordPairs(B, 1, 0), rA = pixelWordPairs(R, -1, 0);
    static constexpr ShuffleMask bgB = pixelWordPairs(B, 1, 4), rB = pixelWordPairs(R, -1, 4);
    const __m256i ones = _mm256_set1_epi16(1);
    int64_t x = 0;
    for (; x + 16 <= pixels; x += 16, s += 48) {
        const Samples8 a = forward8<R, B>(loadLanes(s, s + 24), bgA, rA);
        const Samples8 b = forward8<R, B>(loadLanes(s + 12, s + 32), bgB, rB);
        const __m256i luma = _mm256_packus_epi16(_mm256_packs_epi32(a.y, b.y), _mm256_setzero_si256());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y + x),
                         _mm256_castsi256_si128(_mm256_permute4x64_epi64(luma, 0x08)));
        // Lane sums [U of blocks 0, 1, V of 0, 1 | U of 2, 3, V of 2, 3],
        // less 128 a sample.
        alignas(32) int32_t sums[8];
        _mm256_store_si256(reinterpret_cast<__m256i*>(sums),
                           _mm256_hadd_epi32(_mm256_madd_epi16(_mm256_packs_epi32(a.u, b.u), ones),
                                             _mm256_madd_epi16(_mm256_packs_epi32(a.v, b.v), ones)));
        int32_t* u = cu + x / kBlock;
        int32_t* v = cv + x / kBlock;
        for (int blk = 0; blk < 4; ++blk) {
            const int at = (blk & 2) * 2 + (blk & 1);
            u[blk] = runningChroma(u[blk], sums[at] + 512, k);
            v[blk] = runningChroma(v[blk], sums[at + 2] + 512, k);
        }
    }
    return x;
}

// RGB to YVU9 in runs of up to 256 pixels of each block row, the four rows
// of a run one after the other, the blocks' running chroma kept beside them
// and stored when the run's rows are done.
template <int R, int B>
void yvu9ForwardRuns(const KernelIo& io, uint8_t* yPlane, uint8_t* vPlane, uint8_t* uPlane) {
    constexpr int64_t kRun = 256;
    const int64_t w = pixelsOf(io.width), h = io.height, rowStep = 3 * w + padBytes(io.srcPad);
    const int64_t blocksPerRow = w / kBlock;
    const bool avx2 = kernelIsa() >= KernelIsa::Avx2;
    int32_t cu[kRun / kBlock], cv[kRun / kBlock];
    for (int64_t by = 0; by < h / kBlock; ++by)
        for (int64_t x0 = 0; x0 < w; x0 += kRun) {
            const int64_t n = std::min(kRun, w - x0);
            for (int k = 0; k < kBlock; ++k) {
                const uint8_t* s = io.src + by * 4 * 3 * w + k * rowStep + 3 * x0;
                uint8_t* y = yPlane + (by * kBlock + k) * w + x0;
                const int64_t done = avx2 ? yvu9ForwardRowAvx2<R, B>(s, y, cu, cv, k, n) : 0;
                yvu9ForwardRow<R, B>(s, y, cu, cv, k, done, n);
            }
            for (int64_t i = 0; i < n / kBlock; ++i) {
                uPlane[by * blocksPerRow + x0 / kBlock + i] = static_cast<uint8_t>(cu[i]);
                vPlane[by * blocksPerRow + x0 / kBlock + i] = static_cast<uint8_t>(cv[i]);
            }
        }
}

// The inverse as written (the reference) or in its exact integer form.
template <bool Exact, int R, int B>
inline void studioInversePixel(int32_t y, int32_t u, int32_t v, uint8_t* rgb) {
    if constexpr (Exact)
        studioInverseExact<R, B>(y, u, v, rgb);
    else
        studioInverse<R, B>(y, u, v, rgb);
}

// Each block's chroma is a running value over its four rows, c = s0 >> 2,
// then c = (c + s) / 5 for rows 1 to 3, s being the row's sum of four chroma
// bytes: row 3 weighs four fifths. Within a block row the source steps by
// whole padded rows; from one block row to the next by 12 x width bytes,
// which leaves the pads of the rows passed over out of the count.
template <bool Exact>
ClrStatus yvu9Forward(const KernelIo& io, int orderFlag) {
    if (io.width % kBlock != 0 || io.height % kBlock != 0) return CLR_SIZE_NOT_MULTIPLE_OF_4;
    const int64_t w = pixelsOf(io.width);
    if (!io.probe->readable(io.src, walkExtent(3 * w, io.srcPad, io.height)) ||
        !io.probe->writable(io.dst, yvu9Bytes(io.width, io.height)))
        return CLR_INVALID_PARAMETER;
    if (io.height < 1) return CLR_SUCCESS;
    const int64_t h = io.height, rowStep = 3 * w + padBytes(io.srcPad), blocksPerRow = w / kBlock;
    uint8_t* yPlane = io.dst;
    uint8_t* vPlane = yPlane + w * h;
    uint8_t* uPlane = vPlane + w * h / 16;
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        if constexpr (Exact) {
            yvu9ForwardRuns<R, B>(io, yPlane, vPlane, uPlane);
        } else {
            for (int64_t by = 0; by < h / kBlock; ++by) {
                const uint8_t* blockRow = io.src + by * 4 * 3 * w;
                for (int64_t bx = 0; bx < blocksPerRow; ++bx) {
                    int32_t cu = 0, cv = 0;
                    for (int k = 0; k < kBlock; ++k) {
                        const uint8_t* s = blockRow + k * rowStep + bx * 3 * kBlock;
                        uint8_t* y = yPlane + (by * kBlock + k) * w + bx * kBlock;
                        int32_t su = 0, sv = 0;
                        for (int i = 0; i < kBlock; ++i, s += 3) {
                            const Yuv p = studioForward(s[R], s[1], s[B]);
                            y[i] = p.y;
                            su += p.u;
                            sv += p.v;
                        }
                        cu = k == 0 ? su >> 2 : (cu + su) / 5;
                        cv = k == 0 ? sv >> 2 : (cv + sv) / 5;
                    }
                    uPlane[by * blocksPerRow + bx] = static_cast<uint8_t>(cu);
                    vPlane[by * blocksPerRow + bx] = static_cast<uint8_t>(cv);
                }
            }
        }
    });
    return CLR_SUCCESS;
}

template <bool Exact>
ClrStatus yvu9Inverse(const KernelIo& io, int orderFlag) {
    if (io.width % kBlock != 0 || io.height % kBlock != 0) return CLR_SIZE_NOT_MULTIPLE_OF_4;
    const int64_t w = pixelsOf(io.width);
    if (!io.probe->readable(io.src, yvu9Bytes(io.width, io.height)) ||
        !io.probe->writable(io.dst, walkExtent(3 * w, io.dstPad, io.height)))
        return CLR_INVALID_PARAMETER;
    const uint8_t* yPlane = io.src;
    const uint8_t* vPlane = yPlane + w * pixelsOf(io.height);
    const uint8_t* uPlane = vPlane + w * pixelsOf(io.height) / 16;
    KernelIo rows = io;
    rows.srcPad = 0;  // the source is planes, read by row index below
    const bool avx2 = kernelIsa() >= KernelIsa::Avx2;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachRow(rows, 0, 3 * w, [=](const uint8_t*, uint8_t* d, int32_t row) {
            const uint8_t* y = yPlane + row * w;
            const int64_t chroma = (row / kBlock) * (w / kBlock);
            int64_t x = 0;
            if constexpr (Exact)
                if (avx2) x = yvu9InverseRowAvx2<R, B>(y, uPlane + chroma, vPlane + chroma, d, w);
            for (d += 3 * x; x < w; ++x, d += 3)
                studioInversePixel<Exact, R, B>(y[x], uPlane[chroma + x / kBlock], vPlane[chroma + x / kBlock], d);
        });
        return CLR_SUCCESS;
    });
}

}  // namespace

ClrStatus rgbToYvu9(const KernelIo& io, int orderFlag) {
    const bool inPlace = sharesBytes(io, walkExtent(3 * pixelsOf(io.width), io.srcPad, io.height),
                                     yvu9Bytes(io.width, io.height));
    return inPlace ? yvu9Forward<false>(io, orderFlag) : yvu9Forward<true>(io, orderFlag);
}
ClrStatus yvu9ToRgb(const KernelIo& io, int orderFlag) {
    const bool inPlace = sharesBytes(io, yvu9Bytes(io.width, io.height),
                                     walkExtent(3 * pixelsOf(io.width), io.dstPad, io.height));
    return inPlace ? yvu9Inverse<false>(io, orderFlag) : yvu9Inverse<true>(io, orderFlag);
}
ClrStatus reference::rgbToYvu9(const KernelIo& io, int orderFlag) { return yvu9Forward<false>(io, orderFlag); }
ClrStatus reference::yvu9ToRgb(const KernelIo& io, int orderFlag) { return yvu9Inverse<false>(io, orderFlag); }

// RGB444 is probed at 3 bytes a pixel on the source in both directions. Its
// destination is asked for 3 x width x height / 2 bytes either way, fewer
// than both directions write (2 and 3 bytes a pixel): it is proven over the
// rows it fills instead.
ClrStatus rgbToRgb444(const KernelIo& io, int orderFlag) {
    const int64_t w = pixelsOf(io.width);
    if (ClrStatus s = proveBuffers(io, 3 * w, 2 * w); s != CLR_SUCCESS) return s;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachRow(io, 3 * w, 2 * w, [w](const uint8_t* s, uint8_t* d, int32_t) {
            for (int64_t x = 0; x < w; ++x, s += 3, d += 2) {
                d[0] = static_cast<uint8_t>(s[R] >> 4);
                d[1] = static_cast<uint8_t>((s[1] & 240) | (s[B] >> 4));
            }
        });
        return CLR_SUCCESS;
    });
}

ClrStatus rgb444ToRgb(const KernelIo& io, int orderFlag) {
    const int64_t w = pixelsOf(io.width);
    if (ClrStatus s = proveBuffers(io, 3 * w, 3 * w); s != CLR_SUCCESS) return s;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachRow(io, 2 * w, 3 * w, [w](const uint8_t* s, uint8_t* d, int32_t) {
            for (int64_t x = 0; x < w; ++x, s += 2, d += 3) {
                d[R] = static_cast<uint8_t>(s[0] * 16);
                d[1] = static_cast<uint8_t>(s[1] & 240);
                d[B] = static_cast<uint8_t>(s[1] * 16);
            }
        });
        return CLR_SUCCESS;
    });
}

ClrStatus yuvLayoutToBgr(const KernelIo& io, const ClrYuvParams& p) {
    const int32_t width = io.width, height = io.height, mps = p.macroPixelSize;
    const int64_t uH = p.uHorizontal, uV = p.uVertical, vH = p.vHorizontal, vV = p.vVertical;
    const int64_t srcPad = padBytes(io.srcPad), dstPad = padBytes(io.dstPad);
    // The packed walk steps the destination by the source's pad and the
    // source by the destination's: the proofs cover the pad each side walks.
    const int64_t dstWalkPad = p.planar ? dstPad : std::max(dstPad, srcPad);
    if (width < 1 || height < 1 || mps < 1) return CLR_INVALID_PARAMETER;
    // Sampling factors below 1 would divide by zero in the sizes and walks
    // below; they are refused rather than trusted.
    if (uH < 1 || vH < 1 || (p.planar && (uV < 1 || vV < 1))) return CLR_INVALID_PARAMETER;
    const Wide w = static_cast<uint64_t>(width), h = static_cast<uint64_t>(height);
    if (!writable(*io.probe, io.dst, (3 * w + static_cast<uint64_t>(dstWalkPad)) * h)) return CLR_INVALID_PARAMETER;

    // Bits a pixel, then the size; a per-pixel count beyond 64 bits can't
    // be backed by memory, and stopping there keeps the product in range.
    const Wide perPixel = p.planar ? (Wide(uH) * Wide(vH) * 8 + 16) / Wide(uH) * Wide(vH) : Wide((uH * 8 + 16) / uH);
    if (perPixel > UINT64_MAX) return CLR_BAD_POINTER;
    const Wide srcBytes = (perPixel * w * h + 7) / 8 + static_cast<uint64_t>(srcPad) * h;
    if (!readable(*io.probe, io.src, srcBytes)) return CLR_BAD_POINTER;

    if (!p.planar && (uV > 1 || vV >= 2)) return CLR_YUV_PLANAR_REQUIRED;
    if (!divides(uV, vV) && !divides(vV, uV)) return CLR_YUV_SAMPLING_MISMATCH;
    if (!divides(uH, vH) && !divides(vH, uH)) return CLR_YUV_SAMPLING_MISMATCH;
    if (p.planar && srcPad >= 2) return CLR_YUV_PLANAR_ALIGNMENT;

    // Past the tests: the layout table and where it sends the reads are
    // proven before use. A missing or short table, a plane order code outside
    // 0 to 5, or a negative offset would read outside the source: -13.
    const int64_t entries = p.planar ? 1 : int64_t{mps} + mps / uH + mps / vH;
    if (!p.layout || p.layoutLength < entries || !io.probe->readable(p.layout, 4 * static_cast<size_t>(entries)))
        return CLR_INVALID_PARAMETER;

    if (p.planar) {
        const int32_t code = p.layout[0];
        if (code < 0 || code > 5) return CLR_INVALID_PARAMETER;
        const int64_t wh = int64_t{width} * height;
        const PlanarWalk walk{width, wh, wh / (uH * uV), wh / (vH * vV), p};
        if (!readable(*io.probe, io.src, walk.extent(code))) return CLR_BAD_POINTER;
        walk.run(io.src, io.dst, code, dstPad);
        return CLR_SUCCESS;
    }

    const int32_t* layout = p.layout;
    if (*std::min_element(layout, layout + entries) < 0) return CLR_INVALID_PARAMETER;
    const int64_t maxOffset = *std::max_element(layout, layout + entries);
    const auto step = static_cast<int64_t>((1.0 / double(uH) + 1.0 + 1.0 / double(vH)) * mps);
    const int64_t rowAdvance = (width / mps) * step + dstPad;
    const Wide extent = Wide(rowAdvance) * (h - 1) + Wide((width - 1) / mps) * Wide(step) + Wide(maxOffset) + 1;
    if (!readable(*io.probe, io.src, extent)) return CLR_BAD_POINTER;

    const bool full = p.fullRange != 0;
    const int64_t uAt = mps, vAt = mps + mps / uH;
    uint8_t* d = io.dst;
    int64_t rowBase = 0;
    for (int32_t y = 0; y < height; ++y, rowBase += rowAdvance, d += srcPad) {
        int64_t base = rowBase;
        for (int32_t x = 0; x < width; ++x, d += 3) {
            const int32_t n = x % mps;
            layoutPixel(io.src[base + layout[n]], io.src[base + layout[uAt + n / uH]],
                        io.src[base + layout[vAt + n / vH]], full, d);
            if (n == mps - 1) base += step;
        }
    }
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
