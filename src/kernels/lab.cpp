#include "kernels/lab.h"

#include "kernels/reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#include <immintrin.h>

namespace quv::kernels {
namespace {

constexpr double kInitWhite[3] = {95.0166015625, 100.0, 108.76499938964844};
constexpr double kInitXyzToRgb[9] = {3.240478992462158,   -1.5371500253677368, -0.49853500723838806,
                                     -0.9692559838294983, 1.875991940498352,   0.04155600070953369,
                                     0.05564799904823303, -0.20404300093650818, 1.0573110580444336};
constexpr double kInitRgbToXyz[9] = {0.4124529957771301,  0.3575800061225891,  0.18042300641536713,
                                     0.21267099678516388, 0.7151600122451782,  0.0721689984202385,
                                     0.01933399960398674, 0.11919300258159637, 0.9502270221710205};
constexpr double kUpdateWhite[3] = {96.421, 99.997, 82.524};
constexpr double kUpdateXyzToRgb[9] = {2.830880641937256,  -1.0300474166870117, -0.5604600310325623,
                                       -1.5802161693572998, 2.7214279174804688, 0.026361215859651566,
                                       0.2055138498544693, -0.5249314904212952, 1.7662780284881592};
constexpr ClrLabParams kDefaultRanges = {32, 0, 0, 100, 128, 170, 96, 200};

template <class T>
void setRanges(T& t, const ClrLabParams& r) {
    t.lOffset = r.lOffset;
    t.lRange = r.lRange;
    t.aOffset = r.aOffset;
    t.aRange = r.aRange;
    t.bOffset = r.bOffset;
    t.bRange = r.bRange;
}

inline uint8_t limitByte(int32_t v) { return static_cast<uint8_t>(clamp(v, 0, 255)); }

// Single-precision rounding of x to 16.16, the product taken in single.
int32_t roundSingle(float x) {
    const double h = x < 0 ? -0.5 : 0.5;
    return truncToInt(static_cast<float>(x * 65536.0f) + h);
}

}  // namespace

int32_t roundFixed(double x, double scale) { return truncToInt(x * scale + (x < 0 ? -0.5 : 0.5)); }

// The count of thresholds at or below v, by an eight-step binary search,
// written without branches: the steps depend on the data, and mispredicted
// jumps would cost more than the whole search.
int32_t labSearch(const int32_t* thresholds, int32_t v) {
    int32_t i = 127;
    for (int32_t step = 64; step >= 1; step >>= 1) {
        const int32_t below = v < thresholds[i];
        i += step - 2 * step * below;
    }
    return i + (v >= thresholds[i]);
}

int32_t labSearchIndexed(const LabDecodeTables& t, int32_t v) {
    if (v < 0 || v >= (1 << 28)) return labSearch(t.encodeThresholds, v);
    int32_t i = t.searchStart[v >> 16];
    while (i < 255 && t.encodeThresholds[i] <= v) ++i;
    return i;
}

void initLabDecodeTables(LabDecodeTables& t, const ClrLabParams& ranges) {
    std::memset(&t, 0, sizeof t);
    t.whiteX = kInitWhite[0];
    t.whiteY = kInitWhite[1];
    t.whiteZ = kInitWhite[2];
    std::copy(std::begin(kInitXyzToRgb), std::end(kInitXyzToRgb), t.xyzToRgb);
    setRanges(t, ranges);
}

void initLabDecodeTablesForUpdate(LabDecodeTables& t) {
    std::memset(&t, 0, sizeof t);
    t.whiteX = kUpdateWhite[0];
    t.whiteY = kUpdateWhite[1];
    t.whiteZ = kUpdateWhite[2];
    std::copy(std::begin(kUpdateXyzToRgb), std::end(kUpdateXyzToRgb), t.xyzToRgb);
    setRanges(t, kDefaultRanges);
}

void deriveLabDecodeTables(LabDecodeTables& t, int32_t gamma) {
    t.lBias = static_cast<float>(roundFixed(t.lOffset - 4080.0 / t.lRange, 65536));
    t.lScale = roundFixed(t.lRange / 29580.0 * 4096.0, 65536);
    t.aScale = roundFixed(t.aRange / 127500.0 * 4096.0, 65536);
    t.bScale = roundFixed(t.bRange / 51000.0 * 4096.0, 65536);
    for (int r = 0; r < 3; ++r) {
        const double* m = t.xyzToRgb + 3 * r;
        t.fixedMatrix[3 * r] = roundFixed(t.whiteX * m[0] / t.whiteY, 65536);
        t.fixedMatrix[3 * r + 1] = roundFixed(m[1], 65536);
        t.fixedMatrix[3 * r + 2] = roundFixed(t.whiteZ * m[2] / t.whiteY, 65536);
    }
    for (int i = 0; i < 255; ++i)
        t.encodeThresholds[i] = roundFixed(std::pow((i + 0.5) / 255.0, 1.0 / (gamma / 100.0)), 268435456.0);
    // The thresholds rise with i, so the ones below a value form a prefix.
    int32_t below = 0;
    for (int32_t b = 0; b < 4096; ++b) {
        while (below < 255 && t.encodeThresholds[below] < (b << 16)) ++below;
        t.searchStart[b] = static_cast<uint8_t>(below);
    }
}

void initLabEncodeTables(LabEncodeTables& t, const ClrLabParams& ranges, int32_t gamma) {
    std::memset(&t, 0, sizeof t);
    t.whiteX = kInitWhite[0];
    t.whiteY = kInitWhite[1];
    t.whiteZ = kInitWhite[2];
    std::copy(std::begin(kInitRgbToXyz), std::end(kInitRgbToXyz), t.rgbToXyz);
    setRanges(t, ranges);
    deriveLabEncodeTables(t, gamma);
}

// In single precision except where the products are taken on widened values.
void deriveLabEncodeTables(LabEncodeTables& t, int32_t gamma) {
    const double yx = static_cast<float>(t.whiteY / t.whiteX);
    const double yz = static_cast<float>(t.whiteY / t.whiteZ);
    const double e = 1.0f / static_cast<float>(gamma / 100.0);
    const float sL = 29580.0f / static_cast<float>(t.lRange);
    const float sA = 127500.0f / static_cast<float>(t.aRange);
    const float sB = 51000.0f / static_cast<float>(t.bRange);

    auto lowLimit = [](int32_t offset, float scale) {
        const float v = offset / scale;
        const double h = -v < 0 ? -0.5 : 0.5;
        return truncToInt(h - static_cast<float>(v * 65536.0f));
    };
    t.aMin = lowLimit(t.aOffset, sA);
    t.aMax = roundSingle(wrapSub(255, t.aOffset) / sA);
    t.bMin = lowLimit(t.bOffset, sB);
    t.bMax = roundSingle(wrapSub(255, t.bOffset) / sB);
    // A range that doesn't hold neutral on both sides can't be encoded into.
    if (t.aMin >= 0 || t.aMax < 1 || t.bMin >= 0 || t.bMax < 1) return;

    t.lMul = roundFixed(sL, 65536);
    t.aMul = roundFixed(sA, 65536);
    t.bMul = roundFixed(sB, 65536);
    t.lBias = roundFixed(t.lOffset - 4080.0 / static_cast<float>(t.lRange), 65536);
    for (int i = 0; i < 256; ++i) {
        const double lin = static_cast<float>(std::pow(static_cast<float>(i / 255.0), e));
        for (int c = 0; c < 3; ++c) {
            t.rgbToXyzTables[c][i] = roundFixed(lin * t.rgbToXyz[c] * yx, 65536);
            t.rgbToXyzTables[3 + c][i] = roundFixed(lin * t.rgbToXyz[3 + c], 65536);
            t.rgbToXyzTables[6 + c][i] = roundFixed(lin * t.rgbToXyz[6 + c] * yz, 65536);
        }
    }
    for (int n = 0; n < 4096; ++n) {
        const float v = static_cast<float>(n * 16 * (1.0 / 65536.0));
        const float f = v > 0.008856f ? static_cast<float>(std::pow(v, 0.3333333432674408)) : v * 7.7867f + 0.13793103f;
        t.cubeRoot[n] = static_cast<uint16_t>(roundFixed(f, 65536));
    }
}

namespace {

// pow(byte / 255, 2.2222222222222223) for every byte: the exact values the
// formula gives, looked up instead of computed per pixel.
const double* linearFromByte() {
    static const auto table = [] {
        std::array<double, 256> t{};
        for (int i = 0; i < 256; ++i) t[i] = std::pow(i / 255.0, 2.2222222222222223);
        return t;
    }();
    return table.data();
}

// One pixel of RGB to Lab as the formula is written.
void labFromRgb(const double* linear, int rByte, int gByte, int bByte, uint8_t* d) {
    const double r = linear[rByte];
    const double g = linear[gByte];
    const double b = linear[bByte];
    const double x = (0.3575800061225891 * g + 0.4124529957771301 * r + 0.18042300641536713 * b) * 100.0 /
                     95.0166015625;
    const double y = (0.21267099678516388 * r + 0.7151600122451782 * g + 0.0721689984202385 * b) * 100.0 / 100.0;
    const double z = (0.11919300258159637 * g + 0.01933399960398674 * r + 0.9502270221710205 * b) * 100.0 /
                     108.76499938964844;
    auto f = [](double t) { return t > 0.008856 ? std::pow(t, 0.3333333333333333) : t * 7.7867 + 0.13793103448275862; };
    const double fx = f(x), fy = f(y), fz = f(z);
    const double l = fy * 116.0 - 16.0;
    const double a = (fx - fy) * 500.0;
    const double bb = (fy - fz) * 200.0;
    // L* is cut to an integer before scaling, so byte 0 takes 101 values.
    d[0] = static_cast<uint8_t>(((truncToInt(l) & 255) * 255) / 100);
    d[1] = static_cast<uint8_t>(truncToInt(a));
    d[2] = static_cast<uint8_t>(truncToInt(bb));
}

}  // namespace

ClrStatus reference::rgbToLab(const KernelIo& io, int orderFlag) {
    const double* linear = linearFromByte();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [linear](const uint8_t* s, uint8_t* d) { labFromRgb(linear, s[R], s[1], s[B], d); });
    });
}

