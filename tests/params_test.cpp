// Conversion parameters: Quv_ClrInit with a record and every update of
// Quv_ClrSetConversionParams, with their statuses in order and what a
// failure leaves behind.
#include "test_support.h"

#include "frame/handle.h"
#include "kernels/lab.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using namespace quvtest;
namespace qt = quv::testing;


// Rows of {pair, status, method chosen}; the caller's record gets the
// automatic word back on success and on a refused pair, but keeps the
// resolved method when a later check fails.
TEST(InitParams, AutomaticMethodFollowsThePair) {
    ClrCmykParams bad{11, 250, 0};
    const struct {
        ClrSpace from, to;
        ClrStatus status;
        uint32_t method;
        ClrCmykParams* cmyk;
    } rows[] = {
        {3, 5, CLR_SUCCESS, 1, nullptr},  {2, 0, CLR_SUCCESS, 2, nullptr},  {0, 2, CLR_SUCCESS, 2, nullptr},
        {7, 0, CLR_SUCCESS, 1, nullptr},  {0, 7, CLR_SUCCESS, 1, nullptr},  {11, 0, CLR_SUCCESS, 2, nullptr},
        {0, ClrSpaceYuv, CLR_INVALID_METHOD, 0, nullptr}, {0, ClrSpaceYcck, CLR_INVALID_METHOD, 0, nullptr},
        {0, ClrSpaceHsv, CLR_INVALID_METHOD, 0, nullptr},
        {ClrSpaceHsv, ClrSpaceCmyk, CLR_INVALID_STRUCT_SIZE, CLR_METHOD_BUILTIN, &bad},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(std::to_string(r.from) + " -> " + std::to_string(r.to));
        ClrParams p = methodParams(CLR_METHOD_AUTO);
        p.cmykParams = r.cmyk;
        Handle h = makeHandle(r.from, r.to, &p, r.status);
        EXPECT_EQ(h ? h->activeMethod : r.method, r.method);
        const uint32_t left = r.status == CLR_INVALID_STRUCT_SIZE ? r.method : uint32_t(CLR_METHOD_AUTO);
        EXPECT_EQ(p.activeMethod, left);
        EXPECT_EQ(p.methodMask, left);
    }
}

TEST(InitParams, EmulationNeedsItsKindWordAndTableFileAndMasksNeedAServedMethod) {
    ClrParams p = methodParams(CLR_METHOD_EMULATION);
    p.emulationKind = 0;
    makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &p, CLR_INVALID_PARAMETER);
    ClrParams custom = methodParams(CLR_METHOD_CUSTOM_EMULATION);
    makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &custom, CLR_FILE_NOT_FOUND);
    setPath(custom.emulationTablePath, "/nonexistent/table.tif");
    makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &custom, CLR_FILE_NOT_FOUND);
    // A file that is not a table fails in the loader; a system error number
    // would be reported as a read failure.
    setPath(custom.emulationTablePath, "/etc/hostname");
    makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &custom, CLR_NOT_TIFF);
    // An update does not report what loading the file gave.
    Handle h = makeHandle(ClrSpaceCmyk, ClrSpaceRgb, nullptr);
    ClrParams update = methodParams(0, 8);
    setPath(update.emulationTablePath, "/nonexistent.tif");
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(h->customTable, nullptr);
    EXPECT_EQ(std::u16string(h->emulationPath), u"/nonexistent.tif");
    ClrParams none = methodParams(CLR_METHOD_BUILTIN, 64);
    makeHandle(ClrSpaceRgb, ClrSpaceYuv, &none, CLR_INVALID_METHOD);
    ClrParams disjoint = methodParams(CLR_METHOD_BUILTIN, CLR_METHOD_EMULATION);
    makeHandle(ClrSpaceRgb, ClrSpaceYuv, &disjoint, CLR_INVALID_METHOD);
    ClrParams wide = methodParams(CLR_METHOD_BUILTIN, CLR_METHOD_BUILTIN | 128);
    EXPECT_TRUE(makeHandle(ClrSpaceRgb, ClrSpaceYuv, &wide));
}

