#include "profiles.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <stdexcept>

namespace quvgen {

void ProfileCloser::operator()(void* h) const { cmsCloseProfile(h); }
void TransformFree::operator()(void* t) const { cmsDeleteTransform(t); }

Profile openProfile(const Bytes& bytes) {
    void* h = cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
    if (!h) throw std::runtime_error("a generated profile does not open");
    return Profile(h);
}

Transform makeTransform(void* from, uint32_t inFormat, void* to, uint32_t outFormat) {
    void* t = cmsCreateTransform(from, inFormat, to, outFormat, INTENT_PERCEPTUAL,
                                 cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE);
    if (!t) throw std::runtime_error("lcms2 made no transform");
    return Transform(t);
}

namespace {

std::vector<std::string> g_errors;

void recordError(cmsContext, cmsUInt32Number code, const char* text) {
    g_errors.push_back("lcms2 error " + std::to_string(code) + ": " + text);
}

struct PipelineFree {
    void operator()(cmsPipeline* p) const { cmsPipelineFree(p); }
};
using Pipeline = std::unique_ptr<cmsPipeline, PipelineFree>;


constexpr const char* kCopyright = "No rights reserved. Made by the quvclr data generator from its own models.";

template <typename T>
T* checked(T* p, const char* what) {
    if (!p) throw std::runtime_error(std::string("lcms2 failed: ") + what);
    return p;
}

void check(cmsBool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string("lcms2 failed: ") + what);
}

Profile newProfile(cmsProfileClassSignature deviceClass, cmsColorSpaceSignature space, cmsColorSpaceSignature pcs,
                   double version) {
    Profile h(checked(cmsCreateProfilePlaceholder(nullptr), "profile"));
    cmsSetProfileVersion(h.get(), version);
    cmsSetDeviceClass(h.get(), deviceClass);
    cmsSetColorSpace(h.get(), space);
    cmsSetPCS(h.get(), pcs);
    cmsSetHeaderRenderingIntent(h.get(), INTENT_PERCEPTUAL);
    return h;
}

// Text tags: lcms2 writes them as textType or textDescriptionType in a
// version 2 profile.
void writeText(cmsHPROFILE h, cmsTagSignature sig, const char* text) {
    cmsMLU* mlu = checked(cmsMLUalloc(nullptr, 1), "text");
    cmsMLUsetASCII(mlu, "en", "US", text);
    cmsBool ok = cmsWriteTag(h, sig, mlu);
    cmsMLUfree(mlu);
    check(ok, "text tag");
}

void writeXyz(cmsHPROFILE h, cmsTagSignature sig, const cmsCIEXYZ& xyz) { check(cmsWriteTag(h, sig, &xyz), "XYZ tag"); }

// A private tag of type uInt8ArrayType.
void writeBytes(cmsHPROFILE h, uint32_t sig, const Bytes& values) {
    Bytes raw = {'u', 'i', '0', '8', 0, 0, 0, 0};
    raw.insert(raw.end(), values.begin(), values.end());
    check(cmsWriteRawTag(h, static_cast<cmsTagSignature>(sig), raw.data(), static_cast<cmsUInt32Number>(raw.size())),
          "raw tag");
}

constexpr uint32_t signature(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 | uint32_t(uint8_t(s[2])) << 8 |
           uint32_t(uint8_t(s[3]));
}

Bytes save(cmsHPROFILE h) {
    cmsUInt32Number size = 0;
    check(cmsSaveProfileToMem(h, nullptr, &size), "measuring the profile");
    Bytes bytes(size);
    check(cmsSaveProfileToMem(h, bytes.data(), &size), "saving the profile");
    bytes.resize(size);
    // lcms2 stamps the time of creation; a fixed date keeps the bytes
    // reproducible. The profile ID stays zero, as version 2 has none.
    for (int i = 0; i < 6; ++i) {
        bytes[24 + 2 * i] = static_cast<uint8_t>(kCreationDate[i] >> 8);
        bytes[25 + 2 * i] = static_cast<uint8_t>(kCreationDate[i] & 0xFF);
    }
    return bytes;
}

Profile open(const Bytes& bytes) {
    return Profile(checked(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())), "open"));
}

