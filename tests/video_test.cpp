// The video formats against their listed values and against libyuv, which
// uses the same studio-range matrix with its own rounding.
#include "test_support.h"

#include "kernels/reference.h"
#include "kernels/video.h"

#include <gtest/gtest.h>
#include <libyuv.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace {

using quvtest::randomBytes;
using Bytes = std::vector<uint8_t>;
namespace k = quv::kernels;

// Two equal pixels as one YUY2 group and back: black sits half a count
// below the floor, white comes back one short.
TEST(Video, StudioMatrixGivesTheListedValues) {
    const Bytes values[][3] = {{{0, 0, 0}, {15, 128, 15, 128}, {0, 0, 0}},
                               {{255, 255, 255}, {234, 128, 234, 128}, {254, 254, 254}}};
    for (const auto& v : values) {
        const Bytes rgb{v[0][0], v[0][1], v[0][2], v[0][0], v[0][1], v[0][2]};
        Bytes yuy2(4), back(6);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYuy2, rgb.data(), yuy2.data(), 2, 1, 0, 0), 1);
        EXPECT_EQ(yuy2, v[1]);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceYuy2, ClrSpaceRgb, yuy2.data(), back.data(), 2, 1, 0, 0), 1);
        EXPECT_EQ(Bytes(back.begin(), back.begin() + 3), v[2]);
    }
}

// B, G, R to libyuv's ARGB (B, G, R, A in memory) and back.
Bytes toArgb(const Bytes& bgr) {
    Bytes argb;
    for (size_t i = 0; i < bgr.size(); i += 3) argb.insert(argb.end(), {bgr[i], bgr[i + 1], bgr[i + 2], 255});
    return argb;
}

int maxDifference(const Bytes& a, const Bytes& b) {
    int worst = 0;
    for (size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
}

// libyuv rounds in 8-bit fixed point where these formats use 10 bits and a
// half subtracted from each input: the samples agree within 2.
TEST(Video, PackedFormatsAgreeWithLibyuv) {
    using Fn = int (*)(const uint8_t*, int, uint8_t*, int, int, int);
    const struct Peer {
        ClrSpace space;
        Fn encode, decode;
    } peers[] = {{ClrSpaceYuy2, libyuv::ARGBToYUY2, libyuv::YUY2ToARGB},
                          {ClrSpaceUyvy, libyuv::ARGBToUYVY, libyuv::UYVYToARGB}};
    const int w = 64, h = 8;
    // Smooth colours: libyuv averages chroma over two rows, these formats don't.
    Bytes bgr(3 * w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) bgr[3 * (y * w + x) + c] = uint8_t((x * (c + 1) * 3 + y * 5 + c * 60) & 255);
    const Bytes argb = toArgb(bgr);
    for (const Peer& peer : peers) {
        Bytes ours(2 * w * h), theirs(2 * w * h);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceBgr, peer.space, bgr.data(), ours.data(), w, h, 0, 0), 1);
        ASSERT_EQ(peer.encode(argb.data(), 4 * w, theirs.data(), 2 * w, w, h), 0);
        EXPECT_LE(maxDifference(ours, theirs), 2) << peer.space;

        const Bytes frame = randomBytes(2 * w * h, peer.space);
        Bytes decoded(3 * w * h), peerArgb(4 * w * h);
        ASSERT_EQ(Quv_ClrConvertDirect(peer.space, ClrSpaceBgr, frame.data(), decoded.data(), w, h, 0, 0), 1);
        ASSERT_EQ(peer.decode(frame.data(), 2 * w, peerArgb.data(), 4 * w, w, h), 0);
        EXPECT_LE(maxDifference(toArgb(decoded), peerArgb), 2) << peer.space;
    }
}

// Which instruction set the kernels use, for the tests that run both.
struct Isas {
    std::vector<k::KernelIsa> available{k::KernelIsa::Baseline};
    Isas() {
        for (k::KernelIsa isa : {k::KernelIsa::Avx2, k::KernelIsa::Avx512}) {
            k::testing::forceKernelIsa(isa);
            if (k::kernelIsa() == isa) available.push_back(isa);
        }
    }
    ~Isas() { k::testing::resetKernelIsa(); }
};

