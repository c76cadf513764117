// The two conversion entry points: every check in its order, the copies,
// strides and pads, in-place work, the path through the hub, and buffers the
// caller can't give.
#include "test_support.h"

#include "frame/handle.h"
#include "kernels/hub.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

using quvtest::Handle;
using quvtest::makeHandle;
using quvtest::MappedPages;
using quvtest::randomBytes;

std::vector<uint8_t> direct(ClrSpace from, ClrSpace to, const std::vector<uint8_t>& src, int32_t w, int32_t h,
                            size_t outBytes) {
    std::vector<uint8_t> out(outBytes);
    EXPECT_EQ(Quv_ClrConvertDirect(from, to, src.data(), out.data(), w, h, 0, 0), CLR_SUCCESS);
    return out;
}

// ---- Quv_ClrConvert: order of checks ----

TEST(ClrConvertChecks, NullPointersComeBeforeEverythingElse) {
    Handle h = makeHandle(0, 1);
    uint8_t buf[8];
    EXPECT_EQ(Quv_ClrConvert(h.get(), nullptr, buf, 0, 0, -1, -1), CLR_NULL_ARGUMENT);
    EXPECT_EQ(Quv_ClrConvert(nullptr, buf, buf, 0, 0, -1, -1), CLR_NULL_ARGUMENT);
    EXPECT_EQ(Quv_ClrConvert(h.get(), buf, nullptr, 0, 0, -1, -1), CLR_NULL_ARGUMENT);
}

TEST(ClrConvertChecks, ThenSizeThenAlignmentThenTheHandleMemory) {
    uint8_t buf[64];
    MappedPages none(1, PROT_NONE);
    auto* unreadable = reinterpret_cast<ClrHandle*>(none.data());
    EXPECT_EQ(Quv_ClrConvert(unreadable, buf, buf, 0, 1, -1, 0), CLR_INVALID_DIMENSION);
    EXPECT_EQ(Quv_ClrConvert(unreadable, buf, buf, 1, -5, -1, 0), CLR_INVALID_DIMENSION);
    EXPECT_EQ(Quv_ClrConvert(unreadable, buf, buf, 1, 1, -1, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvert(unreadable, buf, buf, 1, 1, 0, -1), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvert(unreadable, buf, buf, 1, 1, 0, 0), CLR_BAD_POINTER);
}

TEST(ClrConvertChecks, BufferProofsComeBeforeTheRegistry) {
    // A readable non-handle whose "spaces" are RGB: the buffers are proven
    // first, so a bad buffer is -60 and a good one reaches the -261.
    std::vector<uint8_t> fake(CLR_HANDLE_SIZE, 0);
    auto* notListed = reinterpret_cast<ClrHandle*>(fake.data());
    MappedPages pages(1);
    uint8_t ok[12];
    EXPECT_EQ(Quv_ClrConvert(notListed, pages.tail(11), ok, 4, 1, 0, 0), CLR_BAD_POINTER);
    EXPECT_EQ(Quv_ClrConvert(notListed, pages.tail(12), ok, 4, 1, 0, 0), CLR_INVALID_HANDLE);

    Handle h = makeHandle(0, 1);
    MappedPages readOnly(1, PROT_READ);
    EXPECT_EQ(Quv_ClrConvert(h.get(), ok, readOnly.data(), 4, 1, 0, 0), CLR_BAD_POINTER);
    MappedPages none(1, PROT_NONE);
    EXPECT_EQ(Quv_ClrConvert(h.get(), none.data(), ok, 4, 1, 0, 0), CLR_BAD_POINTER);
}

TEST(ClrConvertChecks, StridesRoundEachRowUpToItsAlignment) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceYuv);
    MappedPages src(1), dst(1);
    // width 3: rows of 9 bytes, aligned to 4 they are 12; two rows prove 24.
    EXPECT_EQ(Quv_ClrConvert(h.get(), src.tail(23), dst.data(), 3, 2, 4, 4), CLR_BAD_POINTER);
    // With one alignment 0 both strides are the plain 9 bytes; the kernel
    // then skips its 4-byte pad after each row and must prove 26 bytes.
    EXPECT_EQ(Quv_ClrConvert(h.get(), src.tail(18), dst.data(), 3, 2, 4, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvert(h.get(), src.tail(26), dst.data(), 3, 2, 4, 0), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrConvert(h.get(), src.data(), dst.tail(17), 3, 2, 0, 4), CLR_BAD_POINTER);
}

