// The compound tag types: mluc, rcs2, pseq, ncl2, clrt, clro, meas, view,
// chrm, dtim. A profile written by lcms2 holds one of each that lcms2 knows;
// each is read and judged by lcms2's own reading, written back and compared
// byte for byte, and cut at every length. The rest are the layouts and
// statuses only this library's writers have.
#include "icc_support.h"
#include "lcms_oracle.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <vector>

namespace {

using namespace quvtest;

// A profile parsed from `image`.
struct Parsed : ScopedProfile {
    std::vector<uint8_t> bytes;
    explicit Parsed(std::vector<uint8_t> image) : bytes(std::move(image)) {
        EXPECT_EQ(Quv_FillICCProfileStructure(get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    }
};

// A profile with a header only.
struct HeaderOnly : ScopedProfile {
    HeaderOnly() { EXPECT_EQ(Quv_InitICCHeader(get()), CLR_SUCCESS); }
};

// Reads `tag` into `r`, freed later as `type`.
ClrStatus get(ScopedProfile& sp, ScopedRecord& r, uint32_t tag, uint32_t type) {
    r.type = type;
    return Quv_GetICCTagData(sp.get(), r.get(), tag);
}

cmsMLU* text(const char* lang, const char* country, const wchar_t* s, cmsMLU* mlu = nullptr) {
    if (!mlu) mlu = cmsMLUalloc(nullptr, 2);
    cmsMLUsetWide(mlu, lang, country, s);
    return mlu;
}

std::vector<uint8_t> lcmsProfile() {
    cmsHPROFILE h = cmsCreate_sRGBProfile();
    cmsSetProfileVersion(h, 4.3);
    cmsMLU* cprt = text("en", "US", L"Free", text("de", "DE", L"Frei!"));
    cmsWriteTag(h, cmsSigCopyrightTag, cprt);
    cmsICCMeasurementConditions meas{1, {0.25, 0.5, 0.75}, 2, 1.0, 3};
    cmsWriteTag(h, cmsSigMeasurementTag, &meas);
    cmsICCViewingConditions view{{96.42, 100, 82.49}, {19.6, 20, 16.5}, 1};
    cmsWriteTag(h, cmsSigViewingConditionsTag, &view);
    cmsCIExyYTRIPLE chrm{{0.64, 0.33, 1}, {0.3, 0.6, 1}, {0.15, 0.06, 1}};
    cmsWriteTag(h, cmsSigChromaticityTag, &chrm);
    std::tm when{45, 30, 12, 17, 4, 124, 0, 0, 0, 0, nullptr};
    cmsWriteTag(h, cmsSigCalibrationDateTimeTag, &when);
    cmsUInt8Number order[cmsMAXCHANNELS];
    std::memset(order, 0xFF, sizeof order);
    order[0] = 2, order[1] = 0, order[2] = 1;
    cmsWriteTag(h, cmsSigColorantOrderTag, order);
    cmsNAMEDCOLORLIST* colorants = cmsAllocNamedColorList(nullptr, 3, 3, "", "");
    const cmsUInt16Number pcs[3][3] = {{0x1000, 0x8000, 0x7000}, {0x9000, 0x2000, 0x3000}, {0x5000, 0x6000, 0x1}};
    const char* names[3] = {"Cyan", "Magenta", "Yellow"};
    for (int i = 0; i < 3; ++i) cmsAppendNamedColor(colorants, names[i], const_cast<cmsUInt16Number*>(pcs[i]), nullptr);
    cmsWriteTag(h, cmsSigColorantTableTag, colorants);
    cmsNAMEDCOLORLIST* named = cmsAllocNamedColorList(nullptr, 2, 3, "pre", "suf");
    cmsUInt16Number device[3] = {1, 2, 65535};
    for (int i = 0; i < 2; ++i)
        cmsAppendNamedColor(named, i ? "Spot 2" : "Spot 1", const_cast<cmsUInt16Number*>(pcs[i]), device);
    cmsWriteTag(h, cmsSigNamedColor2Tag, named);
    cmsSEQ* seq = cmsAllocProfileSequenceDescription(nullptr, 1);
    seq->seq[0].deviceMfg = sig("QUVC");
    seq->seq[0].deviceModel = sig("mod1");
    seq->seq[0].attributes = 0x0102030405060708ull;
    seq->seq[0].technology = cmsSigCRTDisplay;
    // Texts of a size that is a multiple of 4: lcms2 packs nested texts
    // without padding, and only then do both layouts agree. 16 bytes of
    // string at least, or a copy keeps less than the whole.
    seq->seq[0].Manufacturer = text("en", "US", L"Makers01");
    seq->seq[0].Model = text("en", "US", L"Model 01");
    cmsWriteTag(h, cmsSigProfileSequenceDescTag, seq);
    cmsFreeProfileSequenceDescription(seq);
    cmsFreeNamedColorList(named);
    cmsFreeNamedColorList(colorants);
    cmsMLUfree(cprt);
    return lcmsImage(h);
}

TEST(LcmsWrittenTags, ReadAsLcmsReadsThemAndWriteBackTheSameBytes) {
    Parsed sp(lcmsProfile());
    cmsHPROFILE h = cmsOpenProfileFromMem(sp.bytes.data(), cmsUInt32Number(sp.bytes.size()));
    ASSERT_NE(h, nullptr);
    const struct { char tag[5]; uint32_t type; } tags[] = {
        {"cprt", ICC_TYPE_MLUC}, {"meas", ICC_TYPE_MEAS}, {"view", ICC_TYPE_VIEW}, {"chrm", ICC_TYPE_CHRM},
        {"calt", ICC_TYPE_DTIM}, {"clro", ICC_TYPE_CLRO}, {"clrt", ICC_TYPE_CLRT}, {"ncl2", ICC_TYPE_NCL2},
        {"pseq", ICC_TYPE_PSEQ}};
    for (const auto& t : tags) {
        SCOPED_TRACE(t.tag);
        ScopedRecord r;
        ASSERT_EQ(get(sp, r, sig(t.tag), t.type), CLR_SUCCESS);
        ASSERT_EQ(r.r.head.signature, t.type);
        void* oracle = cmsReadTag(h, cmsTagSignature(sig(t.tag)));
        ASSERT_NE(oracle, nullptr);
        IccTagRecord input = r.r;
        std::vector<uint8_t> expected = tagBytes(sp.get(), sig(t.tag));
        ScopedRecord manufacturer, model;  // wire-order texts for the pseq input
        manufacturer.type = model.type = ICC_TYPE_MLUC;
        IccProfileSequenceEntry entry{};
        if (t.type != ICC_TYPE_PSEQ) {
            expectAgreesWithLcms(r.r, t.type, oracle);
        } else {
            const auto* seq = static_cast<cmsSEQ*>(oracle);
            ASSERT_EQ(r.r.profileSequence.count, seq->n);
            const IccProfileSequenceEntry& e = r.r.profileSequence.entries[0];
            EXPECT_EQ(e.manufacturer, seq->seq[0].deviceMfg);
            EXPECT_EQ(e.attributes, seq->seq[0].attributes);
            EXPECT_EQ(e.technology, uint32_t(seq->seq[0].technology));
            expectMlucAgrees(e.manufacturerText, seq->seq[0].Manufacturer);
            expectMlucAgrees(e.modelText, seq->seq[0].Model);
            // Set takes the texts in wire order, as Create makes them; the
            // attributes reach the file unswapped.
            IccTagRecord text{};
            text.mluc = e.manufacturerText;
            ASSERT_EQ(Quv_CreateICCTagData(manufacturer.get(), &text, ICC_TYPE_MLUC), CLR_SUCCESS);
            text.mluc = e.modelText;
            ASSERT_EQ(Quv_CreateICCTagData(model.get(), &text, ICC_TYPE_MLUC), CLR_SUCCESS);
            entry = e;
            entry.manufacturerText = manufacturer.r.mluc;
            entry.modelText = model.r.mluc;
            input.profileSequence.entries = &entry;
            // Attributes reversed; after the first text (44 bytes) a gap of
            // four, the element keeping its size.
            std::reverse(expected.begin() + 20, expected.begin() + 28);
            expected.insert(expected.begin() + 76, 4, 0);
            expected.resize(expected.size() - 4);
        }
        Parsed copy(sp.bytes);
        ASSERT_EQ(Quv_SetICCTagData(copy.get(), &input, sig(t.tag), t.type), CLR_SUCCESS);
        EXPECT_EQ(tagBytes(copy.get(), sig(t.tag)), expected);
    }
    cmsCloseProfile(h);
}

TEST(LcmsWrittenTags, EveryCutOfEveryElementGivesAStatus) {
    Parsed sp(lcmsProfile());
    for (int i = 0; i < sp->tagCount; ++i) {
        const uint32_t full = sp->tagTable[i].size, tagSig = sp->tagTable[i].signature;
        const uint32_t type = Quv_GetICCTagTypeSig(sp.get(), tagSig);
        for (uint32_t n = 8; n < full; ++n) {
            sp->tagTable[i].size = n;
            ScopedRecord r;
            const ClrStatus s = get(sp, r, tagSig, type);
            EXPECT_TRUE(s == CLR_SUCCESS || s == CLR_INVALID_TAG_DATA || s == CLR_TAG_UNKNOWN_TYPE) << s;
        }
        sp->tagTable[i].size = full;
    }
}

// The row size and the padding a Set gives the record.
std::pair<uint32_t, uint64_t> setLayout(const IccTagRecord& record, uint32_t type) {
    HeaderOnly sp;
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &record, sig("targ"), type), CLR_SUCCESS);
    const uint32_t size = sp->tagTable[0].size;
    return {size, sp->tagDataSize - size};
}

TEST(TagLayouts, SizesAndPaddingOfEachWriter) {
    IccTagRecord r{};
    std::vector<IccNamedColorEntry> colours(2);
    std::vector<uint16_t> device(3, 7);
    for (auto& c : colours) c.device = device.data();
    r.namedColor2 = IccNamedColor2Type{{}, 0x12345678, 2, 3, {}, {}, colours.data()};
    EXPECT_EQ(setLayout(r, ICC_TYPE_NCL2), std::make_pair(172u, uint64_t{0}));
    r.namedColor2.count = 0;
    EXPECT_EQ(setLayout(r, ICC_TYPE_NCL2), std::make_pair(84u, uint64_t{0}));
    IccColorantEntry colorant{};
    r.colorantTable = IccColorantTableType{{}, 1, &colorant};
    EXPECT_EQ(setLayout(r, ICC_TYPE_CLRT), std::make_pair(50u, uint64_t{2}));
    uint8_t order[3] = {0, 1, 2};
    r.colorantOrder = IccColorantOrderType{{}, 3, order};
    EXPECT_EQ(setLayout(r, ICC_TYPE_CLRO), std::make_pair(15u, uint64_t{1}));
    uint32_t values[6] = {};
    r.chromaticity = IccChromaticityType{{}, 0, 0, values};
    EXPECT_EQ(setLayout(r, ICC_TYPE_CHRM), std::make_pair(12u, uint64_t{0}));
    r.chromaticity = IccChromaticityType{{}, 1, 2, values};  // a colorant code with one channel: one pair filed
    EXPECT_EQ(setLayout(r, ICC_TYPE_CHRM), std::make_pair(20u, uint64_t{0}));
    // mluc: one 10-byte string, size 30, pad 2; a size of 28 (strings of 8 bytes): no padding.
    uint16_t strings[5] = {'a', 'b', 'c', 'd', 'e'};
    IccMlucEntry entry{0x656e, 0x5553, 10, 28};
    r.mluc = IccMultiLocalizedUnicodeType{{}, 1, 12, &entry, strings};
    EXPECT_EQ(setLayout(r, ICC_TYPE_MLUC), std::make_pair(38u, uint64_t{2}));
    entry.length = 8;
    EXPECT_EQ(setLayout(r, ICC_TYPE_MLUC), std::make_pair(36u, uint64_t{0}));
    r.mluc = IccMultiLocalizedUnicodeType{{}, 0, 12, nullptr, nullptr};
    EXPECT_EQ(setLayout(r, ICC_TYPE_MLUC), std::make_pair(16u, uint64_t{0}));
    r.mluc = IccMultiLocalizedUnicodeType{{}, 1, 0, &entry, strings};  // record size 0: room for the head only
    EXPECT_EQ(setLayout(r, ICC_TYPE_MLUC), std::make_pair(16u, uint64_t{0}));
    r.profileSequence = IccProfileSequenceDescType{{}, 0, reinterpret_cast<IccProfileSequenceEntry*>(values)};
    EXPECT_EQ(setLayout(r, ICC_TYPE_PSEQ), std::make_pair(12u, uint64_t{0}));
}

TEST(TagLayouts, EncodersRefuseWhatTheFormatHasNoCodeFor) {
    IccTagRecord in{}, out{};
    uint32_t values[6] = {};
    const auto meas = [&](uint32_t observer, uint32_t geometry, uint32_t flare, uint32_t illuminant) {
        in.measurement = IccMeasurementType{{}, observer, {}, geometry, flare, illuminant};
        return Quv_CreateICCTagData(&out, &in, ICC_TYPE_MEAS);
    };
    EXPECT_EQ(meas(2, 2, 0x10000, 8), CLR_SUCCESS);
    EXPECT_EQ(meas(3, 0, 0, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(meas(0, 3, 0, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(meas(0, 0, 0x8000, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(meas(0, 0, 0x10001, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(meas(0, 0, 0, 9), CLR_INVALID_PARAMETER);
    in.viewingConditions = IccViewingConditionsType{{}, {}, {}, 9};
    EXPECT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_VIEW), CLR_INVALID_PARAMETER);
    const auto chrm = [&](uint16_t channels, uint32_t colorant, uint32_t* v) {
        in.chromaticity = IccChromaticityType{{}, channels, colorant, v};
        const ClrStatus s = Quv_CreateICCTagData(&out, &in, ICC_TYPE_CHRM);
        Quv_FreeICCTagType(&out, ICC_TYPE_CHRM);
        return s;
    };
    EXPECT_EQ(chrm(4, 0, values), CLR_INVALID_PARAMETER);
    EXPECT_EQ(chrm(3, 5, values), CLR_INVALID_PARAMETER);
    EXPECT_EQ(chrm(3, 1, nullptr), CLR_INVALID_PARAMETER);
    in.mluc = IccMultiLocalizedUnicodeType{{}, 0, 12, nullptr, nullptr};
    EXPECT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_MLUC), CLR_SUCCESS);
    in.mluc.count = 1;
    EXPECT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_MLUC), CLR_INVALID_PARAMETER);
}

TEST(TagLayouts, ValuesTheWritersReplaceOrKeep) {
    HeaderOnly sp;
    IccTagRecord r{};
    IccNamedColorEntry colour{};
    r.namedColor2 = IccNamedColor2Type{{}, 0x12345678, 1, 0, {}, {}, &colour};
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("ncl2"), ICC_TYPE_NCL2), CLR_SUCCESS);
    // A colorant code takes the standard primaries; lcms2 reads them back.
    uint32_t values[6] = {};
    r.chromaticity = IccChromaticityType{{}, 3, 2, values};
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("chrm"), ICC_TYPE_CHRM), CLR_SUCCESS);
    r.dateTime = IccDateTimeType{{}, {2024, 13, 40, 25, 61, 61}};  // no test of the values
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("calt"), ICC_TYPE_DTIM), CLR_SUCCESS);

    ScopedRecord named, date;
    ASSERT_EQ(get(sp, named, sig("ncl2"), ICC_TYPE_NCL2), CLR_SUCCESS);
    EXPECT_EQ(named.r.namedColor2.vendorFlag, 0x12340000u);
    ASSERT_EQ(get(sp, date, sig("calt"), ICC_TYPE_DTIM), CLR_SUCCESS);
    EXPECT_EQ(date.r.dateTime.dateTime.month, 13);
    EXPECT_EQ(date.r.dateTime.dateTime.seconds, 61);
    cmsHPROFILE h = cmsOpenProfileFromMem(sp->image, cmsUInt32Number(sp->dataSize));
    ASSERT_NE(h, nullptr);
    const auto* c = static_cast<cmsCIExyYTRIPLE*>(cmsReadTag(h, cmsSigChromaticityTag));
    ASSERT_NE(c, nullptr);
    EXPECT_NEAR(c->Red.x, 0.63, 1e-4);
    EXPECT_NEAR(c->Green.y, 0.595, 1e-4);
    EXPECT_NEAR(c->Blue.y, 0.07, 1e-4);
    cmsCloseProfile(h);
}

