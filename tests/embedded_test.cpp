// The embedded profiles and the built-in emulation tables: the export that
// hands the profiles out, the profiles as lcms2 reads them (structure and
// colour), the tables at their reference nodes and against lcms2, and the
// generator's reproducibility.
#include "test_support.h"

#include "icc/embedded.h"
#include "kernels/emulation_data.h"

#include <lcms2.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
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

// Order statistics of a sample.
struct Spread {
    double median, p95, max;
};
Spread spread(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return {v[v.size() / 2], v[v.size() * 95 / 100], v.back()};
}

// Deterministic coverages in percent.
struct Random {
    uint32_t state;
    double percent() {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) * (100.0 / 16777216.0);
    }
};

// ---------------------------------------------------------------------------
// The export.

TEST(GetEmbeddedProfile, ANullBufferAsksForTheLengthOfEachProfile) {
    for (uint32_t id : kIds) {
        int32_t length = -5;
        ASSERT_EQ(Quv_ClrGetEmbeddedProfile(id, nullptr, &length), CLR_SUCCESS) << id;
        const quv::icc::EmbeddedProfile* profile = quv::icc::findEmbeddedProfile(id);
        ASSERT_NE(profile, nullptr);
        EXPECT_EQ(uint32_t(length), profile->length) << id;
        // The length is the profile's own: its header says the same.
        EXPECT_EQ(be32(profile->data), profile->length) << id;
    }
}

TEST(GetEmbeddedProfile, CopiesIntoALargeEnoughBufferAndWritesNothingBeyond) {
    for (uint32_t id : kIds) {
        const quv::icc::EmbeddedProfile* profile = quv::icc::findEmbeddedProfile(id);
        Bytes buffer(profile->length + 16, 0xA5);
        int32_t length = static_cast<int32_t>(buffer.size());
        ASSERT_EQ(Quv_ClrGetEmbeddedProfile(id, buffer.data(), &length), CLR_SUCCESS);
        EXPECT_EQ(uint32_t(length), profile->length);
        EXPECT_EQ(std::memcmp(buffer.data(), profile->data, profile->length), 0);
        EXPECT_TRUE(std::all_of(buffer.begin() + profile->length, buffer.end(), [](uint8_t b) { return b == 0xA5; }));

        // An exact fit is enough.
        Bytes exact(profile->length);
        length = static_cast<int32_t>(exact.size());
        EXPECT_EQ(Quv_ClrGetEmbeddedProfile(id, exact.data(), &length), CLR_SUCCESS);
        EXPECT_EQ(exact, Bytes(profile->data, profile->data + profile->length));
    }
}

TEST(GetEmbeddedProfile, AShortBufferIsRefusedAndNothingChanges) {
    for (uint32_t id : kIds) {
        const quv::icc::EmbeddedProfile* profile = quv::icc::findEmbeddedProfile(id);
        Bytes buffer(profile->length, 0x5A);
        for (int32_t given : {int32_t(profile->length) - 1, 0, -1, INT32_MIN}) {
            int32_t length = given;
            EXPECT_EQ(Quv_ClrGetEmbeddedProfile(id, buffer.data(), &length), CLR_BUFFER_TOO_SMALL) << id;
            EXPECT_EQ(length, given);
        }
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](uint8_t b) { return b == 0x5A; }));
    }
}