// The decoding white (0.95, 1, 1.088) differs from the encoding one.
ClrStatus reference::labToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double l = s[0] / 2.55;
            const double a = static_cast<int8_t>(s[1]);
            const double b = static_cast<int8_t>(s[2]);
            const double fy = (l + 16.0) / 116.0;
            const double fx = a / 500.0 + fy;
            const double fz = fy - b / 200.0;
            auto g = [](double t) {
                return clamp(t > 0.20689 ? t * (t * t) : (t - 0.13793103448275862) / 7.7867, 0.0, 1.0);
            };
            const double y = g(fy), x = g(fx) * 0.95, z = g(fz) * 1.088;
            const double r = x * 3.240478992462158 - y * 1.5371500253677368 - z * 0.49853500723838806;
            const double gr = y * 1.875991940498352 - x * 0.9692559838294983 + z * 0.04155600070953369;
            const double bl = x * 0.05564799904823303 - y * 0.20404300093650818 + z * 1.0573110580444336;
            auto encode = [](double v) {
                return limitByte(truncToInt(std::pow(clamp(v, 0.0, 1.0), 0.45) * 255.0 + 0.5));
            };
            d[R] = encode(r);
            d[1] = encode(gr);
            d[B] = encode(bl);
        });
    });
}

namespace {

double labInverseF(double t) {
    return clamp(t > 0.20689 ? t * (t * t) : (t - 0.13793103448275862) / 7.7867, 0.0, 1.0);
}

uint8_t gammaEncode(double v) { return limitByte(truncToInt(std::pow(clamp(v, 0.0, 1.0), 0.45) * 255.0 + 0.5)); }

// What the inverse takes from one byte, and the gamma encoding as the
// values where its byte steps up: the byte of v is the count of thresholds
// at or below it. The thresholds are found by bisecting the bits of the
// doubles in [0, 1] against the encoding itself, so they hold wherever the
// encoding rises with v; the exhaustive test checks every input.
struct LabInverse {
    double fy[256], y[256];         // by L byte
    double aPart[256], bPart[256];  // a / 500 and b / 200 by byte
    double steps[256];              // entry k: the least v whose byte passes k; the last never reached
    // Buckets by the leading bits of the double: 1024 to each binade from
    // 2^-24 to 1, so that their width follows the thresholds' spacing; all
    // below 2^-24 go to the first.
    static constexpr int kBucketBits = 10;
    static constexpr int64_t kFirstBucket = int64_t{1023 - 24} << kBucketBits;
    static constexpr int32_t kBuckets = 24 << kBucketBits;  // the bucket of 1.0
    uint8_t start[kBuckets + 1];  // thresholds at or below the bucket's low edge
    int32_t extra;                // most thresholds inside one bucket

