#include "kernels/video.h"

#include <algorithm>
#include <array>
#include <utility>

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

ClrStatus rgbToYuy2(const KernelIo& io, int orderFlag) { return rgbToPacked<kYuy2>(io, orderFlag); }
ClrStatus yuy2ToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kYuy2>(io, orderFlag); }
ClrStatus rgbToUyvy(const KernelIo& io, int orderFlag) { return rgbToPacked<kUyvy>(io, orderFlag); }
ClrStatus uyvyToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kUyvy>(io, orderFlag); }
ClrStatus rgbToY41p(const KernelIo& io, int orderFlag) { return rgbToPacked<kY41p>(io, orderFlag); }
ClrStatus y41pToRgb(const KernelIo& io, int orderFlag) { return packedToRgb<kY41p>(io, orderFlag); }

// Each block's chroma is a running value over its four rows, c = s0 >> 2,
// then c = (c + s) / 5 for rows 1 to 3, s being the row's sum of four chroma
// bytes: row 3 weighs four fifths. Within a block row the source steps by
// whole padded rows; from one block row to the next by 12 x width bytes,
// which leaves the pads of the rows passed over out of the count.
ClrStatus rgbToYvu9(const KernelIo& io, int orderFlag) {
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
    });
    return CLR_SUCCESS;
}

ClrStatus yvu9ToRgb(const KernelIo& io, int orderFlag) {
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
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        forEachRow(rows, 0, 3 * w, [=](const uint8_t*, uint8_t* d, int32_t row) {
            const uint8_t* y = yPlane + row * w;
            const int64_t chroma = (row / kBlock) * (w / kBlock);
            for (int64_t x = 0; x < w; ++x, d += 3)
                studioInverse<R, B>(y[x], uPlane[chroma + x / kBlock], vPlane[chroma + x / kBlock], d);
        });
        return CLR_SUCCESS;
    });
}

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
