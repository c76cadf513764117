#include "kernels/hue.h"

#include <algorithm>
#include <cmath>

namespace quv::kernels {

ClrStatus rgbToHsv(const KernelIo& io, int orderFlag) {
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

ClrStatus hsvToRgb(const KernelIo& io, int orderFlag) {
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
ClrStatus rgbToHls(const KernelIo& io, int orderFlag) {
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

ClrStatus hlsToRgb(const KernelIo& io, int orderFlag) {
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

ClrStatus hsiToRgb(const KernelIo& io, int orderFlag) {
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

}  // namespace quv::kernels