    static int64_t bucketBits(double c) {
        uint64_t u;
        std::memcpy(&u, &c, sizeof u);
        return static_cast<int64_t>(u >> (52 - kBucketBits)) - kFirstBucket;
    }
    static double bucketEdge(int64_t b) {
        const uint64_t u = static_cast<uint64_t>(b + kFirstBucket) << (52 - kBucketBits);
        double d;
        std::memcpy(&d, &u, sizeof d);
        return d;
    }
    // The byte of c in [0, 1], from its bucket.
    uint8_t encodeAt(double c, int64_t bucket) const {
        int32_t k = start[bucket];
        for (int32_t n = 0; n < extra; ++n) k += c >= steps[k];
        return static_cast<uint8_t>(k);
    }
    uint8_t encode(double v) const {
        const double c = clamp(v, 0.0, 1.0);
        return encodeAt(c, std::max<int64_t>(bucketBits(c), 0));
    }
};

const LabInverse& labInverse() {
    static const LabInverse* table = [] {
        auto* t = new LabInverse{};
        for (int v = 0; v < 256; ++v) {
            t->fy[v] = (v / 2.55 + 16.0) / 116.0;
            t->y[v] = labInverseF(t->fy[v]);
            t->aPart[v] = static_cast<int8_t>(v) / 500.0;
            t->bPart[v] = static_cast<int8_t>(v) / 200.0;
        }
        auto bitsOf = [](double d) { uint64_t u; std::memcpy(&u, &d, sizeof u); return u; };
        auto ofBits = [](uint64_t u) { double d; std::memcpy(&d, &u, sizeof d); return d; };
        for (int k = 0; k < 255; ++k) {
            uint64_t lo = bitsOf(0.0), hi = bitsOf(1.0);  // encode(lo) <= k < encode(hi)
            while (hi - lo > 1) {
                const uint64_t mid = lo + (hi - lo) / 2;
                (gammaEncode(ofBits(mid)) > k ? hi : lo) = mid;
            }
            t->steps[k] = ofBits(hi);
        }
        t->steps[255] = HUGE_VAL;
        int32_t below = 0;
        for (int32_t b = 0; b <= LabInverse::kBuckets; ++b) {
            const double edge = b == 0 ? 0.0 : LabInverse::bucketEdge(b);
            while (below < 255 && t->steps[below] <= edge) ++below;
            t->start[b] = static_cast<uint8_t>(below);
            int32_t inside = below;
            while (inside < 255 && t->steps[inside] < LabInverse::bucketEdge(b + 1)) ++inside;
            t->extra = std::max(t->extra, inside - below);
        }
        return t;
    }();
    return *table;
}

// One pixel from the tables, as the scalar walk does it.
inline void labToRgbPixel(const LabInverse& t, const uint8_t* s, uint8_t* d, int R, int B) {
    const double fy = t.fy[s[0]];
    const double fx = t.aPart[s[1]] + fy;
    const double fz = fy - t.bPart[s[2]];
    const double y = t.y[s[0]], x = labInverseF(fx) * 0.95, z = labInverseF(fz) * 1.088;
    const double r = x * 3.240478992462158 - y * 1.5371500253677368 - z * 0.49853500723838806;
    const double gr = y * 1.875991940498352 - x * 0.9692559838294983 + z * 0.04155600070953369;
    const double bl = x * 0.05564799904823303 - y * 0.20404300093650818 + z * 1.0573110580444336;
    d[R] = t.encode(r);
    d[1] = t.encode(gr);
    d[B] = t.encode(bl);
}

// table[p[3k]] for four pixels k.
__attribute__((target("avx2"))) inline __m256d quadLanes(const double* table, const uint8_t* p) {
    return _mm256_setr_pd(table[p[0]], table[p[3]], table[p[6]], table[p[9]]);
}

// Table reads by lane: the indices stored and read back, then plain loads,
// which this processor family issues faster than its gather instructions.
__attribute__((target("avx2"))) inline __m256d gatherLanes(const double* table, __m128i index) {
    alignas(16) int32_t i[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(i), index);
    return _mm256_setr_pd(table[i[0]], table[i[1]], table[i[2]], table[i[3]]);
}

template <class T>
__attribute__((target("avx2"))) inline __m256i gatherInts(const T* table, __m256i index) {
    alignas(32) int32_t i[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(i), index);
    return _mm256_setr_epi32(table[i[0]], table[i[1]], table[i[2]], table[i[3]], table[i[4]], table[i[5]], table[i[6]],
                             table[i[7]]);
}

// Lanes of a 64-bit comparison as 32-bit masks.
__attribute__((target("avx2"))) inline __m128i narrowMask(__m256d m) {
    const __m256i packed =
        _mm256_permutevar8x32_epi32(_mm256_castpd_si256(m), _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6));
    return _mm256_castsi256_si128(packed);
}

__attribute__((target("avx2"))) inline __m256d select(__m256d mask, __m256d yes, __m256d no) {
    return _mm256_blendv_pd(no, yes, mask);
}

// clamp(v, lo, hi) as the scalar form has it: below lo, lo; above hi, hi.
__attribute__((target("avx2"))) inline __m256d clampLanes(__m256d v, double lo, double hi) {
    const __m256d l = _mm256_set1_pd(lo), h = _mm256_set1_pd(hi);
    return select(_mm256_cmp_pd(v, l, _CMP_LT_OQ), l, select(_mm256_cmp_pd(v, h, _CMP_GT_OQ), h, v));
}

// What RGB to Lab takes from one byte: each product of a matrix entry and
// the linear value, as the formula forms it, so the sums see the same
// operands. And t^(-1/3) at the middle of each 1/256 of the binades from
// 2^-7 to 2, where every X, Y, Z on the cube-root side lies (they run from
// 0.008856 to 1.0011).
struct LabForward {
    double xr[256], xg[256], xb[256], yr[256], yg[256], yb[256], zr[256], zg[256], zb[256];
    static constexpr int64_t kFirstBinade = 1023 - 7;
    double inverseCubeRoot[8 * 256];
};

const LabForward& labForward() {
    static const LabForward* table = [] {
        auto* t = new LabForward{};
        const double* linear = linearFromByte();
        for (int i = 0; i < 256; ++i) {
            const double v = linear[i];
            t->xr[i] = 0.4124529957771301 * v, t->xg[i] = 0.3575800061225891 * v, t->xb[i] = 0.18042300641536713 * v;
            t->yr[i] = 0.21267099678516388 * v, t->yg[i] = 0.7151600122451782 * v, t->yb[i] = 0.0721689984202385 * v;
            t->zr[i] = 0.01933399960398674 * v, t->zg[i] = 0.11919300258159637 * v, t->zb[i] = 0.9502270221710205 * v;
        }
        for (int j = 0; j < 8 * 256; ++j)
            t->inverseCubeRoot[j] = std::pow(std::ldexp(1.0 + (j % 256 + 0.5) / 256.0, j / 256 - 7), -1.0 / 3.0);
        return t;
    }();
    return *table;
}

// f(t) of the forward formula, the cube root approximated: the table's
// start is within 6.6e-4, and each Newton step for t^(-1/3) squares the
// relative error (times 2), so after three it is at rounding level, a few
// units in the last place. Lanes on the linear side are exact.
__attribute__((target("avx2"))) inline __m256d labForwardF(const LabForward& t, __m256d v) {
    const __m256d cube = _mm256_cmp_pd(v, _mm256_set1_pd(0.008856), _CMP_GT_OQ);
    const __m256d one = _mm256_set1_pd(1.0);
    const __m256d c = select(cube, v, one);
    __m256i bin = _mm256_sub_epi64(_mm256_srli_epi64(_mm256_castpd_si256(c), 44),
                                   _mm256_set1_epi64x(LabForward::kFirstBinade << 8));
    const __m128i index = narrowMask(_mm256_castsi256_pd(bin));
    const __m128i bounded = _mm_min_epi32(_mm_max_epi32(index, _mm_setzero_si128()), _mm_set1_epi32(8 * 256 - 1));
    __m256d r = gatherLanes(t.inverseCubeRoot, bounded);
    const __m256d third = _mm256_set1_pd(1.0 / 3.0);
    for (int step = 0; step < 3; ++step) {
        const __m256d r3 = _mm256_mul_pd(_mm256_mul_pd(r, r), r);
        const __m256d e = _mm256_sub_pd(one, _mm256_mul_pd(c, r3));
        r = _mm256_add_pd(r, _mm256_mul_pd(_mm256_mul_pd(r, e), third));
    }
    const __m256d root = _mm256_mul_pd(_mm256_mul_pd(c, r), r);
    const __m256d linear = _mm256_add_pd(_mm256_mul_pd(v, _mm256_set1_pd(7.7867)), _mm256_set1_pd(0.13793103448275862));
    return select(cube, root, linear);
}