TEST(GetEmbeddedProfile, UnknownIdsAndANullLengthAreRefused) {
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
     {{"cprt", "text"},
      {"desc", "desc"},
      {"wtpt", "XYZ "},
      {"bkpt", "XYZ "},
      {"A2B0", "mft2"},
      {"A2B1", "mft2"},
      {"A2B2", "mft2"},
      {"B2A0", "mft2"},
      {"B2A1", "mft2"},
      {"B2A2", "mft2"},
      {"gamt", "mft1"}},
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

class PressProfiles : public testing::Test {
protected:
    void SetUp() override {
        cmyk = openEmbedded(CLR_EMBEDDED_PROFILE_CMYK);
        cmy = openEmbedded(CLR_EMBEDDED_PROFILE_CMY);
        rgb = openEmbedded(CLR_EMBEDDED_PROFILE_RGB);
        lab.reset(cmsCreateLab4Profile(nullptr));
        toLab = transform(cmyk.get(), TYPE_CMYK_DBL, lab.get(), TYPE_Lab_DBL);
        toInk = transform(lab.get(), TYPE_Lab_DBL, cmyk.get(), TYPE_CMYK_DBL);
        ASSERT_TRUE(toLab && toInk);
    }
    cmsCIELab labOf(const double ink[4]) {
        cmsCIELab l;
        cmsDoTransform(toLab.get(), ink, &l, 1);
        return l;
    }
    void inkOf(const cmsCIELab& l, double ink[4]) { cmsDoTransform(toInk.get(), &l, ink, 1); }
    // The gamut tag's value for a Lab colour (0 in gamut).
    int gamut(const cmsCIELab& l) {
        auto* p = static_cast<cmsPipeline*>(cmsReadTag(cmyk.get(), cmsSigGamutTag));
        cmsUInt16Number in[3], out[1];
        cmsFloat2LabEncoded(in, &l);
        cmsPipelineEval16(in, out, p);
        return (out[0] + 128) / 257;
    }

    Profile cmyk, cmy, rgb, lab;
    Transform toLab, toInk;
};

TEST_F(PressProfiles, CmykThroughLabAndBackPrintsTheSameColour) {
    // Ink sets away from the gamut's edges: each ink 5..95 %, 260 % at most.
    Random random{7};
    std::vector<double> all, lighter;
    while (all.size() < 4000) {
        double ink[4], total = 0.0;
        for (double& v : ink) total += v = 5.0 + 0.9 * random.percent();
        if (total > 260.0) continue;
        cmsCIELab first = labOf(ink);
        double again[4];
        inkOf(first, again);
        cmsCIELab second = labOf(again);
        all.push_back(cmsDeltaE(&first, &second));
        if (first.L >= 20.0) lighter.push_back(all.back());
    }
    Spread s = spread(all), l = spread(lighter);
    std::printf("CMYK -> Lab -> CMYK -> Lab, dE76: median %.2f, 95%% %.2f, max %.2f; from L* 20 up: %.2f, %.2f, %.2f\n",
                s.median, s.p95, s.max, l.median, l.p95, l.max);
    EXPECT_LT(s.median, 0.5);
    EXPECT_LT(s.p95, 3.0);
    EXPECT_LT(s.max, 6.0);
    EXPECT_LT(l.median, 0.3);
    EXPECT_LT(l.p95, 1.5);
    EXPECT_LT(l.max, 4.0);
}

TEST_F(PressProfiles, LabInGamutThroughCmykAndBackIsKept) {
    std::vector<double> errors;
    for (double L = 10; L <= 95; L += 5)
        for (double a = -60; a <= 60; a += 10)
            for (double b = -60; b <= 60; b += 10) {
                cmsCIELab in = {L, a, b};
                if (gamut(in) != 0) continue;
                double ink[4];
                inkOf(in, ink);
                cmsCIELab out = labOf(ink);
                errors.push_back(cmsDeltaE(&in, &out));
            }
    ASSERT_GT(errors.size(), 300u);
    Spread s = spread(errors);
    std::printf("Lab in gamut -> CMYK -> Lab, dE76 over %zu colours: median %.2f, 95%% %.2f, max %.2f\n", errors.size(),
                s.median, s.p95, s.max);
    EXPECT_LT(s.median, 0.3);
    EXPECT_LT(s.p95, 1.5);
    EXPECT_LT(s.max, 4.0);
}

TEST_F(PressProfiles, SeparationsKeepTheInkLimitAndTheEndsOfTheGreyAxis) {
    double most = 0.0;
    for (double L = 0; L <= 100; L += 2)
        for (double a = -128; a <= 127; a += 8.5)
            for (double b = -128; b <= 127; b += 8.5) {
                double ink[4];
                inkOf({L, a, b}, ink);
                most = std::max(most, ink[0] + ink[1] + ink[2] + ink[3]);
            }
    EXPECT_LE(most, 300.5);

    double white[4], black[4];
    inkOf({100, 0, 0}, white);
    inkOf({0, 0, 0}, black);
    for (int i = 0; i < 4; ++i) EXPECT_LT(white[i], 0.5) << i;
    EXPECT_GT(black[3], 99.0);
    for (int i = 0; i < 3; ++i) EXPECT_LT(black[i], 1.0) << i;

    // Greys separate to inks that print grey, with black rising as they darken.
    double previousBlack = -1.0;
    for (double L = 95; L >= 10; L -= 5) {
        double ink[4];
        inkOf({L, 0, 0}, ink);
        cmsCIELab back = labOf(ink);
        EXPECT_NEAR(back.L, L, 0.5);
        EXPECT_LT(std::hypot(back.a, back.b), 0.5) << L;
        EXPECT_GE(ink[3], previousBlack - 0.5) << L;
        previousBlack = ink[3];
    }
}

TEST_F(PressProfiles, GamutTagTellsPrintableColoursFromOthers) {
    Random random{11};
    int inside = 0, tried = 0;
    while (tried < 2000) {
        double ink[4], total = 0.0;
        for (double& v : ink) total += v = 10.0 + 0.8 * random.percent();
        if (total > 250.0) continue;
        ++tried;
        if (gamut(labOf(ink)) == 0) ++inside;
    }
    std::printf("printable colours the gamut tag holds in gamut: %d of %d\n", inside, tried);
    EXPECT_GT(inside, tried * 8 / 10);
    // Colours no press prints: beyond the display's blue, a bright saturated
    // green, a white brighter than paper with chroma.
    EXPECT_GT(gamut({30, 70, -120}), 10);
    EXPECT_GT(gamut({80, -110, 60}), 10);
    EXPECT_GT(gamut({98, 40, -40}), 10);
    EXPECT_GT(gamut({50, 127, -128}), gamut({50, 60, -60}));
}

TEST_F(PressProfiles, CmyProfileRunsFromPaperToItsOverprintAndBack) {
    Transform cmyToLab = transform(cmy.get(), COLORSPACE_SH(PT_CMY) | CHANNELS_SH(3) | BYTES_SH(0) | FLOAT_SH(1),
                                   lab.get(), TYPE_Lab_DBL);
    Transform labToCmy = transform(lab.get(), TYPE_Lab_DBL, cmy.get(),
                                   COLORSPACE_SH(PT_CMY) | CHANNELS_SH(3) | BYTES_SH(0) | FLOAT_SH(1));
    ASSERT_TRUE(cmyToLab && labToCmy);
    auto labAt = [&](double c, double m, double y) {
        double in[3] = {c, m, y};
        cmsCIELab l;
        cmsDoTransform(cmyToLab.get(), in, &l, 1);
        return l;
    };
    cmsCIELab paper = labAt(0, 0, 0), full = labAt(100, 100, 100);
    EXPECT_NEAR(paper.L, 100.0, 0.05);
    EXPECT_LT(std::hypot(paper.a, paper.b), 0.05);
    EXPECT_LT(full.L, 0.1);

    std::vector<double> errors;
    for (int c = 5; c <= 95; c += 10)
        for (int m = 5; m <= 95; m += 10)
            for (int y = 5; y <= 95; y += 10) {
                cmsCIELab first = labAt(c, m, y);
                double ink[3];
                cmsDoTransform(labToCmy.get(), &first, ink, 1);
                cmsCIELab second = labAt(ink[0], ink[1], ink[2]);
                errors.push_back(cmsDeltaE(&first, &second));
            }
    Spread s = spread(errors);
    EXPECT_LT(s.median, 0.3);
    EXPECT_LT(s.max, 3.0);

    // Its private tags: the dot-gained coverage of each ink, from none to
    // full and rising; and the grey balance, from paper to the overprint.
    Bytes gain(8 + 768), balance(8 + 768);
    ASSERT_EQ(cmsReadRawTag(cmy.get(), static_cast<cmsTagSignature>(0x4B303730), gain.data(), 776), 776u);
    ASSERT_EQ(cmsReadRawTag(cmy.get(), static_cast<cmsTagSignature>(0x4B303731), balance.data(), 776), 776u);
    for (int ink = 0; ink < 3; ++ink) {
        const uint8_t* curve = &gain[8 + 256 * ink];
        EXPECT_EQ(curve[0], 0);
        EXPECT_EQ(curve[255], 255);
        EXPECT_GT(curve[128], 128);  // dot gain
        EXPECT_TRUE(std::is_sorted(curve, curve + 256));
    }
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(balance[8 + c], 0);
        EXPECT_EQ(balance[8 + 765 + c], 255);
    }
}