// A wire-order mluc of one string, as Create makes it.
void makeText(ScopedRecord& out, std::vector<uint16_t>& units) {
    IccMlucEntry entry{0x656e, 0x5553, uint32_t(2 * units.size()), 28};
    IccTagRecord in{};
    in.mluc = IccMultiLocalizedUnicodeType{{}, 1, 12, &entry, units.data()};
    out.type = ICC_TYPE_MLUC;
    ASSERT_EQ(Quv_CreateICCTagData(out.get(), &in, ICC_TYPE_MLUC), CLR_SUCCESS);
}

TEST(ProfileSequence, WriterKeepsItsOwnLayoutInsideItsBlock) {
    std::vector<uint16_t> four = {'Q', 'u', 'v', 'c'}, three = {'a', 'b', 'c'};
    ScopedRecord maker, model;
    makeText(maker, four);  // size 8 + 12 + 8 = 28: a gap of four bytes follows
    makeText(model, three);
    IccProfileSequenceEntry entries[2] = {};
    entries[0] = {sig("AAAA"), sig("mod1"), 1, sig("CRT "), maker.r.mluc, model.r.mluc};
    IccTagRecord r{};
    r.profileSequence = IccProfileSequenceDescType{{}, 1, entries};
    HeaderOnly sp;
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("pseq"), ICC_TYPE_PSEQ), CLR_SUCCESS);
    std::vector<uint8_t> bytes = tagBytes(sp.get(), sig("pseq"));
    ASSERT_EQ(bytes.size(), 48u + 28 + 28);
    EXPECT_EQ(be32(&bytes[68]), 0u);             // the gap
    EXPECT_EQ(be32(&bytes[72]), ICC_TYPE_MLUC);  // the second text, its tail dropped at the block's end
    ScopedRecord back;
    ASSERT_EQ(get(sp, back, sig("pseq"), ICC_TYPE_PSEQ), CLR_SUCCESS);
    EXPECT_EQ(back.r.profileSequence.entries[0].attributes, uint64_t{1} << 56);
    EXPECT_EQ(back.r.profileSequence.entries[0].manufacturerText.records[0].length, 8u);
    EXPECT_EQ(back.r.profileSequence.entries[0].manufacturerText.strings[0], 0);  // a total of 8 copies none

    // Two entries reserve the room of the last, and both heads are entry 0's.
    entries[1] = entries[0];
    entries[1].manufacturer = sig("BBBB");
    r.profileSequence.count = 2;
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("pseq"), ICC_TYPE_PSEQ), CLR_SUCCESS);
    bytes = tagBytes(sp.get(), sig("pseq"));
    ASSERT_EQ(bytes.size(), 48u + 28 + 8);  // entry 1's texts: entry 0's model text, then none
    EXPECT_EQ(be32(&bytes[12]), sig("AAAA"));
    // Under another tag signature the texts have nowhere to go.
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("targ"), ICC_TYPE_PSEQ), CLR_INVALID_PARAMETER);
    // A text in host order, as a read gives it, is not copied: it is written empty.
    entries[0].manufacturerText = back.r.profileSequence.entries[0].manufacturerText;
    r.profileSequence.count = 1;
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("pseq"), ICC_TYPE_PSEQ), CLR_SUCCESS);
    EXPECT_EQ(tagBytes(sp.get(), sig("pseq")).size(), 48u + 8 + 28);
}