TEST(Params, WhitePointIsCopiedOrDefaultsAndUpdatesNeedARecord) {
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    EXPECT_EQ(uint32_t{makeHandle(ClrSpaceRgb, ClrSpaceYiq, &p)->whitePoint->code}, 50u);
    ClrWhitePoint custom{0, 0.3127, 0.3290};
    p.whitePoint = &custom;
    Handle b = makeHandle(ClrSpaceRgb, ClrSpaceYiq, &p);
    // Packed fields are read by value: a reference to them would be misaligned.
    const ClrWhitePoint copied = *b->whitePoint;
    EXPECT_TRUE(copied.code == 0 && copied.x == 0.3127 && copied.y == 0.3290);
    // An update needs a record.
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceHsv, nullptr);
    ClrParams update = methodParams(0, 4);
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_INVALID_PARAMETER);
    ClrWhitePoint d65{65, 0, 0};
    update.whitePoint = &d65;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(uint32_t{h->whitePoint->code}, 65u);
}

TEST(InitParams, ARecordMakesLabAndXyzSourcesOneStage) {
    // Without a record Lab to HSV goes through RGB; with one it is a single
    // stage, and the formula method finds no kernel for the pair.
    const uint8_t lab[3] = {128, 0, 0};
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    for (ClrParams* record : {static_cast<ClrParams*>(nullptr), &p}) {
        uint8_t out[3] = {9, 9, 9};
        Handle h = makeHandle(ClrSpaceLab, ClrSpaceHsv, record);
        EXPECT_EQ(h->stageCount, record ? 1 : 2);
        EXPECT_EQ(Quv_ClrConvert(h.get(), lab, out, 1, 1, 0, 0), CLR_SUCCESS);
        EXPECT_EQ(out[2] == 9, record != nullptr) << "converted through RGB only without a record";
    }
    EXPECT_EQ(makeHandle(ClrSpaceXyz, ClrSpaceHsv, &p)->stageCount, 1);
    EXPECT_EQ(makeHandle(ClrSpaceHsv, ClrSpaceXyz, &p)->stageCount, 2) << "only an XYZ source";
}

