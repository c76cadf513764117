#include "kernels/emulation.h"

#include "kernels/catalogue.h"
#include "kernels/emulation_data.h"

#include <algorithm>
#include <cmath>

namespace quv::kernels {
namespace {

// The kernels' walk over 3-byte pixels on both sides, or nothing when the
// buffers fail their proof.
template <int SrcBytes, class Fn>
void lookUp(const KernelIo& io, Fn&& fn) {
    const int64_t w = io.width > 0 ? io.width : 0;
    if (proveBuffers(io, SrcBytes * w, 3 * w) != CLR_SUCCESS) return;
    forEachPixel<SrcBytes, 3>(io, fn);
}

inline const uint8_t* entry(const uint8_t* table, uint32_t index) { return table + 3 * size_t{index}; }

}  // namespace

void rgbToLabByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<3>(io, [table](const uint8_t* s, uint8_t* d) {
            const uint32_t r = s[R], g = s[1], b = s[B];
            const uint8_t* lo = entry(table, ((r >> 3) * 33 + (g >> 3)) * 33 + (b >> 3));
            const uint8_t* hi = entry(table, (((r + 7) >> 3) * 33 + ((g + 7) >> 3)) * 33 + ((b + 7) >> 3));
            d[0] = static_cast<uint8_t>((lo[0] + hi[0]) >> 1);
            d[1] = static_cast<uint8_t>((static_cast<int8_t>(lo[1]) + static_cast<int8_t>(hi[1])) / 2);
            d[2] = static_cast<uint8_t>((static_cast<int8_t>(lo[2]) + static_cast<int8_t>(hi[2])) / 2);
        });
        return 0;
    });
}

// A pixel takes its upper corner alone when a test holds that, except for
// L = 0, only the top of the a and b axes passes.
void labToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<3>(io, [table](const uint8_t* s, uint8_t* d) {
            const double l = s[0];
            const double a = static_cast<int8_t>(s[1]) + 128;
            const double b = static_cast<int8_t>(s[2]) + 128;
            const auto lc = static_cast<uint32_t>(std::ceil(l * 0.125));
            const auto ac = static_cast<uint32_t>(std::ceil(a * 0.125));
            const auto bc = static_cast<uint32_t>(std::ceil(b * 0.125));
            const auto lf = static_cast<uint32_t>(std::floor(l * 0.125));
            const auto af = static_cast<uint32_t>(std::floor(a * 0.125));
            const auto bf = static_cast<uint32_t>(std::floor(b * 0.125));
            const uint32_t n = (lc * 33 + ac) * 33 + bc;
            auto axisByte = [](uint32_t node) { return static_cast<uint8_t>(std::min(8 * (node % 256), 255u) + 128); };
            const bool onLattice = s[0] == static_cast<uint8_t>(8 * (n / 1089)) && s[1] == axisByte(n / 33) &&
                                   s[2] == axisByte(n);
            const uint8_t* hi = entry(table, n);
            uint8_t rgb[3];
            if (onLattice) {
                std::copy(hi, hi + 3, rgb);
            } else {
                const uint8_t* lo = entry(table, (lf * 33 + af) * 33 + bf);
                for (int c = 0; c < 3; ++c) rgb[c] = static_cast<uint8_t>((lo[c] + hi[c]) >> 1);
            }
            d[R] = rgb[0];
            d[1] = rgb[1];
            d[B] = rgb[2];
        });
        return 0;
    });
}

// An ink byte from 241 up has node 15 below it and, by the wrap of node 16,
// node 0 above it: near-solid inks take the mean of those two.
void cmykToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<4>(io, [table](const uint8_t* s, uint8_t* d) {
            uint32_t up[4], down[4];
            for (int i = 0; i < 4; ++i) {
                up[i] = static_cast<uint32_t>(std::ceil(s[i] * 0.0625));
                down[i] = static_cast<uint32_t>(std::floor(s[i] * 0.0625));
            }
            const uint32_t n = ((up[0] * 17 + up[1]) * 17 + up[2]) * 17 + up[3];
            const bool onLattice = s[0] == static_cast<uint8_t>(16 * (n / 4913)) &&
                                   s[1] == static_cast<uint8_t>(16 * (n / 289)) &&
                                   s[2] == static_cast<uint8_t>(16 * (n / 17)) && s[3] == static_cast<uint8_t>(16 * n);
            uint8_t rgb[3];
            if (onLattice) {
                std::copy(entry(table, n), entry(table, n) + 3, rgb);
            } else {
                for (auto& u : up) u = (16 * u) % 256 / 16;
                const uint8_t* hi = entry(table, ((up[0] * 17 + up[1]) * 17 + up[2]) * 17 + up[3]);
                const uint8_t* lo = entry(table, ((down[0] * 17 + down[1]) * 17 + down[2]) * 17 + down[3]);
                for (int c = 0; c < 3; ++c) rgb[c] = static_cast<uint8_t>((lo[c] + hi[c]) >> 1);
            }
            d[R] = rgb[0];
            d[1] = rgb[1];
            d[B] = rgb[2];
        });
        return 0;
    });
}

EmulationPair emulationPair(uint32_t source, uint32_t dest) {
    if (source == ClrSpaceCmyk && isRgbSide(dest)) return EmulationPair::CmykToRgb;
    if (isRgbSide(source) && dest == ClrSpaceLab) return EmulationPair::RgbToLab;
    if (source == ClrSpaceLab && isRgbSide(dest)) return EmulationPair::LabToRgb;
    return EmulationPair::None;
}

int32_t tableKind(EmulationPair pair) {
    switch (pair) {
    case EmulationPair::CmykToRgb: return kTableKindCmyk;
    case EmulationPair::RgbToLab: case EmulationPair::LabToRgb: return kTableKind33;
    default: return 0;
    }
}

const uint8_t* builtinTable(EmulationPair pair) {
    switch (pair) {
    case EmulationPair::CmykToRgb: return emulationTableCmyk();
    case EmulationPair::RgbToLab: return emulationTableRgb();
    case EmulationPair::LabToRgb: return emulationTableLab();
    default: return nullptr;
    }
}

void lookUpPair(const uint8_t* table, const KernelIo& io, uint32_t source, uint32_t dest) {
    switch (emulationPair(source, dest)) {
    case EmulationPair::CmykToRgb: cmykToRgbByTable(table, io, dest == ClrSpaceRgb); break;
    case EmulationPair::RgbToLab: rgbToLabByTable(table, io, source == ClrSpaceRgb); break;
    case EmulationPair::LabToRgb: labToRgbByTable(table, io, dest == ClrSpaceRgb); break;
    default: break;
    }
}

}  // namespace quv::kernels
