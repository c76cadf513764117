#include "kernels/ink.h"

#include "kernels/blocks.h"
#include "kernels/reference.h"

#include "platform/memory.h"
#include "platform/scope_guard.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <quvclr/conversion.h>

namespace quv::kernels {
namespace {

YcckTables g_ycck;
uint16_t g_grayGamma[256];

}  // namespace

void buildYcckTables(YcckTables& t) {
    uint8_t* limit = t.rangeLimitStore + 256;
    for (int i = -256; i < 1152; ++i) {
        uint8_t v;
        if (i < 0) v = 0;
        else if (i < 256) v = static_cast<uint8_t>(i);
        else if (i < 640) v = 255;
        else if (i < 1024) v = 0;
        else v = static_cast<uint8_t>(i - 1024);
        limit[i] = v;
    }
    for (int32_t i = 0; i < 256; ++i) {
        t.rToY[i] = 19595 * i;
        t.gToY[i] = 38470 * i;
        t.bToY[i] = 7471 * i + 32768;
        t.rToCb[i] = -11059 * i;
        t.gToCb[i] = -21709 * i;
        t.bToCb[i] = 32768 * i + 8421375;
        t.gToCr[i] = -27439 * i;
        t.bToCr[i] = -5329 * i;
        t.crToR[i] = (91881 * i - 11728000) >> 16;
        t.cbToB[i] = (116130 * i - 14831872) >> 16;
        t.crToG[i] = 5990656 - 46802 * i;
        t.cbToG[i] = 2919680 - 22554 * i;
    }
}

void buildProcessYcckTables() { buildYcckTables(g_ycck); }
const YcckTables& processYcckTables() { return g_ycck; }

void buildGrayGammaTable() {
    for (int i = 0; i < 256; ++i)
        g_grayGamma[i] = static_cast<uint16_t>(truncToInt(std::pow(i / 255.0, 2.0) * 256.0));
}
const uint16_t* grayGammaTable() { return g_grayGamma; }

ClrStatus rgbToCmy(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const uint8_t r = s[R], g = s[1], b = s[B];
            d[0] = static_cast<uint8_t>(255 - r);
            d[1] = static_cast<uint8_t>(255 - g);
            d[2] = static_cast<uint8_t>(255 - b);
        });
    });
}

ClrStatus cmyToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const uint8_t c = s[0], m = s[1], y = s[2];
            d[R] = static_cast<uint8_t>(255 - c);
            d[1] = static_cast<uint8_t>(255 - m);
            d[B] = static_cast<uint8_t>(255 - y);
        });
    });
}

// Black takes a share g of the darkness k = 255 - max; the coloured inks give
// up t, which the fifth power of g keeps at 0 for any level much below 1000.
ClrStatus rgbToCmyk(const KernelIo& io, int32_t gcrLevel, int orderFlag) {
    const double g = gcrLevel / 1000.0;
    const double p = std::pow(g, 5.0);
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 4>(io, [g, p](const uint8_t* s, uint8_t* d) {
            const int32_t r = s[R], gr = s[1], b = s[B];
            const int32_t k = 255 - std::max({r, gr, b});
            const int32_t lo = std::min({r, gr, b});
            const int32_t t = truncToInt(std::pow((k + lo) / 255.0, 2.0) * ((k / 255.0) * p) * 255.0);
            d[0] = static_cast<uint8_t>(wrapSub(255 - r, t));
            d[1] = static_cast<uint8_t>(wrapSub(255 - gr, t));
            d[2] = static_cast<uint8_t>(wrapSub(255 - b, t));
            d[3] = static_cast<uint8_t>(truncToInt(k * g));
        });
    });
}

