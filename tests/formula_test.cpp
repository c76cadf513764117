// The matrix and hue spaces against the values they are known to give, the
// one failure of inverse HLS, and the properties the formulas guarantee over
// the whole RGB cube.
#include "test_support.h"

#include <gtest/gtest.h>

using quvtest::fromSpace;
using quvtest::KnownConversion;
using quvtest::knownName;
using quvtest::Pixel;
using quvtest::toSpace;

namespace {

const uint8_t kMinus41 = static_cast<uint8_t>(-41);

INSTANTIATE_TEST_SUITE_P(
    Matrix, ListedValues,
    testing::Values(KnownConversion{ClrSpaceYuv, {0, 0, 0}, {0, 128, 128}, {0, 0, 0}},
                    // The inverse does not return white: the blue loss is part of it.
                    KnownConversion{ClrSpaceYuv, {255, 255, 255}, {255, 128, 128}, {255, 255, 252}},
                    KnownConversion{ClrSpaceYuv, {200, 100, 50}, {124, 87, 190}, {199, 100, 50}},
                    KnownConversion{ClrSpaceYiq, {0, 0, 0}, {0, 128, 128}, {0, 0, 0}},
                    KnownConversion{ClrSpaceYiq, {255, 255, 255}, {247, 128, 128}, {254, 254, 254}},
                    KnownConversion{ClrSpaceXyz, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                    KnownConversion{ClrSpaceXyz, {255, 255, 255}, {219, 242, 249}, {254, 254, 255}},
                    KnownConversion{ClrSpaceYcbcr, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
                    KnownConversion{ClrSpaceYcbcr, {255, 255, 255}, {255, 0, 0}, {255, 255, 255}},
                    KnownConversion{ClrSpaceYcbcr, {200, 100, 50}, {124, kMinus41, 54}, {199, 99, 51}}),
    knownName);

TEST(MatrixKernels, PureRedSaturatesYcbcrChromaAt127) {
    // The formula gives 127.5 for Cr; the clamp holds it at 127.
    EXPECT_EQ(toSpace(ClrSpaceYcbcr, {255, 0, 0})[2], 127);
    // Pure blue: Cb is clamped the same way.
    EXPECT_EQ(toSpace(ClrSpaceYcbcr, {0, 0, 255})[1], 127);
}

// Over the whole cube (sampled every 3 counts per channel) the round trips
// stay within what the unmatched constants allow.
TEST(MatrixKernels, RoundTripDriftStaysSmallOverTheCube) {
    struct Bound {
        ClrSpace space;
        int maxDrift;
    };
    // YUV's integer inverse drops up to two dozen counts on saturated colours
    // (U and V clamp before they can carry them); the others stay close.
    const Bound bounds[] = {{ClrSpaceYuv, 26}, {ClrSpaceYiq, 6}, {ClrSpaceYcbcr, 4}, {ClrSpaceXyz, 3}};
    std::vector<uint8_t> cube;
    for (int r = 0; r < 256; r += 3)
        for (int g = 0; g < 256; g += 3)
            for (int b = 0; b < 256; b += 3) cube.insert(cube.end(), {uint8_t(r), uint8_t(g), uint8_t(b)});
    const int32_t n = static_cast<int32_t>(cube.size() / 3);
    for (const Bound& bound : bounds) {
        std::vector<uint8_t> mid(cube.size()), back(cube.size());
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, bound.space, cube.data(), mid.data(), n, 1, 0, 0), 1);
        ASSERT_EQ(Quv_ClrConvertDirect(bound.space, ClrSpaceRgb, mid.data(), back.data(), n, 1, 0, 0), 1);
        int worst = 0;
        for (size_t i = 0; i < cube.size(); ++i) worst = std::max(worst, std::abs(int(cube[i]) - int(back[i])));
        EXPECT_LE(worst, bound.maxDrift) << "space " << bound.space;
        EXPECT_GT(worst, 0) << "space " << bound.space << " round-trips exactly, which its constants rule out";
    }
}

// The grey axis is where the forward formulas are simplest to check by hand:
// luma equals the grey level, chroma sits at its offset.
TEST(MatrixKernels, GreysHaveNeutralChroma) {
    for (int v = 0; v < 256; ++v) {
        const Pixel grey{uint8_t(v), uint8_t(v), uint8_t(v)};
        const Pixel ycc = toSpace(ClrSpaceYcbcr, grey);
        EXPECT_NEAR(ycc[0], v, 1) << v;
        EXPECT_EQ(ycc[1], 0) << v;
        EXPECT_EQ(ycc[2], 0) << v;
        const Pixel yuv = toSpace(ClrSpaceYuv, grey);
        EXPECT_NEAR(yuv[0], v, 1) << v;
        EXPECT_EQ(yuv[1], 128) << v;
        EXPECT_EQ(yuv[2], 128) << v;
    }
}


INSTANTIATE_TEST_SUITE_P(
    Hue, ListedValues,
    testing::Values(KnownConversion{ClrSpaceHsv, {255, 0, 0}, {0, 255, 255}, {255, 0, 0}},
                    KnownConversion{ClrSpaceHsv, {0, 255, 0}, {85, 255, 255}, {0, 255, 0}},
                    KnownConversion{ClrSpaceHsv, {0, 0, 255}, {170, 255, 255}, {0, 0, 255}},
                    KnownConversion{ClrSpaceHsv, {200, 100, 50}, {14, 191, 200}, {200, 98, 51}},
                    KnownConversion{ClrSpaceHls, {255, 0, 0}, {0, 128, 255}, {255, 1, 1}},
                    KnownConversion{ClrSpaceHls, {200, 100, 50}, {14, 125, 153}, {200, 100, 50}},
                    KnownConversion{ClrSpaceHls, {255, 255, 255}, {0, 255, 0}, {255, 255, 255}},
                    KnownConversion{ClrSpaceHls, {128, 128, 128}, {0, 128, 0}, {128, 128, 128}},
                    // Hue 127 falls in the descending ramp, whose value for green
                    // passes 255 and keeps its low byte: cyan comes back blue.
                    KnownConversion{ClrSpaceHls, {0, 250, 250}, {127, 125, 255}, {0, 0, 250}},
                    // HSI: den is 0 on greys, the hue is 0 and complemented.
                    KnownConversion{ClrSpaceHsi, {255, 255, 255}, {255, 255, 0}, {255, 255, 255}},
                    KnownConversion{ClrSpaceHsi, {128, 128, 128}, {128, 255, 0}, {128, 128, 128}},
                    KnownConversion{ClrSpaceHsi, {0, 0, 0}, {0, 255, 0}, {0, 0, 0}},
                    // The large shifts of saturated colours are part of HSI.
                    KnownConversion{ClrSpaceHsi, {255, 0, 0}, {85, 56, 255}, {154, 101, 0}},
                    KnownConversion{ClrSpaceHsi, {0, 255, 0}, {85, 200, 255}, {238, 0, 17}}),
    knownName);

TEST(HlsInverse, SaturationZeroWithAHueStopsTheConversion) {
    ClrStatus status = 0;
    quvtest::convert1(ClrSpaceHls, ClrSpaceRgb, {1, 100, 0}, &status);
    EXPECT_EQ(status, CLR_INVALID_TAG_DATA);

    // Pixels before the bad one are written; the bad one and all after are not.
    const uint8_t hls[] = {0, 50, 0, 0, 60, 0, 7, 70, 0, 0, 80, 0};
    uint8_t rgb[12];
    std::fill(std::begin(rgb), std::end(rgb), 0xEE);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceHls, ClrSpaceRgb, hls, rgb, 2, 2, 0, 0), CLR_INVALID_TAG_DATA);
    const uint8_t expected[] = {50, 50, 50, 60, 60, 60, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_TRUE(std::equal(std::begin(rgb), std::end(rgb), expected));
}