// Lanes where v might truncate to another integer than the exact formula
// gives: within 1e-9 of an integer other than 0. The approximation's error
// reaches L*, a* and b* times at most 1000, far below that.
__attribute__((target("avx2"))) inline __m256d nearCut(__m256d v) {
    const __m256d k = _mm256_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    const __m256d off = _mm256_andnot_pd(_mm256_set1_pd(-0.0), _mm256_sub_pd(v, k));
    return _mm256_and_pd(_mm256_cmp_pd(off, _mm256_set1_pd(1e-9), _CMP_LT_OQ),
                         _mm256_cmp_pd(k, _mm256_setzero_pd(), _CMP_NEQ_OQ));
}

// (p + q) + r of three products looked up by byte.
__attribute__((target("avx2"))) inline __m256d productSum(const double* p, const uint8_t* pi, const double* q,
                                                          const uint8_t* qi, const double* r, const uint8_t* ri) {
    return _mm256_add_pd(_mm256_add_pd(quadLanes(p, pi), quadLanes(q, qi)), quadLanes(r, ri));
}

template <int R, int B>
__attribute__((target("avx2"))) void rgbToLabRowAvx2(const LabForward& t, const uint8_t* s, uint8_t* d, int64_t w) {
    const double* linear = linearFromByte();
    int64_t x = 0;
    for (; x + 4 <= w; x += 4, s += 12, d += 12) {
        uint8_t px[12];
        std::memcpy(px, s, 12);
        const uint8_t *ri = px + R, *gi = px + 1, *bi = px + B;
        const __m256d hundred = _mm256_set1_pd(100.0);
        const __m256d vx = _mm256_div_pd(_mm256_mul_pd(productSum(t.xg, gi, t.xr, ri, t.xb, bi), hundred),
                                         _mm256_set1_pd(95.0166015625));
        const __m256d vy = _mm256_div_pd(_mm256_mul_pd(productSum(t.yr, ri, t.yg, gi, t.yb, bi), hundred), hundred);
        const __m256d vz = _mm256_div_pd(_mm256_mul_pd(productSum(t.zg, gi, t.zr, ri, t.zb, bi), hundred),
                                         _mm256_set1_pd(108.76499938964844));
        const __m256d fx = labForwardF(t, vx), fy = labForwardF(t, vy), fz = labForwardF(t, vz);
        const __m256d l = _mm256_sub_pd(_mm256_mul_pd(fy, _mm256_set1_pd(116.0)), _mm256_set1_pd(16.0));
        const __m256d a = _mm256_mul_pd(_mm256_sub_pd(fx, fy), _mm256_set1_pd(500.0));
        const __m256d bb = _mm256_mul_pd(_mm256_sub_pd(fy, fz), _mm256_set1_pd(200.0));
        const int redo = _mm256_movemask_pd(_mm256_or_pd(_mm256_or_pd(nearCut(l), nearCut(a)), nearCut(bb)));
        alignas(16) int32_t li[4], ai[4], bj[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(li), _mm256_cvttpd_epi32(l));
        _mm_store_si128(reinterpret_cast<__m128i*>(ai), _mm256_cvttpd_epi32(a));
        _mm_store_si128(reinterpret_cast<__m128i*>(bj), _mm256_cvttpd_epi32(bb));
        for (int k = 0; k < 4; ++k) {
            d[3 * k] = static_cast<uint8_t>(((li[k] & 255) * 255) / 100);
            d[3 * k + 1] = static_cast<uint8_t>(ai[k]);
            d[3 * k + 2] = static_cast<uint8_t>(bj[k]);
        }
        for (int k = 0; redo && k < 4; ++k)
            if (redo & (1 << k)) labFromRgb(linear, px[3 * k + R], px[3 * k + 1], px[3 * k + B], d + 3 * k);
    }
    for (; x < w; ++x, s += 3, d += 3) labFromRgb(linear, s[R], s[1], s[B], d);
}

__attribute__((target("avx2"))) inline __m256d inverseFLanes(__m256d v) {
    const __m256d cube = _mm256_mul_pd(v, _mm256_mul_pd(v, v));
    const __m256d toe = _mm256_div_pd(_mm256_sub_pd(v, _mm256_set1_pd(0.13793103448275862)), _mm256_set1_pd(7.7867));
    return clampLanes(select(_mm256_cmp_pd(v, _mm256_set1_pd(0.20689), _CMP_GT_OQ), cube, toe), 0.0, 1.0);
}

__attribute__((target("avx2"))) inline __m256d times(__m256d v, double c) {
    return _mm256_mul_pd(v, _mm256_set1_pd(c));
}

// The arithmetic four pixels wide; the gamma encoding, a look-up and a
// comparison per value, one value at a time from the clamped results and
// their buckets.
template <int R, int B>
__attribute__((target("avx2"))) void labToRgbRowAvx2(const LabInverse& t, const uint8_t* s, uint8_t* d, int64_t w) {
    const __m256i first = _mm256_set1_epi64x(LabInverse::kFirstBucket);
    int64_t x = 0;
    for (; x + 4 <= w; x += 4, s += 12, d += 12) {
        uint8_t p[12];
        std::memcpy(p, s, 12);
        const __m256d fy = _mm256_setr_pd(t.fy[p[0]], t.fy[p[3]], t.fy[p[6]], t.fy[p[9]]);
        const __m256d y = _mm256_setr_pd(t.y[p[0]], t.y[p[3]], t.y[p[6]], t.y[p[9]]);
        const __m256d fx =
            _mm256_add_pd(_mm256_setr_pd(t.aPart[p[1]], t.aPart[p[4]], t.aPart[p[7]], t.aPart[p[10]]), fy);
        const __m256d fz =
            _mm256_sub_pd(fy, _mm256_setr_pd(t.bPart[p[2]], t.bPart[p[5]], t.bPart[p[8]], t.bPart[p[11]]));
        const __m256d vx = _mm256_mul_pd(inverseFLanes(fx), _mm256_set1_pd(0.95));
        const __m256d vz = _mm256_mul_pd(inverseFLanes(fz), _mm256_set1_pd(1.088));
        __m256d rgb[3];
        rgb[0] = _mm256_sub_pd(_mm256_sub_pd(times(vx, 3.240478992462158), times(y, 1.5371500253677368)),
                               times(vz, 0.49853500723838806));
        rgb[1] = _mm256_add_pd(_mm256_sub_pd(times(y, 1.875991940498352), times(vx, 0.9692559838294983)),
                               times(vz, 0.04155600070953369));
        rgb[2] = _mm256_add_pd(_mm256_sub_pd(times(vx, 0.05564799904823303), times(y, 0.20404300093650818)),
                               times(vz, 1.0573110580444336));
        alignas(32) double c[3][4];
        alignas(32) int64_t bucket[3][4];
        for (int ch = 0; ch < 3; ++ch) {
            const __m256d v = clampLanes(rgb[ch], 0.0, 1.0);
            _mm256_store_pd(c[ch], v);
            const __m256i b =
                _mm256_sub_epi64(_mm256_srli_epi64(_mm256_castpd_si256(v), 52 - LabInverse::kBucketBits), first);
            // A bucket below the first (the sign in the high half) is the first.
            _mm256_store_si256(reinterpret_cast<__m256i*>(bucket[ch]),
                               _mm256_andnot_si256(_mm256_srai_epi32(_mm256_shuffle_epi32(b, 0xF5), 31), b));
        }
        for (int k = 0; k < 4; ++k) {
            d[3 * k + R] = t.encodeAt(c[0][k], bucket[0][k]);
            d[3 * k + 1] = t.encodeAt(c[1][k], bucket[1][k]);
            d[3 * k + B] = t.encodeAt(c[2][k], bucket[2][k]);
        }
    }
    for (; x < w; ++x, s += 3, d += 3) labToRgbPixel(t, s, d, R, B);
}