TEST(ClrConvertChecks, RowLengthUsesNineBitsForYvu9AndAnyBitsForNonSpaces) {
    Handle yvu9 = makeHandle(ClrSpaceYvu9, ClrSpaceYvu9);
    MappedPages a(1), b(1);
    // (9 x 16 + 7) / 8 = 18 bytes.
    EXPECT_EQ(Quv_ClrConvert(yvu9.get(), a.tail(18), b.tail(18), 16, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrConvert(yvu9.get(), a.tail(17), b.tail(18), 16, 1, 0, 0), CLR_BAD_POINTER);

    // Space 99 has no bit count; its status -785 read as 16 unsigned bits is
    // 64751, so a pixel's row is 8094 bytes.
    Handle odd = makeHandle(99, 99);
    std::vector<uint8_t> src = randomBytes(2 * 8094, 3), dst(2 * 8094);
    EXPECT_EQ(Quv_ClrConvert(odd.get(), src.data(), dst.data(), 1, 2, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(src, dst);
    MappedPages big(4);
    EXPECT_EQ(Quv_ClrConvert(odd.get(), big.tail(8093), dst.data(), 1, 1, 0, 0), CLR_BAD_POINTER);
}

// ---- Quv_ClrConvert: copies ----

TEST(ClrConvertCopy, EqualSpacesCopyRowsByStride) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceRgb);
    const auto src = randomBytes(12 * 3, 5);  // 3 rows of stride 12 (width 3, alignment 4)
    std::vector<uint8_t> dst(16 * 3, 0xAA);   // stride 16 (alignment 8)
    ASSERT_EQ(Quv_ClrConvert(h.get(), src.data(), dst.data(), 3, 3, 4, 8), CLR_SUCCESS);
    for (int y = 0; y < 3; ++y) {
        EXPECT_TRUE(std::equal(src.begin() + 12 * y, src.begin() + 12 * y + 9, dst.begin() + 16 * y)) << y;
        EXPECT_EQ(dst[16 * y + 9], 0xAA) << "row padding is not written";
    }
    std::vector<uint8_t> same(src.size());
    ASSERT_EQ(Quv_ClrConvert(h.get(), src.data(), same.data(), 3, 3, 4, 4), CLR_SUCCESS);
    EXPECT_EQ(same, src) << "equal strides copy in one move, padding included";
}

TEST(ClrConvertCopy, InPlaceNeedsEqualAlignments) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceRgb);
    auto buf = randomBytes(64, 9);
    const auto before = buf;
    EXPECT_EQ(Quv_ClrConvert(h.get(), buf.data(), buf.data(), 4, 4, 4, 4), CLR_SUCCESS);
    EXPECT_EQ(buf, before);
    EXPECT_EQ(Quv_ClrConvert(h.get(), buf.data(), buf.data(), 4, 4, 4, 8), CLR_SAME_BUFFER);
    // The direct call has the opposite rule.
    EXPECT_EQ(Quv_ClrConvertDirect(0, 0, buf.data(), buf.data(), 4, 4, 4, 4), CLR_SAME_BUFFER);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 0, buf.data(), buf.data(), 4, 4, 4, 8), CLR_SUCCESS);
}

// ---- Quv_ClrConvert: formulas ----

