// The embedded profiles and the built-in emulation tables: the export that
// hands the profiles out, the profiles as lcms2 reads them (structure and
// colour), and the tables at their reference nodes. How well the press
// prints is the generator's check (data/grade.cpp), not the library's.
#include "test_support.h"

#include "icc/embedded.h"
#include "kernels/emulation_data.h"

#include <lcms2.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

const uint32_t kIds[] = {CLR_EMBEDDED_PROFILE_RGB, CLR_EMBEDDED_PROFILE_LAB, CLR_EMBEDDED_PROFILE_CMYK,
                         CLR_EMBEDDED_PROFILE_CMY};

Bytes embedded(uint32_t id) {
    int32_t length = 0;
    if (Quv_ClrGetEmbeddedProfile(id, nullptr, &length) != CLR_SUCCESS) return {};
    Bytes bytes(static_cast<size_t>(length));
    if (Quv_ClrGetEmbeddedProfile(id, bytes.data(), &length) != CLR_SUCCESS) return {};
    return bytes;
}

uint32_t be32(const uint8_t* p) { return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]; }
std::string fourCc(const uint8_t* p) { return std::string(reinterpret_cast<const char*>(p), 4); }

// lcms2 objects released at scope end.
struct ProfileCloser {
    void operator()(void* h) const { cmsCloseProfile(h); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
struct TransformFree {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};
using Transform = std::unique_ptr<void, TransformFree>;

// lcms2 keeps its own copy of the bytes.
Profile openEmbedded(uint32_t id) {
    Bytes bytes = embedded(id);
    return Profile(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

Transform transform(void* from, cmsUInt32Number in, void* to, cmsUInt32Number out) {
    return Transform(cmsCreateTransform(from, in, to, out, INTENT_PERCEPTUAL, cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE));
}

double dE2000(const cmsCIELab& a, const cmsCIELab& b) { return cmsCIE2000DeltaE(&a, &b, 1, 1, 1); }

// ---------------------------------------------------------------------------
// The export.

// A null buffer asks for the length, which the profile's header states too;
// a buffer of at least that length takes the bytes and nothing beyond; a
// shorter one is refused with nothing changed.
TEST(GetEmbeddedProfile, LengthCopyAndShortBuffers) {
    for (uint32_t id : kIds) {
        const quv::icc::EmbeddedProfile* profile = quv::icc::findEmbeddedProfile(id);
        ASSERT_NE(profile, nullptr);
        const Bytes bytes(profile->data, profile->data + profile->length);
        int32_t length = -5;
        ASSERT_EQ(Quv_ClrGetEmbeddedProfile(id, nullptr, &length), CLR_SUCCESS) << id;
        EXPECT_EQ(uint32_t(length), profile->length) << id;
        EXPECT_EQ(be32(profile->data), profile->length) << id;
        for (size_t room : {bytes.size(), bytes.size() + 16}) {
            Bytes buffer(room, 0xA5);
            length = static_cast<int32_t>(room);
            ASSERT_EQ(Quv_ClrGetEmbeddedProfile(id, buffer.data(), &length), CLR_SUCCESS);
            EXPECT_EQ(uint32_t(length), profile->length);
            EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + length), bytes);
            EXPECT_EQ(Bytes(buffer.begin() + length, buffer.end()), Bytes(room - bytes.size(), 0xA5));
        }
        Bytes buffer(profile->length, 0x5A);
        for (int32_t given : {int32_t(profile->length) - 1, 0, -1, INT32_MIN}) {
            length = given;
            EXPECT_EQ(Quv_ClrGetEmbeddedProfile(id, buffer.data(), &length), CLR_BUFFER_TOO_SMALL) << id;
            EXPECT_EQ(length, given);
        }
        EXPECT_EQ(buffer, Bytes(profile->length, 0x5A));
    }
    // Unknown ids and a null length word are refused.
    for (uint32_t id : {0u, 104u, 108u, 109u, 111u, 0xFFFFFFFFu}) {
        int32_t length = 1234;
        Bytes buffer(16);
        EXPECT_EQ(Quv_ClrGetEmbeddedProfile(id, nullptr, &length), CLR_INVALID_PARAMETER) << id;
        EXPECT_EQ(Quv_ClrGetEmbeddedProfile(id, buffer.data(), &length), CLR_INVALID_PARAMETER) << id;
        EXPECT_EQ(length, 1234);
    }
    Bytes buffer(1 << 20);
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, nullptr, nullptr), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, buffer.data(), nullptr), CLR_INVALID_PARAMETER);
}