// The kernels the conversions call give the statuses and bytes of the
// formulas as written, on each instruction set: widths around the 16- and
// 32-pixel blocks and odd ones, pads on both sides, both channel orders.
// Buffers are as long as the rows (bytes per 8 pixels) and pads need, so
// that a read or write past them shows under AddressSanitizer.
TEST(Video, FastKernelsGiveTheReferenceBytes) {
    const struct {
        const char* name;
        k::Kernel fast, reference;
        int srcPer8, dstPer8;
    } kernels[] = {
        {"rgb_to_yuy2", k::rgbToYuy2, k::reference::rgbToYuy2, 24, 16},
        {"yuy2_to_rgb", k::yuy2ToRgb, k::reference::yuy2ToRgb, 16, 24},
        {"rgb_to_uyvy", k::rgbToUyvy, k::reference::rgbToUyvy, 24, 16},
        {"uyvy_to_rgb", k::uyvyToRgb, k::reference::uyvyToRgb, 16, 24},
        {"rgb_to_y41p", k::rgbToY41p, k::reference::rgbToY41p, 24, 12},
        {"y41p_to_rgb", k::y41pToRgb, k::reference::y41pToRgb, 12, 24},
        {"rgb_to_yvu9", k::rgbToYvu9, k::reference::rgbToYvu9, 24, 9},
        {"yvu9_to_rgb", k::yvu9ToRgb, k::reference::yvu9ToRgb, 9, 24},
    };
    const struct { int32_t h, srcPad, dstPad; } shapes[] = {{1, 0, 0}, {3, 5, 2}, {4, 1, 7}};
    Isas isas;
    int converted = 0;  // calls that converted, rather than refused
    for (k::KernelIsa isa : isas.available) {
        k::testing::forceKernelIsa(isa);
        for (const auto& kernel : kernels)
            for (int32_t w : {1, 2, 3, 8, 14, 16, 18, 24, 30, 32, 34, 40, 48, 50, 64, 66, 1920, 1928})
                for (const auto& z : shapes)
                    for (int order : {0, 1}) {
                        auto bytes = [&](int per8, int32_t pad) { return size_t((per8 * w + 7) / 8 + pad) * z.h; };
                        const Bytes src = randomBytes(bytes(kernel.srcPer8, z.srcPad), uint32_t(w * 7 + z.h));
                        Bytes fast(bytes(kernel.dstPer8, z.dstPad), 0xAA), reference = fast;
                        quv::MemoryProbe probe;
                        const ClrStatus status =
                            kernel.fast({src.data(), fast.data(), w, z.h, z.srcPad, z.dstPad, &probe}, order);
                        EXPECT_EQ(status,
                                  kernel.reference({src.data(), reference.data(), w, z.h, z.srcPad, z.dstPad, &probe}, order));
                        converted += status == CLR_SUCCESS;
                        EXPECT_TRUE(fast == reference) << kernel.name << ", isa " << int(isa) << ", " << w << " x "
                                                       << z.h << ", order " << order;
                    }
        // In place, the source's bytes overwritten as the reference order has it.
        for (const auto& kernel : kernels) {
            const int32_t w = 64, h = 4;
            Bytes fast = randomBytes(size_t(std::max(kernel.srcPer8, kernel.dstPer8)) * w / 8 * h, 9), reference = fast;
            quv::MemoryProbe probe;
            EXPECT_EQ(kernel.fast({fast.data(), fast.data(), w, h, 0, 0, &probe}, 1),
                      kernel.reference({reference.data(), reference.data(), w, h, 0, 0, &probe}, 1));
            EXPECT_TRUE(fast == reference) << kernel.name << " in place, isa " << int(isa);
        }
    }
    EXPECT_GE(converted, 300);
}