// The rows the press was calibrated against: CMYK lattice nodes of the
// emulation table and the display RGB expected there.
struct PressRow {
    int node[4];
    int rgb[3];
};
const PressRow kPressRows[] = {
    {{0, 0, 0, 0}, {255, 255, 255}}, {{16, 0, 0, 0}, {0, 178, 236}}, {{0, 16, 0, 0}, {227, 0, 127}},
    {{0, 0, 16, 0}, {249, 244, 0}},  {{0, 0, 0, 16}, {0, 0, 0}},     {{8, 8, 8, 8}, {82, 72, 66}},
    {{16, 16, 16, 0}, {54, 39, 51}}, {{0, 0, 0, 15}, {22, 22, 22}},
};

int inkByte(int node) { return node == 16 ? 255 : 16 * node; }

TEST_F(PressProfiles, ReferenceRowsComeOutNearTheirColours) {
    Transform toRgb = transform(cmyk.get(), TYPE_CMYK_DBL, rgb.get(), TYPE_RGB_DBL);
    Transform rgbToLab = transform(rgb.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL);
    std::printf("calibration residuals, CMYK profile to RGB profile, intent 0 (dE2000 / dE76 of the RGB bytes):\n");
    for (const PressRow& row : kPressRows) {
        double ink[4], out[3];
        for (int i = 0; i < 4; ++i) ink[i] = inkByte(row.node[i]) / 2.55;
        cmsDoTransform(toRgb.get(), ink, out, 1);
        uint8_t made[3], target[3];
        for (int c = 0; c < 3; ++c) {
            made[c] = static_cast<uint8_t>(std::lround(std::clamp(out[c], 0.0, 1.0) * 255.0));
            target[c] = static_cast<uint8_t>(row.rgb[c]);
        }
        cmsCIELab a, b;
        cmsDoTransform(rgbToLab.get(), made, &a, 1);
        cmsDoTransform(rgbToLab.get(), target, &b, 1);
        const double e2000 = dE2000(a, b), e76 = cmsDeltaE(&a, &b);
        char name[64];
        std::snprintf(name, sizeof name, "row_%d_%d_%d_%d", row.node[0], row.node[1], row.node[2], row.node[3]);
        char value[96];
        std::snprintf(value, sizeof value, "rgb %d %d %d for %d %d %d, dE2000 %.2f, dE76 %.2f", made[0], made[1],
                      made[2], target[0], target[1], target[2], e2000, e76);
        std::printf("  (%2d,%2d,%2d,%2d): %s\n", row.node[0], row.node[1], row.node[2], row.node[3], value);
        RecordProperty(name, value);
        EXPECT_LT(e2000, 1.0) << name;
    }
}