TEST(GetEmbeddedProfile, MemoryTheCallCannotUseIsRefusedWithoutAFault) {
    const uint32_t size = quv::icc::findEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB)->length;
    // A length word that can't be written, or can't be read at all.
    quvtest::MappedPages readOnly(1, PROT_READ);
    quvtest::MappedPages none(1, PROT_NONE);
    auto* fixedLength = reinterpret_cast<int32_t*>(readOnly.data());
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, nullptr, fixedLength), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, nullptr, reinterpret_cast<int32_t*>(none.data())),
              CLR_INVALID_PARAMETER);

    // A buffer that claims the length but whose end runs into unmapped memory.
    quvtest::MappedPages pages(1);
    uint8_t* cut = pages.tail(size - 1);
    int32_t length = static_cast<int32_t>(size);
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, cut, &length), CLR_INVALID_PARAMETER);
    EXPECT_EQ(length, int32_t(size));
    // The same buffer one byte earlier takes the whole profile.
    EXPECT_EQ(Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_RGB, pages.tail(size), &length), CLR_SUCCESS);
}

// ---------------------------------------------------------------------------
// The profiles' structure, read from the bytes and through lcms2.

struct TagExpectation {
    const char* signature;
    const char* type;
};

struct ProfileExpectation {
    uint32_t id;
    cmsProfileClassSignature deviceClass;
    cmsColorSpaceSignature space;
    cmsColorSpaceSignature pcs;
    uint32_t version;
    std::vector<TagExpectation> tags;
    std::vector<std::vector<const char*>> shared;  // tags that must point at one element
};

const ProfileExpectation kProfiles[] = {
    {CLR_EMBEDDED_PROFILE_RGB,
     cmsSigDisplayClass,
     cmsSigRgbData,
     cmsSigXYZData,
     0x02100000,
     {{"cprt", "text"}, {"desc", "desc"}, {"wtpt", "XYZ "}, {"bkpt", "XYZ "}, {"rXYZ", "XYZ "}, {"gXYZ", "XYZ "},
      {"bXYZ", "XYZ "}, {"lumi", "XYZ "}, {"dmnd", "desc"}, {"dmdd", "desc"}, {"vued", "desc"}, {"view", "view"},
      {"meas", "meas"}, {"tech", "sig "}, {"rTRC", "curv"}, {"gTRC", "curv"}, {"bTRC", "curv"}},
     {{"rTRC", "gTRC", "bTRC"}}},
    {CLR_EMBEDDED_PROFILE_LAB,
     cmsSigColorSpaceClass,
     cmsSigLabData,
     cmsSigLabData,
     0x02100000,
     {{"desc", "desc"}, {"A2B0", "mft1"}, {"B2A0", "mft1"}, {"wtpt", "XYZ "}, {"cprt", "text"}},
     {}},
    {CLR_EMBEDDED_PROFILE_CMYK,
     cmsSigOutputClass,
     cmsSigCmykData,
     cmsSigLabData,
     0x02100000,
     {{"cprt", "text"}, {"desc", "desc"}, {"wtpt", "XYZ "}, {"bkpt", "XYZ "}, {"A2B0", "mft2"}, {"A2B1", "mft2"},
      {"A2B2", "mft2"}, {"B2A0", "mft2"}, {"B2A1", "mft2"}, {"B2A2", "mft2"}, {"gamt", "mft1"}},
     {{"A2B0", "A2B1", "A2B2"}, {"B2A0", "B2A1", "B2A2"}}},
    {CLR_EMBEDDED_PROFILE_CMY,
     cmsSigColorSpaceClass,
     cmsSigCmyData,
     cmsSigLabData,
     0x02000000,
     {{"cprt", "text"}, {"A2B0", "mft2"}, {"K070", "ui08"}, {"B2A0", "mft2"}, {"K071", "ui08"}, {"desc", "desc"},
      {"wtpt", "XYZ "}},
     {}},
};