// The inverse weighs K by the fourth power of the level (the forward kernel
// uses the fifth), so below 250 K is ignored and at 1000 it is not scaled
// back down.
ClrStatus cmykToRgb(const KernelIo& io, int32_t gcrLevel, int orderFlag) {
    const double g = gcrLevel / 1000.0;
    const auto w = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int16_t>(truncToInt(std::pow(g, 4.0) * 256.0))));
    const uint16_t* gamma = grayGammaTable();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<4, 3>(io, [w, gamma](const uint8_t* s, uint8_t* d) {
            const uint32_t c = s[0], m = s[1], y = s[2], k = s[3];
            const uint32_t hi = std::max({c, m, y});
            const uint32_t lo = std::min({c, m, y});
            const uint32_t x = ((gamma[lo - hi + 255] * k) >> 8) * w;
            const uint32_t t = std::min(255 - hi, x);
            d[R] = static_cast<uint8_t>(255 - t - c);
            d[1] = static_cast<uint8_t>(255 - t - m);
            d[B] = static_cast<uint8_t>(255 - t - y);
        });
    });
}

void ycckPixelToCmyk(const YcckTables& t, const uint8_t* s, uint8_t* d) {
    const int32_t y = s[0], cb = s[1], cr = s[2];
    const uint8_t* limit = t.rangeLimit();
    d[0] = limit[255 - t.crToR[cr] - y];
    d[1] = limit[255 - ((t.cbToG[cb] + t.crToG[cr]) >> 16) - y];
    d[2] = limit[255 - t.cbToB[cb] - y];
}

void cmykPixelToYcck(const YcckTables& t, const uint8_t* s, uint8_t* d) {
    const int r = 255 - s[0], g = 255 - s[1], b = 255 - s[2];
    d[0] = static_cast<uint8_t>((t.rToY[r] + t.gToY[g] + t.bToY[b]) >> 16);
    d[1] = static_cast<uint8_t>((t.rToCb[r] + t.gToCb[g] + t.bToCb[b]) >> 16);
    d[2] = static_cast<uint8_t>((t.bToCb[r] + t.gToCr[g] + t.bToCr[b]) >> 16);
}

namespace {

bool usesFormulas(const YcckContext& c) { return !c.handle || c.activeMethod == CLR_METHOD_BUILTIN; }

}  // namespace

ClrStatus reference::rgbToYcck(const KernelIo& io, const YcckContext& context) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus status = proveBuffers(io, 3 * w, 4 * w);
    if (status != CLR_SUCCESS) return status;
    if (io.height < 1) return CLR_SUCCESS;
    const bool formulas = usesFormulas(context);
    if (!formulas && context.activeMethod != CLR_METHOD_ICC) return CLR_SUCCESS;

    const size_t pixels = static_cast<size_t>(w) * static_cast<size_t>(io.height);
    auto* cmyk = static_cast<uint8_t*>(quvCalloc(pixels, 4));
    if (!cmyk) return CLR_NO_MEMORY;
    ScopeGuard releaseCmyk([cmyk] { quvFree(cmyk); });
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);

    if (formulas) {
        // Naive separation: black is the common part of the three inks.
        const uint8_t* s = io.src;
        uint8_t* d = cmyk;
        for (int32_t y = 0; y < io.height; ++y, s += sp) {
            for (int64_t x = 0; x < w; ++x, s += 3, d += 4) {
                int32_t c = 255 - s[0], m = 255 - s[1], ye = 255 - s[2];
                const int32_t k = std::min({c, m, ye});
                if (k != 0) c -= k, m -= k, ye -= k;
                d[0] = static_cast<uint8_t>(c);
                d[1] = static_cast<uint8_t>(m);
                d[2] = static_cast<uint8_t>(ye);
                d[3] = static_cast<uint8_t>(k);
            }
        }
    } else {
        // Through the handle's transform; without one the status says so and
        // the (empty) inks are still written.
        auto* packed = static_cast<uint8_t*>(quvMalloc(pixels, 3));
        if (!packed) return CLR_NO_MEMORY;
        ScopeGuard releasePacked([packed] { quvFree(packed); });
        const uint8_t* s = io.src;
        for (int32_t y = 0; y < io.height; ++y, s += 3 * w + sp)
            std::memcpy(packed + static_cast<size_t>(y) * 3 * w, s, static_cast<size_t>(3 * w));
        if (context.transform && context.transformPixels)
            context.transformPixels(context.transform, packed, cmyk, static_cast<uint32_t>(pixels));
        else
            status = CLR_INVALID_PARAMETER;
    }

    const YcckTables& tables = context.handle && context.tables ? *context.tables : processYcckTables();
    const uint8_t* s = cmyk;
    uint8_t* d = io.dst;
    for (int32_t y = 0; y < io.height; ++y, d += dp) {
        for (int64_t x = 0; x < w; ++x, s += 4, d += 4) {
            cmykPixelToYcck(tables, s, d);
            d[3] = s[3];
        }
    }
    return status;
}

