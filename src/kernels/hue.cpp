#include "kernels/hue.h"

#include "kernels/blocks.h"
#include "kernels/reference.h"

#include <algorithm>
#include <cmath>

namespace quv::kernels {

ClrStatus reference::rgbToHsv(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const int32_t r = s[R], g = s[1], b = s[B];
            const int32_t max = std::max({r, g, b});
            const int32_t min = std::min({r, g, b});
            int32_t sat = 0;
            int32_t h = 0;
            if (max != 0) {
                const int32_t delta = max - min;
                sat = mulDiv(delta, 255, max);
                if (sat != 0) {
                    if (r == max)
                        h = mulDiv(g - b, 60, delta);
                    else if (g == max)
                        h = mulDiv(b - r, 60, delta) + 120;
                    else
                        h = mulDiv(r - g, 60, delta) + 240;
                }
            }
            if (h < 0) h += 360;
            d[0] = static_cast<uint8_t>(h * 255 / 360);
            d[1] = static_cast<uint8_t>(sat);
            d[2] = static_cast<uint8_t>(max);
        });
    });
}

ClrStatus reference::hsvToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const int32_t hue = s[0], sat = s[1], v = s[2];
            int32_t r = v, g = v, b = v;
            if (sat != 0) {
                int32_t h = hue * 360 / 255;
                if (h == 360) h = 0;
                const int32_t sector = h / 60;
                const int32_t f = h - 60 * sector;
                const int32_t p = v - sat * v / 255;
                const int32_t q = v - f * sat * v / 15300;
                const int32_t t = v - (60 - f) * sat * v / 15300;
                switch (sector) {
                case 0: r = v; g = t; b = p; break;
                case 1: r = q; g = v; b = p; break;
                case 2: r = p; g = v; b = t; break;
                case 3: r = p; g = q; b = v; break;
                case 4: r = t; g = p; b = v; break;
                default: r = v; g = p; b = q; break;
                }
            }
            d[R] = static_cast<uint8_t>(r);
            d[1] = static_cast<uint8_t>(g);
            d[B] = static_cast<uint8_t>(b);
        });
    });
}

// Hue in bytes: a sixth of the circle is 42, red at 0, green at 85, blue at 170.
ClrStatus reference::rgbToHls(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const int32_t r = s[R], g = s[1], b = s[B];
            const int32_t max = std::max({r, g, b});
            const int32_t min = std::min({r, g, b});
            const int32_t sum = max + min;
            const int32_t l = (sum + 1) * 255 / 510;
            int32_t h = 0, sat = 0;
            if (max != min) {
                const int32_t delta = max - min;
                if (l >= 128)
                    sat = (delta * 255 + (510 - sum) / 2) / (510 - sum);
                else
                    sat = (delta * 255 + sum / 2) / sum;
                const int32_t rd = ((max - r) * 42 + delta / 2) / delta;
                const int32_t gd = ((max - g) * 42 + delta / 2) / delta;
                const int32_t bd = ((max - b) * 42 + delta / 2) / delta;
                if (r == max)
                    h = bd - gd;
                else if (g == max)
                    h = rd - bd + 85;
                else
                    h = gd - rd + 170;
                if (h < 0) h += 255;
                if (h > 255) h -= 255;
            }
            d[0] = static_cast<uint8_t>(h);
            d[1] = static_cast<uint8_t>(l);
            d[2] = static_cast<uint8_t>(sat);
        });
    });
}