// A BGR side is the RGB side with bytes 0 and 2 swapped, for every formula
// space both ways, directly and through a handle.
TEST(ClrConvertFormulas, BgrSidesAreTheSwappedRgbSides) {
    const int n = 300;
    const auto swapped = [](std::vector<uint8_t> v) {
        for (size_t i = 0; i < v.size(); i += 3) std::swap(v[i], v[i + 2]);
        return v;
    };
    const auto rgb = randomBytes(3 * n, 21), bgr = swapped(rgb);
    std::vector<uint8_t> out(rgb.size());
    ASSERT_EQ(Quv_ClrConvert(makeHandle(ClrSpaceBgr, ClrSpaceRgb).get(), bgr.data(), out.data(), n, 1, 0, 0), 1);
    EXPECT_EQ(out, rgb);
    for (ClrSpace space : {ClrSpaceYuv, ClrSpaceYiq, ClrSpaceYcbcr, ClrSpaceXyz, ClrSpaceHsv, ClrSpaceHls, ClrSpaceHsi}) {
        SCOPED_TRACE(space);
        const auto coded = direct(ClrSpaceRgb, space, rgb, n, 1, rgb.size());
        const auto back = swapped(direct(space, ClrSpaceRgb, coded, n, 1, rgb.size()));
        EXPECT_EQ(direct(ClrSpaceBgr, space, bgr, n, 1, rgb.size()), coded);
        EXPECT_EQ(direct(space, ClrSpaceBgr, coded, n, 1, rgb.size()), back);
        ASSERT_EQ(Quv_ClrConvert(makeHandle(ClrSpaceBgr, space).get(), bgr.data(), out.data(), n, 1, 0, 0), 1);
        EXPECT_EQ(out, coded);
        ASSERT_EQ(Quv_ClrConvert(makeHandle(space, ClrSpaceBgr).get(), coded.data(), out.data(), n, 1, 0, 0), 1);
        EXPECT_EQ(out, back);
    }
}

// A kernel's status comes back through a one-stage handle and the direct
// call; a two-stage handle reports success whatever its stages found.
TEST(ClrConvertFormulas, KernelStatusesComeBackThroughOneStageHandlesOnly) {
    const uint8_t badHls[6] = {9, 100, 0, 0, 0, 0};
    uint8_t out[6] = {};
    EXPECT_EQ(Quv_ClrConvert(makeHandle(ClrSpaceHls, ClrSpaceRgb).get(), badHls, out, 1, 1, 0, 0),
              CLR_INVALID_TAG_DATA);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceHls, ClrSpaceYuv, badHls, out, 2, 1, 0, 0), CLR_INVALID_TAG_DATA);
    EXPECT_EQ(Quv_ClrConvert(makeHandle(ClrSpaceHls, ClrSpaceYuv).get(), badHls, out, 2, 1, 0, 0), CLR_SUCCESS);
}

TEST(ClrConvertFormulas, InPlaceMatchesSeparateBuffers) {
    for (ClrSpace space : {ClrSpaceYuv, ClrSpaceHsv, ClrSpaceHsi, ClrSpaceXyz, ClrSpaceBgr}) {
        const auto rgb = randomBytes(3 * 17 * 5, space);
        const auto expected = direct(ClrSpaceRgb, space, rgb, 17, 5, rgb.size());
        auto buf = rgb;
        ASSERT_EQ(Quv_ClrConvert(makeHandle(ClrSpaceRgb, space).get(), buf.data(), buf.data(), 17, 5, 0, 0), 1);
        EXPECT_EQ(buf, expected) << space;
    }
}

TEST(ClrConvertFormulas, PadsAreSkippedAfterEachRow) {
    // Width 2, height 3, 5 pad bytes in the source and 1 in the destination.
    const int w = 2, h = 3, sp = 5, dp = 1;
    const auto src = randomBytes((3 * w + sp) * h, 4);
    std::vector<uint8_t> dst((3 * w + dp) * h, 0xCC);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceHsv, src.data(), dst.data(), w, h, sp, dp), CLR_SUCCESS);
    for (int y = 0; y < h; ++y) {
        std::vector<uint8_t> row(src.begin() + (3 * w + sp) * y, src.begin() + (3 * w + sp) * y + 3 * w);
        const auto expected = direct(ClrSpaceRgb, ClrSpaceHsv, row, w, 1, 3 * w);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), dst.begin() + (3 * w + dp) * y)) << y;
        EXPECT_EQ(dst[(3 * w + dp) * y + 3 * w], 0xCC);
    }
}