uint16_t word(double unit) { return static_cast<uint16_t>(std::floor(std::clamp(unit, 0.0, 1.0) * 65535.0 + 0.5)); }

// Input curves, a lattice and output curves: the shape lut8Type and
// lut16Type hold. The curves are identities of two points, which the 16-bit
// form keeps as they are and the 8-bit form writes as 256-entry identities.
// `table` holds the lattice in the ICC order: first input slowest, outputs
// interleaved.
//
// A lattice over version 2 Lab (`labInput`) instead gets input curves of 256
// points that stretch L* 0..100 over the whole lattice: the 16-bit encoding
// reaches L* 100.4, and without the stretch paper white would fall between
// the last two nodes, a printed one and one beyond the paper.
Pipeline latticePipeline(int inputs, int outputs, int grid, const std::vector<uint16_t>& table, bool eightBit,
                         bool labInput = false) {
    Pipeline p(checked(cmsPipelineAlloc(nullptr, inputs, outputs), "pipeline"));
    const cmsUInt16Number ends[2] = {0, 65535};
    std::vector<cmsUInt16Number> lightness(256), straight(256);
    for (int i = 0; i < 256; ++i) {
        lightness[i] = word(i * 257.0 / 0xFF00);
        straight[i] = static_cast<cmsUInt16Number>(i * 257);
    }
    auto curves = [&](int n, bool stretch) {
        std::vector<cmsToneCurve*> c(n);
        for (int i = 0; i < n; ++i) {
            c[i] = !stretch ? cmsBuildTabulatedToneCurve16(nullptr, 2, ends)
                            : cmsBuildTabulatedToneCurve16(nullptr, 256, i == 0 ? lightness.data() : straight.data());
            checked(c[i], "curve");
        }
        cmsStage* stage = cmsStageAllocToneCurves(nullptr, n, c.data());
        for (auto* curve : c) cmsFreeToneCurve(curve);
        return checked(stage, "curves");
    };
    check(cmsPipelineInsertStage(p.get(), cmsAT_END, curves(inputs, labInput)), "input curves");
    cmsStage* lattice = checked(cmsStageAllocCLut16bit(nullptr, grid, inputs, outputs, table.data()), "lattice");
    check(cmsPipelineInsertStage(p.get(), cmsAT_END, lattice), "lattice");
    check(cmsPipelineInsertStage(p.get(), cmsAT_END, curves(outputs, false)), "output curves");
    if (eightBit) cmsPipelineSetSaveAs8bitsFlag(p.get(), TRUE);
    return p;
}

// The lattice coordinate lcms2 gives node i of n: i x 65535 / (n - 1), rounded.
uint16_t nodeValue(int i, int n) { return static_cast<uint16_t>(std::floor(i * 65535.0 / (n - 1) + 0.5)); }

uint8_t byte(double unit) { return static_cast<uint8_t>(std::floor(std::clamp(unit, 0.0, 1.0) * 255.0 + 0.5)); }

// Lab as a version 2 lut16Type holds it (L* 100 at 0xFF00, a and b offset by
// 128 in units of 1/256), to and from the lattice's 16-bit values.
Vec3 labFromV2(const uint16_t w[3]) {
    cmsCIELab lab;
    cmsLabEncoded2FloatV2(&lab, w);
    return {lab.L, lab.a, lab.b};
}

void labToV2(const Vec3& lab, uint16_t* out) {
    cmsCIELab l = {lab[0], lab[1], lab[2]};
    cmsFloat2LabEncodedV2(out, &l);
}

// Device to Lab over a lattice of `grid` nodes per ink.
std::vector<uint16_t> forwardTable(const PressModel& press, int grid) {
    const int inks = press.inks;
    size_t nodes = 1;
    for (int i = 0; i < inks; ++i) nodes *= grid;
    std::vector<uint16_t> table(nodes * 3);
    for (size_t n = 0; n < nodes; ++n) {
        double coverage[4] = {};
        size_t rest = n;
        for (int i = inks - 1; i >= 0; --i) {
            coverage[i] = nodeValue(int(rest % grid), grid) / 65535.0;
            rest /= grid;
        }
        labToV2(press.lab(coverage), &table[n * 3]);
    }
    return table;
}

