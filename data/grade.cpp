#include "grade.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace quvgen {
namespace {

// Records each measure against its bound.
struct Grades {
    bool passed = true;
    void below(const char* what, double value, double bound) { grade(what, value, value < bound, "below", bound); }
    void above(const char* what, double value, double bound) { grade(what, value, value > bound, "above", bound); }
    void grade(const char* what, double value, bool ok, const char* side, double bound) {
        std::printf("%-4s %-56s %8.3f  (%s %g)\n", ok ? "ok" : "FAIL", what, value, side, bound);
        passed = passed && ok;
    }
};

// Median, 95th percentile and largest of a sample.
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

constexpr uint32_t kCmyDouble = COLORSPACE_SH(PT_CMY) | CHANNELS_SH(3) | BYTES_SH(0) | FLOAT_SH(1);

class Press {
public:
    Press(const Bytes& cmyk, const Bytes& cmy)
        : cmyk_(openProfile(cmyk)), cmy_(openProfile(cmy)), lab_(cmsCreateLab4Profile(nullptr)),
          toLab_(makeTransform(cmyk_.get(), TYPE_CMYK_DBL, lab_.get(), TYPE_Lab_DBL)),
          toInk_(makeTransform(lab_.get(), TYPE_Lab_DBL, cmyk_.get(), TYPE_CMYK_DBL)),
          cmyToLab_(makeTransform(cmy_.get(), kCmyDouble, lab_.get(), TYPE_Lab_DBL)),
          labToCmy_(makeTransform(lab_.get(), TYPE_Lab_DBL, cmy_.get(), kCmyDouble)) {}

