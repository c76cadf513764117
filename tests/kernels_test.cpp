// Every fast path of the kernels gives the bytes of the scalar reference.
#include "test_support.h"

#include "frame/routing.h"
#include "kernels/emulation.h"
#include "kernels/hub.h"
#include "kernels/hue.h"
#include "kernels/ink.h"
#include "kernels/kernel.h"
#include "kernels/lab.h"
#include "kernels/matrix.h"
#include "kernels/reference.h"
#include "platform/probe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

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

// Every space of the routing table, both directions, without a handle and
// through a handle with Lab ranges (the fixed-point Lab kernels), and the
// emulation look-ups: the AVX2 walks give the baseline's status and bytes. Each frame is a whole number
// of the packed formats' pixel groups.
TEST(KernelIsa, Avx2WalksGiveTheBaselineBytesOnEveryRoute) {
    IsaReset reset;
    kt::forceKernelIsa(KernelIsa::Avx2);
    if (quv::kernels::kernelIsa() != KernelIsa::Avx2) GTEST_SKIP() << "no AVX2 on this processor";
    const int32_t w = 1024, h = 64;
    const auto pixels = quvtest::randomBytes(4 * size_t{w} * h, 2024);
    ClrLabParams ranges{sizeof(ClrLabParams), 0, 0, 100, 128, 170, 96, 200};
    ClrParams labFixed{};
    labFixed.size = CLR_PARAMS_SIZE;
    labFixed.activeMethod = labFixed.methodMask = CLR_METHOD_BUILTIN;
    labFixed.labParams = &ranges;
    struct Pair {
        uint32_t from, to;
        ClrParams* params;
    };
    std::vector<Pair> pairs{{ClrSpaceRgb, ClrSpaceLab, &labFixed}, {ClrSpaceLab, ClrSpaceRgb, &labFixed}};
    for (uint32_t space = 0; space < 256; ++space)
        if (quv::findRoute(space)) pairs.insert(pairs.end(), {{ClrSpaceRgb, space, nullptr}, {space, ClrSpaceBgr, nullptr}});
    ASSERT_GE(pairs.size(), 30u);
    for (const Pair& p : pairs) {
        auto run = [&](KernelIsa isa, std::vector<uint8_t>& out) {
            kt::forceKernelIsa(isa);
            out.assign(4 * size_t{w} * h, 0);
            quvtest::Handle handle = quvtest::makeHandle(ClrSpace(p.from), ClrSpace(p.to), p.params);
            return Quv_ClrConvert(handle.get(), pixels.data(), out.data(), w, h, 0, 0);
        };
        std::vector<uint8_t> fast, reference;
        const ClrStatus a = run(KernelIsa::Avx2, fast);
        EXPECT_EQ(a, run(KernelIsa::Baseline, reference)) << p.from << " -> " << p.to;
        EXPECT_TRUE(fast == reference) << p.from << " -> " << p.to;
    }
    // The emulation look-ups, which no handle here has a table for, on a
    // lattice of random entries.
    namespace k = quv::kernels;
    const auto lattice = quvtest::randomBytes(k::kLattice17Bytes, 7);
    for (auto lookUp : {k::rgbToLabByTable, k::labToRgbByTable, k::cmykToRgbByTable}) {
        std::vector<uint8_t> out[2];
        for (int i : {0, 1}) {
            kt::forceKernelIsa(i ? KernelIsa::Baseline : KernelIsa::Avx2);
            out[i].assign(3 * size_t{w} * h, 0);
            quv::MemoryProbe probe;
            lookUp(lattice.data(), {pixels.data(), out[i].data(), w, h, 0, 0, &probe}, 1);
        }
        EXPECT_TRUE(out[0] == out[1]);
    }
}