namespace {

int32_t hlsChannel(int32_t m1, int32_t m2, int32_t x) {
    int32_t c;
    if (x < 42)
        c = m1 + ((m2 - m1) * x + 21) / 42;
    else if (x < 127)
        c = m2;
    else if (x < 170)
        c = m1 + ((m2 - m1) * (170 - x) + 21) / 42;
    else
        c = m1;
    return (c * 255 + 127) / 255;
}

template <int R, int B>
ClrStatus hlsRows(const KernelIo& io) {
    const uint8_t* s = io.src;
    uint8_t* d = io.dst;
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);
    for (int32_t y = 0; y < io.height; ++y, s += sp, d += dp) {
        for (int32_t x = 0; x < io.width; ++x, s += 3, d += 3) {
            const int32_t h = s[0], l = s[1], sat = s[2];
            int32_t r = l, g = l, b = l;
            if (sat == 0) {
                if (h != 0) return CLR_INVALID_TAG_DATA;
            } else {
                const int32_t m2 = l < 128 ? (l * (255 + sat) + 127) / 255 : l + sat - (l * sat + 127) / 255;
                const int32_t m1 = 2 * l - m2;
                r = hlsChannel(m1, m2, h >= 171 ? h + 85 - 255 : h + 85);
                g = hlsChannel(m1, m2, h);
                b = hlsChannel(m1, m2, h >= 85 ? h - 85 : h + 170);
            }
            d[R] = static_cast<uint8_t>(r);
            d[1] = static_cast<uint8_t>(g);
            d[B] = static_cast<uint8_t>(b);
        }
    }
    return CLR_SUCCESS;
}

}  // namespace

ClrStatus reference::hlsToRgb(const KernelIo& io, int orderFlag) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, 3 * w, 3 * w);
    if (proved != CLR_SUCCESS) return proved;
    return orderFlag ? hlsRows<0, 2>(io) : hlsRows<2, 0>(io);
}

// Single precision where the steps call for it. The hue is acos(num / den)
// scaled by 127.5 with den not under a square root, and wraps into a byte;
// a NaN from a den of 0 gives the integer INT32_MIN, whose low byte is 0.
ClrStatus rgbToHsi(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const float r = s[R], g = s[1], b = s[B];
            const auto i = static_cast<uint8_t>(truncToInt((r + g + b) / 3.0f));
            const double num = 0.5 * (static_cast<double>(r) - g) + r - b;
            const double den = static_cast<double>((g - b) * (r - b) + (r - g) * (r - g));
            const int32_t h = truncToInt(std::acos(num / den) * 255.0 * 0.5);
            const float m = std::min({r, g, b});
            const float ratio = m / static_cast<float>(i);
            const auto sat = static_cast<uint8_t>(truncToInt((1.0 - ratio) * 255.0));
            const auto hueByte = static_cast<uint8_t>(h);
            d[0] = i;
            d[1] = b >= g ? static_cast<uint8_t>(255 - hueByte) : hueByte;
            d[2] = sat;
        });
    });
}

namespace {

// Products are kept as 16-bit signed integers.
inline int32_t short16(double x) { return static_cast<int16_t>(static_cast<uint16_t>(truncToInt(x))); }

constexpr double kPi = 3.1415926535;
constexpr double kThirdTurn = 1.0471975511666667;
constexpr double kTwoThirdsTurn = 2.0943951023333334;
constexpr double kThirdRangeShift = 2.6179938779166667;

}  // namespace

ClrStatus reference::hsiToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double i = s[0];
            const double sat = s[2] / 255.0;
            const double x = s[1] / 255.0 * kPi;
            int32_t r = 0, g = 0, b = 0;
            if (0 <= x && x <= kThirdTurn) {
                b = short16((1.0 - sat) * i);
                r = short16((std::cos(x) * sat / std::cos(kThirdTurn - x) + 1.0) * i);
                g = short16(3.0 * i - (b + r));
            } else if (kThirdTurn <= x && x <= kTwoThirdsTurn) {
                r = short16((1.0 - sat) * i);
                g = short16((std::cos(x) * sat / std::cos(kPi - x) + 1.0) * i);
                b = short16(3.0 * i - (g + r));
            } else if (kTwoThirdsTurn <= x && x <= 6.283185307) {
                g = short16((1.0 - sat) * i);
                b = short16((std::cos(x) * sat / std::cos(kThirdRangeShift - x) + 1.0) * i);
                r = short16(3.0 * i - (b + g));
            }
            d[R] = static_cast<uint8_t>(clamp(r, 0, 255));
            d[1] = static_cast<uint8_t>(clamp(g, 0, 255));
            d[B] = static_cast<uint8_t>(clamp(b, 0, 255));
        });
    });
}