    cmsCIELab labOf(const double ink[4]) const { return run<cmsCIELab>(toLab_, ink); }
    void inkOf(const cmsCIELab& lab, double ink[4]) const { cmsDoTransform(toInk_.get(), &lab, ink, 1); }
    cmsCIELab labOfCmy(const double ink[3]) const { return run<cmsCIELab>(cmyToLab_, ink); }
    void cmyOf(const cmsCIELab& lab, double ink[3]) const { cmsDoTransform(labToCmy_.get(), &lab, ink, 1); }
    // The gamut tag's value for a colour: 0 in gamut.
    int gamut(const cmsCIELab& lab) const {
        auto* p = static_cast<cmsPipeline*>(cmsReadTag(cmyk_.get(), cmsSigGamutTag));
        cmsUInt16Number in[3], out[1];
        cmsFloat2LabEncoded(in, &lab);
        cmsPipelineEval16(in, out, p);
        return (out[0] + 128) / 257;
    }
    void* cmy() const { return cmy_.get(); }

private:
    template <class T, class In>
    static T run(const Transform& t, const In* in) {
        T out;
        cmsDoTransform(t.get(), in, &out, 1);
        return out;
    }
    Profile cmyk_, cmy_, lab_;
    Transform toLab_, toInk_, cmyToLab_, labToCmy_;
};

// Ink sets away from the gamut's edges (each 5..95 %, 260 % at most) print
// the same colour after Lab and back.
void roundTripsOfInk(const Press& press, Grades& g) {
    Random random{7};
    std::vector<double> all, lighter;
    while (all.size() < 4000) {
        double ink[4], total = 0.0;
        for (double& v : ink) total += v = 5.0 + 0.9 * random.percent();
        if (total > 260.0) continue;
        const cmsCIELab first = press.labOf(ink);
        double again[4];
        press.inkOf(first, again);
        const cmsCIELab second = press.labOf(again);
        all.push_back(cmsDeltaE(&first, &second));
        if (first.L >= 20.0) lighter.push_back(all.back());
    }
    const Spread s = spread(all), l = spread(lighter);
    g.below("CMYK -> Lab -> CMYK -> Lab dE76, median", s.median, 0.5);
    g.below("  95th percentile", s.p95, 3.0);
    g.below("  largest", s.max, 6.0);
    g.below("  from L* 20 up, median", l.median, 0.3);
    g.below("  from L* 20 up, 95th percentile", l.p95, 1.5);
    g.below("  from L* 20 up, largest", l.max, 4.0);
}

// Colours the gamut tag calls printable come back after CMYK.
void roundTripsOfLab(const Press& press, Grades& g) {
    std::vector<double> errors;
    for (double L = 10; L <= 95; L += 5)
        for (double a = -60; a <= 60; a += 10)
            for (double b = -60; b <= 60; b += 10) {
                const cmsCIELab in = {L, a, b};
                if (press.gamut(in) != 0) continue;
                double ink[4];
                press.inkOf(in, ink);
                const cmsCIELab out = press.labOf(ink);
                errors.push_back(cmsDeltaE(&in, &out));
            }
    g.above("Lab lattice colours in gamut", double(errors.size()), 300.0);
    const Spread s = spread(errors);
    g.below("Lab in gamut -> CMYK -> Lab dE76, median", s.median, 0.3);
    g.below("  95th percentile", s.p95, 1.5);
    g.below("  largest", s.max, 4.0);
}

// The ink limit holds everywhere; paper and black separate to themselves;
// greys print grey with black rising as they darken.
void separations(const Press& press, Grades& g) {
    double most = 0.0;
    for (double L = 0; L <= 100; L += 2)
        for (double a = -128; a <= 127; a += 8.5)
            for (double b = -128; b <= 127; b += 8.5) {
                double ink[4];
                press.inkOf({L, a, b}, ink);
                most = std::max(most, ink[0] + ink[1] + ink[2] + ink[3]);
            }
    g.below("total ink of any separation, percent", most, 300.5);

    double white[4], black[4];
    press.inkOf({100, 0, 0}, white);
    press.inkOf({0, 0, 0}, black);
    g.below("ink on paper white, largest", *std::max_element(white, white + 4), 0.5);
    g.below("colour ink in black, largest", *std::max_element(black, black + 3), 1.0);
    g.above("black ink in black", black[3], 99.0);

    double lightness = 0.0, chroma = 0.0, blackFalls = 0.0, previousBlack = -1.0;
    for (double L = 95; L >= 10; L -= 5) {
        double ink[4];
        press.inkOf({L, 0, 0}, ink);
        const cmsCIELab back = press.labOf(ink);
        lightness = std::max(lightness, std::fabs(back.L - L));
        chroma = std::max(chroma, std::hypot(back.a, back.b));
        blackFalls = std::max(blackFalls, previousBlack - ink[3]);
        previousBlack = ink[3];
    }
    g.below("greys: lightness error, largest", lightness, 0.5);
    g.below("greys: chroma after printing, largest", chroma, 0.5);
    g.below("greys: black falling as they darken, largest", blackFalls, 0.5);
}

void gamutTag(const Press& press, Grades& g) {
    Random random{11};
    int inside = 0, tried = 0;
    while (tried < 2000) {
        double ink[4], total = 0.0;
        for (double& v : ink) total += v = 10.0 + 0.8 * random.percent();
        if (total > 250.0) continue;
        ++tried;
        if (press.gamut(press.labOf(ink)) == 0) ++inside;
    }
    g.below("printable colours the gamut tag puts outside, percent", 100.0 * (tried - inside) / tried, 20.0);
    // Colours no press prints: beyond the display's blue, a bright saturated
    // green, a white brighter than paper with chroma.
    const int unprintable = std::min({press.gamut({30, 70, -120}), press.gamut({80, -110, 60}),
                                      press.gamut({98, 40, -40})});
    g.above("unprintable colours: the gamut tag's least value", unprintable, 10.0);
    g.above("gamut tag: a saturated blue beyond a duller one", press.gamut({50, 127, -128}) - press.gamut({50, 60, -60}),
            0.0);
}

void cmyPress(const Press& press, Grades& g) {
    auto labAt = [&](double c, double m, double y) {
        const double in[3] = {c, m, y};
        return press.labOfCmy(in);
    };
    const cmsCIELab paper = labAt(0, 0, 0), full = labAt(100, 100, 100);
    g.below("CMY paper: distance from L* 100", std::fabs(paper.L - 100.0), 0.05);
    g.below("CMY paper: chroma", std::hypot(paper.a, paper.b), 0.05);
    g.below("CMY overprint: L*", full.L, 0.1);
    std::vector<double> errors;
    for (int c = 5; c <= 95; c += 10)
        for (int m = 5; m <= 95; m += 10)
            for (int y = 5; y <= 95; y += 10) {
                const cmsCIELab first = labAt(c, m, y);
                double ink[3];
                press.cmyOf(first, ink);
                const cmsCIELab second = labAt(ink[0], ink[1], ink[2]);
                errors.push_back(cmsDeltaE(&first, &second));
            }
    const Spread s = spread(errors);
    g.below("CMY -> Lab -> CMY -> Lab dE76, median", s.median, 0.3);
    g.below("  largest", s.max, 3.0);

    // The private tags: each ink's dot-gained coverage from none to full,
    // rising and above the diagonal; the grey balance from paper to overprint.
    Bytes gain(776), balance(776);
    const bool read = cmsReadRawTag(press.cmy(), static_cast<cmsTagSignature>(0x4B303730), gain.data(), 776) == 776 &&
                      cmsReadRawTag(press.cmy(), static_cast<cmsTagSignature>(0x4B303731), balance.data(), 776) == 776;
    int faults = read ? 0 : 1;
    for (int ink = 0; read && ink < 3; ++ink) {
        const uint8_t* curve = &gain[8 + 256 * ink];
        faults += curve[0] != 0 || curve[255] != 255 || curve[128] <= 128 || !std::is_sorted(curve, curve + 256);
        faults += balance[8 + ink] != 0 || balance[8 + 765 + ink] != 255;
    }
    g.below("CMY dot gain and grey balance tags: faults", faults, 1);
}

// The CMYK table at its calibration rows, as the display shows them.
void calibrationRows(const Bytes& rgb, const Bytes& tableCmyk, Grades& g) {
    Profile display = openProfile(rgb), lab(cmsCreateLab4Profile(nullptr));
    Transform toLab = makeTransform(display.get(), TYPE_RGB_8, lab.get(), TYPE_Lab_DBL);
    double worst = 0.0;
    for (const PressRow& row : kPressRows) {
        const size_t at = 3 * (((size_t(row.node[0]) * 17 + row.node[1]) * 17 + row.node[2]) * 17 + row.node[3]);
        const uint8_t target[3] = {uint8_t(row.rgb[0]), uint8_t(row.rgb[1]), uint8_t(row.rgb[2])};
        cmsCIELab a, b;
        cmsDoTransform(toLab.get(), &tableCmyk[at], &a, 1);
        cmsDoTransform(toLab.get(), target, &b, 1);
        const double e = cmsCIE2000DeltaE(&a, &b, 1, 1, 1);
        std::printf("     row (%2d,%2d,%2d,%2d): RGB %3d %3d %3d for %3d %3d %3d, dE2000 %.2f\n", row.node[0],
                    row.node[1], row.node[2], row.node[3], tableCmyk[at], tableCmyk[at + 1], tableCmyk[at + 2],
                    target[0], target[1], target[2], e);
        worst = std::max(worst, e);
    }
    g.below("calibration rows dE2000, largest", worst, 1.0);
}

}  // namespace

bool gradePress(const Bytes& rgb, const Bytes& cmyk, const Bytes& cmy, const Bytes& tableCmyk) {
    Press press(cmyk, cmy);
    Grades g;
    roundTripsOfInk(press, g);
    roundTripsOfLab(press, g);
    separations(press, g);
    gamutTag(press, g);
    cmyPress(press, g);
    calibrationRows(rgb, tableCmyk, g);
    return g.passed;
}

}  // namespace quvgen