// ---------------------------------------------------------------------------
// The emulation tables.

int axisByte(int node) { return node == 32 ? 255 : 8 * node; }
int signedAxis(int node) { return node == 32 ? 127 : 8 * node - 128; }

quvtest::Pixel entry(const uint8_t* table, size_t index) {
    return {table[3 * index], table[3 * index + 1], table[3 * index + 2]};
}

// Entries are compared channel by channel, a and b of Lab as signed bytes:
// the reference rows are met to within one count.
void expectWithinOneCount(const quvtest::Pixel& got, std::array<int, 3> want, bool signedAb, const char* where) {
    for (int c = 0; c < 3; ++c) {
        int value = signedAb && c > 0 ? int(int8_t(got[c])) : int(got[c]);
        EXPECT_NEAR(value, want[c], 1) << where << ", channel " << c;
    }
}

TEST(EmulationTables, HoldTheReferenceRows) {
    const uint8_t* rgb = quv::kernels::emulationTableRgb();
    auto rgbAt = [&](int r, int g, int b) { return entry(rgb, (size_t(r) * 33 + g) * 33 + b); };
    expectWithinOneCount(rgbAt(0, 0, 0), {0, 0, 0}, true, "RGB (0, 0, 0)");
    expectWithinOneCount(rgbAt(32, 32, 32), {255, 0, 0}, true, "RGB (32, 32, 32)");
    expectWithinOneCount(rgbAt(16, 16, 16), {137, 0, 0}, true, "RGB (16, 16, 16)");
    expectWithinOneCount(rgbAt(32, 0, 0), {138, 81, 70}, true, "RGB (32, 0, 0)");
    expectWithinOneCount(rgbAt(0, 32, 0), {224, -79, 81}, true, "RGB (0, 32, 0)");
    expectWithinOneCount(rgbAt(0, 0, 32), {75, 68, -112}, true, "RGB (0, 0, 32)");
    EXPECT_EQ(rgbAt(31, 31, 31)[0], 249);  // the grey of 248, L* 97.65

    const uint8_t* lab = quv::kernels::emulationTableLab();
    auto labAt = [&](int l, int a, int b) { return entry(lab, (size_t(l) * 33 + a) * 33 + b); };
    expectWithinOneCount(labAt(0, 16, 16), {0, 0, 0}, false, "Lab (0, 16, 16)");
    expectWithinOneCount(labAt(16, 16, 16), {119, 119, 119}, false, "Lab (16, 16, 16)");
    expectWithinOneCount(labAt(32, 16, 16), {255, 255, 255}, false, "Lab (32, 16, 16)");
    expectWithinOneCount(labAt(16, 24, 16), {211, 56, 123}, false, "Lab (16, 24, 16)");
    expectWithinOneCount(labAt(16, 16, 24), {138, 119, 0}, false, "Lab (16, 16, 24)");

    const uint8_t* cmyk = quv::kernels::emulationTableCmyk();
    for (const PressRow& row : kPressRows) {
        char where[48];
        std::snprintf(where, sizeof where, "CMYK (%d, %d, %d, %d)", row.node[0], row.node[1], row.node[2], row.node[3]);
        size_t index = ((size_t(row.node[0]) * 17 + row.node[1]) * 17 + row.node[2]) * 17 + row.node[3];
        expectWithinOneCount(entry(cmyk, index), {row.rgb[0], row.rgb[1], row.rgb[2]}, false, where);
    }
}