// The kernels the conversions call. The divisions whose operands are a few
// bytes are looked up in tables of the reference's own results, and the
// choices among channels are selects rather than jumps.
namespace {

// mulDiv(n, k, d) for 0 <= n <= d <= 255; row d = 0 holds zeros.
using ByteQuotients = uint8_t[256][256];

struct HueTables {
    ByteQuotients hsvSat;    // [max][delta]: delta x 255 / max
    ByteQuotients hsvSixth;  // [delta][n]: n x 60 / delta
    uint8_t hsvHueByte[360];
    uint8_t hsvSector[256], hsvFraction[256];
    uint8_t hsvPick[256][3];  // for each hue byte, which of v, p, q, t goes to R, G, B
    ByteQuotients hlsSat;     // [max][min]
    ByteQuotients hlsSixth;   // [delta][n]: (n x 42 + delta / 2) / delta
    uint8_t hlsWeight[3][256];  // for each hue byte, R's, G's and B's share of m2 - m1, in 42nds (up to 43)
    ByteQuotients hlsM2;        // [l][s]
    uint8_t hlsShare[256][44];  // [m2 - m1][weight], weights 0..43: ((m2 - m1) x weight + 21) / 42
};

int32_t hlsWeightOf(int32_t x) { return x < 42 ? x : x < 127 ? 42 : x < 170 ? 170 - x : 0; }

const HueTables& hueTables() {
    static const HueTables* table = [] {
        auto* t = new HueTables{};
        for (int32_t d = 1; d < 256; ++d)
            for (int32_t n = 0; n <= d; ++n) {
                t->hsvSat[d][n] = static_cast<uint8_t>(mulDiv(n, 255, d));
                t->hsvSixth[d][n] = static_cast<uint8_t>(mulDiv(n, 60, d));
                t->hlsSixth[d][n] = static_cast<uint8_t>((n * 42 + d / 2) / d);
            }
        for (int32_t h = 0; h < 360; ++h) t->hsvHueByte[h] = static_cast<uint8_t>(h * 255 / 360);
        static constexpr uint8_t kPick[6][3] = {{0, 3, 1}, {2, 0, 1}, {1, 0, 3}, {1, 2, 0}, {3, 1, 0}, {0, 1, 2}};
        for (int32_t hue = 0; hue < 256; ++hue) {
            int32_t h = hue * 360 / 255;
            if (h == 360) h = 0;
            const int32_t sector = h / 60;
            t->hsvSector[hue] = static_cast<uint8_t>(sector);
            t->hsvFraction[hue] = static_cast<uint8_t>(h - 60 * sector);
            for (int c = 0; c < 3; ++c) t->hsvPick[hue][c] = kPick[sector][c];
            t->hlsWeight[0][hue] = static_cast<uint8_t>(hlsWeightOf(hue >= 171 ? hue + 85 - 255 : hue + 85));
            t->hlsWeight[1][hue] = static_cast<uint8_t>(hlsWeightOf(hue));
            t->hlsWeight[2][hue] = static_cast<uint8_t>(hlsWeightOf(hue >= 85 ? hue - 85 : hue + 170));
        }
        for (int32_t l = 0; l < 256; ++l)
            for (int32_t sat = 0; sat < 256; ++sat)
                t->hlsM2[l][sat] = static_cast<uint8_t>(l < 128 ? (l * (255 + sat) + 127) / 255
                                                                : l + sat - (l * sat + 127) / 255);
        for (int32_t d = 0; d < 256; ++d)
            for (int32_t weight = 0; weight <= 43; ++weight)
                t->hlsShare[d][weight] = static_cast<uint8_t>((d * weight + 21) / 42);
        for (int32_t max = 1; max < 256; ++max)
            for (int32_t min = 0; min < max; ++min) {
                const int32_t sum = max + min, delta = max - min;
                const int32_t l = (sum + 1) * 255 / 510;
                t->hlsSat[max][min] = static_cast<uint8_t>(l >= 128 ? (delta * 255 + (510 - sum) / 2) / (510 - sum)
                                                                    : (delta * 255 + sum / 2) / sum);
            }
        return t;
    }();
    return *table;
}

// Which channel holds the maximum, R before G before B on ties, as masks:
// the choice depends on the data, and a jump on it mispredicts.
struct Side {
    int32_t r, g, b;
    Side(int32_t red, int32_t green, int32_t max)
        : r(-int32_t{red == max}), g(~r & -int32_t{green == max}), b(~(r | g)) {}
    int32_t pick(int32_t ifR, int32_t ifG, int32_t ifB) const { return (r & ifR) | (g & ifG) | (b & ifB); }
};

}  // namespace