// Lab to device over a lattice of `grid` nodes per axis, each node inverted;
// the lattice's L* axis runs from 0 to 100 (see latticePipeline).
std::vector<uint16_t> inverseTable(const PressModel& press, const SeparationRule& rule, int grid) {
    const int inks = press.inks;
    Separator separator(press, rule);
    std::vector<uint16_t> table(size_t(grid) * grid * grid * inks);
    std::array<double, 4> previous{};
    bool havePrevious = false;
    size_t at = 0;
    for (int l = 0; l < grid; ++l)
        for (int a = 0; a < grid; ++a)
            for (int b = 0; b < grid; ++b) {
                const uint16_t w[3] = {0, nodeValue(a, grid), nodeValue(b, grid)};
                Vec3 lab = labFromV2(w);
                lab[0] = 100.0 * l / (grid - 1);
                previous = separator.separate(lab, havePrevious ? &previous : nullptr);
                havePrevious = true;
                for (int i = 0; i < inks; ++i) table[at++] = word(previous[i]);
            }
    return table;
}

}  // namespace

const std::vector<std::string>& engineErrors() { return g_errors; }

void watchEngineErrors() { cmsSetLogErrorHandler(recordError); }

Bytes buildRgbProfile(RgbMatrix& display) {
    // The primaries adapted to D50, as lcms2 computes them (Bradford) from the
    // sRGB chromaticities and the D65 white.
    cmsCIExyY white = {0.3127, 0.3290, 1.0};
    cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
    cmsToneCurve* linear = checked(cmsBuildGamma(nullptr, 1.0), "gamma");
    cmsToneCurve* linears[3] = {linear, linear, linear};
    Profile matrixSource(checked(cmsCreateRGBProfile(&white, &primaries, linears), "RGB colorants"));
    cmsFreeToneCurve(linear);
    const cmsTagSignature colorantTags[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};

    Profile h = newProfile(cmsSigDisplayClass, cmsSigRgbData, cmsSigXYZData, 2.1);
    writeText(h.get(), cmsSigCopyrightTag, kCopyright);
    writeText(h.get(), cmsSigProfileDescriptionTag, "quvclr display RGB: sRGB primaries and tone curve");
    writeXyz(h.get(), cmsSigMediaWhitePointTag, *cmsD50_XYZ());
    writeXyz(h.get(), cmsSigMediaBlackPointTag, {0.0, 0.0, 0.0});
    for (auto sig : colorantTags)
        writeXyz(h.get(), sig, *checked(static_cast<cmsCIEXYZ*>(cmsReadTag(matrixSource.get(), sig)), "colorant"));
    // A reference display of 80 cd/m2 with a D65 white.
    writeXyz(h.get(), cmsSigLuminanceTag, {80.0 * 0.9505, 80.0, 80.0 * 1.0890});
    writeText(h.get(), cmsSigDeviceMfgDescTag, "quvclr");
    writeText(h.get(), cmsSigDeviceModelDescTag, "Reference display: sRGB primaries, D65 white, sRGB tone curve");
    writeText(h.get(), cmsSigViewingCondDescTag, "Reference viewing: 64 lux ambient light of D50 colour");
    // 64 lux falling on a perfect diffuser gives 64 / pi cd/m2; the surround
    // reflects a fifth of it.
    const double ambient = 64.0 / std::numbers::pi;
    const cmsCIEXYZ* d50 = cmsD50_XYZ();
    cmsICCViewingConditions view = {{d50->X * ambient, d50->Y * ambient, d50->Z * ambient},
                                    {d50->X * ambient * 0.2, d50->Y * ambient * 0.2, d50->Z * ambient * 0.2},
                                    cmsILLUMINANT_TYPE_D50};
    check(cmsWriteTag(h.get(), cmsSigViewingConditionsTag, &view), "view");
    cmsICCMeasurementConditions measurement = {1, {0.0, 0.0, 0.0}, 0, 0.01, cmsILLUMINANT_TYPE_D65};
    check(cmsWriteTag(h.get(), cmsSigMeasurementTag, &measurement), "meas");
    cmsTechnologySignature technology = cmsSigVideoMonitor;
    check(cmsWriteTag(h.get(), cmsSigTechnologyTag, &technology), "tech");

    // One 1024-point table of the sRGB curve serves all three channels.
    std::vector<cmsUInt16Number> points(1024);
    for (int i = 0; i < 1024; ++i) points[i] = word(srgbToLinear(i / 1023.0));
    cmsToneCurve* trc = checked(cmsBuildTabulatedToneCurve16(nullptr, 1024, points.data()), "tone curve");
    cmsBool ok = cmsWriteTag(h.get(), cmsSigRedTRCTag, trc);
    cmsFreeToneCurve(trc);
    check(ok, "rTRC");
    check(cmsLinkTag(h.get(), cmsSigGreenTRCTag, cmsSigRedTRCTag), "gTRC");
    check(cmsLinkTag(h.get(), cmsSigBlueTRCTag, cmsSigRedTRCTag), "bTRC");
    Bytes bytes = save(h.get());

    // The matrix as the saved profile holds it, rounded to s15Fixed16.
    Profile saved = open(bytes);
    for (int i = 0; i < 3; ++i) {
        const auto* xyz = checked(static_cast<cmsCIEXYZ*>(cmsReadTag(saved.get(), colorantTags[i])), "colorant");
        display[i] = {xyz->X, xyz->Y, xyz->Z};
    }
    return bytes;
}

