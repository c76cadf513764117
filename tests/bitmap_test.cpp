// Bitmaps: the base library's own calls, and the conversions into, between
// and out of bitmaps, judged against Quv_ClrConvert on the same pixels.
#include "test_support.h"

#include "platform/memory.h"

#include <quvbase/quvbase.h>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;
using quvtest::randomBytes;

struct Bitmap : QuvBitmap {
    Bitmap() : QuvBitmap{} {}
    Bitmap(int32_t w, int32_t h, int32_t bits, const Bytes& rows, int32_t perspective = 1) : QuvBitmap{} {
        EXPECT_EQ(quvBitmapAllocate(this, 284, 1, w, h, bits, 1, 0, perspective, 0, 0), 1);
        for (int32_t r = 0; r < h; ++r) quvBitmapPutRow(this, rows.data() + r * bytesPerLine, r, bytesPerLine);
    }
    ~Bitmap() { quvBitmapFree(this); }
    Bytes rows() {
        Bytes all(size_t(bytesPerLine) * height);
        for (int32_t r = 0; r < height; ++r) quvBitmapGetRow(this, all.data() + r * bytesPerLine, r, bytesPerLine);
        return all;
    }
};

Bytes converted(ClrHandle* h, const Bytes& src, int32_t w, int32_t rows, size_t dstBytesPerPixel) {
    Bytes out(dstBytesPerPixel * w * rows);
    EXPECT_EQ(Quv_ClrConvert(h, src.data(), out.data(), w, rows, 0, 0), 1);
    return out;
}

TEST(BaseBitmaps, RowsDibsAndPerspectivesRoundTrip) {
    const Bytes pixels = randomBytes(3 * 5 * 3, 1);
    Bitmap b(5, 3, 24, pixels);
    EXPECT_EQ(b.bytesPerLine, 15u);
    EXPECT_EQ(b.rows(), pixels);
    Bytes row(15);
    EXPECT_LT(quvBitmapGetRow(&b, row.data(), 3, 15), 1);
    EXPECT_EQ(quvBitmapGetRow(&b, row.data(), 2, 99), 15);

    // A quarter turn swaps the sides; turning back restores every byte.
    ASSERT_EQ(quvBitmapChangePerspective(nullptr, &b, 284, QUV_VIEW_RIGHT_TOP), 1);
    EXPECT_EQ(b.width, 3);
    EXPECT_EQ(b.height, 5);
    ASSERT_EQ(quvBitmapChangePerspective(nullptr, &b, 284, QUV_VIEW_TOP_LEFT), 1);
    EXPECT_EQ(b.rows(), pixels);
    // Storage of perspective 3 is the image turned half way round.
    ASSERT_EQ(quvBitmapChangePerspective(nullptr, &b, 284, QUV_VIEW_BOTTOM_RIGHT), 1);
    const Bytes turned = b.rows();
    EXPECT_EQ(Bytes(turned.end() - 3, turned.end()), Bytes(pixels.begin(), pixels.begin() + 3));

    // A bottom-up DIB of 4-byte aligned rows keeps its row order as perspective 4.
    QuvDibHeader dib{QUV_DIB_HEADER_SIZE, 5, 3, 1, 24, 0, 48, 0, 0, 0, 0, 0};
    const Bytes dibRows = randomBytes(48, 2);
    Bitmap fromDib;
    ASSERT_EQ(quvBitmapFromDib(&fromDib, 284, &dib, dibRows.data()), 1);
    EXPECT_EQ(fromDib.viewPerspective, QUV_VIEW_BOTTOM_LEFT);
    EXPECT_EQ(fromDib.rows(), dibRows);

    Bitmap none;
    EXPECT_EQ(quvBitmapAllocate(&none, 283, 1, 4, 2, 24, 1, 0, 1, 0, 0), -789);
    EXPECT_EQ(quvBitmapAllocate(&none, 284, 1, 4, 2, 12, 1, 0, 1, 0, 0), -27);
    EXPECT_EQ(none.flags, 0u);
}