namespace {

using namespace avx2;

// Which lane's maximum is R (first on ties), G, or else B, as masks.
struct SideMasks {
    __m256i r, g;
    QUV_AVX2 SideMasks(__m256i red, __m256i green, __m256i max)
        : r(_mm256_cmpeq_epi32(red, max)), g(_mm256_andnot_si256(r, _mm256_cmpeq_epi32(green, max))) {}
    QUV_AVX2 __m256i pick(__m256i ifR, __m256i ifG, __m256i ifB) const { return select(r, ifR, select(g, ifG, ifB)); }
};

// The divisions of the scalar bodies in single precision (see divSmall);
// a divisor of 0 comes with a dividend of 0, so 1 stands in for it.
QUV_AVX2 __m256i divAtLeastOne(__m256i n, __m256i d) { return divSmall(n, _mm256_max_epi32(d, splat(1))); }
QUV_AVX2 __m256i mulK(__m256i x, int32_t k) { return _mm256_mullo_epi32(x, splat(k)); }
QUV_AVX2 __m256i add(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
QUV_AVX2 __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
QUV_AVX2 __m256i is(__m256i a, int32_t k) { return _mm256_cmpeq_epi32(a, splat(k)); }

template <int R, int B>
struct RgbToHsvBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i r = R == 0 ? p.c0 : p.c2, g = p.c1, b = R == 0 ? p.c2 : p.c0;
        const __m256i max = _mm256_max_epi32(r, _mm256_max_epi32(g, b));
        const __m256i delta = sub(max, _mm256_min_epi32(r, _mm256_min_epi32(g, b)));
        const __m256i sat = divAtLeastOne(add(mulK(delta, 255), _mm256_srli_epi32(max, 1)), max);
        const SideMasks side(r, g, max);
        const __m256i diff = side.pick(sub(g, b), sub(b, r), sub(r, g));
        const __m256i sixth =
            divAtLeastOne(add(mulK(_mm256_abs_epi32(diff), 60), _mm256_srli_epi32(delta, 1)), delta);
        __m256i h = add(side.pick(splat(0), splat(120), splat(240)), _mm256_sign_epi32(sixth, diff));
        h = add(h, _mm256_and_si256(splat(360), _mm256_srai_epi32(h, 31)));
        store3(d, divSmall(mulK(h, 255), splat(360)), sat, max);
    }
};

