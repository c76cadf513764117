// Every fast path of the kernels gives the bytes of the scalar reference.
#include "test_support.h"

#include "kernels/hub.h"
#include "kernels/kernel.h"

#include <gtest/gtest.h>

namespace {

using quv::kernels::KernelIsa;
namespace kt = quv::kernels::testing;

TEST_P(ListedValues, ForwardAndInverseGiveTheListedBytes) {
    const quvtest::KnownConversion& k = GetParam();
    EXPECT_EQ(quvtest::toSpace(k.space, k.rgb), k.encoded);
    EXPECT_EQ(quvtest::fromSpace(k.space, k.encoded), k.decoded);
}

struct IsaReset {
    ~IsaReset() { kt::resetKernelIsa(); }
};

// Random pixels plus every extreme a channel can take.
std::vector<uint8_t> testPixels() {
    std::vector<uint8_t> v = quvtest::randomBytes(3 * 200000, 2024);
    for (int a : {0, 1, 127, 128, 254, 255})
        for (int b : {0, 1, 127, 128, 254, 255})
            for (int c : {0, 1, 127, 128, 254, 255}) v.insert(v.end(), {uint8_t(a), uint8_t(b), uint8_t(c)});
    return v;
}

TEST(KernelIsa, Avx2WalksGiveTheBaselineBytes) {
    IsaReset reset;
    kt::forceKernelIsa(KernelIsa::Avx2);
    if (quv::kernels::kernelIsa() != KernelIsa::Avx2) GTEST_SKIP() << "no AVX2 on this processor";

    const auto pixels = testPixels();
    const int32_t width = static_cast<int32_t>(pixels.size() / 3);
    const ClrSpace spaces[] = {ClrSpaceBgr, ClrSpaceYuv,   ClrSpaceYiq, ClrSpaceYcbcr, ClrSpaceXyz,
                               ClrSpaceHsv, ClrSpaceHls, ClrSpaceHsi, ClrSpaceYuy2, ClrSpaceUyvy,
                               ClrSpaceY41p, ClrSpaceRgb444};
    for (ClrSpace space : spaces) {
        for (int direction = 0; direction < 2; ++direction) {
            const ClrSpace from = direction ? space : ClrSpace{ClrSpaceRgb};
            const ClrSpace to = direction ? ClrSpace{ClrSpaceRgb} : space;
            std::vector<uint8_t> fast(pixels.size()), reference(pixels.size());
            kt::forceKernelIsa(KernelIsa::Avx2);
            const ClrStatus a = Quv_ClrConvertDirect(from, to, pixels.data(), fast.data(), width, 1, 0, 0);
            kt::forceKernelIsa(KernelIsa::Baseline);
            const ClrStatus b = Quv_ClrConvertDirect(from, to, pixels.data(), reference.data(), width, 1, 0, 0);
            EXPECT_EQ(a, b) << from << " -> " << to;
            EXPECT_TRUE(fast == reference) << from << " -> " << to;
        }
    }
}

TEST(KernelIsa, PaddedRowsAndInPlaceAgreeToo) {
    IsaReset reset;
    kt::forceKernelIsa(KernelIsa::Avx2);
    if (quv::kernels::kernelIsa() != KernelIsa::Avx2) GTEST_SKIP() << "no AVX2 on this processor";
    const int32_t w = 37, h = 9, pad = 5;
    const auto src = quvtest::randomBytes((3 * w + pad) * h, 5);
    for (ClrSpace space : {ClrSpaceYuv, ClrSpaceXyz, ClrSpaceHsi}) {
        std::vector<uint8_t> fast(src.size(), 0), reference(src.size(), 0);
        kt::forceKernelIsa(KernelIsa::Avx2);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, space, src.data(), fast.data(), w, h, pad, pad), 1);
        // In place with a wider destination pad: the walk needs room for it.
        auto inPlace = src;
        inPlace.resize((3 * w + pad + 1) * h);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, space, inPlace.data(), inPlace.data(), w, h, pad, pad + 1),
                  CLR_SUCCESS);
        kt::forceKernelIsa(KernelIsa::Baseline);
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, space, src.data(), reference.data(), w, h, pad, pad), 1);
        EXPECT_EQ(fast, reference) << space;
        auto inPlaceReference = src;
        inPlaceReference.resize(inPlace.size());
        ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, space, inPlaceReference.data(), inPlaceReference.data(), w, h,
                                       pad, pad + 1),
                  CLR_SUCCESS);
        EXPECT_EQ(inPlace, inPlaceReference) << space;
    }
}

TEST(ByteSwap, Ssse3RunGivesTheScalarBytes) {
    if (!quv::kernels::cpuHasSsse3()) GTEST_SKIP() << "no SSSE3";
    for (size_t pixels : {0, 1, 5, 6, 7, 11, 15, 16, 31, 1920, 1921}) {
        const auto src = quvtest::randomBytes(3 * pixels + 1, uint32_t(pixels));
        std::vector<uint8_t> a(src.size(), 1), b(src.size(), 1);
        quv::kernels::swapRunScalar(src.data(), a.data(), pixels);
        quv::kernels::swapRunSsse3(src.data(), b.data(), pixels);
        EXPECT_EQ(a, b) << pixels;
        auto inPlace = src;
        quv::kernels::swapRunSsse3(inPlace.data(), inPlace.data(), pixels);
        a.back() = src.back();
        EXPECT_EQ(inPlace, a) << pixels << " in place";
    }
}

}  // namespace