TEST(ClrConvertMethods, MethodsWithoutTheirToolsAnswerAsMissing) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceYuv);
    uint8_t px[3] = {1, 2, 3}, out[3] = {7, 7, 7};
    h->activeMethod = CLR_METHOD_ICC;
    EXPECT_EQ(Quv_ClrConvert(h.get(), px, out, 1, 1, 0, 0), CLR_NULL_ARGUMENT);
    h->activeMethod = CLR_METHOD_CUSTOM_ICC;
    EXPECT_EQ(Quv_ClrConvert(h.get(), px, out, 1, 1, 0, 0), CLR_NULL_ARGUMENT);
    h->activeMethod = CLR_METHOD_EMULATION;
    EXPECT_EQ(Quv_ClrConvert(h.get(), px, out, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out[0], 7);
    h->activeMethod = 64;
    EXPECT_EQ(Quv_ClrConvert(h.get(), px, out, 1, 1, 0, 0), CLR_INVALID_METHOD);
    h->activeMethod = CLR_METHOD_BUILTIN;
}

// ---- Quv_ClrConvertDirect ----

TEST(ClrConvertDirectChecks, GeometryOfEachSideInOrder) {
    uint8_t buf[256];
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, nullptr, buf, 0, 0, 0, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvertDirect(16, 1, buf, buf, 1, 1, 0, 0), CLR_INVALID_SPACE);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 127, buf, buf, 1, 1, 0, 0), CLR_INVALID_SPACE);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, buf, buf, 0, 1, 0, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, buf, buf, 1, 0, 0, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrConvertDirect(9, 0, buf, buf, 3, 1, 0, 0), CLR_WIDTH_NOT_MULTIPLE);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 14, buf, buf, 3, 1, 0, 0), CLR_WIDTH_NOT_MULTIPLE);
    EXPECT_EQ(Quv_ClrConvertDirect(13, 0, buf, buf, 4, 1, 0, 0), CLR_WIDTH_NOT_MULTIPLE);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 10, buf, buf, 4, 2, 0, 0), CLR_SIZE_NOT_MULTIPLE_OF_4);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 10, buf, buf, 2, 4, 0, 0), CLR_SIZE_NOT_MULTIPLE_OF_4);
    // The source is tested fully before the destination.
    EXPECT_EQ(Quv_ClrConvertDirect(9, 16, buf, buf, 3, 1, 0, 0), CLR_WIDTH_NOT_MULTIPLE);
    EXPECT_EQ(Quv_ClrConvertDirect(16, 9, buf, buf, 3, 1, 0, 0), CLR_INVALID_SPACE);
}

TEST(ClrConvertDirectChecks, ProofsTreatAlignmentsAsPads) {
    MappedPages src(1), dst(1);
    // Row 6 bytes + pad 2, two rows: 16 bytes each side.
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.tail(15), dst.data(), 2, 2, 2, 2), CLR_BAD_POINTER);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.tail(16), dst.tail(15), 2, 2, 2, 2), CLR_BAD_POINTER);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.tail(16), dst.tail(16), 2, 2, 2, 2), CLR_SUCCESS);
    // Negative alignments count as none.
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.tail(12), dst.tail(12), 2, 2, -4, -9), CLR_SUCCESS);
    src.protect(PROT_NONE);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.data(), dst.data(), 2, 2, 0, 0), CLR_BAD_POINTER);
    src.protect(PROT_READ);
    dst.protect(PROT_READ);
    EXPECT_EQ(Quv_ClrConvertDirect(0, 1, src.data(), dst.data(), 2, 2, 0, 0), CLR_BAD_POINTER);
}

TEST(ClrConvertDirectCopy, AlignmentsOfTwoOrMoreAreTheRowDistance) {
    const auto src = randomBytes(64, 13);
    std::vector<uint8_t> dst(64, 0);
    // Width 2 (6 bytes a row), source rows 8 apart, destination rows 10 apart.
    ASSERT_EQ(Quv_ClrConvertDirect(0, 0, src.data(), dst.data(), 2, 3, 8, 10), CLR_SUCCESS);
    for (int y = 0; y < 3; ++y)
        EXPECT_TRUE(std::equal(src.begin() + 8 * y, src.begin() + 8 * y + 6, dst.begin() + 10 * y)) << y;
    // Below 2 on both sides: one move of the whole image. 9-bit rows use
    // bits x width / 8 without rounding: width 4 gives 4 bytes.
    std::vector<uint8_t> nine(32, 0);
    ASSERT_EQ(Quv_ClrConvertDirect(10, 10, src.data(), nine.data(), 4, 4, 1, 0), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(src.begin(), src.begin() + 16, nine.begin()));
    EXPECT_EQ(nine[16], 0);
}