Bytes buildLabIdentityProfile() {
    // 18 nodes per axis: node k stands for the byte 15 k, so an 8-bit
    // lattice holds every node of the identity exactly.
    constexpr int grid = 18;
    std::vector<uint16_t> table;
    for (int l = 0; l < grid; ++l)
        for (int a = 0; a < grid; ++a)
            for (int b = 0; b < grid; ++b)
                for (int v : {l, a, b}) table.push_back(static_cast<uint16_t>(v * 15 * 257));

    Profile h = newProfile(cmsSigColorSpaceClass, cmsSigLabData, cmsSigLabData, 2.1);
    writeText(h.get(), cmsSigProfileDescriptionTag, "quvclr Lab identity");
    Pipeline forward = latticePipeline(3, 3, grid, table, true);
    check(cmsWriteTag(h.get(), cmsSigAToB0Tag, forward.get()), "A2B0");
    Pipeline backward = latticePipeline(3, 3, grid, table, true);
    check(cmsWriteTag(h.get(), cmsSigBToA0Tag, backward.get()), "B2A0");
    writeXyz(h.get(), cmsSigMediaWhitePointTag, *cmsD50_XYZ());
    writeText(h.get(), cmsSigCopyrightTag, kCopyright);
    return save(h.get());
}

Bytes buildCmykProfile(const PressModel& press, const SeparationRule& rule) {
    Profile h = newProfile(cmsSigOutputClass, cmsSigCmykData, cmsSigLabData, 2.1);
    writeText(h.get(), cmsSigCopyrightTag, kCopyright);
    writeText(h.get(), cmsSigProfileDescriptionTag, "quvclr press CMYK: coated stock, 300% total ink");
    writeXyz(h.get(), cmsSigMediaWhitePointTag, *cmsD50_XYZ());
    // The solid black reports L* 0, the darkest this profile knows.
    writeXyz(h.get(), cmsSigMediaBlackPointTag, {0.0, 0.0, 0.0});

    // One table serves every intent in each direction.
    Pipeline toLab = latticePipeline(4, 3, 17, forwardTable(press, 17), false);
    check(cmsWriteTag(h.get(), cmsSigAToB0Tag, toLab.get()), "A2B0");
    check(cmsLinkTag(h.get(), cmsSigAToB1Tag, cmsSigAToB0Tag), "A2B1");
    check(cmsLinkTag(h.get(), cmsSigAToB2Tag, cmsSigAToB0Tag), "A2B2");
    Pipeline toInk = latticePipeline(3, 4, 33, inverseTable(press, rule, 33), false, true);
    check(cmsWriteTag(h.get(), cmsSigBToA0Tag, toInk.get()), "B2A0");
    check(cmsLinkTag(h.get(), cmsSigBToA1Tag, cmsSigBToA0Tag), "B2A1");
    check(cmsLinkTag(h.get(), cmsSigBToA2Tag, cmsSigBToA0Tag), "B2A2");

    // The gamut tag: 0 where the press prints the colour within 1 unit of
    // CIE76 under the ink limit; elsewhere that least difference, rounded and
    // held between 1 and 255.
    Separator separator(press, rule);
    constexpr int grid = 33;
    std::vector<uint16_t> gamut;
    std::array<double, 4> previous{};
    bool havePrevious = false;
    for (int l = 0; l < grid; ++l)
        for (int a = 0; a < grid; ++a)
            for (int b = 0; b < grid; ++b) {
                // The 8-bit Lab of lut8Type: L* 100 at 255, a and b offset by 128.
                const uint16_t w[3] = {nodeValue(l, grid), nodeValue(a, grid), nodeValue(b, grid)};
                cmsCIELab node;
                cmsLabEncoded2Float(&node, w);
                const Vec3 lab = {node.L, node.a, node.b};
                previous = separator.separate(lab, havePrevious ? &previous : nullptr);
                havePrevious = true;
                double error = deltaE76(press.lab(previous.data()), lab);
                double level = error <= 1.0 ? 0.0 : std::clamp(std::floor(error + 0.5), 1.0, 255.0);
                gamut.push_back(static_cast<uint16_t>(level * 257.0));
            }
    Pipeline gamutPipeline = latticePipeline(3, 1, grid, gamut, true);
    check(cmsWriteTag(h.get(), cmsSigGamutTag, gamutPipeline.get()), "gamt");
    return save(h.get());
}