TEST(ResponseCurveSet, KPointsPerChannelAndOffsetsComputedAnew) {
    IccResponsePoint points[3][2] = {{{1, 0, 10}, {2, 0, 20}}, {{3, 0, 30}, {4, 0, 40}}, {{5, 0, 50}, {6, 0, 60}}};
    IccResponsePoint* channels[3] = {points[0], points[1], points[2]};
    uint32_t patches[3] = {5, 5, 5}, xyz[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    IccResponseCurve measures[2] = {{sig("StaA"), patches, xyz, channels}, {sig("StaE"), patches, xyz, channels}};
    IccTagRecord r{};
    r.responseCurveSet = IccResponseCurveSet16Type{{}, 3, 2, nullptr, measures};
    HeaderOnly sp;
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("resp"), ICC_TYPE_RCS2), CLR_SUCCESS);
    EXPECT_EQ(sp->tagTable[0].size, 220u);
    ScopedRecord back;
    ASSERT_EQ(get(sp, back, sig("resp"), ICC_TYPE_RCS2), CLR_SUCCESS);
    const IccResponseCurveSet16Type& b = back.r.responseCurveSet;
    EXPECT_EQ(b.offsets[0], 20u);
    EXPECT_EQ(b.offsets[1], 120u);
    EXPECT_EQ(b.measures[1].measureType, sig("StaE"));
    EXPECT_EQ(b.measures[1].xyz[8], 9u);
    EXPECT_EQ(b.measures[1].points[2][1].measurement, 60u);
    r.responseCurveSet.measureCount = 0;
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("resp"), ICC_TYPE_RCS2), CLR_SUCCESS);
    EXPECT_EQ(tagBytes(sp.get(), sig("resp")).size(), 12u);
}