// Rows of 4 or 8 pixels read before they are written: a call whose rows
// overlap other than in place takes the pixel-by-pixel walk.
bool shiftedInPlace(const KernelIo& io) {
    const int64_t w = io.width > 0 ? io.width : 0;
    return overlapsShifted(io, 3 * w, 3 * w);
}

// Runs a row kernel over the rows when the processor has AVX2.
template <class Row>
ClrStatus mapRowsAvx2(const KernelIo& io, int orderFlag, Row row) {
    const int64_t w = io.width > 0 ? io.width : 0;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapRows(io, 3 * w, 3 * w,
                       [&](const uint8_t* s, uint8_t* d, int32_t) { row.template operator()<R, B>(s, d, w); });
    });
}

}  // namespace

ClrStatus rgbToLab(const KernelIo& io, int orderFlag) {
    if (kernelIsa() < KernelIsa::Avx2 || shiftedInPlace(io)) return reference::rgbToLab(io, orderFlag);
    const LabForward& t = labForward();
    return mapRowsAvx2(io, orderFlag, [&t]<int R, int B>(const uint8_t* s, uint8_t* d, int64_t w) {
        rgbToLabRowAvx2<R, B>(t, s, d, w);
    });
}

ClrStatus labToRgb(const KernelIo& io, int orderFlag) {
    const LabInverse& t = labInverse();
    if (kernelIsa() >= KernelIsa::Avx2 && !shiftedInPlace(io))
        return mapRowsAvx2(io, orderFlag, [&t]<int R, int B>(const uint8_t* s, uint8_t* d, int64_t w) {
            labToRgbRowAvx2<R, B>(t, s, d, w);
        });
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [&t](const uint8_t* s, uint8_t* d) { labToRgbPixel(t, s, d, R, B); });
    });
}

namespace {

// CIE f of a 16.16 value from the sampled table, interpolated.
int32_t encodeCubeRoot(const LabEncodeTables& t, int32_t v) {
    if (v >= 65536) return 65536;
    if (v < 0) return t.cubeRoot[0];
    const int32_t n = v >> 4;
    const int32_t e = t.cubeRoot[n];
    if (n == 4095) return e;
    return e + (((t.cubeRoot[n + 1] - e) * (v & 15) + 8) >> 4);
}

// 1.0 in 16.16 inside [lo, hi], else how far to shrink toward neutral;
// false where the chroma would be divided by 0.
bool chromaRatio(int32_t d, int32_t lo, int32_t hi, int32_t* ratio) {
    *ratio = 65536;
    if (d >= lo && d <= hi) return true;
    const int32_t limit = d < lo ? lo : hi;
    if ((d >> 2) == 0) return false;
    // In 64 bits, so that the one quotient that leaves 32 bits wraps
    // instead of trapping.
    const int64_t q = int64_t{static_cast<int32_t>(static_cast<uint32_t>(limit) << 14)} / (d >> 2);
    *ratio = static_cast<int32_t>(static_cast<uint32_t>(q));
    return true;
}

// One pixel: nine table look-ups, three interpolations and at most two
// divisions. False, with nothing written, where a chroma beyond a limit by
// less than 4 would be divided by 0.
bool labEncodePixel(const LabEncodeTables& t, int r, int g, int b, uint8_t* d) {
    const auto sum = [&](int c) {
        return wrapAdd(wrapAdd(t.rgbToXyzTables[c][r], t.rgbToXyzTables[c + 1][g]), t.rgbToXyzTables[c + 2][b]);
    };
    const int32_t X = sum(0), Y = sum(3), Z = sum(6);
    const int32_t fy = encodeCubeRoot(t, Y);
    int32_t da = encodeCubeRoot(t, X) - fy;
    int32_t db = fy - encodeCubeRoot(t, Z);
    int32_t ra, rb;
    if (!chromaRatio(da, t.aMin, t.aMax, &ra) || !chromaRatio(db, t.bMin, t.bMax, &rb)) return false;
    // Out of range: chroma shrinks toward neutral, each axis dragging the
    // other along.
    if (ra != 65536 || rb != 65536) {
        da = fixMul16(std::min(ra, wrapSub(wrapMul(2, rb), 65536)), da);
        db = fixMul16(std::min(rb, wrapAdd(ra, 65536) >> 1), db);
    }
    d[0] = limitByte(wrapAdd(wrapAdd(fixMul16(t.lMul, fy), t.lBias), 32768) >> 16);
    d[1] = limitByte(wrapAdd(wrapAdd(fixMul16(t.aMul, da), 32768) >> 16, t.aOffset));
    d[2] = limitByte(wrapAdd(wrapAdd(fixMul16(t.bMul, db), 32768) >> 16, t.bOffset));
    return true;
}

// Walks the pixels with encode(r, g, b, destination), stopping at a pixel
// it cannot encode, the ones before it written.
template <class Encode>
ClrStatus encodeWalk(const KernelIo& io, int orderFlag, Encode encode) {
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    const int64_t w = io.width > 0 ? io.width : 0;
    if (ClrStatus proved = proveBuffers(io, 3 * w, 3 * w); proved != CLR_SUCCESS) return proved;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        const uint8_t* s = io.src;
        uint8_t* d = io.dst;
        for (int32_t row = 0; row < io.height; ++row) {
            for (int64_t x = 0; x < w; ++x, s += 3, d += 3)
                if (!encode(s[R], s[1], s[B], d)) return CLR_INVALID_PARAMETER;
            s += padBytes(io.srcPad);
            d += padBytes(io.dstPad);
        }
        return CLR_SUCCESS;
    });
}