template <int R, int B>
struct HsvToRgbBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i v = p.c2, sv = _mm256_mullo_epi32(p.c1, v);
        __m256i h = divSmall(mulK(p.c0, 360), splat(255));
        h = _mm256_andnot_si256(is(h, 360), h);
        const __m256i sector = divSmall(h, splat(60));
        const __m256i f = sub(h, mulK(sector, 60));
        const __m256i pp = sub(v, divSmall(sv, splat(255)));
        const __m256i q = sub(v, divSmall(_mm256_mullo_epi32(f, sv), splat(15300)));
        const __m256i t = sub(v, divSmall(_mm256_mullo_epi32(sub(splat(60), f), sv), splat(15300)));
        const __m256i s0 = is(sector, 0), s1 = is(sector, 1), s2 = is(sector, 2);
        const __m256i s3 = is(sector, 3), s4 = is(sector, 4), s5 = is(sector, 5);
        const __m256i r = select(s1, q, select(_mm256_or_si256(s2, s3), pp, select(s4, t, v)));
        const __m256i g = select(s0, t, select(s3, q, select(_mm256_or_si256(s4, s5), pp, v)));
        const __m256i b = select(_mm256_or_si256(s0, s1), pp, select(s2, t, select(s5, q, v)));
        R == 0 ? store3(d, r, g, b) : store3(d, b, g, r);
    }
};

template <int R, int B>
struct RgbToHlsBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i r = R == 0 ? p.c0 : p.c2, g = p.c1, b = R == 0 ? p.c2 : p.c0;
        const __m256i max = _mm256_max_epi32(r, _mm256_max_epi32(g, b));
        const __m256i min = _mm256_min_epi32(r, _mm256_min_epi32(g, b));
        const __m256i delta = sub(max, min), sum = add(max, min), half = _mm256_srli_epi32(delta, 1);
        const __m256i rd = divAtLeastOne(add(mulK(sub(max, r), 42), half), delta);
        const __m256i gd = divAtLeastOne(add(mulK(sub(max, g), 42), half), delta);
        const __m256i bd = divAtLeastOne(add(mulK(sub(max, b), 42), half), delta);
        __m256i h = SideMasks(r, g, max).pick(sub(bd, gd), add(sub(rd, bd), splat(85)), add(sub(gd, rd), splat(170)));
        h = add(h, _mm256_and_si256(splat(255), _mm256_srai_epi32(h, 31)));
        const __m256i l = divSmall(mulK(add(sum, splat(1)), 255), splat(510));
        const __m256i den = select(_mm256_cmpgt_epi32(l, splat(127)), sub(splat(510), sum), sum);
        const __m256i sat = divAtLeastOne(add(mulK(delta, 255), _mm256_srli_epi32(den, 1)), den);
        store3(d, h, l, sat);
    }
};

// A hue byte's share weight for one channel, in 42nds: x up to 42, 42 up to
// 127, then 170 - x down to 0.
QUV_AVX2 __m256i hlsWeight(__m256i x) {
    return select(_mm256_cmpgt_epi32(splat(127), x), _mm256_min_epi32(x, splat(42)),
                  _mm256_max_epi32(sub(splat(170), x), _mm256_setzero_si256()));
}

// m1 plus the channel's share of m2 - m1, rescaled as the formula does.
QUV_AVX2 __m256i hlsChannel(__m256i m1, __m256i spread, __m256i x) {
    const __m256i c = add(m1, divSmall(add(_mm256_mullo_epi32(spread, hlsWeight(x)), splat(21)), splat(42)));
    return divSmall(add(mulK(c, 255), splat(127)), splat(255));
}

// False, with nothing written, for a group holding grey with a hue: the
// per-pixel body writes up to that pixel and refuses it.
template <int R, int B>
struct HlsToRgbBody {
    QUV_AVX2 bool operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i h = p.c0, l = p.c1, sat = p.c2, zero = _mm256_setzero_si256();
        if (!_mm256_testz_si256(_mm256_cmpeq_epi32(sat, zero), _mm256_xor_si256(_mm256_cmpeq_epi32(h, zero), splat(-1))))
            return false;
        const __m256i k255 = splat(255);
        const __m256i dark = divSmall(add(_mm256_mullo_epi32(l, add(k255, sat)), splat(127)), k255);
        const __m256i light = sub(add(l, sat), divSmall(add(_mm256_mullo_epi32(l, sat), splat(127)), k255));
        const __m256i m2 = select(_mm256_cmpgt_epi32(splat(128), l), dark, light);
        const __m256i m1 = sub(add(l, l), m2), spread = sub(m2, m1);
        const __m256i xr = select(_mm256_cmpgt_epi32(h, splat(170)), sub(h, splat(170)), add(h, splat(85)));
        const __m256i xb = select(_mm256_cmpgt_epi32(h, splat(84)), sub(h, splat(85)), add(h, splat(170)));
        const __m256i r = hlsChannel(m1, spread, xr), g = hlsChannel(m1, spread, h), b = hlsChannel(m1, spread, xb);
        R == 0 ? store3(d, r, g, b) : store3(d, b, g, r);
        return true;
    }
};

}  // namespace