ClrStatus reference::ycckToRgb(const KernelIo& io, const YcckContext& context, int orderFlag) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, 4 * w, 3 * w);
    if (proved != CLR_SUCCESS) return proved;
    if (io.height < 1) return context.handle ? 0 : CLR_SUCCESS;

    const size_t pixels = static_cast<size_t>(w) * static_cast<size_t>(io.height);
    auto* cmyk = static_cast<uint8_t*>(quvMalloc(pixels, 4));
    if (!cmyk) return CLR_NO_MEMORY;
    ScopeGuard releaseCmyk([cmyk] { quvFree(cmyk); });
    const YcckTables& tables = context.handle && context.tables ? *context.tables : processYcckTables();
    const int32_t sp = padBytes(io.srcPad), dp = padBytes(io.dstPad);
    {
        const uint8_t* s = io.src;
        uint8_t* d = cmyk;
        for (int32_t y = 0; y < io.height; ++y, s += sp) {
            for (int64_t x = 0; x < w; ++x, s += 4, d += 4) {
                ycckPixelToCmyk(tables, s, d);
                d[3] = s[3];
            }
        }
    }

    if (usesFormulas(context)) {
        withOrder(orderFlag, [&](auto order) {
            constexpr int R = decltype(order)::r, B = decltype(order)::b;
            const uint8_t* s = cmyk;
            uint8_t* d = io.dst;
            for (int32_t y = 0; y < io.height; ++y, d += dp) {
                for (int64_t x = 0; x < w; ++x, s += 4, d += 3) {
                    const int32_t k = s[3];
                    d[R] = static_cast<uint8_t>((255 - k) - s[0] + mulDiv(s[0], k, 255));
                    d[1] = static_cast<uint8_t>((255 - k) - s[1] + mulDiv(s[1], k, 255));
                    d[B] = static_cast<uint8_t>((255 - k) - s[2] + mulDiv(s[2], k, 255));
                }
            }
            return 0;
        });
        // A handle reports 0 here although the pixels are written.
        return context.handle ? 0 : CLR_SUCCESS;
    }
    if (context.activeMethod != CLR_METHOD_ICC) return 0;
    if (!context.transform || !context.transformPixels) return CLR_INVALID_PARAMETER;

    auto* rgb = static_cast<uint8_t*>(quvMalloc(pixels, 3));
    if (!rgb) return CLR_NO_MEMORY;
    ScopeGuard releaseRgb([rgb] { quvFree(rgb); });
    context.transformPixels(context.transform, cmyk, rgb, static_cast<uint32_t>(pixels));
    uint8_t* d = io.dst;
    for (int32_t y = 0; y < io.height; ++y, d += 3 * w + dp)
        std::memcpy(d, rgb + static_cast<size_t>(y) * 3 * w, static_cast<size_t>(3 * w));
    return CLR_SUCCESS;
}