// The interpolated CIE f of every 16.16 value in [0, 1), for records
// holding the sampled table every handle derives (it depends on nothing
// the caller sets). `usable`: every value fits 16 bits.
struct LabEncodeRoots {
    uint16_t sampled[4096];
    uint16_t full[65536];
    bool usable = true;
};

const LabEncodeRoots& labEncodeRoots() {
    static const LabEncodeRoots* roots = [] {
        auto* r = new LabEncodeRoots;
        auto t = std::make_unique<LabEncodeTables>();
        initLabEncodeTables(*t, kDefaultRanges, kLabGamma);
        std::copy(std::begin(t->cubeRoot), std::end(t->cubeRoot), r->sampled);
        for (int32_t v = 0; v < 65536; ++v) {
            const int32_t e = encodeCubeRoot(*t, v);
            r->usable = r->usable && e >= 0 && e < 65536;
            r->full[v] = static_cast<uint16_t>(e);
        }
        return r;
    }();
    return *roots;
}

}  // namespace

ClrStatus reference::rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag) {
    return encodeWalk(io, orderFlag, [&t](int r, int g, int b, uint8_t* d) { return labEncodePixel(t, r, g, b, d); });
}

ClrStatus reference::labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag) {
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    const int64_t w = io.width > 0 ? io.width : 0;
    if (ClrStatus proved = proveBuffers(io, 3 * w, 3 * w); proved != CLR_SUCCESS) return proved;
    const auto lScale = static_cast<int32_t>(t.lScale);
    const auto aScale = static_cast<int32_t>(t.aScale);
    const auto bScale = static_cast<int32_t>(t.bScale);
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachPixel<3, 3>(io, [&](const uint8_t* s, uint8_t* d) {
            const int32_t l = s[0], a = s[1], b = s[2];
            const int32_t x0 = truncToInt(static_cast<float>(l << 16) - t.lBias);
            const int32_t fy = fixMul16(lScale, x0);
            const int32_t fx = wrapAdd(fy, wrapMul(aScale, wrapSub(a, t.aOffset)));
            const int32_t fz = wrapSub(fy, wrapMul(bScale, wrapSub(b, t.bOffset)));
            const int32_t X = labFinv(fx), Y = labFinv(fy), Z = labFinv(fz);
            uint8_t rgb[3];
            for (int row = 0; row < 3; ++row) {
                const int32_t* m = t.fixedMatrix + 3 * row;
                const uint32_t v = static_cast<uint32_t>(fixMul16(m[0], X)) + static_cast<uint32_t>(fixMul16(m[1], Y)) +
                                   static_cast<uint32_t>(fixMul16(m[2], Z));
                rgb[row] = static_cast<uint8_t>(labSearchIndexed(t, static_cast<int32_t>(v)));
            }
            d[R] = rgb[0];
            d[1] = rgb[1];
            d[B] = rgb[2];
        });
        return CLR_SUCCESS;
    });
}

namespace {

// What the fixed-point decode takes from one byte, for one record: fy and
// the Y products by L, the chroma terms by a and by b. The thresholds get an
// end entry no value passes. `bounded`: they rise and lie in [0, 1) at 4.28,
// so every value below 0 counts none and every value above 1 counts all,
// and the search needs no fallback.
struct LabDecodeRun {
    int32_t fy[256], yTerm[3][256], aTerm[256], bTerm[256];
    int32_t steps[256];
    // A finer index for bounded thresholds: below 2^20 (at 4.28) buckets of
    // 256, above of 65536, entry 0 also standing for every value below 0.
    // Each holds at most `extra` thresholds, one with the handle's gamma.
    uint8_t start[8192];
    int32_t extra = 0;
    bool bounded;

    explicit LabDecodeRun(const LabDecodeTables& t) {
        const auto lScale = static_cast<int32_t>(t.lScale);
        const auto aScale = static_cast<int32_t>(t.aScale);
        const auto bScale = static_cast<int32_t>(t.bScale);
        for (int32_t v = 0; v < 256; ++v) {
            fy[v] = fixMul16(lScale, truncToInt(static_cast<float>(v << 16) - t.lBias));
            const int32_t y = labFinv(fy[v]);
            for (int row = 0; row < 3; ++row) yTerm[row][v] = fixMul16(t.fixedMatrix[3 * row + 1], y);
            aTerm[v] = wrapMul(aScale, wrapSub(v, t.aOffset));
            bTerm[v] = wrapMul(bScale, wrapSub(v, t.bOffset));
        }
        std::copy(t.encodeThresholds, t.encodeThresholds + 255, steps);
        steps[255] = INT32_MAX;
        bounded = steps[0] >= 0 && steps[254] < (1 << 28) && std::is_sorted(steps, steps + 255);
        int32_t below = 0;
        std::fill(start + 4096, start + 4096 + 16, 0);  // values below 2^20 never use these
        for (int32_t b = 0; b < 8192; b += b == 4095 ? 17 : 1) {
            const int64_t lo = b < 4096 ? int64_t{b} << 8 : int64_t{b - 4096} << 16;
            const int64_t hi = b < 4096 ? int64_t{b + 1} << 8 : int64_t{b - 4095} << 16;
            while (below < 255 && steps[below] < lo) ++below;
            start[b] = static_cast<uint8_t>(below);
            int32_t inside = below;
            while (inside < 255 && steps[inside] < hi) ++inside;
            extra = std::max(extra, inside - below);
        }
    }

    // The count of thresholds at or below c, c in bucket b.
    uint8_t searchAt(int32_t c, int32_t b) const {
        int32_t i = start[b];
        for (int32_t n = 0; n < extra; ++n) i += steps[i] <= c;
        return static_cast<uint8_t>(i);
    }