Bytes buildCmyProfile(const PressModel& press) {
    const PressModel cmy = press.withoutBlack();
    Profile h = newProfile(cmsSigColorSpaceClass, cmsSigCmyData, cmsSigLabData, 2.0);
    writeText(h.get(), cmsSigCopyrightTag, kCopyright);

    Pipeline toLab = latticePipeline(3, 3, 17, forwardTable(cmy, 17), false);
    check(cmsWriteTag(h.get(), cmsSigAToB0Tag, toLab.get()), "A2B0");
    // K070: the coverage each nominal byte puts on paper, for cyan, magenta
    // and yellow in turn (256 bytes each).
    Bytes coverage;
    for (int ink = 0; ink < 3; ++ink)
        for (int v = 0; v < 256; ++v) coverage.push_back(byte(cmy.effectiveCoverage(ink, v / 255.0)));
    writeBytes(h.get(), signature("K070"), coverage);

    SeparationRule rule;
    Pipeline toInk = latticePipeline(3, 3, 33, inverseTable(cmy, rule, 33), false, true);
    check(cmsWriteTag(h.get(), cmsSigBToA0Tag, toInk.get()), "B2A0");
    // K071: grey balance. For i from 0 to 255, three bytes: the cyan, magenta
    // and yellow that print the neutral of L* = 100 (255 - i) / 255.
    Separator separator(cmy, rule);
    Bytes balance;
    for (int i = 0; i < 256; ++i) {
        std::array<double, 4> ink = separator.separate({100.0 * (255 - i) / 255.0, 0.0, 0.0});
        for (int c = 0; c < 3; ++c) balance.push_back(byte(ink[c]));
    }
    writeBytes(h.get(), signature("K071"), balance);

    writeText(h.get(), cmsSigProfileDescriptionTag, "quvclr CMY: three process inks on coated stock");
    writeXyz(h.get(), cmsSigMediaWhitePointTag, {0.96419, 1.0, 0.82489});
    return save(h.get());
}

}  // namespace quvgen
