// Ink kernels: CMY, CMYK at its grey-component levels, and YCCK, against the
// values they are known to give.
#include "test_support.h"

#include "kernels/ink.h"
#include "platform/probe.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using quv::kernels::KernelIo;
using Cmyk = std::array<uint8_t, 4>;

Cmyk toCmyk(quvtest::Pixel rgb, int32_t gcr) {
    Cmyk out{};
    quv::MemoryProbe probe;
    EXPECT_EQ(quv::kernels::rgbToCmyk(KernelIo{rgb.data(), out.data(), 1, 1, 0, 0, &probe}, gcr, 1), CLR_SUCCESS);
    return out;
}

quvtest::Pixel fromCmyk(Cmyk cmyk, int32_t gcr) {
    quvtest::Pixel out{};
    quv::MemoryProbe probe;
    EXPECT_EQ(quv::kernels::cmykToRgb(KernelIo{cmyk.data(), out.data(), 1, 1, 0, 0, &probe}, gcr, 1), CLR_SUCCESS);
    return out;
}

// Rows of {RGB, level, CMYK}; at 175 the fifth power makes t 0: the full
// complement plus 17.5% black. Full replacement turns neutrals into black.
TEST(CmykKernels, ForwardAtEachGreyComponentLevel) {
    const struct {
        quvtest::Pixel rgb;
        int32_t gcr;
        Cmyk cmyk;
    } rows[] = {
        {{255, 255, 255}, 0, {0, 0, 0, 0}},   {{255, 255, 255}, 175, {0, 0, 0, 0}},
        {{255, 255, 255}, 600, {0, 0, 0, 0}}, {{255, 255, 255}, 1000, {0, 0, 0, 0}},
        {{0, 0, 0}, 175, {255, 255, 255, 44}}, {{0, 0, 0}, 1000, {0, 0, 0, 255}},
        {{128, 128, 128}, 250, {127, 127, 127, 31}},
    };
    for (const auto& r : rows) EXPECT_EQ(toCmyk(r.rgb, r.gcr), r.cmyk) << r.gcr;
    // Without a handle the level is 175.
    quvtest::Pixel black{0, 0, 0};
    Cmyk out{};
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceCmyk, black.data(), out.data(), 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out, (Cmyk{255, 255, 255, 44}));
}

// Below level 250 the inverse ignores black; at 250 the weight is 1 and on
// a neutral x is K itself; at 1000 hi = lo = 0, x = 65280, t saturates.
TEST(CmykKernels, InverseAtEachGreyComponentLevel) {
    const struct {
        Cmyk cmyk;
        int32_t gcr;
        quvtest::Pixel rgb;
    } rows[] = {
        {{255, 255, 255, 44}, 175, {0, 0, 0}}, {{0, 0, 0, 255}, 1000, {0, 0, 0}},
        {{10, 20, 30, 0}, 249, {245, 235, 225}}, {{10, 20, 30, 128}, 249, {245, 235, 225}},
        {{10, 20, 30, 255}, 249, {245, 235, 225}}, {{0, 0, 0, 100}, 250, {155, 155, 155}},
    };
    for (const auto& r : rows) EXPECT_EQ(fromCmyk(r.cmyk, r.gcr), r.rgb) << r.gcr << " k " << int(r.cmyk[3]);
}

TEST(CmyKernels, ComplementBothWaysExactly) {
    const auto rgb = quvtest::randomBytes(3 * 1000, 3);
    std::vector<uint8_t> cmy(rgb.size()), back(rgb.size());
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceCmy, rgb.data(), cmy.data(), 1000, 1, 0, 0), 1);
    for (size_t i = 0; i < rgb.size(); ++i) ASSERT_EQ(cmy[i], 255 - rgb[i]);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceCmy, ClrSpaceBgr, cmy.data(), back.data(), 1000, 1, 0, 0), 1);
    for (size_t i = 0; i < rgb.size(); i += 3) ASSERT_EQ(back[i], rgb[i + 2]);
}

TEST(YcckKernels, NoInkIsWhiteLumaAndNeutralChroma) {
    const auto& t = quv::kernels::processYcckTables();
    const uint8_t cmyk[4] = {0, 0, 0, 77};
    uint8_t ycck[4] = {};
    quv::kernels::cmykPixelToYcck(t, cmyk, ycck);
    EXPECT_EQ(std::vector<uint8_t>(ycck, ycck + 3), (std::vector<uint8_t>{255, 128, 128}));
}

TEST(YcckKernels, CmykSurvivesTheYccRoundTripClosely) {
    const auto& t = quv::kernels::processYcckTables();
    int worst = 0;
    for (int c = 0; c < 256; c += 5)
        for (int m = 0; m < 256; m += 5)
            for (int y = 0; y < 256; y += 5) {
                const uint8_t cmyk[4] = {uint8_t(c), uint8_t(m), uint8_t(y), 0};
                uint8_t ycck[4], back[4];
                quv::kernels::cmykPixelToYcck(t, cmyk, ycck);
                quv::kernels::ycckPixelToCmyk(t, ycck, back);
                for (int i = 0; i < 3; ++i) worst = std::max(worst, std::abs(back[i] - cmyk[i]));
            }
    EXPECT_LE(worst, 2);
}

TEST(YcckKernels, RgbSourceIsReadAsRgbWhateverItsLayout) {
    const uint8_t px[3] = {200, 100, 50};
    uint8_t fromRgb[4], fromBgr[4];
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceYcck, px, fromRgb, 1, 1, 0, 0), CLR_SUCCESS);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceBgr, ClrSpaceYcck, px, fromBgr, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(fromRgb, fromRgb + 4, fromBgr));
    // Naive separation: black is the common part, here 255 - 200.
    EXPECT_EQ(fromRgb[3], 55);
}

TEST(YcckKernels, FormulaInverseThroughAHandleReportsZero) {
    // The same pixels come out either way; only the handle's call reports 0.
    const uint8_t ycck[8] = {255, 128, 128, 0, 90, 100, 170, 40};
    uint8_t direct[6], viaHandle[6];
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceYcck, ClrSpaceRgb, ycck, direct, 2, 1, 0, 0), CLR_SUCCESS);
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceYcck, ClrSpaceRgb, nullptr), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrConvert(h, ycck, viaHandle, 2, 1, 0, 0), 0);
    EXPECT_TRUE(std::equal(direct, direct + 6, viaHandle));
    EXPECT_EQ(std::vector<uint8_t>(direct, direct + 3), (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);

    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceYcck, nullptr), CLR_SUCCESS);
    uint8_t out[4];
    EXPECT_EQ(Quv_ClrConvert(h, direct, out, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
}

TEST(YcckKernels, DirectConversionReportsSuccessWhateverTheKernelFound) {
    // The kernel can't make its working image: through a handle that is -3,
    // without one the call still reports success, with nothing written.
    const uint8_t ycck[4] = {255, 128, 128, 0};
    uint8_t rgb[3] = {7, 7, 7};
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceYcck, ClrSpaceRgb, nullptr), CLR_SUCCESS);
    {
        quvtest::AllocationFailure fail(0);
        EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceYcck, ClrSpaceRgb, ycck, rgb, 1, 1, 0, 0), CLR_SUCCESS);
        EXPECT_EQ(Quv_ClrConvert(h, ycck, rgb, 1, 1, 0, 0), CLR_NO_MEMORY);
    }
    EXPECT_EQ(rgb[0], 7);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
}

}  // namespace