// A pixel's Y is a function of its three bytes, and so are U and V when
// both pixels of a pair are alike; decoding, each pixel is a function of
// Y, U and V. All 2^24 of each, on each instruction set.
TEST(Video, FastYuy2GivesTheReferenceBytesForAllInputs) {
    const int32_t w = 1 << 13, h = 1 << 12;  // 2^25 pixels: 2^24 pairs
    Bytes twins(size_t{3} * w * h), groups(size_t{2} * w * h);
    for (uint32_t v = 0; v < (1u << 24); ++v) {
        const uint8_t a = uint8_t(v), b = uint8_t(v >> 8), c = uint8_t(v >> 16);
        std::copy_n(std::array<uint8_t, 6>{a, b, c, a, b, c}.begin(), 6, &twins[6 * size_t{v}]);
        std::copy_n(std::array<uint8_t, 4>{a, b, a, c}.begin(), 4, &groups[4 * size_t{v}]);
    }
    quv::MemoryProbe probe;
    Bytes encoded(groups.size()), decoded(twins.size());
    ASSERT_EQ(k::reference::rgbToYuy2({twins.data(), encoded.data(), w, h, 0, 0, &probe}, 1), 1);
    ASSERT_EQ(k::reference::yuy2ToRgb({groups.data(), decoded.data(), w, h, 0, 0, &probe}, 1), 1);
    Isas isas;
    for (k::KernelIsa isa : isas.available) {
        k::testing::forceKernelIsa(isa);
        Bytes fastEncoded(encoded.size()), fastDecoded(decoded.size());
        ASSERT_EQ(k::rgbToYuy2({twins.data(), fastEncoded.data(), w, h, 0, 0, &probe}, 1), 1);
        ASSERT_EQ(k::yuy2ToRgb({groups.data(), fastDecoded.data(), w, h, 0, 0, &probe}, 1), 1);
        EXPECT_TRUE(fastEncoded == encoded) << "isa " << int(isa);
        EXPECT_TRUE(fastDecoded == decoded) << "isa " << int(isa);
    }
}

// Y41P and YVU9 hold the same matrix as YUY2: a flat colour gives the same
// samples in each layout.
TEST(Video, FlatColourGivesTheSameSamplesInEveryLayout) {
    const int w = 8, h = 4;
    Bytes rgb(3 * w * h);
    for (size_t i = 0; i < rgb.size(); i += 3) rgb[i] = 200, rgb[i + 1] = 100, rgb[i + 2] = 50;
    Bytes yuy2(2 * w * h), y41p(12 * w * h / 8), yvu9(w * h * 9 / 8);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYuy2, rgb.data(), yuy2.data(), w, h, 0, 0), 1);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceY41p, rgb.data(), y41p.data(), w, h, 0, 0), 1);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYvu9, rgb.data(), yvu9.data(), w, h, 0, 0), 1);
    const uint8_t y = yuy2[0], u = yuy2[1], v = yuy2[3];
    EXPECT_EQ(Bytes(y41p.begin(), y41p.begin() + 12), (Bytes{u, y, v, y, u, y, v, y, y, y, y, y}));
    EXPECT_EQ(yvu9[0], y);
    EXPECT_EQ(yvu9[w * h], v);
    EXPECT_EQ(yvu9[w * h + 2], u);
}

// The running chroma of a YVU9 block weighs its rows unequally, and the
// block-row step (12 x width bytes) leaves the pads of the rows passed over
// uncounted.
TEST(Video, Yvu9ChromaRunsDownTheBlockAndStepsByTwelveWidths) {
    const int w = 4, h = 8, pad = 6;
    Bytes rgb((3 * w + pad) * h, 0), yvu9(w * h * 9 / 8);
    for (int y = 1; y < 4; y += 2)  // blue in rows 1 and 3
        for (int x = 0; x < w; ++x) rgb[y * (3 * w + pad) + 3 * x + 2] = 255;
    std::fill_n(rgb.begin() + 12 * w, 3, 255);  // a white pixel where the second block row starts
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYvu9, rgb.data(), yvu9.data(), w, h, pad, 0), 1);
    // U of black 128, of blue 240: 512 >> 2, (128 + 960) / 5, (217 + 512) / 5, (145 + 960) / 5.
    EXPECT_EQ(yvu9[w * h + 2], 221);
    EXPECT_EQ(yvu9[4 * w], 234);  // white: Y of the first pixel of row 4
}

TEST(Video, EdgesWriteExactlyTheirBytes) {
    Bytes rgb(3 * 8 * 5, 77), out(64, 0xAA);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYuy2, rgb.data(), out.data(), 2, 2, 0, 3), 1);
    EXPECT_EQ(out[4], 0xAA);  // pad after row 0 untouched
    EXPECT_NE(out[7], 0xAA);
    EXPECT_EQ(out[11], 0xAA);  // nothing past row 1
    std::fill(out.begin(), out.end(), 0xAA);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceY41p, rgb.data(), out.data(), 6, 1, 0, 0), -796);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYvu9, rgb.data(), out.data(), 4, 5, 0, 0), -797);
    EXPECT_EQ(out, Bytes(64, 0xAA));
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYvu9, rgb.data(), out.data(), 4, 4, 0, 0), 1);
    EXPECT_NE(out[17], 0xAA);
    EXPECT_EQ(out[18], 0xAA);
}

