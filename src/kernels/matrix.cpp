#include "kernels/matrix.h"

#include "kernels/reference.h"

namespace quv::kernels {
namespace {

inline uint8_t toByte(double x, double lo, double hi) { return static_cast<uint8_t>(truncToInt(clamp(x, lo, hi))); }

}  // namespace

ClrStatus rgbToYuv(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double r = s[R], g = s[1], b = s[B];
            const uint8_t y = toByte(0.587 * g + 0.299 * r + 0.114 * b, 0, 255);
            const uint8_t u = toByte((-0.146 * r - 0.288 * g + 0.434 * b + 112.0) / 223.0 * 255.0 + 0.5, 0, 255);
            const uint8_t v = toByte((0.617 * r - 0.517 * g - 0.1 * b + 138.0) / 275.0 * 255.0 + 0.5, 0, 255);
            d[0] = y;
            d[1] = u;
            d[2] = v;
        });
    });
}

// Integer inverse: the chroma bytes are decoded once in floating point, then
// the offsets 112 and 138 are folded into the 15-bit constants.
ClrStatus yuvToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const int32_t y = s[0];
            const int32_t u = truncToInt(s[1] / -255.0 * 223.0);
            const int32_t v = truncToInt(s[2] / -255.0 * 275.0);
            const int32_t r = clamp(((29 * u - 37221 * v - 5133250) >> 15) + y, 0, 255);
            const int32_t g = clamp(((12943 * u + 18940 * v + 4063336) >> 15) + y, 0, 255);
            const int32_t b = clamp(((33 * v - 66883 * u - 7486342) >> 15) + y, 0, 255);
            d[R] = static_cast<uint8_t>(r);
            d[1] = static_cast<uint8_t>(g);
            d[B] = static_cast<uint8_t>(b);
        });
    });
}

ClrStatus rgbToYiq(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double r = s[R], g = s[1], b = s[B];
            const uint8_t y = toByte((0.587 * g + 0.299 * r + 0.114 * b) / 263.0 * 255.0 + 0.5, 0, 255);
            const uint8_t i = toByte((0.596 * r - 0.274 * g - 0.322 * b + 152.0) / 303.0 * 255.0 + 0.5, 0, 255);
            const uint8_t q = toByte((0.212 * r - 0.523 * g + 0.311 * b + 134.0) / 267.0 * 255.0 + 0.5, 0, 255);
            d[0] = y;
            d[1] = i;
            d[2] = q;
        });
    });
}

ClrStatus reference::yiqToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double y = truncToInt(s[0] / 255.0 * 263.0);
            const double i = truncToInt(s[1] / 255.0 * 303.0 - 152.0);
            const double q = truncToInt(s[2] / 255.0 * 267.0 - 134.0);
            const uint8_t r = toByte(i * 0.956 + y + q * 0.621, 0, 255);
            const uint8_t g = toByte(y - i * 0.272 - q * 0.647, 0, 255);
            const uint8_t b = toByte(y - i * 1.105 + q * 1.702, 0, 255);
            d[R] = r;
            d[1] = g;
            d[B] = b;
        });
    });
}


namespace {

// Every product of the inverse has one byte as its only input: the decoded
// Y, and I and Q times each of their weights, are looked up.
struct YiqInverse {
    double y[256];
    double iR[256], iG[256], iB[256];
    double qR[256], qG[256], qB[256];
};

const YiqInverse& yiqInverse() {
    static const YiqInverse table = [] {
        YiqInverse t{};
        for (int v = 0; v < 256; ++v) {
            const double y = truncToInt(v / 255.0 * 263.0);
            const double i = truncToInt(v / 255.0 * 303.0 - 152.0);
            const double q = truncToInt(v / 255.0 * 267.0 - 134.0);
            t.y[v] = y;
            t.iR[v] = i * 0.956;
            t.iG[v] = i * 0.272;
            t.iB[v] = i * 1.105;
            t.qR[v] = q * 0.621;
            t.qG[v] = q * 0.647;
            t.qB[v] = q * 1.702;
        }
        return t;
    }();
    return table;
}

}  // namespace

ClrStatus yiqToRgb(const KernelIo& io, int orderFlag) {
    const YiqInverse& t = yiqInverse();
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [&t](const uint8_t* s, uint8_t* d) {
            const double y = t.y[s[0]];
            const int i = s[1], q = s[2];
            const uint8_t r = toByte(t.iR[i] + y + t.qR[q], 0, 255);
            const uint8_t g = toByte(y - t.iG[i] - t.qG[q], 0, 255);
            const uint8_t b = toByte(y - t.iB[i] + t.qB[q], 0, 255);
            d[R] = r;
            d[1] = g;
            d[B] = b;
        });
    });
}

// Chroma is signed and kept as the low byte of its two's complement.
ClrStatus rgbToYcbcr(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double r = s[R], g = s[1], b = s[B];
            const uint8_t y = toByte(0.299 * r + 0.587 * g + 0.114 * b, 0, 255);
            const uint8_t cb = toByte(-0.16874 * r - 0.33126 * g + 0.5 * b, -128, 127);
            const uint8_t cr = toByte(0.5 * r - 0.41869 * g - 0.08131 * b, -128, 127);
            d[0] = y;
            d[1] = cb;
            d[2] = cr;
        });
    });
}

ClrStatus ycbcrToRgb(const KernelIo& io, int orderFlag) {
    return withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        return mapPixels<3, 3>(io, [](const uint8_t* s, uint8_t* d) {
            const double y = s[0];
            const double cb = static_cast<int8_t>(s[1]);
            const double cr = static_cast<int8_t>(s[2]);
            const uint8_t r = toByte(cr * 1.402 + y, 0, 255);
            const uint8_t g = toByte(y - cb * 0.3441363 - cr * 0.71413636, 0, 255);
            const uint8_t b = toByte(cb * 1.772 + y, 0, 255);
            d[R] = r;
            d[1] = g;
            d[B] = b;
        });
    });
}

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