TEST(LocalizedText, OffsetsAreFollowedOneAtATime) {
    // Two entries on one string; the first has an odd length of 3.
    std::vector<uint8_t> body = {0, 0, 0, 2, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 40,
                                 0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 0, 40, 0, 0x41, 0, 0x42};
    Parsed sp(iccImage({{sig("desc"), tagValue(ICC_TYPE_MLUC, body)}}));
    ScopedRecord r;
    ASSERT_EQ(get(sp, r, sig("desc"), ICC_TYPE_MLUC), CLR_SUCCESS);
    EXPECT_EQ(std::vector<uint16_t>(r.r.mluc.strings, r.r.mluc.strings + 3), (std::vector<uint16_t>{0x41, 0x41, 0x42}));
}

// Counts and offsets that lie give a status, not a read past the tag.
TEST(TagTrust, LyingCountsOfTheCompoundTypes) {
    const struct { uint32_t type; std::vector<uint8_t> body; } cases[] = {
        {ICC_TYPE_MLUC, {0, 0, 0x10, 0, 0, 0, 0, 12}},
        {ICC_TYPE_MLUC, {0, 0, 0, 1, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0, 2, 0xFF, 0xFF, 0xFF, 0xF0}},
        {ICC_TYPE_PSEQ, {0, 0x10, 0, 0}},
        {ICC_TYPE_PSEQ, {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {ICC_TYPE_PSEQ, [] {  // an old "desc" in the place of the first text: its numbers taken as read
             std::vector<uint8_t> b(68, 0);
             b[3] = b[35] = 1, b[36] = 'a';
             putBe32(b, 24, sig("desc"));
             return b;
         }()},
        {ICC_TYPE_RCS2, {0, 1, 0, 1, 0, 0, 0x10, 0}},
        {ICC_TYPE_RCS2, {0xFF, 0xFF, 0xFF, 0xFF}},
        {ICC_TYPE_NCL2, std::vector<uint8_t>(76, 1)},
        {ICC_TYPE_CLRT, {0x80, 0, 0, 0}},
        {ICC_TYPE_CLRO, {0, 0, 0, 5, 1, 2}},
        {ICC_TYPE_CHRM, {0, 3, 0, 0, 0, 0}},
        {ICC_TYPE_MEAS, std::vector<uint8_t>(24, 0)},
        {ICC_TYPE_DTIM, {7, 0xE8, 0, 1}},
    };
    for (const auto& c : cases) {
        Parsed sp(iccImage({{sig("desc"), tagValue(c.type, c.body)}}));
        ScopedRecord r;
        EXPECT_EQ(get(sp, r, sig("desc"), c.type), CLR_INVALID_TAG_DATA) << c.type;
    }
}

}  // namespace