TEST(EmulationTables, AgreeWithLcms2AtEveryNode) {
    // sRGB against D50 Lab: lcms2's own sRGB is the oracle here.
    Profile srgb(cmsCreate_sRGBProfile());
    Profile lab(cmsCreateLab4Profile(nullptr));
    Transform toLab = transform(srgb.get(), TYPE_RGB_DBL, lab.get(), TYPE_Lab_DBL);
    Transform toRgb = transform(lab.get(), TYPE_Lab_DBL, srgb.get(), TYPE_RGB_DBL);
    const uint8_t* rgbTable = quv::kernels::emulationTableRgb();
    const uint8_t* labTable = quv::kernels::emulationTableLab();
    int rgbWorst = 0, labWorst = 0;
    for (int i = 0; i < 33; ++i)
        for (int j = 0; j < 33; ++j)
            for (int k = 0; k < 33; ++k) {
                const size_t index = (size_t(i) * 33 + j) * 33 + k;
                double in[3] = {axisByte(i) / 255.0, axisByte(j) / 255.0, axisByte(k) / 255.0};
                cmsCIELab l;
                cmsDoTransform(toLab.get(), in, &l, 1);
                const double expected[3] = {l.L * 2.55, l.a, l.b};
                const double held[3] = {double(rgbTable[3 * index]), double(int8_t(rgbTable[3 * index + 1])),
                                        double(int8_t(rgbTable[3 * index + 2]))};
                for (int c = 0; c < 3; ++c) {
                    double e = std::clamp(expected[c], c == 0 ? 0.0 : -128.0, c == 0 ? 255.0 : 127.0);
                    rgbWorst = std::max(rgbWorst, int(std::ceil(std::fabs(held[c] - e) - 0.5)));
                }

                cmsCIELab node = {axisByte(i) / 2.55, double(signedAxis(j)), double(signedAxis(k))};
                double out[3];
                cmsDoTransform(toRgb.get(), &node, out, 1);
                for (int c = 0; c < 3; ++c) {
                    double e = std::clamp(out[c], 0.0, 1.0) * 255.0;
                    labWorst = std::max(labWorst, int(std::ceil(std::fabs(labTable[3 * index + c] - e) - 0.5)));
                }
            }
    EXPECT_LE(rgbWorst, 1);
    EXPECT_LE(labWorst, 1);

    // The CMYK table is the embedded CMYK profile evaluated to the embedded
    // RGB profile.
    Profile cmyk = openEmbedded(CLR_EMBEDDED_PROFILE_CMYK), rgb = openEmbedded(CLR_EMBEDDED_PROFILE_RGB);
    Transform press = transform(cmyk.get(), TYPE_CMYK_DBL, rgb.get(), TYPE_RGB_DBL);
    const uint8_t* cmykTable = quv::kernels::emulationTableCmyk();
    int cmykWorst = 0;
    for (size_t index = 0; index < 17 * 17 * 17 * 17; ++index) {
        double ink[4];
        size_t rest = index;
        for (int i = 3; i >= 0; --i, rest /= 17) ink[i] = inkByte(int(rest % 17)) / 2.55;
        double out[3];
        cmsDoTransform(press.get(), ink, out, 1);
        for (int c = 0; c < 3; ++c) {
            double e = std::clamp(out[c], 0.0, 1.0) * 255.0;
            cmykWorst = std::max(cmykWorst, int(std::ceil(std::fabs(cmykTable[3 * index + c] - e) - 0.5)));
        }
    }
    EXPECT_EQ(cmykWorst, 0);
}

