// ICC conversions through handles, checked against lcms2 called directly
// with the same profiles, and the builder's statuses.
#include "lcms_oracle.h"
#include "test_support.h"

#include "frame/handle.h"
#include "icc/embedded.h"
#include "kernels/ink.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstring>
#include <string>

namespace {

using namespace quvtest;

const std::string kSrgb = kSrgbPath;
const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const std::string kProPhoto = "/usr/share/color/icc/colord/ProPhotoRGB.icc";

// A record of the custom ICC method naming the given profiles (empty: none).
ClrParams customParams(const std::string& in = "", const std::string& out = "") {
    ClrParams p = methodParams(CLR_METHOD_CUSTOM_ICC);
    if (!in.empty()) setPath(p.inputProfilePath, in);
    if (!out.empty()) setPath(p.outputProfilePath, out);
    return p;
}
ClrParams builtinIcc() { return methodParams(CLR_METHOD_ICC); }

std::vector<uint8_t> embedded(uint32_t id) {
    const quv::icc::EmbeddedProfile* p = quv::icc::findEmbeddedProfile(id);
    return p ? std::vector<uint8_t>(p->data, p->data + p->length) : std::vector<uint8_t>{};
}

// lcms2 by itself: the two profiles, the output's header intent, no flags.
std::vector<uint8_t> lcmsReference(const std::vector<uint8_t>& in, const std::vector<uint8_t>& out,
                                   cmsUInt32Number inFormat, cmsUInt32Number outFormat,
                                   const std::vector<uint8_t>& pixels, size_t outBytes) {
    cmsHPROFILE a = cmsOpenProfileFromMem(in.data(), static_cast<cmsUInt32Number>(in.size()));
    cmsHPROFILE b = cmsOpenProfileFromMem(out.data(), static_cast<cmsUInt32Number>(out.size()));
    cmsHTRANSFORM t = cmsCreateTransform(a, inFormat, b, outFormat, cmsGetHeaderRenderingIntent(b), 0);
    std::vector<uint8_t> result(outBytes);
    cmsDoTransform(t, pixels.data(), result.data(), static_cast<cmsUInt32Number>(pixels.size() / T_CHANNELS(inFormat)));
    cmsDeleteTransform(t);
    cmsCloseProfile(a);
    cmsCloseProfile(b);
    return result;
}

TEST(CustomIcc, PathsAndBlocksGiveLcmsBytes) {
    const auto srgb = readFile(kSrgb), adobe = readFile(kAdobe);
    ASSERT_FALSE(srgb.empty());
    ASSERT_FALSE(adobe.empty());
    const auto pixels = randomBytes(3 * 5000, 12);
    const auto expected = lcmsReference(srgb, adobe, TYPE_RGB_8, TYPE_BGR_8, pixels, pixels.size());

    ClrParams byPath = customParams(kSrgb, kAdobe);
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceBgr, &byPath);
    ASSERT_TRUE(h);
    EXPECT_EQ(h->stageCount, 1);
    std::vector<uint8_t> out(pixels.size()), out2(pixels.size());
    ASSERT_EQ(Quv_ClrConvert(h.get(), pixels.data(), out.data(), 5000, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out, expected);

    ClrProfileBlock in{0, srgb.data(), srgb.size()}, outBlock{0, adobe.data(), adobe.size()};
    ClrParams byBlock = customParams("/nonexistent/ignored.icc");  // a block wins over a path
    byBlock.inputProfileBlock = &in;
    byBlock.outputProfileBlock = &outBlock;
    Handle b = makeHandle(ClrSpaceRgb, ClrSpaceBgr, &byBlock);
    ASSERT_TRUE(b && b->inputProfileBlock);
    // Packed fields are read by value: a reference to them would be misaligned.
    const ClrProfileBlock kept = *b->inputProfileBlock;
    EXPECT_EQ(uint32_t{kept.size}, 20u);
    EXPECT_NE(static_cast<const void*>(kept.data), srgb.data()) << "the handle keeps its own bytes";
    ASSERT_EQ(Quv_ClrConvert(b.get(), pixels.data(), out2.data(), 100, 50, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out2, expected);
}

TEST(CustomIcc, RowsWithPaddingAndInPlaceRunsAgreeWithOneRun) {
    ClrParams p = customParams(kSrgb, kAdobe);
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceBgr, &p);
    const int w = 7, hgt = 5;
    const auto packed = randomBytes(3 * w * hgt, 4);
    std::vector<uint8_t> expected(packed.size());
    ASSERT_EQ(Quv_ClrConvert(h.get(), packed.data(), expected.data(), w, hgt, 0, 0), CLR_SUCCESS);

    // Source rows of 21 bytes, destination rows aligned to 8: 24 bytes.
    std::vector<uint8_t> padded(24 * hgt, 0xEE);
    ASSERT_EQ(Quv_ClrConvert(h.get(), packed.data(), padded.data(), w, hgt, 1, 8), CLR_SUCCESS);
    for (int y = 0; y < hgt; ++y)
        EXPECT_TRUE(std::equal(expected.begin() + 21 * y, expected.begin() + 21 * (y + 1), padded.begin() + 24 * y));

    // In place with a wider destination stride the rows run from the last,
    // so no row is overwritten before it is read. The first two pixels of
    // each row (6 bytes) against a 16-byte destination stride: no row
    // overlaps itself.
    std::vector<uint8_t> inPlace(16 * hgt, 0);
    for (int y = 0; y < hgt; ++y) std::copy_n(packed.begin() + 21 * y, 6, inPlace.begin() + 6 * y);
    ASSERT_EQ(Quv_ClrConvert(h.get(), inPlace.data(), inPlace.data(), 2, hgt, 1, 16), CLR_SUCCESS);
    for (int y = 0; y < hgt; ++y)
        EXPECT_TRUE(std::equal(&expected[21 * y], &expected[21 * y + 6], &inPlace[16 * y])) << y;
}

TEST(CustomIcc, LabOutputIsSignedLabInputIsOffsetAndALabConnectionServesALabSide) {
    const auto lab = lcmsImage(cmsCreateLab2Profile(nullptr));
    ClrProfileBlock labBlock{0, lab.data(), lab.size()};
    ClrParams toLab = customParams(kSrgb);
    toLab.outputProfileBlock = &labBlock;
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceLab, &toLab);
    ASSERT_TRUE(h);
    const uint8_t grey[3] = {128, 128, 128};
    uint8_t out[3];
    ASSERT_EQ(Quv_ClrConvert(h.get(), grey, out, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_LE(std::abs(static_cast<int8_t>(out[1])), 1) << "a near 0, not near 128";
    EXPECT_LE(std::abs(static_cast<int8_t>(out[2])), 1);

    ClrParams fromLab = customParams("", kSrgb);
    fromLab.inputProfileBlock = &labBlock;
    Handle back = makeHandle(ClrSpaceLab, ClrSpaceRgb, &fromLab);
    ASSERT_TRUE(back);
    const uint8_t neutral[3] = {out[0], 128, 128};
    uint8_t rgb[3];
    ASSERT_EQ(Quv_ClrConvert(back.get(), neutral, rgb, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_NEAR(rgb[0], 128, 2);
    EXPECT_NEAR(rgb[2], 128, 2);

    // The CMYK profile alone, to Lab: it links on the first attempt.
    const auto cmyk = embedded(CLR_EMBEDDED_PROFILE_CMYK);
    ClrProfileBlock block{0, cmyk.data(), cmyk.size()};
    ClrParams alone = customParams();
    alone.inputProfileBlock = &block;
    Handle ink = makeHandle(ClrSpaceCmyk, ClrSpaceLab, &alone);
    const uint8_t paper[4] = {0, 0, 0, 0};
    ASSERT_TRUE(ink && Quv_ClrConvert(ink.get(), paper, out, 1, 1, 0, 0) == CLR_SUCCESS);
    EXPECT_GE(out[0], 254) << "paper is white";
}

TEST(CustomIcc, OneSideGivenTakesTheEmbeddedProfileForTheOther) {
    ClrParams p = customParams(kAdobe);
    Handle fallback = makeHandle(ClrSpaceRgb, ClrSpaceRgb, &p);
    ASSERT_TRUE(fallback) << "output filled from the embedded RGB profile";
    // So the stored output path is empty: a rebuild from it fails and leaves
    // no transform; giving both paths brings it back.
    ClrParams update = customParams(kSrgb);
    update.methodMask = 2;
    const uint8_t px[3] = {1, 2, 3};
    uint8_t out[3];
    EXPECT_EQ(Quv_ClrSetConversionParams(fallback.get(), &update), CLR_FILE_NOT_FOUND);
    EXPECT_EQ(fallback->customTransform, nullptr);
    EXPECT_EQ(Quv_ClrConvert(fallback.get(), px, out, 1, 1, 0, 0), CLR_NULL_ARGUMENT);
    setPath(update.outputProfilePath, kAdobe);
    EXPECT_EQ(Quv_ClrSetConversionParams(fallback.get(), &update), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrConvert(fallback.get(), px, out, 1, 1, 0, 0), CLR_SUCCESS);

    // Equal spaces still transform.
    p = customParams(kSrgb, kProPhoto);
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceRgb, &p);
    const uint8_t red[3] = {255, 0, 0};
    ASSERT_TRUE(h && Quv_ClrConvert(h.get(), red, out, 1, 1, 0, 0) == CLR_SUCCESS);
    EXPECT_LT(out[0], 255) << "sRGB red sits inside ProPhoto's gamut";
    ClrParams q = customParams("/nonexistent/in.icc", kAdobe);  // the input names no file: the side is absent
    Handle g = makeHandle(ClrSpaceBgr, ClrSpaceRgb, &q);
    ASSERT_TRUE(g);
    EXPECT_EQ(g->inputProfilePath[0], 0) << "only a path that names a file is kept";
}

TEST(CustomIcc, StatusesOfTheBuilder) {
    ClrParams none = customParams();
    makeHandle(ClrSpaceRgb, ClrSpaceRgb, &none, CLR_INVALID_PROFILE_SET);  // no input even after the fallback
    makeHandle(ClrSpaceYuv, ClrSpaceRgb, &none, CLR_TRANSFORM_LINK_FAILED);  // YUV has no format
    makeHandle(ClrSpaceRgb, ClrSpaceRgb444, &none, CLR_TRANSFORM_LINK_FAILED);

    std::vector<uint8_t> corrupt = readFile(kSrgb);
    corrupt[36] = 'X';  // the 'acsp' signature
    ClrProfileBlock bad{0, corrupt.data(), corrupt.size()};
    ClrParams p = customParams();
    p.inputProfileBlock = &bad;
    makeHandle(ClrSpaceRgb, ClrSpaceRgb, &p, CLR_PROFILE_OPEN_FAILED);
    ClrProfileBlock empty{0, corrupt.data(), 0};
    p.inputProfileBlock = &empty;
    makeHandle(ClrSpaceRgb, ClrSpaceRgb, &p, CLR_INVALID_PARAMETER);
    MappedPages unreadable(1, PROT_NONE);
    ClrProfileBlock gone{0, unreadable.data(), 100};
    p.inputProfileBlock = &gone;
    makeHandle(ClrSpaceRgb, ClrSpaceRgb, &p, CLR_INVALID_PARAMETER);

    // An RGB profile for a Lab side: the spaces don't match, and Lab has no
    // embedded stand-in to fall back on.
    ClrParams mismatch = customParams(kSrgb);
    makeHandle(ClrSpaceRgb, ClrSpaceLab, &mismatch, CLR_ICC_SPACE_MISMATCH);

    // A path of 261 characters that names a file fits the record's field but
    // not the handle's.
    const std::string dir = "/tmp/quvclr-long-path";
    std::string path = dir;
    while (path.size() < 200) path += "/abcdefghijklmnopqrstuvwxyz0123456789";
    ASSERT_EQ(std::system(("mkdir -p '" + path + "'").c_str()), 0);
    const std::string file = path + "/" + std::string(261 - path.size() - 1, 'p');
    ASSERT_EQ(std::system(("cp " + kSrgb + " '" + file + "'").c_str()), 0);
    setPath(mismatch.inputProfilePath, file);
    makeHandle(ClrSpaceRgb, ClrSpaceRgb, &mismatch, CLR_FILE_NOT_FOUND);
    std::system(("rm -rf " + dir).c_str());
}

TEST(BuiltinIcc, EmbeddedProfilesGiveLcmsBytes) {
    const struct {
        ClrSpace from, to;
        uint32_t inId, outId;
        cmsUInt32Number inFormat, outFormat;
        int inBytes, outBytes;
    } cases[] = {
        {ClrSpaceRgb, ClrSpaceCmyk, 105, 107, TYPE_RGB_8, TYPE_CMYK_8, 3, 4},
        {ClrSpaceCmyk, ClrSpaceBgr, 107, 105, TYPE_CMYK_8, TYPE_BGR_8, 4, 3},
        {ClrSpaceBgr, ClrSpaceCmy, 105, 110, TYPE_BGR_8, TYPE_CMY_8, 3, 3},
        {ClrSpaceCmy, ClrSpaceRgb, 110, 105, TYPE_CMY_8, TYPE_RGB_8, 3, 3},
        {ClrSpaceRgb, ClrSpaceBgr, 105, 105, TYPE_RGB_8, TYPE_BGR_8, 3, 3},
    };
    for (const auto& c : cases) {
        const int n = 3000;
        const auto pixels = randomBytes(size_t(c.inBytes) * n, c.from * 17 + c.to);
        const auto expected = lcmsReference(embedded(c.inId), embedded(c.outId), c.inFormat, c.outFormat, pixels,
                                            size_t(c.outBytes) * n);
        ClrParams p = builtinIcc();
        Handle h = makeHandle(c.from, c.to, &p);
        ASSERT_TRUE(h) << c.from << " -> " << c.to;
        EXPECT_NE(h->iccTransform, nullptr);
        std::vector<uint8_t> out(size_t(c.outBytes) * n);
        ASSERT_EQ(Quv_ClrConvert(h.get(), pixels.data(), out.data(), n, 1, 0, 0), CLR_SUCCESS);
        EXPECT_EQ(out, expected) << c.from << " -> " << c.to;
    }
}

TEST(BuiltinIcc, SpacesWithoutAFormatAreRefusedAndTheShortRecordHasNoFlags) {
    ClrParams p = builtinIcc();
    makeHandle(ClrSpaceRgb, ClrSpaceYuv, &p, CLR_INVALID_SPACE);
    makeHandle(ClrSpaceHsv, ClrSpaceRgb, &p, CLR_INVALID_SPACE);
    // Two-stage pairs skip the transform and keep their spaces as formats.
    Handle twoStage = makeHandle(ClrSpaceHsv, ClrSpaceYuv, &p);
    ASSERT_TRUE(twoStage);
    EXPECT_EQ(twoStage->iccTransform, nullptr);
    EXPECT_EQ(twoStage->inputFormat, uint32_t{ClrSpaceHsv});

    // 1648 bytes at the end of a mapping: the flags word behind them is never read.
    MappedPages pages(1);
    auto* shortForm = reinterpret_cast<ClrParams*>(pages.tail(CLR_PARAMS_SIZE_NO_FLAGS));
    std::memcpy(shortForm, &p, CLR_PARAMS_SIZE_NO_FLAGS);
    shortForm->size = CLR_PARAMS_SIZE_NO_FLAGS;
    EXPECT_TRUE(makeHandle(ClrSpaceRgb, ClrSpaceBgr, shortForm));
}

TEST(BuiltinIcc, YcckIsTurnedToCmykAroundTheTransform) {
    ClrParams p = builtinIcc();
    Handle viaYcck = makeHandle(ClrSpaceYcck, ClrSpaceRgb, &p);
    Handle viaCmyk = makeHandle(ClrSpaceCmyk, ClrSpaceRgb, &p);
    ASSERT_TRUE(viaYcck && viaCmyk);
    ASSERT_NE(viaYcck->ycckTable, nullptr);
    const auto cmyk = randomBytes(4 * 500, 31);
    std::vector<uint8_t> ycck(cmyk.size()), turned(cmyk.size());
    for (size_t i = 0; i < cmyk.size(); i += 4) {
        quv::kernels::cmykPixelToYcck(*viaYcck->ycckTable, &cmyk[i], &ycck[i]);
        quv::kernels::ycckPixelToCmyk(*viaYcck->ycckTable, &ycck[i], &turned[i]);
        ycck[i + 3] = turned[i + 3] = cmyk[i + 3];
    }
    std::vector<uint8_t> a(3 * 500), b(3 * 500);
    ASSERT_EQ(Quv_ClrConvert(viaYcck.get(), ycck.data(), a.data(), 500, 1, 0, 0), CLR_SUCCESS);
    ASSERT_EQ(Quv_ClrConvert(viaCmyk.get(), turned.data(), b.data(), 500, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(a, b);
    // In place the same.
    std::vector<uint8_t> inPlace = ycck;
    Handle ycckToCmyk = makeHandle(ClrSpaceYcck, ClrSpaceCmyk, &p);
    std::vector<uint8_t> separate(ycck.size());
    ASSERT_EQ(Quv_ClrConvert(ycckToCmyk.get(), ycck.data(), separate.data(), 500, 1, 0, 0), CLR_SUCCESS);
    ASSERT_EQ(Quv_ClrConvert(ycckToCmyk.get(), inPlace.data(), inPlace.data(), 500, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(inPlace, separate);
}

TEST(BuiltinIcc, WhitePointUpdatesRebuildTheTransform) {
    ClrParams p = builtinIcc();
    Handle h = makeHandle(ClrSpaceRgb, ClrSpaceCmyk, &p);
    ASSERT_TRUE(h);
    ClrWhitePoint d65{65, 0, 0};
    ClrParams update = methodParams(CLR_METHOD_ICC, 4);
    update.whitePoint = &d65;
    ASSERT_EQ(Quv_ClrSetConversionParams(h.get(), &update), CLR_SUCCESS);
    EXPECT_NE(h->iccTransform, nullptr);
    EXPECT_EQ(uint32_t{h->whitePoint->code}, 65u);
    const uint8_t white[3] = {255, 255, 255};
    uint8_t ink[4];
    ASSERT_EQ(Quv_ClrConvert(h.get(), white, ink, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(ink[0] + ink[1] + ink[2] + ink[3], 0) << "white needs no ink";
}

}  // namespace