class EmbeddedProfileStructure : public testing::TestWithParam<ProfileExpectation> {};

TEST_P(EmbeddedProfileStructure, OpensInLcms2WithItsClassSpacesVersionAndIntent) {
    const ProfileExpectation& e = GetParam();
    Profile h = openEmbedded(e.id);
    ASSERT_TRUE(h);
    EXPECT_EQ(cmsGetDeviceClass(h.get()), e.deviceClass);
    EXPECT_EQ(cmsGetColorSpace(h.get()), e.space);
    EXPECT_EQ(cmsGetPCS(h.get()), e.pcs);
    EXPECT_EQ(cmsGetEncodedICCversion(h.get()), e.version);
    EXPECT_EQ(cmsGetHeaderRenderingIntent(h.get()), uint32_t(INTENT_PERCEPTUAL));
    EXPECT_EQ(cmsGetTagCount(h.get()), int(e.tags.size()));

    // The header's illuminant and the media white are D50.
    Bytes bytes = embedded(e.id);
    EXPECT_EQ(be32(&bytes[68]), 0x0000F6D6u);
    EXPECT_EQ(be32(&bytes[72]), 0x00010000u);
    EXPECT_EQ(be32(&bytes[76]), 0x0000D32Du);
    const auto* white = static_cast<const cmsCIEXYZ*>(cmsReadTag(h.get(), cmsSigMediaWhitePointTag));
    ASSERT_NE(white, nullptr);
    EXPECT_NEAR(white->X, 0.9642, 1e-4);
    EXPECT_NEAR(white->Y, 1.0, 1e-4);
    EXPECT_NEAR(white->Z, 0.8249, 1e-4);
    // Version 2 profiles carry no profile ID.
    EXPECT_TRUE(std::all_of(bytes.begin() + 84, bytes.begin() + 100, [](uint8_t b) { return b == 0; }));
}

TEST_P(EmbeddedProfileStructure, TagTableListsItsTagsWithTheirTypesInsideTheProfile) {
    const ProfileExpectation& e = GetParam();
    Bytes bytes = embedded(e.id);
    ASSERT_GE(bytes.size(), 132u);
    const uint32_t count = be32(&bytes[128]);
    ASSERT_EQ(count, e.tags.size());
    std::vector<std::pair<std::string, uint32_t>> offsets;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* entry = &bytes[132 + 12 * i];
        const uint32_t offset = be32(entry + 4), size = be32(entry + 8);
        EXPECT_EQ(fourCc(entry), e.tags[i].signature) << "tag " << i;
        ASSERT_LE(uint64_t{offset} + size, bytes.size()) << e.tags[i].signature;
        EXPECT_EQ(offset % 4, 0u) << e.tags[i].signature;
        EXPECT_EQ(fourCc(&bytes[offset]), e.tags[i].type) << e.tags[i].signature;
        offsets.emplace_back(fourCc(entry), offset);
    }
    auto offsetOf = [&](const char* sig) {
        for (const auto& [s, o] : offsets)
            if (s == sig) return o;
        return 0u;
    };
    for (const auto& group : e.shared)
        for (const char* sig : group) EXPECT_EQ(offsetOf(sig), offsetOf(group[0])) << sig << " shares " << group[0];
}

INSTANTIATE_TEST_SUITE_P(EachProfile, EmbeddedProfileStructure, testing::ValuesIn(kProfiles),
                         [](const testing::TestParamInfo<ProfileExpectation>& info) {
                             return "id" + std::to_string(info.param.id);
                         });

