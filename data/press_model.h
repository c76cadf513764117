// A model of offset printing on coated stock, from ink coverages to the CIELab
// the library's printer profiles report, its calibration, and its inverse.
//
// The model is a Yule-Nielsen modified Neugebauer model evaluated per XYZ
// channel, without spectra: a print's reflectance relative to the paper is
//
//     r = (sum over primaries p of w_p * P_p^(1/n))^n
//
// where the primaries are the 2^inks overprints of solid inks, w_p their
// Demichel weights from the effective (dot-gained) coverages, and n the
// Yule-Nielsen factor that stands for the light scattered inside the paper.
// Overprints follow from the solids by density addition with imperfect
// trapping: per XYZ channel the densest ink counts fully and each further ink
// by a trapping factor below 1, which the calibrated cyan-magenta-yellow
// overprint fixes. Every overprint is thus at least as dark as its densest
// ink.
//
// The profile connection maps the paper to the D50 white (relative
// colorimetry) and the model's black to L* 0: the luminance Y is scaled
// linearly so that the black's goes to 0 and the paper's stays 1, and X and Z
// follow by the same factor, so chromaticity is kept and chroma fades to
// nothing at L* 0. For the four-ink press the black is the solid black, so
// the solid black reports L* 0 and anything darker clips to it; for the
// three-ink press it is the cyan-magenta-yellow overprint.
#pragma once

#include "colour.h"

#include <array>
#include <string>
#include <vector>

namespace quvgen {

enum Ink { kCyan = 0, kMagenta = 1, kYellow = 2, kBlack = 3 };

struct PressModel {
    int inks = 4;
    // Reflectance relative to the paper per XYZ channel; index bit i set when
    // ink i is printed. Index 0 is the paper itself, (1, 1, 1).
    std::array<Vec3, 16> primaries{};
    // Tone value increase at 50 % nominal coverage, per ink.
    std::array<double, 4> dotGain{};
    double yuleNielsen = 2.0;
    // Relative luminance (Y) that the connection maps to L* 0.
    double blackLuminance = 0.0;
    // The primaries to the power 1 / yuleNielsen, as every evaluation needs
    // them; prepare() sets them after the primaries or the factor change.
    std::array<Vec3, 16> primaryRoots{};

    void prepare();

    // Coverage on paper for a nominal coverage a (0..1), and its slope.
    double effectiveCoverage(int ink, double a) const;
    double effectiveSlope(int ink, double a) const;

    // Lab (D50) as the profile reports it. With `jacobian`, also d(L, a, b)
    // by d(coverage), row-major 3 x inks.
    Vec3 lab(const double* coverage, double* jacobian = nullptr) const;

    // The same press with the black ink left out, and the cyan-magenta-yellow
    // overprint as its black point.
    PressModel withoutBlack() const;
};

// A press colour the calibration is to reproduce: nominal coverages (0..1)
// and the display RGB bytes they should come out as.
struct CalibrationTarget {
    std::array<double, 4> coverage;
    std::array<int, 3> rgb;
};

// Linear display RGB to XYZ (D50), the columns being the primaries.
using RgbMatrix = std::array<Vec3, 3>;

struct CalibrationResult {
    PressModel model;
    std::vector<std::string> report;  // one line per parameter
};

// Fits the model to the targets: the solids of cyan, magenta and yellow, the
// black solid and the cyan-magenta-yellow overprint come from their own rows;
// the dot gains, the Yule-Nielsen factor and the black density from the
// others, held near the figures of a typical coated press where the rows
// leave them free. `display` turns the targets' RGB back into XYZ where a
// channel was clipped.
CalibrationResult calibratePress(const std::vector<CalibrationTarget>& targets, const RgbMatrix& display);

// How the inverse chooses among the many ink sets that print one colour.
struct SeparationRule {
    // Total ink limit: the sum of the four coverages (3.0 is 300 %).
    double inkLimit = 3.0;
    // Grey component replacement: a neutral of lightness L* gets black
    // ((start - L*) / start)^shape below L* = start, none above; chroma C*
    // lowers it linearly to none at `chromaFade`.
    double blackStart = 85.0;
    double blackShape = 1.3;
    double chromaFade = 50.0;
    // Weight of the black rule against the colour error (Lab units squared per
    // unit of black coverage squared): small, so the rule only chooses among
    // ink sets that print the colour.
    double blackWeight = 0.01;
    // Weight of the colour inks' coverages squared: where many ink sets print
    // the same colour (everything at or beyond the solid black reports L* 0)
    // the one with the least colour ink wins. Small enough to move no
    // printable colour by more than a few thousandths of a unit.
    double colourInkWeight = 1e-4;

    double blackFor(const Vec3& lab) const;
};

// Inks for a Lab colour: the ink set that prints it, following the rule, or,
// out of gamut, the printable ink set nearest to it in Lab (least CIE76
// difference). `hint`, when given, is tried as a further starting point.
class Separator {
public:
    Separator(const PressModel& model, const SeparationRule& rule);
    std::array<double, 4> separate(const Vec3& lab, const std::array<double, 4>* hint = nullptr) const;

private:
    double refine(const Vec3& lab, double black, std::array<double, 4>& x) const;
    void project(std::array<double, 4>& x) const;

    const PressModel& model_;
    SeparationRule rule_;
    std::vector<std::array<double, 4>> startInks_;
    std::vector<Vec3> startLab_;
};

}  // namespace quvgen