// Each kernel tests its layout before its buffers: an unreadable source
// gives the layout status when the width is wrong, -13 otherwise.
TEST(Video, LayoutTestComesBeforeTheProbes) {
    quvtest::MappedPages none(1, PROT_NONE);
    struct Case {
        k::Kernel kernel;
        int32_t width, height;
        ClrStatus expected;
    };
    const Case cases[] = {
        {k::rgbToYuy2, 3, 1, -796}, {k::yuy2ToRgb, 3, 1, -796}, {k::rgbToUyvy, 5, 1, -796},
        {k::uyvyToRgb, 2, 1, -13},  {k::rgbToY41p, 12, 1, -796}, {k::y41pToRgb, 8, 1, -13},
        {k::rgbToYvu9, 4, 6, -797}, {k::yvu9ToRgb, 6, 4, -797},  {k::yvu9ToRgb, 4, 4, -13},
        {k::rgbToRgb444, 3, 1, -13}, {k::rgb444ToRgb, 3, 1, -13},
    };
    Bytes out(256);
    for (const Case& c : cases) {
        quv::MemoryProbe probe;
        EXPECT_EQ(c.kernel({none.data(), out.data(), c.width, c.height, 0, 0, &probe}, 1), c.expected)
            << c.width << " x " << c.height;
    }
    // RGB444's destination is asked for 1.5 bytes a pixel but takes 2.
    quvtest::MappedPages page(1);
    quv::MemoryProbe probe;
    EXPECT_EQ(k::rgbToRgb444({out.data(), page.tail(6), 4, 1, 0, 0, &probe}, 1), -13);
}

// Decoding RGB444 through a handle always writes B, G, R; without a handle
// the destination space chooses.
TEST(Video, Rgb444FlagDiffersBetweenTheTwoCalls) {
    const Bytes packed{0x0C, 0x5A};
    Bytes direct(3), viaHandle(3);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb444, ClrSpaceRgb, packed.data(), direct.data(), 1, 1, 0, 0), 1);
    EXPECT_EQ(direct, (Bytes{0xC0, 0x50, 0xA0}));
    auto h = quvtest::makeHandle(ClrSpaceRgb444, ClrSpaceRgb);
    ASSERT_EQ(Quv_ClrConvert(h.get(), packed.data(), viaHandle.data(), 1, 1, 0, 0), 1);
    EXPECT_EQ(viaHandle, (Bytes{0xA0, 0x50, 0xC0}));
    Bytes back(2);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceRgb444, direct.data(), back.data(), 1, 1, 0, 0), 1);
    EXPECT_EQ(back, packed);
}

// Described layouts, decoded through the kernel a handle with the record uses.
ClrStatus decodeLayout(const ClrYuvParams& p, const uint8_t* src, uint8_t* dst, int32_t w, int32_t h,
                       int32_t srcPad = 0, int32_t dstPad = 0) {
    quv::MemoryProbe probe;
    return k::yuvLayoutToBgr({src, dst, w, h, srcPad, dstPad, &probe}, p);
}