// Every grey survives HSV and HLS exactly, and both put greys at hue 0,
// saturation 0.
TEST(HueKernels, GreysAreExactInHsvAndHls) {
    for (int v = 0; v < 256; ++v) {
        const Pixel grey{uint8_t(v), uint8_t(v), uint8_t(v)};
        const Pixel hsv = toSpace(ClrSpaceHsv, grey);
        EXPECT_EQ(hsv, (Pixel{0, 0, uint8_t(v)}));
        EXPECT_EQ(fromSpace(ClrSpaceHsv, hsv), grey);
        const Pixel hls = toSpace(ClrSpaceHls, grey);
        EXPECT_EQ(hls[0], 0);
        EXPECT_EQ(hls[2], 0);
        EXPECT_EQ(fromSpace(ClrSpaceHls, hls), grey);
    }
}

// HSV keeps the maximum as V, so the brightest channel of every colour comes
// back within rounding, and the ordering of channels never inverts.
TEST(HueKernels, HsvKeepsValueAndChannelOrderOverTheCube) {
    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 5)
            for (int b = 0; b < 256; b += 5) {
                const Pixel rgb{uint8_t(r), uint8_t(g), uint8_t(b)};
                const Pixel hsv = toSpace(ClrSpaceHsv, rgb);
                ASSERT_EQ(hsv[2], std::max({r, g, b}));
                const Pixel back = fromSpace(ClrSpaceHsv, hsv);
                ASSERT_EQ(std::max({back[0], back[1], back[2]}), hsv[2]);
                for (int i = 0; i < 3; ++i) {
                    for (int j = 0; j < 3; ++j) {
                        if (rgb[i] > rgb[j] + 8) {
                            ASSERT_GE(back[i], back[j]) << r << ' ' << g << ' ' << b;
                        }
                    }
                }
            }
}

}  // namespace