// The kernels the conversions call against the formulas as written, over
// every three-byte input (YCCK: every Y, Cb, Cr, with K a mix of the three).
// HLS to RGB comes last: before it, the inputs it must refuse (grey with a
// hue) become the same grey without one, and the refusal is checked apart.
TEST(FastKernels, GiveTheReferenceBytesForAllInputs) {
    namespace k = quv::kernels;
    using KernelFn = std::function<ClrStatus(const k::KernelIo&, int)>;
    // The fixed-point records of a new handle with the default ranges, and
    // of an updated one (other white and matrix) with narrower ranges and
    // another gamma, where more chroma is compressed.
    const ClrLabParams narrow{32, 0, 10, 80, 120, 120, 110, 150};
    auto decode = std::make_unique<k::LabDecodeTables[]>(2);
    auto encode = std::make_unique<k::LabEncodeTables[]>(2);
    k::initLabDecodeTables(decode[0], ClrLabParams{32, 0, 0, 100, 128, 170, 96, 200});
    k::deriveLabDecodeTables(decode[0], k::kLabGamma);
    k::initLabDecodeTablesForUpdate(decode[1]);
    decode[1].lOffset = narrow.lOffset, decode[1].lRange = narrow.lRange, decode[1].aRange = narrow.aRange;
    k::deriveLabDecodeTables(decode[1], 50);
    k::initLabEncodeTables(encode[0], ClrLabParams{32, 0, 0, 100, 128, 170, 96, 200}, k::kLabGamma);
    k::initLabEncodeTables(encode[1], narrow, 50);
    const k::LabDecodeTables* dec = decode.get();
    const k::LabEncodeTables* enc = encode.get();
    // A fixed-point kernel on record set `set`.
    auto on = [](auto kernel, const auto* records, int set) -> KernelFn {
        return [kernel, records, set](const k::KernelIo& io, int o) { return kernel(records[set], io, o); };
    };
    auto ycckTables = std::make_unique<k::YcckTables>();
    k::buildYcckTables(*ycckTables);
    const k::YcckContext ycck{true, CLR_METHOD_BUILTIN, ycckTables.get(), nullptr, nullptr};
    const struct {
        const char* name;
        KernelFn fast, reference;
        int srcBytes, dstBytes;
        bool refusesGreyWithHue;
    } kernels[] = {
        {"fixed_lab_to_rgb", on(k::labToRgbFixed, dec, 0), on(k::reference::labToRgbFixed, dec, 0), 3, 3, false},
        {"fixed_lab_to_rgb updated", on(k::labToRgbFixed, dec, 1), on(k::reference::labToRgbFixed, dec, 1), 3, 3,
         false},
        {"fixed_rgb_to_lab", on(k::rgbToLabFixed, enc, 0), on(k::reference::rgbToLabFixed, enc, 0), 3, 3, false},
        {"fixed_rgb_to_lab narrow", on(k::rgbToLabFixed, enc, 1), on(k::reference::rgbToLabFixed, enc, 1), 3, 3,
         false},
        {"rgb_to_yuv", k::rgbToYuv, k::reference::rgbToYuv, 3, 3, false},
        {"yuv_to_rgb", k::yuvToRgb, k::reference::yuvToRgb, 3, 3, false},
        {"rgb_to_yiq", k::rgbToYiq, k::reference::rgbToYiq, 3, 3, false},
        {"yiq_to_rgb", k::yiqToRgb, k::reference::yiqToRgb, 3, 3, false},
        {"rgb_to_ycbcr", k::rgbToYcbcr, k::reference::rgbToYcbcr, 3, 3, false},
        {"ycbcr_to_rgb", k::ycbcrToRgb, k::reference::ycbcrToRgb, 3, 3, false},
        {"rgb_to_ycck", [&](const k::KernelIo& io, int) { return k::rgbToYcck(io, ycck); },
         [&](const k::KernelIo& io, int) { return k::reference::rgbToYcck(io, ycck); }, 3, 4, false},
        {"ycck_to_rgb", [&](const k::KernelIo& io, int o) { return k::ycckToRgb(io, ycck, o); },
         [&](const k::KernelIo& io, int o) { return k::reference::ycckToRgb(io, ycck, o); }, 4, 3, false},
        {"rgb_to_hsv", k::rgbToHsv, k::reference::rgbToHsv, 3, 3, false},
        {"hsv_to_rgb", k::hsvToRgb, k::reference::hsvToRgb, 3, 3, false},
        {"rgb_to_hls", k::rgbToHls, k::reference::rgbToHls, 3, 3, false},
        {"hsi_to_rgb", k::hsiToRgb, k::reference::hsiToRgb, 3, 3, false},
        {"rgb_to_lab", k::rgbToLab, k::reference::rgbToLab, 3, 3, false},
        {"lab_to_rgb", k::labToRgb, k::reference::labToRgb, 3, 3, false},
        {"hls_to_rgb", k::hlsToRgb, k::reference::hlsToRgb, 3, 3, true},
    };
    std::vector<uint8_t> all(3u << 24), all4(4u << 24);
    for (uint32_t v = 0; v < (1u << 24); ++v) {
        uint8_t* p = &all[3 * size_t{v}];
        p[0] = uint8_t(v), p[1] = uint8_t(v >> 8), p[2] = uint8_t(v >> 16);
        std::copy(p, p + 3, &all4[4 * size_t{v}]);
        all4[4 * size_t{v} + 3] = uint8_t((v * 2654435761u) >> 24);
    }
    std::vector<uint8_t> fast(4u << 24), reference(4u << 24);
    for (const auto& kernel : kernels) {
        if (kernel.refusesGreyWithHue)
            for (size_t i = 0; i < all.size(); i += 3)
                if (all[i + 2] == 0) all[i] = 0;
        const uint8_t* in = kernel.srcBytes == 4 ? all4.data() : all.data();
        const size_t outBytes = size_t(kernel.dstBytes) << 24;
        std::fill(fast.begin(), fast.end(), 0);
        std::fill(reference.begin(), reference.end(), 0);
        quv::MemoryProbe probe;
        const k::KernelIo io{in, fast.data(), 1 << 12, 1 << 12, 0, 0, &probe};
        k::KernelIo ref = io;
        ref.dst = reference.data();
        ASSERT_EQ(kernel.fast(io, 1), kernel.reference(ref, 1)) << kernel.name;
        const auto end = fast.begin() + static_cast<ptrdiff_t>(outBytes);
        const size_t at = static_cast<size_t>(std::mismatch(fast.begin(), end, reference.begin()).first - fast.begin());
        const uint8_t* p = in + at / kernel.dstBytes * kernel.srcBytes;
        EXPECT_EQ(at, outBytes)
            << kernel.name << ": first differing pixel " << int(p[0]) << ' ' << int(p[1]) << ' ' << int(p[2]);
    }
    // HLS grey with a hue: both stop there with the pixels before it written.
    const uint8_t hls[] = {0, 10, 0, 40, 200, 9, 7, 99, 0, 1, 2, 3};
    uint8_t a[12] = {}, b[12] = {};
    quv::MemoryProbe probe;
    EXPECT_EQ(k::hlsToRgb({hls, a, 4, 1, 0, 0, &probe}, 0), CLR_INVALID_TAG_DATA);
    EXPECT_EQ(k::reference::hlsToRgb({hls, b, 4, 1, 0, 0, &probe}, 0), CLR_INVALID_TAG_DATA);
    EXPECT_TRUE(std::equal(a, a + 12, b));
}

TEST(KernelIsa, PaddedRowsAndInPlaceAgreeToo) {
    IsaReset reset;
    kt::forceKernelIsa(KernelIsa::Avx2);
    if (quv::kernels::kernelIsa() != KernelIsa::Avx2) GTEST_SKIP() << "no AVX2 on this processor";
    const int32_t w = 37, h = 9, pad = 5;
    const auto src = quvtest::randomBytes((3 * w + pad) * h, 5);
    for (ClrSpace space : {ClrSpaceYuv, ClrSpaceXyz, ClrSpaceHsi, ClrSpaceHsv, ClrSpaceHls, ClrSpaceYiq, ClrSpaceYcbcr,
                           ClrSpaceCmy, ClrSpaceLab}) {
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