    // The count of thresholds at or below v: from the record's index, two
    // steps without a branch, then a loop that rarely runs.
    int32_t search(const LabDecodeTables& t, int32_t v) const {
        if (!bounded) return labSearchIndexed(t, v);
        const int32_t c = clamp(v, 0, (1 << 28) - 1);
        int32_t i = t.searchStart[c >> 16];
        i += steps[i] <= c;
        i += steps[i] <= c;
        while (steps[i] <= c) ++i;
        return v < 0 ? 0 : i;
    }
};

// One pixel from the run's tables, as the scalar walk does it.
inline void labToRgbFixedPixel(const LabDecodeTables& t, const LabDecodeRun& run, const uint8_t* s, uint8_t* d, int R,
                               int B) {
    const int32_t l = s[0];
    const int32_t fy = run.fy[l];
    const int32_t X = labFinv(wrapAdd(fy, run.aTerm[s[1]])), Z = labFinv(wrapSub(fy, run.bTerm[s[2]]));
    uint8_t rgb[3];
    for (int row = 0; row < 3; ++row) {
        const int32_t* m = t.fixedMatrix + 3 * row;
        const uint32_t v = static_cast<uint32_t>(fixMul16(m[0], X)) + static_cast<uint32_t>(run.yTerm[row][l]) +
                           static_cast<uint32_t>(fixMul16(m[2], Z));
        rgb[row] = static_cast<uint8_t>(run.search(t, static_cast<int32_t>(v)));
    }
    d[R] = rgb[0];
    d[1] = rgb[1];
    d[B] = rgb[2];
}

// table[p[3k]] for eight pixels k.
__attribute__((target("avx2"))) inline __m256i byteLanes(const int32_t* table, const uint8_t* p) {
    return _mm256_setr_epi32(table[p[0]], table[p[3]], table[p[6]], table[p[9]], table[p[12]], table[p[15]],
                             table[p[18]], table[p[21]]);
}

// fixMul16 in eight lanes: the even and odd lanes' 64-bit products, shifted,
// their low halves put back together.
__attribute__((target("avx2"))) inline __m256i fixMul16Lanes(__m256i p, __m256i q) {
    const __m256i half = _mm256_set1_epi64x(32768);
    const __m256i even = _mm256_srli_epi64(_mm256_add_epi64(_mm256_mul_epi32(p, q), half), 16);
    const __m256i odd = _mm256_srli_epi64(
        _mm256_add_epi64(_mm256_mul_epi32(_mm256_srli_epi64(p, 32), _mm256_srli_epi64(q, 32)), half), 16);
    return _mm256_blend_epi32(even, _mm256_slli_epi64(odd, 32), 0xAA);
}

__attribute__((target("avx2"))) inline __m256i clampLanes(__m256i v, int32_t lo, int32_t hi) {
    return _mm256_min_epi32(_mm256_max_epi32(v, _mm256_set1_epi32(lo)), _mm256_set1_epi32(hi));
}

// Three lanes of bytes (values 0..255), written as eight pixels L, a, b:
// packed to bytes, interleaved within each 128-bit half, 12 bytes from each.
__attribute__((target("avx2"))) inline void storeLab(__m256i l, __m256i a, __m256i b, uint8_t* d) {
    const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(l, a), _mm256_packus_epi32(b, b));
    const __m256i order = _mm256_setr_epi8(0, 4, 8, 1, 5, 9, 2, 6, 10, 3, 7, 11, -1, -1, -1, -1,  //
                                           0, 4, 8, 1, 5, 9, 2, 6, 10, 3, 7, 11, -1, -1, -1, -1);
    alignas(32) uint8_t out[32];
    _mm256_store_si256(reinterpret_cast<__m256i*>(out), _mm256_shuffle_epi8(bytes, order));
    std::memcpy(d, out, 12);
    std::memcpy(d + 12, out + 16, 12);
}

// CIE f from the full table: every value at or above 1.0 gives 1.0.
__attribute__((target("avx2"))) inline __m256i rootLanes(const uint16_t* root, __m256i v) {
    const __m256i e = gatherInts(root, clampLanes(v, 0, 65535));
    return _mm256_blendv_epi8(e, _mm256_set1_epi32(65536), _mm256_cmpgt_epi32(v, _mm256_set1_epi32(65535)));
}

__attribute__((target("avx2"))) inline __m256i inRangeLanes(__m256i v, int32_t lo, int32_t hi) {
    return _mm256_andnot_si256(_mm256_or_si256(_mm256_cmpgt_epi32(_mm256_set1_epi32(lo), v),
                                               _mm256_cmpgt_epi32(v, _mm256_set1_epi32(hi))),
                               _mm256_set1_epi32(-1));
}

// (p + q) + r of three entries looked up by the bytes of eight pixels,
// wrapping.
__attribute__((target("avx2"))) inline __m256i tableSum(const int32_t* p, const uint8_t* pi, const int32_t* q,
                                                        const uint8_t* qi, const int32_t* r, const uint8_t* ri) {
    return _mm256_add_epi32(_mm256_add_epi32(byteLanes(p, pi), byteLanes(q, qi)), byteLanes(r, ri));
}

// -1 where d >> 2 is 0.
__attribute__((target("avx2"))) inline __m256i quarterIsZero(__m256i d) {
    return _mm256_cmpeq_epi32(_mm256_srai_epi32(d, 2), _mm256_setzero_si256());
}

__attribute__((target("avx2"))) inline __m128i quotient(__m128i n, __m128i q) {
    return _mm256_cvttpd_epi32(_mm256_div_pd(_mm256_cvtepi32_pd(n), _mm256_cvtepi32_pd(q)));
}

// chromaRatio in eight lanes, for lanes whose divisor is not 0. The
// quotient is taken in double: the rounding error of an int32 quotient stays
// below 1/|divisor|, so truncation gives the integer quotient, and the one
// that leaves 32 bits, 2^31, converts to INT32_MIN as it wraps.
__attribute__((target("avx2"))) inline __m256i ratioLanes(__m256i d, __m256i in, int32_t lo, int32_t hi) {
    const __m256i below = _mm256_cmpgt_epi32(_mm256_set1_epi32(lo), d);
    const __m256i limit = _mm256_blendv_epi8(_mm256_set1_epi32(hi), _mm256_set1_epi32(lo), below);
    const __m256i num = _mm256_slli_epi32(limit, 14), den = _mm256_srai_epi32(d, 2);
    const __m256i q = _mm256_set_m128i(quotient(_mm256_extracti128_si256(num, 1), _mm256_extracti128_si256(den, 1)),
                                       quotient(_mm256_castsi256_si128(num), _mm256_castsi256_si128(den)));
    return _mm256_blendv_epi8(q, _mm256_set1_epi32(65536), in);
}