TEST(Params, CmykRecordsAreReadOnlyForCmykPairsAndUpdatesTakeTheLevelByTheMask) {
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    ClrCmykParams full{12, 1000, 0};
    p.cmykParams = &full;
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceCmyk, &p);
    const uint8_t black[3] = {0, 0, 0};
    uint8_t cmyk[4];
    ASSERT_EQ(Quv_ClrConvert(h.get(), black, cmyk, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_TRUE(cmyk[3] == 255 && cmyk[0] == 0) << "full replacement from the record";

    ClrCmykParams bad{11, 1000, 0};
    p.cmykParams = &bad;
    EXPECT_EQ(makeHandle(ClrSpaceRgb, ClrSpaceYuv, &p)->cmykParams, nullptr);
    makeHandle(ClrSpaceRgb, ClrSpaceCmyk, &p, CLR_INVALID_STRUCT_SIZE);
    quvtest::MappedPages none(1, PROT_NONE);
    p.cmykParams = reinterpret_cast<ClrCmykParams*>(none.data());
    makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &p, CLR_BAD_POINTER);

    // Updates make the record, then take the level by its mask.
    Handle plain = makeHandle(ClrSpaceRgb, ClrSpaceCmyk, nullptr);
    ClrCmykParams record{12, 1000, 0};
    ClrParams update = methodParams(0, 16);
    EXPECT_EQ(Quv_ClrSetConversionParams(plain.get(), &update), CLR_INVALID_PARAMETER) << "no CMYK record";
    update.cmykParams = &record;
    ASSERT_EQ(Quv_ClrSetConversionParams(plain.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(plain->cmykParams->gcrLevel, 1000) << "the first update copies the record";
    record.gcrLevel = 300;
    ASSERT_EQ(Quv_ClrSetConversionParams(plain.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(plain->cmykParams->gcrLevel, 1000) << "later ones need bit 0 of the record's mask";
    record.updateMask = 1;
    ASSERT_EQ(Quv_ClrSetConversionParams(plain.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(plain->cmykParams->gcrLevel, 300);
    EXPECT_EQ(Quv_ClrSetConversionParams(makeHandle(ClrSpaceRgb, ClrSpaceYuv, nullptr).get(), &update),
              CLR_INVALID_METHOD);
    // A failure midway (Lab on a handle without Lab) keeps what was applied.
    record.gcrLevel = 800;
    update.methodMask = 1 | 16 | 64;
    update.activeMethod = CLR_METHOD_BUILTIN;
    EXPECT_EQ(Quv_ClrSetConversionParams(plain.get(), &update), CLR_INVALID_METHOD);
    EXPECT_EQ(plain->cmykParams->gcrLevel, 800);
}

TEST(InitParams, YuvParamsAreCheckedAgainstTheirSampling) {
    int32_t layout[8] = {0, 2, 4, 6, 1, 5, 3, 7};
    ClrYuvParams yuv{48, 0, 2, 1, 2, 1, layout, 4, 0, 0, 8};  // 4:2:2, macro-pixel of 4 Y
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    p.yuvParams = &yuv;
    {
        Handle h = makeHandle(ClrSpaceRgb, ClrSpaceYuv, &p);
        EXPECT_NE(h->yuvParams->layout, layout) << "the layout is copied";
        EXPECT_EQ(h->yuvParams->layout[7], 7);
    }
    yuv.layoutLength = 7;
    makeHandle(ClrSpaceRgb, ClrSpaceYuv, &p, CLR_YUV_LAYOUT_LENGTH);
    yuv = {48, 0, 3, 1, 3, 1, layout, 4, 0, 0, 4 + 1 + 1};  // 4 does not divide by 3
    makeHandle(ClrSpaceYuv, ClrSpaceRgb, &p, CLR_YUV_LAYOUT_DIVISIBILITY);
    yuv = {48, 0, 2, 2, 2, 2, layout, 16, 0, 1, 1};  // planar: one entry
    {
        // The forward kernel takes no notice of the record; the inverse
        // belongs to the layout-driven kernel, which is not built: it
        // writes nothing.
        Handle forward = makeHandle(ClrSpaceRgb, ClrSpaceYuv, &p), inverse = makeHandle(ClrSpaceYuv, ClrSpaceRgb, &p);
        const uint8_t rgb[3] = {200, 100, 50};
        uint8_t out[3], back[3] = {7, 7, 7};
        ASSERT_EQ(Quv_ClrConvert(forward.get(), rgb, out, 1, 1, 0, 0), CLR_SUCCESS);
        EXPECT_EQ(out[0], 124);
        EXPECT_EQ(Quv_ClrConvert(inverse.get(), out, back, 1, 1, 0, 0), CLR_SUCCESS);
        EXPECT_EQ(back[0], 7);
    }
    yuv.size = 44;  // the earlier form of the record
    makeHandle(ClrSpaceYuv, ClrSpaceRgb, &p, CLR_INVALID_STRUCT_SIZE);
}

TEST(Params, LabRecordsGiveTheFixedPointPath) {
    ClrLabParams lab{32, 0, 0, 100, 128, 170, 96, 200};
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    p.labParams = &lab;
    Handle decode = makeHandle(ClrSpaceLab, ClrSpaceRgb, &p);
    ASSERT_TRUE(decode->labFromTable && decode->labToTable);
    const uint8_t grey[3] = {128, 128, 96};
    uint8_t rgb[3];
    ASSERT_EQ(Quv_ClrConvert(decode.get(), grey, rgb, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_TRUE(rgb[0] == 120 && rgb[2] == 120) << int(rgb[0]) << " " << int(rgb[2]);

    // Encoding reads B, G, R whatever the source layout: the same bytes give
    // the same Lab through an RGB handle and a BGR one, and (0, 0, 255) is red.
    Handle encode = makeHandle(ClrSpaceRgb, ClrSpaceLab, &p), bgr = makeHandle(ClrSpaceBgr, ClrSpaceLab, &p);
    const uint8_t bytes[3] = {0, 0, 255};
    uint8_t a[3], b[3];
    ASSERT_EQ(Quv_ClrConvert(encode.get(), bytes, a, 1, 1, 0, 0), CLR_SUCCESS);
    ASSERT_EQ(Quv_ClrConvert(bgr.get(), bytes, b, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(a, a + 3, b));
    EXPECT_GT(a[1], 128 + 20) << "a* of red is well above neutral";

    lab.size = 31;
    makeHandle(ClrSpaceLab, ClrSpaceRgb, &p, CLR_INVALID_STRUCT_SIZE);

    // The first update of a handle made without them ignores the caller's ranges.
    Handle h = makeHandle(ClrSpaceLab, ClrSpaceRgb, nullptr);
    ClrLabParams ranges{32, 63, 10, 50, 100, 100, 100, 100};
    ClrParams update = methodParams(0, 64);
    update.labParams = &ranges;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_SUCCESS);
    auto* t = static_cast<quv::kernels::LabDecodeTables*>(h->labFromTable);
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(t->lRange == 100 && t->aOffset == 128 && t->whiteX == 96.421);
    EXPECT_EQ(h->labToTable, nullptr) << "the encode record is never made here";
    // The second takes the ranges whose bits are set, and rederives.
    ranges.updateMask = 2;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_SUCCESS);
    EXPECT_TRUE(t->lRange == 50 && t->lOffset == 0);
    EXPECT_EQ(t->lScale, quv::kernels::roundFixed(50 / 29580.0 * 4096.0, 65536));
}

// Fails each allocation of an init in turn; every failure must leave the
// registry and the heap as they were. Returns how many allocations it took.
long failEachAllocation(ClrSpace from, ClrSpace to, ClrParams* p) {
    for (long n = 0;; ++n) {
        const size_t handles = quv::testing::registryCount();
        const long blocks = qt::livePrivateBlocks();
        ClrHandle* h = nullptr;
        const ClrStatus s = [&] {
            AllocationFailure fail(n);
            return Quv_ClrInit(&h, from, to, p);
        }();
        if (s == CLR_SUCCESS) {
            Quv_ClrFree(h);
            return n;
        }
        EXPECT_TRUE(s == CLR_NO_MEMORY || s == CLR_FAILURE) << "allocation " << n << ": " << s;
        EXPECT_EQ(h, nullptr);
        EXPECT_EQ(quv::testing::registryCount(), handles) << n;
        EXPECT_EQ(qt::livePrivateBlocks(), blocks) << n;
        if (n > 40) return -1;
    }
}

TEST(InitParams, AFailureAtAnyAllocationLeavesNothingBehind) {
    ClrLabParams lab{32, 0, 0, 100, 128, 170, 96, 200};
    ClrParams withLab = methodParams(CLR_METHOD_BUILTIN);
    withLab.labParams = &lab;
    EXPECT_GE(failEachAllocation(ClrSpaceLab, ClrSpaceRgb, &withLab), 5) << "handle, entry, white, two Lab records";

    int32_t layout[1] = {0};
    ClrYuvParams yuv{48, 0, 2, 2, 2, 2, layout, 16, 0, 1, 1};
    ClrCmykParams cmyk{12, 500, 0};
    ClrParams withInks = methodParams(CLR_METHOD_BUILTIN);
    withInks.yuvParams = &yuv;
    withInks.cmykParams = &cmyk;
    EXPECT_GE(failEachAllocation(ClrSpaceYuv, ClrSpaceCmyk, &withInks), 6);
    EXPECT_GE(failEachAllocation(ClrSpaceYcck, ClrSpaceCmyk, &withInks), 5);
    // A failed YUV update gives back the CMYK record made before it.
    Handle h = makeHandle(ClrSpaceYuv, ClrSpaceCmyk, nullptr);
    withInks.methodMask = 16 | 32;
    const long blocks = qt::livePrivateBlocks();
    {
        AllocationFailure fail(1);
        EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &withInks), CLR_NO_MEMORY);
    }
    EXPECT_TRUE(!h->cmykParams && !h->yuvParams);
    EXPECT_EQ(qt::livePrivateBlocks(), blocks);

    const std::vector<uint8_t> profile = readFile(kSrgbPath);
    ASSERT_FALSE(profile.empty());
    ClrProfileBlock block{0, profile.data(), profile.size()};
    ClrParams custom = methodParams(CLR_METHOD_CUSTOM_ICC);
    custom.inputProfileBlock = &block;
    custom.outputProfileBlock = &block;
    EXPECT_GE(failEachAllocation(ClrSpaceRgb, ClrSpaceBgr, &custom), 7) << "two blocks of two copies each";
}

TEST(SetParams, ChecksInOrder) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceCmyk, nullptr);
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), nullptr), CLR_INVALID_PARAMETER);
    p.size = 1700;
    EXPECT_EQ(Quv_ClrSetConversionParams(nullptr, &p), CLR_INVALID_STRUCT_SIZE);
    p.size = CLR_PARAMS_SIZE_NO_FLAGS;
    EXPECT_EQ(Quv_ClrSetConversionParams(nullptr, &p), CLR_INVALID_PARAMETER);
    quvtest::MappedPages none(1, PROT_NONE);
    EXPECT_EQ(Quv_ClrSetConversionParams(reinterpret_cast<ClrHandle*>(none.data()), &p), CLR_BAD_POINTER);
    std::vector<uint8_t> fake(CLR_HANDLE_SIZE, 0);
    EXPECT_EQ(Quv_ClrSetConversionParams(reinterpret_cast<ClrHandle*>(fake.data()), &p), CLR_INVALID_HANDLE);
    quvtest::MappedPages pages(1);
    auto* cut = reinterpret_cast<ClrParams*>(pages.tail(1000));
    cut->size = CLR_PARAMS_SIZE;
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), cut), CLR_BAD_POINTER);
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_SUCCESS) << "no update bits: nothing to do";
    // Method updates test the mask for single methods only.
    p = methodParams(CLR_METHOD_ICC, 1);
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_INVALID_METHOD);
    EXPECT_EQ(h->activeMethod, uint32_t(CLR_METHOD_BUILTIN));
    p.activeMethod = CLR_METHOD_CUSTOM_EMULATION;
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_SUCCESS);
    EXPECT_EQ(h->activeMethod, uint32_t(CLR_METHOD_CUSTOM_EMULATION));
}

TEST(SetParams, YuvUpdatesLookAtTheCmykPointerAndBorrowTheFirstLayout) {
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceYuv, nullptr);
    int32_t layout[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    ClrYuvParams yuv{48, 0, 2, 1, 2, 1, layout, 4, 1, 0, 8};
    ClrParams p = methodParams(0, 32);
    p.yuvParams = &yuv;
    EXPECT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_INVALID_PARAMETER);
    ClrCmykParams unused{12, 0, 0};
    p.cmykParams = &unused;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_SUCCESS);
    EXPECT_EQ(h->yuvParams->layout, layout) << "the caller's array, which the handle must not free";
    yuv.updateMask = 1 | 64;
    yuv.uHorizontal = 4, yuv.fullRange = 0;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &p), CLR_SUCCESS);
    EXPECT_TRUE(h->yuvParams->uHorizontal == 4 && h->yuvParams->fullRange == 0);
}

}  // namespace
