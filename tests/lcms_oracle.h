// lcms2's reading of a tag as the oracle of ours: each type's record compared
// with what cmsReadTag gives for the same tag.
#pragma once

#include <quvclr/tags.h>

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace quvtest {

// The file image of an lcms2 profile, which is closed here.
inline std::vector<uint8_t> lcmsImage(cmsHPROFILE h) {
    cmsUInt32Number n = 0;
    cmsSaveProfileToMem(h, nullptr, &n);
    std::vector<uint8_t> bytes(n);
    cmsSaveProfileToMem(h, bytes.data(), &n);
    cmsCloseProfile(h);
    return bytes;
}

// The i-th string of a host-order mluc, as wide characters.
inline std::wstring mlucString(const IccMultiLocalizedUnicodeType& m, uint32_t i) {
    size_t place = 0;
    for (uint32_t k = 0; k < i; ++k) place += m.records[k].length;
    std::wstring s;
    for (uint32_t u = 0; u < m.records[i].length / 2; ++u) s += wchar_t(m.strings[place / 2 + u]);
    return s;
}

inline void expectMlucAgrees(const IccMultiLocalizedUnicodeType& m, const cmsMLU* mlu) {
    ASSERT_EQ(m.count, cmsMLUtranslationsCount(mlu));
    for (uint32_t i = 0; i < m.count; ++i) {
        char lang[3], country[3];
        ASSERT_TRUE(cmsMLUtranslationsCodes(mlu, i, lang, country));
        EXPECT_EQ(m.records[i].language, (lang[0] << 8) | lang[1]);
        EXPECT_EQ(m.records[i].country, (country[0] << 8) | country[1]);
        std::vector<wchar_t> wide(cmsMLUgetWide(mlu, lang, country, nullptr, 0) / sizeof(wchar_t) + 1);
        cmsMLUgetWide(mlu, lang, country, wide.data(), cmsUInt32Number(wide.size() * sizeof(wchar_t)));
        EXPECT_EQ(mlucString(m, i), std::wstring(wide.data()));
    }
}

inline double fixed(uint32_t v) { return int32_t(v) / 65536.0; }

// `oracle` is what cmsReadTag gave for the tag the host-order `r` was read from.
inline void expectAgreesWithLcms(const IccTagRecord& r, uint32_t type, void* oracle) {
    ASSERT_NE(oracle, nullptr);
    switch (type) {
    case ICC_TYPE_MLUC:
        expectMlucAgrees(r.mluc, static_cast<cmsMLU*>(oracle));
        break;
    case ICC_TYPE_MEAS: {
        const auto* m = static_cast<cmsICCMeasurementConditions*>(oracle);
        EXPECT_EQ(r.measurement.observer, m->Observer);
        EXPECT_DOUBLE_EQ(fixed(r.measurement.backing.z), m->Backing.Z);
        EXPECT_EQ(r.measurement.geometry, m->Geometry);
        EXPECT_DOUBLE_EQ(fixed(r.measurement.flare), m->Flare);
        EXPECT_EQ(r.measurement.illuminant, m->IlluminantType);
        break;
    }
    case ICC_TYPE_VIEW: {
        const auto* v = static_cast<cmsICCViewingConditions*>(oracle);
        EXPECT_DOUBLE_EQ(fixed(r.viewingConditions.illuminant.x), v->IlluminantXYZ.X);
        EXPECT_DOUBLE_EQ(fixed(r.viewingConditions.surround.z), v->SurroundXYZ.Z);
        EXPECT_EQ(r.viewingConditions.illuminantType, v->IlluminantType);
        break;
    }
    case ICC_TYPE_CHRM: {
        const auto* c = static_cast<cmsCIExyYTRIPLE*>(oracle);
        ASSERT_EQ(r.chromaticity.channels, 3);
        EXPECT_DOUBLE_EQ(fixed(r.chromaticity.values[0]), c->Red.x);
        EXPECT_DOUBLE_EQ(fixed(r.chromaticity.values[3]), c->Green.y);
        EXPECT_DOUBLE_EQ(fixed(r.chromaticity.values[4]), c->Blue.x);
        break;
    }
    case ICC_TYPE_DTIM: {
        const auto* when = static_cast<std::tm*>(oracle);
        const IccDateTimeNumber& d = r.dateTime.dateTime;
        EXPECT_EQ(d.year, when->tm_year + 1900);
        EXPECT_EQ(d.month, when->tm_mon + 1);
        EXPECT_EQ(d.seconds, when->tm_sec);
        break;
    }
    case ICC_TYPE_CLRO: {
        const auto* order = static_cast<cmsUInt8Number*>(oracle);
        for (uint32_t i = 0; i < r.colorantOrder.count; ++i) EXPECT_EQ(r.colorantOrder.order[i], order[i]);
        EXPECT_EQ(order[r.colorantOrder.count], 0xFF);
        break;
    }
    case ICC_TYPE_CLRT:
    case ICC_TYPE_NCL2: {
        auto* list = static_cast<cmsNAMEDCOLORLIST*>(oracle);
        const bool named = type == ICC_TYPE_NCL2;
        const uint32_t count = named ? r.namedColor2.count : r.colorantTable.count;
        ASSERT_EQ(count, cmsNamedColorCount(list));
        for (uint32_t i = 0; i < count; ++i) {
            char name[256];
            cmsUInt16Number pcs[3], device[cmsMAXCHANNELS];
            cmsNamedColorInfo(list, i, name, nullptr, nullptr, pcs, device);
            const uint8_t* ours = named ? r.namedColor2.entries[i].name : r.colorantTable.entries[i].name;
            const uint16_t* ourPcs = named ? r.namedColor2.entries[i].pcs : r.colorantTable.entries[i].pcs;
            const auto* text = reinterpret_cast<const char*>(ours);
            EXPECT_EQ(std::string(text, strnlen(text, 32)), name);
            EXPECT_EQ(std::vector<uint16_t>(ourPcs, ourPcs + 3), std::vector<uint16_t>(pcs, pcs + 3));
            for (uint32_t k = 0; named && k < r.namedColor2.coordinates; ++k)
                EXPECT_EQ(r.namedColor2.entries[i].device[k], device[k]);
        }
        break;
    }
    }
}

}  // namespace quvtest