ClrStatus rgbToHsv(const KernelIo& io, int orderFlag) {
    const HueTables& t = hueTables();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapGroups<3, 3>(io, RgbToHsvBody<R, B>{}, [&t](const uint8_t* s, uint8_t* d) {
            const int32_t r = s[R], g = s[1], b = s[B];
            const int32_t max = std::max({r, g, b});
            const int32_t delta = max - std::min({r, g, b});
            const Side side(r, g, max);
            const int32_t diff = side.pick(g - b, b - r, r - g);
            const int32_t base = side.pick(0, 120, 240);
            const int32_t sixth = t.hsvSixth[delta][diff < 0 ? -diff : diff];
            int32_t h = base + (diff < 0 ? -sixth : sixth);
            h += 360 & (h >> 31);
            d[0] = t.hsvHueByte[h];
            d[1] = t.hsvSat[max][delta];
            d[2] = static_cast<uint8_t>(max);
        });
    });
}

// With S 0 all of p, q and t equal v, so grey needs no case of its own.
ClrStatus hsvToRgb(const KernelIo& io, int orderFlag) {
    const HueTables& t = hueTables();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapGroups<3, 3>(io, HsvToRgbBody<R, B>{}, [&t](const uint8_t* s, uint8_t* d) {
            const uint32_t hue = s[0], sat = s[1], v = s[2];
            const uint32_t f = t.hsvFraction[hue];
            const uint32_t sv = sat * v;
            const uint32_t values[4] = {v, v - sv / 255, v - f * sv / 15300, v - (60 - f) * sv / 15300};
            const uint8_t* pick = t.hsvPick[hue];
            d[R] = static_cast<uint8_t>(values[pick[0]]);
            d[1] = static_cast<uint8_t>(values[pick[1]]);
            d[B] = static_cast<uint8_t>(values[pick[2]]);
        });
    });
}

ClrStatus rgbToHls(const KernelIo& io, int orderFlag) {
    const HueTables& t = hueTables();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapGroups<3, 3>(io, RgbToHlsBody<R, B>{}, [&t](const uint8_t* s, uint8_t* d) {
            const int32_t r = s[R], g = s[1], b = s[B];
            const int32_t max = std::max({r, g, b});
            const int32_t min = std::min({r, g, b});
            const uint8_t* sixth = t.hlsSixth[max - min];
            const int32_t rd = sixth[max - r], gd = sixth[max - g], bd = sixth[max - b];
            int32_t h = Side(r, g, max).pick(bd - gd, rd - bd + 85, gd - rd + 170);
            h += 255 & (h >> 31);
            d[0] = static_cast<uint8_t>(h);
            d[1] = static_cast<uint8_t>((max + min + 1) * 255 / 510);
            d[2] = t.hlsSat[max][min];
        });
    });
}

