// Makes the library's constant colour data at build time: the four embedded
// ICC profiles and the three built-in emulation tables, written as C++ arrays.
//
//     quvclr_generate_data OUTPUT_DIRECTORY
//
// writes OUTPUT_DIRECTORY/embedded_profiles.cpp and
// OUTPUT_DIRECTORY/emulation_tables.cpp, and the four profiles as .icc files
// beside them. The same sources and the same lcms2 give the same bytes:
// nothing depends on the time or on the build type, and it runs on one thread.
#include "press_model.h"
#include "profiles.h"

#include <lcms2.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace quvgen;

namespace {

// Rows the press is calibrated against: CMYK lattice nodes (16 n, node 16
// standing for 255) and the display RGB the CMYK table holds there.
struct PressRow {
    std::array<int, 4> node;
    std::array<int, 3> rgb;
};
const PressRow kPressRows[] = {
    {{0, 0, 0, 0}, {255, 255, 255}}, {{16, 0, 0, 0}, {0, 178, 236}}, {{0, 16, 0, 0}, {227, 0, 127}},
    {{0, 0, 16, 0}, {249, 244, 0}},  {{0, 0, 0, 16}, {0, 0, 0}},     {{8, 8, 8, 8}, {82, 72, 66}},
    {{16, 16, 16, 0}, {54, 39, 51}}, {{0, 0, 0, 15}, {22, 22, 22}},
};

int inkByte(int node) { return node == 16 ? 255 : 16 * node; }
int axisByte(int node) { return node == 32 ? 255 : 8 * node; }
int signedAxis(int node) { return node == 32 ? 127 : 8 * node - 128; }

struct ProfileCloser {
    void operator()(void* h) const { cmsCloseProfile(h); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
struct TransformFree {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};
using Transform = std::unique_ptr<void, TransformFree>;

Profile open(const Bytes& b) {
    void* h = cmsOpenProfileFromMem(b.data(), static_cast<cmsUInt32Number>(b.size()));
    if (!h) throw std::runtime_error("a generated profile does not open");
    return Profile(h);
}

Transform transform(void* from, cmsUInt32Number inFormat, void* to, cmsUInt32Number outFormat) {
    void* t = cmsCreateTransform(from, inFormat, to, outFormat, INTENT_PERCEPTUAL,
                                 cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE);
    if (!t) throw std::runtime_error("lcms2 made no transform");
    return Transform(t);
}

uint8_t unitByte(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); }
uint8_t signedByte(double v) {
    return static_cast<uint8_t>(static_cast<int8_t>(std::lround(std::clamp(v, -128.0, 127.0))));
}

// Entries L, a, b at the RGB lattice: L* x 255 / 100, a and b as signed bytes.
Bytes rgbToLabTable(void* toLab) {
    Bytes t;
    t.reserve(33 * 33 * 33 * 3);
    for (int r = 0; r < 33; ++r)
        for (int g = 0; g < 33; ++g)
            for (int b = 0; b < 33; ++b) {
                double rgb[3] = {axisByte(r) / 255.0, axisByte(g) / 255.0, axisByte(b) / 255.0};
                cmsCIELab lab;
                cmsDoTransform(toLab, rgb, &lab, 1);
                t.push_back(static_cast<uint8_t>(std::lround(std::clamp(lab.L * 255.0 / 100.0, 0.0, 255.0))));
                t.push_back(signedByte(lab.a));
                t.push_back(signedByte(lab.b));
            }
    return t;
}

// Entries R, G, B at the Lab lattice (L byte = L* x 255 / 100, signed a, b).
Bytes labToRgbTable(void* toRgb) {
    Bytes t;
    t.reserve(33 * 33 * 33 * 3);
    for (int l = 0; l < 33; ++l)
        for (int a = 0; a < 33; ++a)
            for (int b = 0; b < 33; ++b) {
                cmsCIELab lab = {axisByte(l) * 100.0 / 255.0, double(signedAxis(a)), double(signedAxis(b))};
                double rgb[3];
                cmsDoTransform(toRgb, &lab, rgb, 1);
                for (double v : rgb) t.push_back(unitByte(v));
            }
    return t;
}

// Entries R, G, B at the CMYK lattice. lcms2 takes floating CMYK in percent.
Bytes cmykToRgbTable(void* toRgb) {
    Bytes t;
    t.reserve(17 * 17 * 17 * 17 * 3);
    for (int c = 0; c < 17; ++c)
        for (int m = 0; m < 17; ++m)
            for (int y = 0; y < 17; ++y)
                for (int k = 0; k < 17; ++k) {
                    double ink[4] = {inkByte(c) / 2.55, inkByte(m) / 2.55, inkByte(y) / 2.55, inkByte(k) / 2.55};
                    double rgb[3];
                    cmsDoTransform(toRgb, ink, rgb, 1);
                    for (double v : rgb) t.push_back(unitByte(v));
                }
    return t;
}

void writeArray(std::ostream& out, const char* name, const Bytes& bytes) {
    out << "const uint8_t " << name << "[" << bytes.size() << "] = {\n";
    for (size_t i = 0; i < bytes.size(); ++i) {
        out << int(bytes[i]) << ',';
        if (i % 32 == 31 || i + 1 == bytes.size()) out << '\n';
    }
    out << "};\n\n";
}

// Replaces the file in one step, so an interrupted run leaves no half file.
void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::path temporary = path;
    temporary += ".tmp";
    {
        std::ofstream f(temporary, std::ios::binary);
        f << text;
        if (!f) throw std::runtime_error("cannot write " + temporary.string());
    }
    std::filesystem::rename(temporary, path);
}

constexpr const char* kBanner = "// Generated by quvclr_generate_data from data/ at build time; not to be edited.\n";

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
        return 2;
    }
    const auto started = std::chrono::steady_clock::now();
    try {
        watchEngineErrors();
        const std::filesystem::path outDir = argv[1];
        std::filesystem::create_directories(outDir);

        RgbMatrix display;
        Bytes rgb = buildRgbProfile(display);
        Bytes lab = buildLabIdentityProfile();

        std::vector<CalibrationTarget> targets;
        for (const auto& row : kPressRows) {
            CalibrationTarget t;
            for (int i = 0; i < 4; ++i) t.coverage[i] = inkByte(row.node[i]) / 255.0;
            t.rgb = row.rgb;
            targets.push_back(t);
        }
        CalibrationResult calibration = calibratePress(targets, display);
        SeparationRule rule;
        Bytes cmyk = buildCmykProfile(calibration.model, rule);
        Bytes cmy = buildCmyProfile(calibration.model);

        Profile rgbProfile = open(rgb), cmykProfile = open(cmyk);
        Profile labProfile(cmsCreateLab4Profile(nullptr));
        Transform rgbToLab = transform(rgbProfile.get(), TYPE_RGB_DBL, labProfile.get(), TYPE_Lab_DBL);
        Transform labToRgb = transform(labProfile.get(), TYPE_Lab_DBL, rgbProfile.get(), TYPE_RGB_DBL);
        Transform cmykToRgb = transform(cmykProfile.get(), TYPE_CMYK_DBL, rgbProfile.get(), TYPE_RGB_DBL);
        Bytes tableRgb = rgbToLabTable(rgbToLab.get());
        Bytes tableLab = labToRgbTable(labToRgb.get());
        Bytes tableCmyk = cmykToRgbTable(cmykToRgb.get());

        if (!engineErrors().empty()) {
            for (const auto& e : engineErrors()) std::fprintf(stderr, "%s\n", e.c_str());
            return 1;
        }

        // The profiles as files too, for inspection with ICC tools.
        const std::pair<const char*, const Bytes*> files[] = {
            {"quvclr-rgb.icc", &rgb}, {"quvclr-lab.icc", &lab}, {"quvclr-cmyk.icc", &cmyk}, {"quvclr-cmy.icc", &cmy}};
        for (const auto& [name, bytes] : files)
            writeFile(outDir / name, std::string(bytes->begin(), bytes->end()));

        std::ostringstream profiles;
        profiles << kBanner << "#include \"icc/embedded.h\"\n\nnamespace quv::icc {\nnamespace {\n\n";
        writeArray(profiles, "kRgb", rgb);
        writeArray(profiles, "kLab", lab);
        writeArray(profiles, "kCmyk", cmyk);
        writeArray(profiles, "kCmy", cmy);
        profiles << "}  // namespace\n\nconst EmbeddedProfile kEmbeddedProfiles[kEmbeddedProfileCount] = {\n"
                 << "    {CLR_EMBEDDED_PROFILE_RGB, kRgb, sizeof kRgb},\n"
                 << "    {CLR_EMBEDDED_PROFILE_LAB, kLab, sizeof kLab},\n"
                 << "    {CLR_EMBEDDED_PROFILE_CMYK, kCmyk, sizeof kCmyk},\n"
                 << "    {CLR_EMBEDDED_PROFILE_CMY, kCmy, sizeof kCmy},\n};\n\n}  // namespace quv::icc\n";
        writeFile(outDir / "embedded_profiles.cpp", profiles.str());

        std::ostringstream tables;
        tables << kBanner << "#include \"kernels/emulation_data.h\"\n\nnamespace quv::kernels {\nnamespace {\n\n";
        writeArray(tables, "kRgb", tableRgb);
        writeArray(tables, "kLab", tableLab);
        writeArray(tables, "kCmyk", tableCmyk);
        tables << "}  // namespace\n\n"
               << "static_assert(sizeof kRgb == kEmulationTableRgbBytes);\n"
               << "static_assert(sizeof kLab == kEmulationTableLabBytes);\n"
               << "static_assert(sizeof kCmyk == kEmulationTableCmykBytes);\n\n"
               << "const uint8_t* emulationTableRgb() { return kRgb; }\n"
               << "const uint8_t* emulationTableLab() { return kLab; }\n"
               << "const uint8_t* emulationTableCmyk() { return kCmyk; }\n\n}  // namespace quv::kernels\n";
        writeFile(outDir / "emulation_tables.cpp", tables.str());

        // What was made, and how near the press comes to its rows.
        std::printf("profiles: RGB %zu, Lab %zu, CMYK %zu, CMY %zu bytes\n", rgb.size(), lab.size(), cmyk.size(),
                    cmy.size());
        for (const auto& line : calibration.report) std::printf("press: %s\n", line.c_str());
        for (const auto& row : kPressRows) {
            size_t at = 3 * ((((size_t(row.node[0]) * 17 + row.node[1]) * 17 + row.node[2]) * 17) + row.node[3]);
            double target[3] = {row.rgb[0] / 255.0, row.rgb[1] / 255.0, row.rgb[2] / 255.0};
            double made[3] = {tableCmyk[at] / 255.0, tableCmyk[at + 1] / 255.0, tableCmyk[at + 2] / 255.0};
            cmsCIELab a, b;
            cmsDoTransform(rgbToLab.get(), target, &a, 1);
            cmsDoTransform(rgbToLab.get(), made, &b, 1);
            std::printf("press row (%2d,%2d,%2d,%2d): RGB %3d %3d %3d for %3d %3d %3d, dE2000 %.2f, dE76 %.2f\n",
                        row.node[0], row.node[1], row.node[2], row.node[3], tableCmyk[at], tableCmyk[at + 1],
                        tableCmyk[at + 2], row.rgb[0], row.rgb[1], row.rgb[2], cmsCIE2000DeltaE(&a, &b, 1, 1, 1),
                        cmsDeltaE(&a, &b));
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "quvclr_generate_data: %s\n", e.what());
        return 1;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("generated in %.2f s\n", seconds);
    return 0;
}