TEST(Video, DescribedLayoutStatusesInTheirOrder) {
    int32_t planar[1] = {0}, badCode[1] = {6};
    const ClrYuvParams i420{48, 0, 2, 2, 2, 2, planar, 4, 0, 1, 1};
    Bytes src(4096), dst(4096);
    quvtest::MappedPages none(1, PROT_NONE);
    auto with = [&](auto change) {
        ClrYuvParams p = i420;
        change(p);
        return p;
    };
    const struct Case {
        ClrYuvParams p;
        bool srcMapped, dstMapped;
        int32_t w, srcPad;
        ClrStatus expected;
    } cases[] = {
        {i420, true, true, 0, 0, -13},
        {with([](auto& p) { p.macroPixelSize = 0; }), true, true, 4, 0, -13},
        {i420, true, false, 4, 0, -13},
        {i420, false, true, 4, 0, -60},  // before the sampling tests
        {with([](auto& p) { p.planar = 0, p.uVertical = 2; }), true, true, 4, 0, -792},
        {with([](auto& p) { p.uVertical = 2, p.vVertical = 3; }), true, true, 4, 0, -791},
        {with([](auto& p) { p.uHorizontal = 3; }), true, true, 4, 0, -791},
        {i420, true, true, 4, 2, -793},
        {with([&](auto& p) { p.layout = badCode; }), true, true, 4, 0, -13},
        {i420, true, true, 4, 1, 1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(decodeLayout(c.p, c.srcMapped ? src.data() : none.data(), c.dstMapped ? dst.data() : none.data(), c.w,
                               2, c.srcPad),
                  c.expected)
            << &c - cases;
}

// Planar layouts against libyuv's I420 decoding; the walk leaves the last
// pixel unwritten.
TEST(Video, PlanarLayoutsAgreeWithLibyuv) {
    const int w = 16, h = 6, wh = w * h;
    const Bytes frame = randomBytes(wh * 3 / 2, 11);
    const uint8_t *y = frame.data(), *u = y + wh, *v = u + wh / 4;
    Bytes theirs(3 * wh);
    ASSERT_EQ(libyuv::I420ToRGB24(y, w, u, w / 2, v, w / 2, theirs.data(), 3 * w, w, h), 0);
    for (int32_t code : {0, 1}) {
        int32_t layout[1] = {code};
        const ClrYuvParams p{48, 0, 2, 2, 2, 2, layout, 4, 0, 1, 1};
        Bytes src(frame.size() * 4);  // room for the size this layout is proven over
        std::copy(frame.begin(), frame.end(), src.begin());
        if (code == 1) std::swap_ranges(src.begin() + wh, src.begin() + wh + wh / 4, src.begin() + wh + wh / 4);
        Bytes ours(3 * wh, 0xAA);
        ASSERT_EQ(decodeLayout(p, src.data(), ours.data(), w, h), 1);
        EXPECT_EQ(Bytes(ours.end() - 3, ours.end()), Bytes(3, 0xAA));
        std::copy(theirs.end() - 3, theirs.end(), ours.end() - 3);
        EXPECT_LE(maxDifference(ours, theirs), 2) << code;
    }
}

// A packed layout spelled as YUY2 decodes like YUY2 within the rounding the
// two keep; rows walk the source by dstPad and the destination by srcPad.
TEST(Video, PackedLayoutReadsYuy2AndExchangesThePads) {
    int32_t layout[4] = {0, 2, 1, 3};
    const ClrYuvParams yuy2{48, 0, 2, 1, 2, 1, layout, 2, 0, 0, 4};
    const int w = 8, h = 3, gap = 5;
    const Bytes frame = randomBytes(2 * w * h + 64, 3);
    Bytes ours((3 * w + gap) * h, 0), reference(3 * w * h);
    ASSERT_EQ(decodeLayout(yuy2, frame.data(), ours.data(), w, h, gap, 0), 1);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceYuy2, ClrSpaceBgr, frame.data(), reference.data(), w, h, 0, 0), 1);
    for (int r = 0; r < h; ++r) {
        const Bytes row(ours.begin() + r * (3 * w + gap), ours.begin() + r * (3 * w + gap) + 3 * w);
        EXPECT_LE(maxDifference(row, Bytes(reference.begin() + r * 3 * w, reference.begin() + (r + 1) * 3 * w)), 1)
            << r;
    }
}

TEST(Video, HandleWithLayoutDecodesThroughIt) {
    int32_t layout[4] = {0, 2, 1, 3};
    ClrYuvParams yuy2{48, 0, 2, 1, 2, 1, layout, 2, 1, 0, 4};
    ClrParams params{};
    params.size = CLR_PARAMS_SIZE;
    params.activeMethod = params.methodMask = params.emulationKind = CLR_METHOD_BUILTIN;
    params.yuvParams = &yuy2;
    auto h = quvtest::makeHandle(ClrSpaceYuv, ClrSpaceRgb, &params);
    const Bytes src{100, 0, 100, 0, 0, 0};  // full range, no chroma: (100 x 1192) >> 10 = 116
    Bytes out(6);
    ASSERT_EQ(Quv_ClrConvert(h.get(), src.data(), out.data(), 2, 1, 0, 0), 1);
    EXPECT_EQ(out, Bytes(6, 116));
}

}  // namespace
