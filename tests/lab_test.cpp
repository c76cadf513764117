// CIELab: the floating path and the fixed-point path with its tables,
// against the values they are known to give.
#include "test_support.h"

#include "kernels/lab.h"
#include "platform/probe.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

namespace {

using quvtest::fromSpace;
using quvtest::KnownConversion;
using quvtest::knownName;
using quvtest::Pixel;
using quvtest::toSpace;
namespace k = quv::kernels;

const uint8_t kMinus86 = static_cast<uint8_t>(-86), kMinus107 = static_cast<uint8_t>(-107);

INSTANTIATE_TEST_SUITE_P(
    Lab, ListedValues,
    testing::Values(KnownConversion{ClrSpaceLab, {255, 255, 255}, {255, 0, 0}, {255, 255, 255}},
                    KnownConversion{ClrSpaceLab, {128, 128, 128}, {135, 0, 0}, {126, 126, 126}}),
    knownName);

TEST(LabFloating, PrimariesEncodeToTheirKnownBytes) {
    EXPECT_EQ(toSpace(ClrSpaceLab, {255, 0, 0}), (Pixel{135, 80, 67}));
    EXPECT_EQ(toSpace(ClrSpaceLab, {0, 255, 0}), (Pixel{221, kMinus86, 83}));
    EXPECT_EQ(toSpace(ClrSpaceLab, {0, 0, 255}), (Pixel{81, 79, kMinus107}));
}

TEST(LabFloating, LightnessTakesOnly101Values) {
    std::set<int> seen;
    for (int v = 0; v < 256; ++v) seen.insert(toSpace(ClrSpaceLab, {uint8_t(v), uint8_t(v), uint8_t(v)})[0]);
    EXPECT_LE(seen.size(), 101u);
    std::set<int> possible;
    for (int lStar = 0; lStar <= 100; ++lStar) possible.insert(lStar * 255 / 100);
    for (int l : seen) EXPECT_TRUE(possible.count(l)) << l;
}

std::unique_ptr<k::LabDecodeTables> defaultDecode() {
    auto t = std::make_unique<k::LabDecodeTables>();
    k::initLabDecodeTables(*t, ClrLabParams{32, 0, 0, 100, 128, 170, 96, 200});
    k::deriveLabDecodeTables(*t, k::kLabGamma);
    return t;
}

TEST(LabFixed, DecodeTablesHoldTheirKnownNumbers) {
    auto t = defaultDecode();
    EXPECT_EQ(t->lBias, -2673869.0f);
    EXPECT_EQ(t->lScale, 907490.0);
    EXPECT_EQ(t->aScale, 357914.0);
    EXPECT_EQ(t->bScale, 1052688.0);
    EXPECT_EQ(t->encodeThresholds[0], 258);
    EXPECT_EQ(t->encodeThresholds[1], 2967);
    EXPECT_EQ(t->encodeThresholds[254], 267267204);
}

Pixel decodeFixed(const k::LabDecodeTables& t, Pixel lab) {
    Pixel out{};
    quv::MemoryProbe probe;
    EXPECT_EQ(k::labToRgbFixed(t, k::KernelIo{lab.data(), out.data(), 1, 1, 0, 0, &probe}, 1), CLR_SUCCESS);
    return out;
}

TEST(LabFixed, DecodeGivesKnownGreys) {
    auto t = defaultDecode();
    EXPECT_EQ(decodeFixed(*t, {0, 128, 96}), (Pixel{0, 0, 0}));
    EXPECT_EQ(decodeFixed(*t, {255, 128, 96}), (Pixel{255, 255, 255}));
    EXPECT_EQ(decodeFixed(*t, {128, 128, 96}), (Pixel{120, 120, 120}));
}

TEST(LabFixed, SearchCountsTheThresholdsAtOrBelow) {
    auto t = defaultDecode();
    std::vector<int32_t> probes = {INT32_MIN, -1, 0, INT32_MAX};
    for (int32_t th : t->encodeThresholds) probes.insert(probes.end(), {th - 1, th, th + 1});
    for (int32_t v : probes) {
        const auto count = std::count_if(std::begin(t->encodeThresholds), std::end(t->encodeThresholds),
                                         [v](int32_t th) { return th <= v; });
        ASSERT_EQ(k::labSearch(t->encodeThresholds, v), count) << v;
        ASSERT_EQ(k::labSearchIndexed(*t, v), count) << v;
    }
}

TEST(LabFixed, FixMul16IsTheRoundedProductAtAnySign) {
    const int32_t values[] = {0, 1, -1, 65536, -65536, 98304, -98304, 123456789, -987654321, INT32_MAX, INT32_MIN};
    for (int32_t p : values)
        for (int32_t q : values) {
            // The exact product rounded half up at bit 16, modulo 2^32.
            const __int128 exact = static_cast<__int128>(p) * q + 32768;
            const auto expected = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(exact >> 16)));
            ASSERT_EQ(k::fixMul16(p, q), expected) << p << " x " << q;
        }
}

std::unique_ptr<k::LabEncodeTables> encodeTables(ClrLabParams ranges) {
    auto t = std::make_unique<k::LabEncodeTables>();
    k::initLabEncodeTables(*t, ranges, k::kLabGamma);
    return t;
}

Pixel encodeFixed(const k::LabEncodeTables& t, Pixel bgr) {
    Pixel out{};
    quv::MemoryProbe probe;
    EXPECT_EQ(k::rgbToLabFixed(t, k::KernelIo{bgr.data(), out.data(), 1, 1, 0, 0, &probe}, 0), CLR_SUCCESS);
    return out;
}

TEST(LabFixed, EncodeMatchesTheFloatingPathOnNeutrals) {
    auto t = encodeTables({32, 0, 0, 100, 128, 170, 96, 200});
    for (int v = 0; v < 256; v += 15) {
        const Pixel lab = encodeFixed(*t, {uint8_t(v), uint8_t(v), uint8_t(v)});
        // L over 0..255 for 0..100, a and b at their offsets.
        const int floatingL = toSpace(ClrSpaceLab, {uint8_t(v), uint8_t(v), uint8_t(v)})[0];
        EXPECT_NEAR(lab[0], floatingL, 3) << v;
        EXPECT_NEAR(lab[1], 128, 1) << v;
        EXPECT_NEAR(lab[2], 96, 1) << v;
    }
}

TEST(LabFixed, ChromaBeyondTheRangeIsCompressedNotWrapped) {
    // a encoded as 128 + a* x 255 / 60: saturated red passes the top.
    auto t = encodeTables({32, 0, 0, 100, 128, 60, 96, 200});
    const Pixel red = encodeFixed(*t, {0, 0, 255});  // B, G, R
    EXPECT_EQ(red[1], 255);
    auto wide = encodeTables({32, 0, 0, 100, 128, 170, 96, 200});
    const Pixel unclipped = encodeFixed(*wide, {0, 0, 255});
    // b is pulled toward its offset by a's compression.
    EXPECT_LT(std::abs(red[2] - 96), std::abs(unclipped[2] - 96));
}

TEST(LabFixed, AnEncodingWithoutNeutralAStopsTheBuild) {
    auto t = encodeTables({32, 0, 0, 100, 0, 170, 96, 200});
    EXPECT_EQ(t->aMin, 0);
    EXPECT_EQ(t->lMul, 0);
    for (Pixel px : {Pixel{0, 0, 0}, Pixel{255, 255, 255}, Pixel{10, 200, 30}})
        EXPECT_EQ(encodeFixed(*t, px), (Pixel{0, 0, 96}));
}

}  // namespace