// Rows around every step of the vector copies (32, 64, 128 and 256 bytes)
// come back whole; pixels start zeroed and on a cache line.
TEST(BaseBitmaps, RowsOfEveryCopyLengthRoundTrip) {
    for (int32_t width : {1, 31, 33, 63, 65, 127, 129, 255, 257, 319, 1000, 5761}) {
        SCOPED_TRACE(width);
        const Bytes pixels = randomBytes(size_t(width) * 3, uint32_t(width));
        Bitmap zeroed;
        ASSERT_EQ(quvBitmapAllocate(&zeroed, 284, 1, width, 3, 8, 1, 0, 1, 0, 0), 1);
        Bitmap b(width, 3, 8, pixels);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(b.pixels) % 64, 0u);
        EXPECT_EQ(zeroed.rows(), Bytes(size_t(width) * 3));
        EXPECT_EQ(b.rows(), pixels);
    }
}

TEST(BitmapConversions, BuffersBecomeTopDownBitmaps) {
    const int32_t w = 4, h = 3;
    const Bytes rgb = randomBytes(3 * w * h, 3);
    Bitmap viaDirect;
    ASSERT_EQ(Quv_ClrConvertDirectToBitmap(ClrSpaceRgb, ClrSpaceBgr, rgb.data(), &viaDirect, 284, w, h, 0, 0), 1);
    auto swap = quvtest::makeHandle(ClrSpaceRgb, ClrSpaceBgr);
    EXPECT_EQ(viaDirect.rows(), converted(swap.get(), rgb, w, h, 3));
    EXPECT_EQ(viaDirect.viewPerspective, QUV_VIEW_TOP_LEFT);

    const Bytes cmyk = randomBytes(4 * w * h, 4);
    auto inks = quvtest::makeHandle(ClrSpaceCmyk, ClrSpaceRgb);
    Bitmap viaHandle(1, 1, 24, Bytes(3));  // its data is released first
    ASSERT_EQ(Quv_ClrConvertToBitmap(inks.get(), cmyk.data(), &viaHandle, 284, w, h, 0, 0), 1);
    EXPECT_EQ(viaHandle.rows(), converted(inks.get(), cmyk, w, h, 3));

    auto toInks = quvtest::makeHandle(ClrSpaceRgb, ClrSpaceCmyk);
    Bitmap untouched;
    EXPECT_EQ(Quv_ClrConvertToBitmap(toInks.get(), rgb.data(), &untouched, 284, w, h, 0, 0), -785);
    EXPECT_EQ(Quv_ClrConvertDirectToBitmap(ClrSpaceRgb, ClrSpaceCmyk, rgb.data(), &untouched, 284, w, h, 0, 0), -13);
    EXPECT_EQ(Quv_ClrConvertDirectToBitmap(ClrSpaceRgb, ClrSpaceBgr, rgb.data(), &untouched, 284, 3, h, 0, 0), 1);
    EXPECT_EQ(Quv_ClrConvertDirectToBitmap(ClrSpaceRgb, ClrSpaceBgr, nullptr, &untouched, 284, w, h, 0, 0), -13);
}