// Eight pixels a step; a step where a chroma would be divided by 0 goes
// pixel by pixel. False where the scalar walk stops.
template <int R, int B>
__attribute__((target("avx2"))) bool rgbToLabFixedRowAvx2(const LabEncodeTables& t, const uint16_t* root,
                                                          const uint8_t* s, uint8_t* d, int64_t w) {
    const auto& m = t.rgbToXyzTables;
    int64_t x = 0;
    for (; x + 8 <= w; x += 8, s += 24, d += 24) {
        alignas(32) uint8_t px[32];
        std::memcpy(px, s, 24);
        const uint8_t *r = px + R, *g = px + 1, *b = px + B;
        const __m256i fy = rootLanes(root, tableSum(m[3], r, m[4], g, m[5], b));
        const __m256i da0 = _mm256_sub_epi32(rootLanes(root, tableSum(m[0], r, m[1], g, m[2], b)), fy);
        const __m256i db0 = _mm256_sub_epi32(fy, rootLanes(root, tableSum(m[6], r, m[7], g, m[8], b)));
        __m256i da, db;
        {
            const __m256i inA = inRangeLanes(da0, t.aMin, t.aMax), inB = inRangeLanes(db0, t.bMin, t.bMax);
            da = da0, db = db0;
            if (_mm256_movemask_epi8(_mm256_and_si256(inA, inB)) != -1) {
                // A divisor of 0 stops the kernel at that pixel: the scalar
                // code finds it, after the ones before.
                const __m256i zeroA = _mm256_andnot_si256(inA, quarterIsZero(da0));
                const __m256i zeroB = _mm256_andnot_si256(inB, quarterIsZero(db0));
                if (!_mm256_testz_si256(_mm256_or_si256(zeroA, zeroB), _mm256_set1_epi32(-1))) {
                    for (int k = 0; k < 8; ++k) {
                        if (!labEncodePixel(t, r[3 * k], g[3 * k], b[3 * k], d + 3 * k)) return false;
                    }
                    continue;
                }
                // With both ratios 1.0 the products give the chroma back, so
                // every lane takes the same steps.
                const __m256i ra = ratioLanes(da0, inA, t.aMin, t.aMax), rb = ratioLanes(db0, inB, t.bMin, t.bMax);
                const __m256i unit = _mm256_set1_epi32(65536);
                da = fixMul16Lanes(_mm256_min_epi32(ra, _mm256_sub_epi32(_mm256_slli_epi32(rb, 1), unit)), da0);
                db = fixMul16Lanes(_mm256_min_epi32(rb, _mm256_srai_epi32(_mm256_add_epi32(ra, unit), 1)), db0);
            }
        }
        const __m256i half = _mm256_set1_epi32(32768);
        const __m256i l = _mm256_srai_epi32(
            _mm256_add_epi32(_mm256_add_epi32(fixMul16Lanes(_mm256_set1_epi32(t.lMul), fy), _mm256_set1_epi32(t.lBias)),
                             half), 16);
        const __m256i a = _mm256_add_epi32(
            _mm256_srai_epi32(_mm256_add_epi32(fixMul16Lanes(_mm256_set1_epi32(t.aMul), da), half), 16),
            _mm256_set1_epi32(t.aOffset));
        const __m256i bb = _mm256_add_epi32(
            _mm256_srai_epi32(_mm256_add_epi32(fixMul16Lanes(_mm256_set1_epi32(t.bMul), db), half), 16),
            _mm256_set1_epi32(t.bOffset));
        storeLab(clampLanes(l, 0, 255), clampLanes(a, 0, 255), clampLanes(bb, 0, 255), d);
    }
    for (; x < w; ++x, s += 3, d += 3)
        if (!labEncodePixel(t, s[R], s[1], s[B], d)) return false;
    return true;
}

}  // namespace

namespace {

// labFinv in eight lanes.
__attribute__((target("avx2"))) inline __m256i finvLanes(__m256i t) {
    const __m256i toe = fixMul16Lanes(_mm256_set1_epi32(538650),
                                      _mm256_srai_epi32(_mm256_sub_epi32(t, _mm256_set1_epi32(37025548)), 6));
    const __m256i y = _mm256_srai_epi32(_mm256_add_epi32(t, _mm256_set1_epi32(128)), 8);
    const __m256i cube = fixMul16Lanes(fixMul16Lanes(y, y), y);
    const __m256i r = _mm256_blendv_epi8(cube, toe, _mm256_cmpgt_epi32(_mm256_set1_epi32(55536612), t));
    return clampLanes(r, 0, 268435456);
}

// The arithmetic eight pixels wide, for bounded thresholds; the search
// one value at a time from the clamped values and their buckets. A value
// below 0 becomes -1 in bucket 0, where no threshold lies at or below it.
template <int R, int B>
__attribute__((target("avx2"))) void labToRgbFixedRowAvx2(const LabDecodeTables& t, const LabDecodeRun& run,
                                                          const uint8_t* s, uint8_t* d, int64_t w) {
    int64_t x = 0;
    for (; x + 8 <= w; x += 8, s += 24, d += 24) {
        uint8_t p[24];
        std::memcpy(p, s, 24);
        const __m256i fy = byteLanes(run.fy, p);
        const __m256i X = finvLanes(_mm256_add_epi32(fy, byteLanes(run.aTerm, p + 1)));
        const __m256i Z = finvLanes(_mm256_sub_epi32(fy, byteLanes(run.bTerm, p + 2)));
        alignas(32) int32_t c[3][8], bucket[3][8];
        for (int row = 0; row < 3; ++row) {
            const int32_t* m = t.fixedMatrix + 3 * row;
            const __m256i v = _mm256_add_epi32(
                _mm256_add_epi32(fixMul16Lanes(_mm256_set1_epi32(m[0]), X), byteLanes(run.yTerm[row], p)),
                fixMul16Lanes(_mm256_set1_epi32(m[2]), Z));
            const __m256i clamped = clampLanes(v, -1, (1 << 28) - 1);
            const __m256i at = _mm256_max_epi32(clamped, _mm256_setzero_si256());
            const __m256i b = _mm256_blendv_epi8(
                _mm256_add_epi32(_mm256_srli_epi32(at, 16), _mm256_set1_epi32(4096)), _mm256_srli_epi32(at, 8),
                _mm256_cmpgt_epi32(_mm256_set1_epi32(1 << 20), at));
            _mm256_store_si256(reinterpret_cast<__m256i*>(c[row]), clamped);
            _mm256_store_si256(reinterpret_cast<__m256i*>(bucket[row]), b);
        }
        for (int k = 0; k < 8; ++k) {
            d[3 * k + R] = run.searchAt(c[0][k], bucket[0][k]);
            d[3 * k + 1] = run.searchAt(c[1][k], bucket[1][k]);
            d[3 * k + B] = run.searchAt(c[2][k], bucket[2][k]);
        }
    }
    for (; x < w; ++x, s += 3, d += 3) labToRgbFixedPixel(t, run, s, d, R, B);
}

}  // namespace

ClrStatus labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag) {
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    const LabDecodeRun run(t);
    if (kernelIsa() >= KernelIsa::Avx2 && run.bounded && !shiftedInPlace(io))
        return mapRowsAvx2(io, orderFlag, [&]<int R, int B>(const uint8_t* s, uint8_t* d, int64_t w) {
            labToRgbFixedRowAvx2<R, B>(t, run, s, d, w);
        });
    const int64_t w = io.width > 0 ? io.width : 0;
    if (ClrStatus proved = proveBuffers(io, 3 * w, 3 * w); proved != CLR_SUCCESS) return proved;
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachPixel<3, 3>(io, [&](const uint8_t* s, uint8_t* d) { labToRgbFixedPixel(t, run, s, d, R, B); });
        return CLR_SUCCESS;
    });
}

ClrStatus rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag) {
    const LabEncodeRoots& roots = labEncodeRoots();
    if (kernelIsa() < KernelIsa::Avx2 || !roots.usable || shiftedInPlace(io) ||
        std::memcmp(t.cubeRoot, roots.sampled, sizeof roots.sampled) != 0)
        return reference::rgbToLabFixed(t, io, orderFlag);
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    bool stopped = false;
    const ClrStatus status = mapRowsAvx2(io, orderFlag, [&]<int R, int B>(const uint8_t* s, uint8_t* d, int64_t w) {
        stopped = stopped || !rgbToLabFixedRowAvx2<R, B>(t, roots.full, s, d, w);
    });
    return status == CLR_SUCCESS && stopped ? CLR_INVALID_PARAMETER : status;
}

}  // namespace quv::kernels