// The kernels the conversions call: the same two steps a row at a time
// through a working row, so each step runs eight pixels at a time and its
// output is still in cache for the next. They serve the formulas with tables
// as buildYcckTables makes them (the vector bodies hold the tables'
// constants), and buffers where no write can land on source not yet read;
// anything else goes the whole-image way, which reads all the source first.
namespace {

bool builtTables(const YcckTables& t) {
    static const YcckTables* built = [] {
        auto* b = new YcckTables;
        buildYcckTables(*b);
        return b;
    }();
    return std::memcmp(&t, built, sizeof t) == 0;
}

// Disjoint walks, or one buffer whose destination rows trail their source.
bool rowByRow(const KernelIo& io, int32_t srcBytes, int32_t dstBytes) {
    const int64_t w = io.width > 0 ? io.width : 0;
    if (!sharesBytes(io, walkExtent(srcBytes * w, io.srcPad, io.height), walkExtent(dstBytes * w, io.dstPad, io.height)))
        return true;
    return io.src == io.dst && dstBytes <= srcBytes &&
           dstBytes * w + padBytes(io.dstPad) <= srcBytes * w + padBytes(io.srcPad);
}

// Each row: `first` from the source into the working row, then `second`
// from there into the destination.
template <int SrcBytes, int DstBytes, class First, class Second>
ClrStatus throughRow(const KernelIo& io, First&& first, Second&& second) {
    ClrStatus proved = proveBuffers(io, int64_t{SrcBytes} * io.width, int64_t{DstBytes} * io.width);
    if (proved != CLR_SUCCESS) return proved;
    auto* row = static_cast<uint8_t*>(quvMalloc(static_cast<size_t>(io.width), 4));
    if (!row) return CLR_NO_MEMORY;
    ScopeGuard releaseRow([row] { quvFree(row); });
    const int64_t srcStep = int64_t{SrcBytes} * io.width + padBytes(io.srcPad);
    const int64_t dstStep = int64_t{DstBytes} * io.width + padBytes(io.dstPad);
    for (int32_t y = 0; y < io.height; ++y) {
        first(KernelIo{io.src + y * srcStep, row, io.width, 1, 0, 0, io.probe});
        second(KernelIo{row, io.dst + y * dstStep, io.width, 1, 0, 0, io.probe});
    }
    return CLR_SUCCESS;
}

using namespace avx2;

QUV_AVX2 __m256i mulK(__m256i x, int32_t k) { return _mm256_mullo_epi32(x, _mm256_set1_epi32(k)); }
QUV_AVX2 __m256i plus(__m256i x, int32_t k) { return _mm256_add_epi32(x, _mm256_set1_epi32(k)); }
QUV_AVX2 __m256i clampByte(__m256i x) {
    return _mm256_min_epi32(_mm256_max_epi32(x, _mm256_setzero_si256()), _mm256_set1_epi32(255));
}
QUV_AVX2 __m256i sum16(__m256i a, __m256i b, __m256i c) {
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(a, b), c), 16);
}

// Naive separation: black is the common part of the three inks.
void separatePixel(const uint8_t* s, uint8_t* d) {
    const int32_t c = 255 - s[0], m = 255 - s[1], ye = 255 - s[2];
    const int32_t k = std::min({c, m, ye});
    d[0] = static_cast<uint8_t>(c - k);
    d[1] = static_cast<uint8_t>(m - k);
    d[2] = static_cast<uint8_t>(ye - k);
    d[3] = static_cast<uint8_t>(k);
}

struct SeparateBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load3(s);
        const __m256i k255 = _mm256_set1_epi32(255);
        const __m256i c = _mm256_sub_epi32(k255, p.c0), m = _mm256_sub_epi32(k255, p.c1),
                      y = _mm256_sub_epi32(k255, p.c2);
        const __m256i k = _mm256_min_epi32(c, _mm256_min_epi32(m, y));
        store4(d, _mm256_sub_epi32(c, k), _mm256_sub_epi32(m, k), _mm256_sub_epi32(y, k), k);
    }
};

struct CmykToYcckBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load4(s);
        const __m256i k255 = _mm256_set1_epi32(255);
        const __m256i r = _mm256_sub_epi32(k255, p.c0), g = _mm256_sub_epi32(k255, p.c1),
                      b = _mm256_sub_epi32(k255, p.c2);
        store4(d, sum16(mulK(r, 19595), mulK(g, 38470), plus(mulK(b, 7471), 32768)),
               sum16(mulK(r, -11059), mulK(g, -21709), plus(mulK(b, 32768), 8421375)),
               sum16(plus(mulK(r, 32768), 8421375), mulK(g, -27439), mulK(b, -5329)), p.c3);
    }
};