TEST(BitmapConversions, WholeBitmapsConvertRowByRow) {
    const int32_t n = 4;
    const Bytes rgb = randomBytes(3 * n * n, 5);
    auto swap = quvtest::makeHandle(ClrSpaceRgb, ClrSpaceBgr);
    const Bytes swapped = converted(swap.get(), rgb, n, n, 3);

    Bitmap inPlace(n, n, 24, rgb);
    ASSERT_EQ(Quv_ClrConvertBitmap(swap.get(), &inPlace, nullptr), 1);
    EXPECT_EQ(inPlace.rows(), swapped);

    // Perspectives 1 and 4 are one class: rows land from the far end.
    Bitmap top(n, n, 24, rgb, 1), bottom(n, n, 24, Bytes(3 * n * n), 4);
    ASSERT_EQ(Quv_ClrConvertBitmap(swap.get(), &top, &bottom), 1);
    EXPECT_EQ(bottom.viewPerspective, 4);
    const Bytes out = bottom.rows();
    for (int r = 0; r < n; ++r)
        EXPECT_TRUE(std::equal(out.begin() + 3 * n * (n - 1 - r), out.begin() + 3 * n * (n - r),
                               swapped.begin() + 3 * n * r));

    // Another perspective is turned to the source's first.
    Bitmap mirrored(n, n, 24, Bytes(3 * n * n), 2);
    ASSERT_EQ(Quv_ClrConvertBitmap(swap.get(), &top, &mirrored), 1);
    EXPECT_EQ(mirrored.viewPerspective, 1);
    EXPECT_EQ(mirrored.rows(), swapped);

    // A formula kernel walks its rows in vector groups, warming the rows the
    // loop copies next; wider rows than a group, in place and into another.
    const int32_t w = 37, h = 5;
    const Bytes wideRgb = randomBytes(3 * w * h, 7);
    auto toYuv = quvtest::makeHandle(ClrSpaceRgb, ClrSpaceYuv);
    Bitmap yuvSource(w, h, 24, wideRgb), yuvDest(w, h, 24, Bytes(3 * w * h));
    ASSERT_EQ(Quv_ClrConvertBitmap(toYuv.get(), &yuvSource, &yuvDest), 1);
    EXPECT_EQ(yuvDest.rows(), converted(toYuv.get(), wideRgb, w, h, 3));
    ASSERT_EQ(Quv_ClrConvertBitmap(toYuv.get(), &yuvSource, nullptr), 1);
    EXPECT_EQ(yuvSource.rows(), yuvDest.rows());

    Bitmap wide(n + 1, n, 24, Bytes(3 * (n + 1) * n), 1), wideBottom(n + 1, n, 24, Bytes(3 * (n + 1) * n), 4);
    Bitmap grey(n, n, 8, Bytes(n * n));
    EXPECT_EQ(Quv_ClrConvertBitmap(swap.get(), &wide, &wideBottom), -11);  // rows would land outside
    EXPECT_EQ(Quv_ClrConvertBitmap(swap.get(), &top, &wide), -11);
    EXPECT_EQ(Quv_ClrConvertBitmap(swap.get(), &grey, nullptr), -11);
    EXPECT_EQ(Quv_ClrConvertBitmap(swap.get(), nullptr, &top), -814);
    EXPECT_EQ(Quv_ClrConvertBitmap(nullptr, &top, nullptr), -814);  // the first row's conversion fails
}

TEST(BitmapConversions, CmykPlanesJoinInInkOrder) {
    const int32_t w = 5, h = 3;
    const Bytes cmyk = randomBytes(4 * w * h, 6);
    Bytes plane[5];
    for (int p = 0; p < 5; ++p)
        for (int i = 0; i < w * h; ++i) plane[p].push_back(p < 4 ? cmyk[4 * i + p] : uint8_t(i));
    Bitmap c(w, h, 8, plane[0]), m(w, h, 8, plane[1]), y(w, h, 8, plane[2]), k(w, h, 8, plane[3]),
        alpha(w, h, 8, plane[4]), empty;
    empty.width = w, empty.height = h, empty.bitsPerPixel = 8;
    auto inks = quvtest::makeHandle(ClrSpaceCmyk, ClrSpaceRgb);
    const Bytes expected = converted(inks.get(), cmyk, w, h, 3);
    const long blocks = quv::testing::livePrivateBlocks();

    QuvBitmap* planes[5] = {&c, &m, &y, &k, &alpha};
    Bitmap joined;
    ASSERT_EQ(Quv_ClrConvertCMYKArray(inks.get(), planes, 4, &joined, 284), 1);
    EXPECT_EQ(joined.rows(), expected);
    Bitmap withAlpha;
    ASSERT_EQ(Quv_ClrConvertCMYKArray(inks.get(), planes, 5, &withAlpha, 284), 1);
    ASSERT_EQ(withAlpha.bitsPerPixel, 32);
    EXPECT_EQ(withAlpha.rows()[4 * 7 + 3], 7);
    EXPECT_EQ(quv::testing::livePrivateBlocks(), blocks);

    QuvBitmap* noData[4] = {&c, &m, &empty, &k};
    Bitmap failed;
    EXPECT_EQ(Quv_ClrConvertCMYKArray(inks.get(), planes, 3, &failed, 284), -13);
    EXPECT_EQ(Quv_ClrConvertCMYKArray(inks.get(), planes, 4, &failed, 283), -789);
    EXPECT_EQ(Quv_ClrConvertCMYKArray(inks.get(), noData, 4, &failed, 284), -2);
    EXPECT_EQ(c.accessCount + m.accessCount, 0) << "earlier planes released";
    EXPECT_EQ(failed.flags, 0u);
    QuvBitmap* wrongBits[4] = {&c, &m, &y, &joined};
    EXPECT_EQ(Quv_ClrConvertCMYKArray(inks.get(), wrongBits, 4, &failed, 284), -13);
}

}  // namespace