// ---------------------------------------------------------------------------
// The generator.

std::string slurp(const std::filesystem::path& p) {
    std::ifstream f(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

TEST(GeneratedData, ASecondRunMakesTheSameBytes) {
    const std::filesystem::path built = QUVCLR_GENERATED_DIR;
    char pattern[] = "/tmp/quvclr-generated-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::filesystem::path again = pattern;
    const std::string command = "'" + std::string(QUVCLR_GENERATOR) + "' '" + again.string() + "' > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    for (const char* name : {"embedded_profiles.cpp", "emulation_tables.cpp", "quvclr-rgb.icc", "quvclr-lab.icc",
                             "quvclr-cmyk.icc", "quvclr-cmy.icc"}) {
        std::string a = slurp(built / name), b = slurp(again / name);
        EXPECT_FALSE(a.empty()) << name;
        EXPECT_TRUE(a == b) << name << " differs between two runs";
    }
    // The library holds what the generator wrote.
    const std::pair<uint32_t, const char*> files[] = {{CLR_EMBEDDED_PROFILE_RGB, "quvclr-rgb.icc"},
                                                      {CLR_EMBEDDED_PROFILE_LAB, "quvclr-lab.icc"},
                                                      {CLR_EMBEDDED_PROFILE_CMYK, "quvclr-cmyk.icc"},
                                                      {CLR_EMBEDDED_PROFILE_CMY, "quvclr-cmy.icc"}};
    for (const auto& [id, name] : files) {
        Bytes bytes = embedded(id);
        EXPECT_TRUE(slurp(built / name) == std::string(bytes.begin(), bytes.end())) << name;
    }
    std::filesystem::remove_all(again);
}

}  // namespace