// The range limit is a clamp over the indices these sums reach (-178 to 434).
struct YcckToCmykBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load4(s);
        const __m256i white = _mm256_sub_epi32(_mm256_set1_epi32(255), p.c0);
        const __m256i crToR = _mm256_srai_epi32(plus(mulK(p.c2, 91881), -11728000), 16);
        const __m256i cbToB = _mm256_srai_epi32(plus(mulK(p.c1, 116130), -14831872), 16);
        const __m256i toG =
            _mm256_srai_epi32(_mm256_add_epi32(plus(mulK(p.c1, -22554), 2919680), plus(mulK(p.c2, -46802), 5990656)), 16);
        store4(d, clampByte(_mm256_sub_epi32(white, crToR)), clampByte(_mm256_sub_epi32(white, toG)),
               clampByte(_mm256_sub_epi32(white, cbToB)), p.c3);
    }
};

// (255 - k) - ink + MulDiv(ink, k, 255)
QUV_AVX2 __m256i inkToRgb(__m256i ink, __m256i k, __m256i paper) {
    return _mm256_add_epi32(_mm256_sub_epi32(paper, ink),
                            divSmall(plus(_mm256_mullo_epi32(ink, k), 127), _mm256_set1_epi32(255)));
}

template <int R, int B>
struct CmykToRgbBody {
    QUV_AVX2 void operator()(const uint8_t* s, uint8_t* d) const {
        const Lanes p = load4(s);
        const __m256i k = p.c3, paper = _mm256_sub_epi32(_mm256_set1_epi32(255), k);
        const __m256i r = inkToRgb(p.c0, k, paper), g = inkToRgb(p.c1, k, paper), b = inkToRgb(p.c2, k, paper);
        R == 0 ? store3(d, r, g, b) : store3(d, b, g, r);
    }
};

}  // namespace

ClrStatus rgbToYcck(const KernelIo& io, const YcckContext& context) {
    const YcckTables& tables = context.handle && context.tables ? *context.tables : processYcckTables();
    if (!usesFormulas(context) || io.width < 1 || io.height < 1 || !rowByRow(io, 3, 4) || !builtTables(tables))
        return reference::rgbToYcck(io, context);
    return throughRow<3, 4>(
        io, [](const KernelIo& row) { runGroups<3, 4>(row, SeparateBody{}, separatePixel); },
        [&tables](const KernelIo& row) {
            runGroups<4, 4>(row, CmykToYcckBody{}, [&tables](const uint8_t* s, uint8_t* d) {
                cmykPixelToYcck(tables, s, d);
                d[3] = s[3];
            });
        });
}

ClrStatus ycckToRgb(const KernelIo& io, const YcckContext& context, int orderFlag) {
    const YcckTables& tables = context.handle && context.tables ? *context.tables : processYcckTables();
    if (!usesFormulas(context) || io.width < 1 || io.height < 1 || !rowByRow(io, 4, 3) || !builtTables(tables))
        return reference::ycckToRgb(io, context, orderFlag);
    const ClrStatus status = withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return throughRow<4, 3>(
            io,
            [&tables](const KernelIo& row) {
                runGroups<4, 4>(row, YcckToCmykBody{}, [&tables](const uint8_t* s, uint8_t* d) {
                    ycckPixelToCmyk(tables, s, d);
                    d[3] = s[3];
                });
            },
            [](const KernelIo& row) {
                runGroups<4, 3>(row, CmykToRgbBody<R, B>{}, [](const uint8_t* s, uint8_t* d) {
                    const int32_t k = s[3];
                    d[R] = static_cast<uint8_t>((255 - k) - s[0] + mulDiv(s[0], k, 255));
                    d[1] = static_cast<uint8_t>((255 - k) - s[1] + mulDiv(s[1], k, 255));
                    d[B] = static_cast<uint8_t>((255 - k) - s[2] + mulDiv(s[2], k, 255));
                });
            });
    });
    if (status != CLR_SUCCESS) return status;
    // A handle reports 0 here although the pixels are written.
    return context.handle ? 0 : CLR_SUCCESS;
}

}  // namespace quv::kernels
