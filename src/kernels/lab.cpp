#include "kernels/lab.h"

#include "kernels/reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

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

}  // namespace

ClrStatus rgbToLab(const KernelIo& io, int orderFlag) {
    const double* linear = linearFromByte();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [linear](const uint8_t* s, uint8_t* d) {
            const double r = linear[s[R]];
            const double g = linear[s[1]];
            const double b = linear[s[B]];
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
        });
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
    static constexpr int kBuckets = 1 << 16;
    uint8_t start[kBuckets + 1];    // thresholds at or below bucket / kBuckets
    int32_t extra;                  // most thresholds inside one bucket

    uint8_t encode(double v) const {
        const double c = clamp(v, 0.0, 1.0);
        int32_t k = start[truncToInt(c * kBuckets)];
        for (int32_t n = 0; n < extra; ++n) k += c >= steps[k];
        return static_cast<uint8_t>(k);
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
            const double edge = static_cast<double>(b) / LabInverse::kBuckets;
            while (below < 255 && t->steps[below] <= edge) ++below;
            t->start[b] = static_cast<uint8_t>(below);
            int32_t inside = below;
            while (inside < 255 && t->steps[inside] < static_cast<double>(b + 1) / LabInverse::kBuckets) ++inside;
            t->extra = std::max(t->extra, inside - below);
        }
        return t;
    }();
    return *table;
}

}  // namespace

ClrStatus labToRgb(const KernelIo& io, int orderFlag) {
    const LabInverse& t = labInverse();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [&t](const uint8_t* s, uint8_t* d) {
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
        });
    });
}

// Nine table look-ups, three interpolations and at most two divisions.
ClrStatus rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag) {
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    // A chroma beyond a limit by less than 4 would be divided by 0; the
    // kernel stops there instead.
    ClrStatus status = CLR_SUCCESS;
    auto cubeRoot = [&t](int32_t v) -> int32_t {
        if (v >= 65536) return 65536;
        if (v < 0) return t.cubeRoot[0];
        const int32_t n = v >> 4;
        const int32_t e = t.cubeRoot[n];
        if (n == 4095) return e;
        return e + (((t.cubeRoot[n + 1] - e) * (v & 15) + 8) >> 4);
    };
    auto ratio = [](int32_t d, int32_t lo, int32_t hi, bool* ok) -> int32_t {
        if (d >= lo && d <= hi) return 65536;
        const int32_t limit = d < lo ? lo : hi;
        if ((d >> 2) == 0) {
            *ok = false;
            return 65536;
        }
        // In 64 bits, so that the one quotient that leaves 32 bits wraps
        // instead of trapping.
        const int64_t q = int64_t{static_cast<int32_t>(static_cast<uint32_t>(limit) << 14)} / (d >> 2);
        return static_cast<int32_t>(static_cast<uint32_t>(q));
    };
    const int64_t w = io.width > 0 ? io.width : 0;
    if (ClrStatus proved = proveBuffers(io, 3 * w, 3 * w); proved != CLR_SUCCESS) return proved;
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        const uint8_t* s = io.src;
        uint8_t* d = io.dst;
        for (int32_t row = 0; row < io.height && status == CLR_SUCCESS; ++row) {
            for (int64_t x = 0; x < w; ++x, s += 3, d += 3) {
                const int r = s[R], g = s[1], b = s[B];
                const auto sum = [&](int c) {
                    return wrapAdd(wrapAdd(t.rgbToXyzTables[c][r], t.rgbToXyzTables[c + 1][g]),
                                   t.rgbToXyzTables[c + 2][b]);
                };
                const int32_t X = sum(0), Y = sum(3), Z = sum(6);
                const int32_t fy = cubeRoot(Y);
                int32_t da = cubeRoot(X) - fy;
                int32_t db = fy - cubeRoot(Z);
                bool ok = true;
                const int32_t ra = ratio(da, t.aMin, t.aMax, &ok);
                const int32_t rb = ratio(db, t.bMin, t.bMax, &ok);
                if (!ok) {
                    status = CLR_INVALID_PARAMETER;
                    break;
                }
                // Out of range: chroma shrinks toward neutral, each axis
                // dragging the other along.
                if (ra != 65536 || rb != 65536) {
                    da = fixMul16(std::min(ra, wrapSub(wrapMul(2, rb), 65536)), da);
                    db = fixMul16(std::min(rb, wrapAdd(ra, 65536) >> 1), db);
                }
                d[0] = limitByte(wrapAdd(wrapAdd(fixMul16(t.lMul, fy), t.lBias), 32768) >> 16);
                d[1] = limitByte(wrapAdd(wrapAdd(fixMul16(t.aMul, da), 32768) >> 16, t.aOffset));
                d[2] = limitByte(wrapAdd(wrapAdd(fixMul16(t.bMul, db), 32768) >> 16, t.bOffset));
            }
            s += padBytes(io.srcPad);
            d += padBytes(io.dstPad);
        }
        return 0;
    });
    return status;
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

}  // namespace

ClrStatus labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag) {
    if (!io.src || !io.dst) return CLR_INVALID_PARAMETER;
    const int64_t w = io.width > 0 ? io.width : 0;
    if (ClrStatus proved = proveBuffers(io, 3 * w, 3 * w); proved != CLR_SUCCESS) return proved;
    const LabDecodeRun run(t);
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachPixel<3, 3>(io, [&](const uint8_t* s, uint8_t* d) {
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
        });
        return CLR_SUCCESS;
    });
}

}  // namespace quv::kernels