TEST(ClrConvertDirectHub, TwoSpacesMeetThroughRgb) {
    const int w = 9, h = 4;
    const auto rgb = randomBytes(3 * w * h, 77);
    const auto yuv = direct(ClrSpaceRgb, ClrSpaceYuv, rgb, w, h, rgb.size());
    const auto expected = direct(ClrSpaceRgb, ClrSpaceHsv, direct(ClrSpaceYuv, ClrSpaceRgb, yuv, w, h, rgb.size()),
                                 w, h, rgb.size());
    EXPECT_EQ(direct(ClrSpaceYuv, ClrSpaceHsv, yuv, w, h, rgb.size()), expected);

    // Equal pads on both sides keep rows in step through the temporary.
    const int pad = 3;
    std::vector<uint8_t> padded((3 * w + pad) * h, 0), out((3 * w + pad) * h, 0xEE);
    for (int y = 0; y < h; ++y) std::copy_n(yuv.begin() + 3 * w * y, 3 * w, padded.begin() + (3 * w + pad) * y);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceYuv, ClrSpaceHsv, padded.data(), out.data(), w, h, pad, pad), 1);
    for (int y = 0; y < h; ++y)
        EXPECT_TRUE(std::equal(expected.begin() + 3 * w * y, expected.begin() + 3 * w * (y + 1),
                               out.begin() + (3 * w + pad) * y))
            << y;
}

TEST(ClrConvertDirectHub, Rgb444SourceIsExpandedInline) {
    // Pixels: first byte R's nibble, second G's then B's.
    const std::vector<uint8_t> src = {0x0F, 0xA5, 0x03, 0x3C};
    const std::vector<uint8_t> rgb = {0xF0, 0xA0, 0x50, 0x30, 0x30, 0xC0};
    std::vector<uint8_t> out(6);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb444, ClrSpaceYuv, src.data(), out.data(), 2, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out, direct(ClrSpaceRgb, ClrSpaceYuv, rgb, 2, 1, 6));

    // The inline step proves the source over three bytes a pixel.
    MappedPages pages(1);
    std::memcpy(pages.tail(4), src.data(), 4);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb444, ClrSpaceYuv, pages.tail(4), out.data(), 2, 1, 0, 0),
              CLR_INVALID_PARAMETER);
}

TEST(ClrConvertDirectHub, Rgb444DestinationLeavesTheDestinationUntouched) {
    const auto yuv = randomBytes(3 * 8, 2);
    std::vector<uint8_t> out(16, 0x5A);
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceYuv, ClrSpaceRgb444, yuv.data(), out.data(), 8, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out, std::vector<uint8_t>(16, 0x5A));
    // A failing first stage is still reported.
    const uint8_t badHls[6] = {9, 100, 0, 0, 0, 0};
    EXPECT_EQ(Quv_ClrConvertDirect(ClrSpaceHls, ClrSpaceRgb444, badHls, out.data(), 2, 1, 0, 0),
              CLR_INVALID_TAG_DATA);
}

// ---- the byte swap ----

TEST(ByteSwap, PadsAndOverlappingBuffersFollowThePixelOrder) {
    // Source rows 2 pixels + 1 pad byte, destination the same buffer shifted
    // by one pixel: each pixel is read before it is overwritten.
    auto buf = randomBytes(40, 31);
    auto expected = buf;
    quv::kernels::swapRunScalar(expected.data() + 3, expected.data(), 10);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceBgr, buf.data() + 3, buf.data(), 10, 1, 0, 0), 1);
    EXPECT_EQ(buf, expected);

    const auto src = randomBytes(7 * 3, 8);
    std::vector<uint8_t> dst(6 * 3, 0);
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceBgr, ClrSpaceRgb, src.data(), dst.data(), 2, 3, 1, 0), 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 2; ++x)
            for (int c = 0; c < 3; ++c) EXPECT_EQ(dst[6 * y + 3 * x + c], src[7 * y + 3 * x + 2 - c]);
}

}  // namespace