TEST(EmbeddedProfileStructure, TablesHaveTheShapesTheirRolesNeed) {
    Profile h = openEmbedded(CLR_EMBEDDED_PROFILE_RGB);
    auto* trc = static_cast<cmsToneCurve*>(cmsReadTag(h.get(), cmsSigRedTRCTag));
    ASSERT_NE(trc, nullptr);
    EXPECT_EQ(cmsGetToneCurveEstimatedTableEntries(trc), 1024u);

    // Lattice tables: inputs, outputs, and lut8Type's fixed 256-entry curves.
    struct Lattice {
        uint32_t id;
        const char* tag;
        int inputs, outputs;
    };
    for (const Lattice& l : {Lattice{CLR_EMBEDDED_PROFILE_LAB, "A2B0", 3, 3}, {CLR_EMBEDDED_PROFILE_LAB, "B2A0", 3, 3},
                             {CLR_EMBEDDED_PROFILE_CMYK, "A2B0", 4, 3}, {CLR_EMBEDDED_PROFILE_CMYK, "B2A0", 3, 4},
                             {CLR_EMBEDDED_PROFILE_CMYK, "gamt", 3, 1}, {CLR_EMBEDDED_PROFILE_CMY, "A2B0", 3, 3},
                             {CLR_EMBEDDED_PROFILE_CMY, "B2A0", 3, 3}}) {
        Bytes bytes = embedded(l.id);
        for (uint32_t i = 0; i < be32(&bytes[128]); ++i) {
            const uint8_t* entry = &bytes[132 + 12 * i];
            if (fourCc(entry) != l.tag) continue;
            const uint8_t* tag = &bytes[be32(entry + 4)];
            EXPECT_EQ(tag[8], l.inputs) << l.id << ' ' << l.tag;
            EXPECT_EQ(tag[9], l.outputs) << l.id << ' ' << l.tag;
            if (fourCc(tag) == "mft1") {
                const uint32_t grid = tag[10];
                uint32_t clut = 1;
                for (int k = 0; k < l.inputs; ++k) clut *= grid;
                EXPECT_EQ(be32(entry + 8), 48 + 256 * uint32_t(l.inputs + l.outputs) + clut * l.outputs);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// The profiles' colour, with lcms2 as the oracle.

TEST(EmbeddedRgbProfile, AgreesWithTheSrgbOfLcms2) {
    Profile ours = openEmbedded(CLR_EMBEDDED_PROFILE_RGB);
    Profile srgb(cmsCreate_sRGBProfile());
    Profile lab(cmsCreateLab4Profile(nullptr));
    Transform a = transform(ours.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL);
    Transform b = transform(srgb.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL);
    ASSERT_TRUE(a && b);
    double worst = 0.0;
    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 5)
            for (int bl = 0; bl < 256; bl += 5) {
                const uint8_t rgb[3] = {uint8_t(r), uint8_t(g), uint8_t(bl)};
                cmsCIELab x, y;
                cmsDoTransform(a.get(), rgb, &x, 1);
                cmsDoTransform(b.get(), rgb, &y, 1);
                worst = std::max(worst, dE2000(x, y));
            }
    EXPECT_LT(worst, 0.05);

    // And back: 8-bit RGB through Lab and our profile returns unchanged.
    Transform back = transform(lab.get(), TYPE_Lab_DBL, ours.get(), TYPE_RGB_8);
    int off = 0;
    for (int v = 0; v < 256; v += 3) {
        const uint8_t rgb[3] = {uint8_t(v), uint8_t(255 - v), uint8_t(v / 2)};
        cmsCIELab l;
        uint8_t out[3];
        cmsDoTransform(a.get(), rgb, &l, 1);
        cmsDoTransform(back.get(), &l, out, 1);
        for (int c = 0; c < 3; ++c) off = std::max(off, std::abs(out[c] - rgb[c]));
    }
    EXPECT_LE(off, 1);
}

TEST(EmbeddedLabProfile, LabPassesThroughUnchanged) {
    Profile identity = openEmbedded(CLR_EMBEDDED_PROFILE_LAB);
    Profile lab(cmsCreateLab4Profile(nullptr));
    // Every 8-bit Lab through both tables comes back within one count.
    Transform bytes(cmsCreateTransform(identity.get(), TYPE_Lab_8, identity.get(), TYPE_Lab_8, INTENT_PERCEPTUAL, 0));
    ASSERT_TRUE(bytes);
    int worst = 0;
    for (int l = 0; l < 256; ++l)
        for (int a = 0; a < 256; a += 3)
            for (int b = 0; b < 256; b += 5) {
                const uint8_t in[3] = {uint8_t(l), uint8_t(a), uint8_t(b)};
                uint8_t out[3];
                cmsDoTransform(bytes.get(), in, out, 1);
                for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(out[c] - in[c]));
            }
    EXPECT_LE(worst, 1);

    // Floating Lab into the connection space: the same colour.
    Transform toPcs = transform(identity.get(), TYPE_Lab_DBL, lab.get(), TYPE_Lab_DBL);
    double farthest = 0.0;
    for (double L = 0; L <= 100; L += 6.25)
        for (double a = -128; a <= 127; a += 15)
            for (double b = -128; b <= 127; b += 15) {
                cmsCIELab in = {L, a, b}, out;
                cmsDoTransform(toPcs.get(), &in, &out, 1);
                farthest = std::max(farthest, cmsDeltaE(&in, &out));
            }
    EXPECT_LT(farthest, 0.01);
}

// ---------------------------------------------------------------------------
// The emulation tables: their listed rows, met to within one count, a and b
// of Lab read as signed bytes.

namespace k = quv::kernels;
struct TableRow {
    const uint8_t* (*table)();
    int nodes;  // a side of the lattice
    std::vector<int> node;
    std::array<int, 3> want;
};
const TableRow kTableRows[] = {
    {k::emulationTableRgb, 33, {0, 0, 0}, {0, 0, 0}},          {k::emulationTableRgb, 33, {32, 32, 32}, {255, 0, 0}},
    {k::emulationTableRgb, 33, {16, 16, 16}, {137, 0, 0}},     {k::emulationTableRgb, 33, {32, 0, 0}, {138, 81, 70}},
    {k::emulationTableRgb, 33, {0, 32, 0}, {224, -79, 81}},    {k::emulationTableRgb, 33, {0, 0, 32}, {75, 68, -112}},
    {k::emulationTableRgb, 33, {31, 31, 31}, {249, 0, 0}},     {k::emulationTableLab, 33, {0, 16, 16}, {0, 0, 0}},
    {k::emulationTableLab, 33, {16, 16, 16}, {119, 119, 119}}, {k::emulationTableLab, 33, {32, 16, 16}, {255, 255, 255}},
    {k::emulationTableLab, 33, {16, 24, 16}, {211, 56, 123}},  {k::emulationTableLab, 33, {16, 16, 24}, {138, 119, 0}},
    {k::emulationTableCmyk, 17, {0, 0, 0, 0}, {255, 255, 255}}, {k::emulationTableCmyk, 17, {16, 0, 0, 0}, {0, 178, 236}},
    {k::emulationTableCmyk, 17, {0, 16, 0, 0}, {227, 0, 127}},  {k::emulationTableCmyk, 17, {0, 0, 16, 0}, {249, 244, 0}},
    {k::emulationTableCmyk, 17, {0, 0, 0, 16}, {0, 0, 0}},      {k::emulationTableCmyk, 17, {8, 8, 8, 8}, {82, 72, 66}},
    {k::emulationTableCmyk, 17, {16, 16, 16, 0}, {54, 39, 51}}, {k::emulationTableCmyk, 17, {0, 0, 0, 15}, {22, 22, 22}},
};

TEST(EmulationTables, HoldTheReferenceRows) {
    for (const TableRow& row : kTableRows) {
        size_t index = 0;
        for (int n : row.node) index = index * row.nodes + n;
        const uint8_t* entry = row.table() + 3 * index;
        const bool signedAb = row.table == k::emulationTableRgb;
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(signedAb && c > 0 ? int(int8_t(entry[c])) : int(entry[c]), row.want[c], 1)
                << "node " << testing::PrintToString(row.node) << ", channel " << c;
    }
}

}  // namespace