namespace {

template <int R, int B>
ClrStatus hlsRowsFast(const KernelIo& io, const HueTables& t) {
    // False at a pixel of grey with a hue, which is refused.
    auto pixel = [&t](const uint8_t* s, uint8_t* d) {
        const int32_t h = s[0], l = s[1], sat = s[2];
        if (sat == 0 && h != 0) return false;
        // m2 is at least l and at most 2 l, so m1 and m2 - m1 are never
        // negative, and a channel is m1 plus its share of the difference.
        const int32_t m2 = t.hlsM2[l][sat];
        const int32_t m1 = 2 * l - m2;
        const uint8_t* share = t.hlsShare[m2 - m1];
        auto channel = [&](int c) {
            const int32_t v = m1 + share[t.hlsWeight[c][h]];
            return static_cast<uint8_t>((v * 255 + 127) / 255);
        };
        d[R] = channel(0);
        d[1] = channel(1);
        d[B] = channel(2);
        return true;
    };
    if (kernelIsa() >= KernelIsa::Avx2)
        return avx2::walkGroups<3, 3>(io, HlsToRgbBody<R, B>{}, pixel) ? CLR_SUCCESS : CLR_INVALID_TAG_DATA;
    const uint8_t* s = io.src;
    uint8_t* d = io.dst;
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);
    for (int32_t y = 0; y < io.height; ++y, s += sp, d += dp)
        for (int32_t x = 0; x < io.width; ++x, s += 3, d += 3)
            if (!pixel(s, d)) return CLR_INVALID_TAG_DATA;
    return CLR_SUCCESS;
}

}  // namespace

ClrStatus hlsToRgb(const KernelIo& io, int orderFlag) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, 3 * w, 3 * w);
    if (proved != CLR_SUCCESS) return proved;
    const HueTables& t = hueTables();
    return orderFlag ? hlsRowsFast<0, 2>(io, t) : hlsRowsFast<2, 0>(io, t);
}

namespace {

// For each hue byte: its third of the circle (3 for none), the two cosines
// of the formula, and where the low, formula and remaining channel go.
struct HsiInverse {
    double cosHue[256], cosShifted[256];
    uint8_t pick[256][3];
    double fraction[256], complement[256];  // S / 255 and 1 - S / 255
};

const HsiInverse& hsiInverse() {
    static const HsiInverse* table = [] {
        auto* t = new HsiInverse{};
        static constexpr uint8_t kPick[4][3] = {{1, 2, 0}, {0, 1, 2}, {2, 0, 1}, {3, 3, 3}};
        for (int v = 0; v < 256; ++v) {
            const double x = v / 255.0 * kPi;
            int third = 3;
            double shift = 0;
            if (0 <= x && x <= kThirdTurn)
                third = 0, shift = kThirdTurn;
            else if (kThirdTurn <= x && x <= kTwoThirdsTurn)
                third = 1, shift = kPi;
            else if (kTwoThirdsTurn <= x && x <= 6.283185307)
                third = 2, shift = kThirdRangeShift;
            t->cosHue[v] = std::cos(x);
            t->cosShifted[v] = std::cos(shift - x);
            for (int c = 0; c < 3; ++c) t->pick[v][c] = kPick[third][c];
            const double sat = v / 255.0;
            t->fraction[v] = sat;
            t->complement[v] = 1.0 - sat;
        }
        return t;
    }();
    return *table;
}

}  // namespace

ClrStatus hsiToRgb(const KernelIo& io, int orderFlag) {
    const HsiInverse& t = hsiInverse();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [&t](const uint8_t* s, uint8_t* d) {
            const double i = s[0];
            const int h = s[1], sat = s[2];
            const int32_t low = short16(t.complement[sat] * i);
            const int32_t formula = short16((t.cosHue[h] * t.fraction[sat] / t.cosShifted[h] + 1.0) * i);
            const int32_t values[4] = {low, formula, short16(3.0 * i - (low + formula)), 0};
            const uint8_t* pick = t.pick[h];
            d[R] = static_cast<uint8_t>(clamp(values[pick[0]], 0, 255));
            d[1] = static_cast<uint8_t>(clamp(values[pick[1]], 0, 255));
            d[B] = static_cast<uint8_t>(clamp(values[pick[2]], 0, 255));
        });
    });
}


}  // namespace quv::kernels
