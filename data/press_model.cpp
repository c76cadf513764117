#include "press_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace quvgen {
namespace {

// Absolute CIELab (D50) of a typical coated stock and its process inks. The
// rows the calibration follows fix most of the model; these figures decide
// only what the rows leave open: the hue of the part of a solid that lies
// outside the display's gamut.
constexpr Vec3 kPaperLab = {95.0, 0.0, -2.0};
constexpr std::array<Vec3, 3> kReferenceSolidLab = {{{55.0, -37.0, -50.0}, {48.0, 74.0, -3.0}, {89.0, -5.0, 93.0}}};

// Where the calibration starts, and how far the rows may pull it before the
// pull back toward these figures is felt: black density 1.8, a tone value
// increase of 14 % for the colours and 17 % for black at 50 %, and a
// Yule-Nielsen factor of 2.
constexpr int kParams = 6;  // black density, four dot gains, Yule-Nielsen factor
constexpr std::array<double, kParams> kPrior = {1.8, 0.14, 0.14, 0.14, 0.17, 2.0};
constexpr std::array<double, kParams> kPriorSpread = {0.3, 0.05, 0.05, 0.05, 0.05, 0.5};
constexpr std::array<double, kParams> kLower = {1.2, 0.0, 0.0, 0.0, 0.0, 1.0};
constexpr std::array<double, kParams> kUpper = {2.6, 0.24, 0.24, 0.24, 0.24, 4.0};
// Weight of the pull toward the prior against one unit of CIE76 difference.
constexpr double kPriorWeight = 0.05;

Vec3 mul(const RgbMatrix& m, const Vec3& rgb) {
    Vec3 out{};
    for (int c = 0; c < 3; ++c) out[c] = m[0][c] * rgb[0] + m[1][c] * rgb[1] + m[2][c] * rgb[2];
    return out;
}

Vec3 relativeXyz(const Vec3& xyz) { return {xyz[0] / kD50[0], xyz[1] / kD50[1], xyz[2] / kD50[2]}; }

// The connection and its inverse for a black of luminance `black`.
Vec3 connectWith(const Vec3& r, double black) {
    if (r[1] <= black) return {0.0, 0.0, 0.0};
    double factor = (r[1] - black) / ((1.0 - black) * r[1]);
    return {r[0] * factor, r[1] * factor, r[2] * factor};
}

Vec3 reflectanceWith(const Vec3& relative, double black) {
    double y = black + (1.0 - black) * relative[1];
    return {relative[0] * y / relative[1], y, relative[2] * y / relative[1]};
}

Vec3 connectedLab(const Vec3& r, double black) { return labFromRelative(connectWith(r, black)); }

bool isSolid(const CalibrationTarget& t, int ink) {
    for (int i = 0; i < 4; ++i)
        if (t.coverage[i] != (i == ink ? 1.0 : 0.0)) return false;
    return true;
}

bool isCmyOverprint(const CalibrationTarget& t) {
    return t.coverage[0] == 1.0 && t.coverage[1] == 1.0 && t.coverage[2] == 1.0 && t.coverage[3] == 0.0;
}

bool isPaper(const CalibrationTarget& t) {
    return t.coverage[0] == 0.0 && t.coverage[1] == 0.0 && t.coverage[2] == 0.0 && t.coverage[3] == 0.0;
}

Vec3 linearRgb(const std::array<int, 3>& rgb) {
    return {srgbToLinear(rgb[0] / 255.0), srgbToLinear(rgb[1] / 255.0), srgbToLinear(rgb[2] / 255.0)};
}

// A solid whose display RGB has a channel clipped at 0 or 255 lies outside
// the display's gamut along that channel. Among the colours that clip to the
// target, take the one nearest the reference ink.
Vec3 solidReflectance(const CalibrationTarget& t, int ink, const RgbMatrix& display, double black) {
    Vec3 lin = linearRgb(t.rgb);
    int free = -1;
    double lo = 0.0, hi = 0.0;
    for (int c = 0; c < 3; ++c) {
        if (t.rgb[c] == 0) free = c, lo = -0.6, hi = lin[c];
        else if (t.rgb[c] == 255) free = c, lo = lin[c], hi = 1.6;
    }
    Vec3 paperXyz = xyzFromLab(kPaperLab);
    Vec3 refXyz = xyzFromLab(kReferenceSolidLab[ink]);
    Vec3 refLab = connectedLab({refXyz[0] / paperXyz[0], refXyz[1] / paperXyz[1], refXyz[2] / paperXyz[2]}, black);

    auto reflectanceAt = [&](double u) {
        Vec3 l = lin;
        if (free >= 0) l[free] = u;
        return reflectanceWith(relativeXyz(mul(display, l)), black);
    };
    if (free < 0) return reflectanceAt(0.0);
    auto cost = [&](double u) {
        Vec3 r = reflectanceAt(u);
        for (double v : r)
            if (v <= black * 1e-3) return std::numeric_limits<double>::max();
        return deltaE76(connectedLab(r, black), refLab);
    };
    // Golden-section search; the difference to the reference has one minimum
    // along the line.
    const double g = (std::sqrt(5.0) - 1.0) / 2.0;
    double a = lo, b = hi;
    double x1 = b - g * (b - a), x2 = a + g * (b - a);
    double f1 = cost(x1), f2 = cost(x2);
    for (int i = 0; i < 80; ++i) {
        if (f1 < f2) {
            b = x2, x2 = x1, f2 = f1;
            x1 = b - g * (b - a), f1 = cost(x1);
        } else {
            a = x1, x1 = x2, f1 = f2;
            x2 = a + g * (b - a), f2 = cost(x2);
        }
    }
    return reflectanceAt((a + b) / 2.0);
}

struct Solids {
    std::array<Vec3, 3> colour;  // cyan, magenta, yellow
    Vec3 cmy;                    // their overprint
};

PressModel buildModel(const std::array<double, kParams>& p, const Solids& solidsAtBlack) {
    PressModel m;
    m.inks = 4;
    double black = std::pow(10.0, -p[0]);
    m.blackLuminance = black;
    for (int i = 0; i < 4; ++i) m.dotGain[i] = p[1 + i];
    m.yuleNielsen = p[5];

    std::array<Vec3, 4> solid = {solidsAtBlack.colour[0], solidsAtBlack.colour[1], solidsAtBlack.colour[2],
                                 Vec3{black, black, black}};
    // Overprints by density addition with imperfect trapping: per channel the
    // densest ink of an overprint counts fully and each further ink by a
    // trapping factor, taken from the cyan-magenta-yellow overprint.
    auto density = [&](int ink, int c) { return -std::log10(solid[ink][c]); };
    Vec3 trap{};
    for (int c = 0; c < 3; ++c) {
        double sum = density(0, c) + density(1, c) + density(2, c);
        double densest = std::max({density(0, c), density(1, c), density(2, c)});
        double measured = -std::log10(solidsAtBlack.cmy[c]);
        trap[c] = sum > densest ? std::clamp((measured - densest) / (sum - densest), 0.0, 1.0) : 1.0;
    }
    for (unsigned mask = 0; mask < 16; ++mask) {
        for (int c = 0; c < 3; ++c) {
            double sum = 0.0, densest = 0.0;
            for (int i = 0; i < 4; ++i)
                if (mask & (1u << i)) sum += density(i, c), densest = std::max(densest, density(i, c));
            m.primaries[mask][c] = std::pow(10.0, -(densest + trap[c] * (sum - densest)));
        }
    }
    m.primaries[7] = solidsAtBlack.cmy;
    m.prepare();
    return m;
}

// Solves the dense system of the first `size` rows and columns of a x = b in
// place (Gaussian elimination with partial pivoting). False when singular.
template <size_t N>
bool solveLinear(std::array<std::array<double, N>, N>& a, std::array<double, N>& b, int size) {
    for (int col = 0; col < size; ++col) {
        int pivot = col;
        for (int r = col + 1; r < size; ++r)
            if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
        if (std::fabs(a[pivot][col]) < 1e-300) return false;
        std::swap(a[col], a[pivot]);
        std::swap(b[col], b[pivot]);
        for (int r = col + 1; r < size; ++r) {
            double f = a[r][col] / a[col][col];
            for (int c = col; c < size; ++c) a[r][c] -= f * a[col][c];
            b[r] -= f * b[col];
        }
    }
    for (int r = size - 1; r >= 0; --r) {
        double s = b[r];
        for (int c = r + 1; c < size; ++c) s -= a[r][c] * b[c];
        b[r] = s / a[r][r];
    }
    return true;
}

}  // namespace

void PressModel::prepare() {
    for (size_t p = 0; p < primaries.size(); ++p)
        for (int c = 0; c < 3; ++c) primaryRoots[p][c] = std::pow(primaries[p][c], 1.0 / yuleNielsen);
}

double PressModel::effectiveCoverage(int ink, double a) const {
    // A parabolic tone value increase, largest at 50 %, none at 0 and 100 %.
    return a + 4.0 * dotGain[ink] * a * (1.0 - a);
}

double PressModel::effectiveSlope(int ink, double a) const { return 1.0 + 4.0 * dotGain[ink] * (1.0 - 2.0 * a); }

Vec3 PressModel::lab(const double* coverage, double* jacobian) const {
    double eff[4], slope[4];
    for (int i = 0; i < inks; ++i) {
        eff[i] = effectiveCoverage(i, coverage[i]);
        slope[i] = effectiveSlope(i, coverage[i]);
    }
    Vec3 s{};
    double ds[4][3] = {};
    for (unsigned mask = 0; mask < (1u << inks); ++mask) {
        // Demichel weight and its partial derivatives in each effective coverage.
        double factor[4];
        double w = 1.0;
        for (int i = 0; i < inks; ++i) {
            factor[i] = (mask & (1u << i)) ? eff[i] : 1.0 - eff[i];
            w *= factor[i];
        }
        const Vec3& q = primaryRoots[mask];
        for (int c = 0; c < 3; ++c) s[c] += w * q[c];
        if (!jacobian) continue;
        for (int i = 0; i < inks; ++i) {
            double others = 1.0;
            for (int j = 0; j < inks; ++j)
                if (j != i) others *= factor[j];
            double sign = (mask & (1u << i)) ? 1.0 : -1.0;
            for (int c = 0; c < 3; ++c) ds[i][c] += sign * others * q[c];
        }
    }
    // Reflectance and its derivatives in the nominal coverages.
    Vec3 r{};
    double dr[4][3] = {};
    for (int c = 0; c < 3; ++c) {
        r[c] = std::pow(s[c], yuleNielsen);
        if (!jacobian) continue;
        double slopeC = s[c] > 0.0 ? yuleNielsen * r[c] / s[c] : 0.0;
        for (int i = 0; i < inks; ++i) dr[i][c] = slopeC * ds[i][c] * slope[i];
    }
    Vec3 y = connectWith(r, blackLuminance);
    Vec3 out = labFromRelative(y);
    if (jacobian) {
        // y_c = r_c g(r_Y) with g = (1 - black / r_Y) / (1 - black), none at
        // or below the black.
        double g = 0.0, dg = 0.0;
        if (r[1] > blackLuminance) {
            g = (1.0 - blackLuminance / r[1]) / (1.0 - blackLuminance);
            dg = blackLuminance / ((1.0 - blackLuminance) * r[1] * r[1]);
        }
        double fx = labFDerivative(y[0]), fy = labFDerivative(y[1]), fz = labFDerivative(y[2]);
        for (int i = 0; i < inks; ++i) {
            double common = dg * dr[i][1];
            double gx = fx * (g * dr[i][0] + r[0] * common);
            double gy = fy * (g * dr[i][1] + r[1] * common);
            double gz = fz * (g * dr[i][2] + r[2] * common);
            jacobian[0 * inks + i] = 116.0 * gy;
            jacobian[1 * inks + i] = 500.0 * (gx - gy);
            jacobian[2 * inks + i] = 200.0 * (gy - gz);
        }
    }
    return out;
}

PressModel PressModel::withoutBlack() const {
    PressModel m = *this;
    m.inks = 3;
    for (unsigned mask = 8; mask < 16; ++mask) m.primaries[mask] = {0.0, 0.0, 0.0};
    m.dotGain[kBlack] = 0.0;
    m.blackLuminance = primaries[7][1];
    m.prepare();
    return m;
}

CalibrationResult calibratePress(const std::vector<CalibrationTarget>& targets, const RgbMatrix& display) {
    const CalibrationTarget* solidRow[3] = {};
    const CalibrationTarget* cmyRow = nullptr;
    std::vector<const CalibrationTarget*> fitted;
    for (const auto& t : targets) {
        bool placed = false;
        for (int ink = 0; ink < 3; ++ink)
            if (isSolid(t, ink)) solidRow[ink] = &t, placed = true;
        if (isCmyOverprint(t)) cmyRow = &t, placed = true;
        // The paper and the solid black are the two ends of the connection:
        // they come out white and black whatever the parameters are.
        if (isPaper(t) || isSolid(t, kBlack)) placed = true;
        if (!placed) fitted.push_back(&t);
    }
    if (!solidRow[0] || !solidRow[1] || !solidRow[2] || !cmyRow)
        throw std::runtime_error("calibration needs the cyan, magenta and yellow solids and their overprint");

    auto solidsFor = [&](double blackDensity) {
        double black = std::pow(10.0, -blackDensity);
        Solids s;
        for (int ink = 0; ink < 3; ++ink) s.colour[ink] = solidReflectance(*solidRow[ink], ink, display, black);
        s.cmy = reflectanceWith(relativeXyz(mul(display, linearRgb(cmyRow->rgb))), black);
        return s;
    };
    auto modelFor = [&](const std::array<double, kParams>& p) { return buildModel(p, solidsFor(p[0])); };

    std::vector<Vec3> targetLab;
    for (const auto* t : fitted) targetLab.push_back(labFromRelative(relativeXyz(mul(display, linearRgb(t->rgb)))));

    const size_t rows = 3 * fitted.size() + kParams;
    auto residuals = [&](const std::array<double, kParams>& p) {
        PressModel m = modelFor(p);
        std::vector<double> r;
        r.reserve(rows);
        for (size_t i = 0; i < fitted.size(); ++i) {
            Vec3 lab = m.lab(fitted[i]->coverage.data());
            for (int c = 0; c < 3; ++c) r.push_back(lab[c] - targetLab[i][c]);
        }
        for (int j = 0; j < kParams; ++j) r.push_back(kPriorWeight * (p[j] - kPrior[j]) / kPriorSpread[j]);
        return r;
    };
    auto cost = [](const std::vector<double>& r) {
        double s = 0.0;
        for (double v : r) s += v * v;
        return s;
    };

    // Levenberg-Marquardt with numerical derivatives, inside the bounds.
    std::array<double, kParams> p = kPrior;
    std::vector<double> r = residuals(p);
    double f = cost(r), lambda = 1e-3;
    for (int iteration = 0; iteration < 200 && lambda < 1e12; ++iteration) {
        std::vector<std::array<double, kParams>> jac(rows);
        for (int j = 0; j < kParams; ++j) {
            const double h = 1e-6;
            auto up = p, down = p;
            up[j] += h;
            down[j] -= h;
            std::vector<double> ru = residuals(up), rd = residuals(down);
            for (size_t i = 0; i < rows; ++i) jac[i][j] = (ru[i] - rd[i]) / (2.0 * h);
        }
        std::array<std::array<double, kParams>, kParams> normal{};
        std::array<double, kParams> gradient{};
        for (size_t i = 0; i < rows; ++i)
            for (int a = 0; a < kParams; ++a) {
                gradient[a] -= jac[i][a] * r[i];
                for (int b = 0; b < kParams; ++b) normal[a][b] += jac[i][a] * jac[i][b];
            }
        bool improved = false;
        while (lambda < 1e12) {
            auto damped = normal;
            for (int a = 0; a < kParams; ++a) damped[a][a] *= 1.0 + lambda;
            auto step = gradient;
            if (!solveLinear(damped, step, kParams)) {
                lambda *= 10.0;
                continue;
            }
            auto next = p;
            for (int a = 0; a < kParams; ++a) next[a] = std::clamp(p[a] + step[a], kLower[a], kUpper[a]);
            std::vector<double> rn = residuals(next);
            double fn = cost(rn);
            if (fn < f) {
                double moved = 0.0;
                for (int a = 0; a < kParams; ++a) moved = std::max(moved, std::fabs(next[a] - p[a]));
                p = next, r = rn, f = fn;
                lambda = std::max(lambda / 10.0, 1e-9);
                improved = moved > 1e-12;
                break;
            }
            lambda *= 10.0;
        }
        if (!improved) break;
    }

    CalibrationResult result;
    result.model = modelFor(p);
    char line[160];
    std::snprintf(line, sizeof line, "black solid density %.3f (relative reflectance %.4f)", p[0],
                  result.model.blackLuminance);
    result.report.emplace_back(line);
    std::snprintf(line, sizeof line, "tone value increase at 50%%: C %.1f%%  M %.1f%%  Y %.1f%%  K %.1f%%",
                  100 * p[1], 100 * p[2], 100 * p[3], 100 * p[4]);
    result.report.emplace_back(line);
    std::snprintf(line, sizeof line, "Yule-Nielsen factor %.3f", p[5]);
    result.report.emplace_back(line);
    static const char* const kNames[] = {"paper", "C", "M", "CM", "Y", "CY", "MY", "CMY"};
    for (unsigned mask = 1; mask < 8; ++mask) {
        Vec3 lab = connectedLab(result.model.primaries[mask], result.model.blackLuminance);
        std::snprintf(line, sizeof line, "primary %-3s reports Lab %6.2f %7.2f %7.2f", kNames[mask], lab[0], lab[1],
                      lab[2]);
        result.report.emplace_back(line);
    }
    return result;
}

double SeparationRule::blackFor(const Vec3& lab) const {
    if (lab[0] >= blackStart) return 0.0;
    double neutral = std::pow((blackStart - std::max(lab[0], 0.0)) / blackStart, blackShape);
    double chroma = std::hypot(lab[1], lab[2]);
    return neutral * std::max(0.0, 1.0 - chroma / chromaFade);
}

Separator::Separator(const PressModel& model, const SeparationRule& rule) : model_(model), rule_(rule) {
    // Starting points: a coarse lattice of printable ink sets.
    constexpr int steps = 6;
    const int inks = model_.inks;
    int count = 1;
    for (int i = 0; i < inks; ++i) count *= steps;
    for (int n = 0; n < count; ++n) {
        std::array<double, 4> x{};
        int rest = n;
        double total = 0.0;
        for (int i = 0; i < inks; ++i) {
            x[i] = (rest % steps) / double(steps - 1);
            rest /= steps;
            total += x[i];
        }
        if (total > rule_.inkLimit + 1e-9) continue;
        startInks_.push_back(x);
        startLab_.push_back(model_.lab(x.data()));
    }
}

void Separator::project(std::array<double, 4>& x) const {
    const int inks = model_.inks;
    double total = 0.0;
    for (int i = 0; i < inks; ++i) {
        x[i] = std::clamp(x[i], 0.0, 1.0);
        total += x[i];
    }
    if (total <= rule_.inkLimit) return;
    // Nearest point with the ink limit: lower every coverage by the same
    // amount (and none below 0) until the total fits.
    double lo = 0.0, hi = 1.0;
    auto totalAt = [&](double t) {
        double s = 0.0;
        for (int i = 0; i < inks; ++i) s += std::clamp(x[i] - t, 0.0, 1.0);
        return s;
    };
    for (int i = 0; i < 60; ++i) {
        double mid = (lo + hi) / 2.0;
        (totalAt(mid) > rule_.inkLimit ? lo : hi) = mid;
    }
    for (int i = 0; i < inks; ++i) x[i] = std::clamp(x[i] - hi, 0.0, 1.0);
}

// Levenberg-Marquardt on the colour error plus the black rule's pull, with
// the bounds handled by an active set: coverages held at 0 or 1 by the
// gradient, and the ink limit when the step would raise the total, are taken
// out of the step. Returns the objective reached.
double Separator::refine(const Vec3& target, double black, std::array<double, 4>& x) const {
    const int inks = model_.inks;
    const bool hasBlack = inks == 4;
    const double w = std::sqrt(rule_.blackWeight);
    auto evaluate = [&](const std::array<double, 4>& at, double* jac, std::array<double, 4>& res) {
        Vec3 lab = model_.lab(at.data(), jac);
        for (int c = 0; c < 3; ++c) res[c] = lab[c] - target[c];
        res[3] = hasBlack ? w * (at[kBlack] - black) : 0.0;
        double colourInk = at[0] * at[0] + at[1] * at[1] + at[2] * at[2];
        return res[0] * res[0] + res[1] * res[1] + res[2] * res[2] + res[3] * res[3] +
               rule_.colourInkWeight * colourInk;
    };
    std::array<double, 4> res{};
    double jac[12];
    double f = evaluate(x, jac, res);
    double lambda = 1e-3;
    for (int iteration = 0; iteration < 100; ++iteration) {
        // Gradient and Gauss-Newton matrix of the residuals (three Lab rows
        // and the black row).
        double normal[4][4] = {};
        double gradient[4] = {};
        for (int a = 0; a < inks; ++a) {
            for (int c = 0; c < 3; ++c) gradient[a] += jac[c * inks + a] * res[c];
            for (int b = 0; b < inks; ++b)
                for (int c = 0; c < 3; ++c) normal[a][b] += jac[c * inks + a] * jac[c * inks + b];
        }
        if (hasBlack) {
            gradient[kBlack] += w * res[3];
            normal[kBlack][kBlack] += w * w;
        }
        for (int i = 0; i < 3; ++i) {
            gradient[i] += rule_.colourInkWeight * x[i];
            normal[i][i] += rule_.colourInkWeight;
        }
        int freeVars[4], n = 0;
        double total = 0.0;
        for (int i = 0; i < inks; ++i) {
            total += x[i];
            bool heldLow = x[i] <= 0.0 && gradient[i] > 0.0;
            bool heldHigh = x[i] >= 1.0 && gradient[i] < 0.0;
            if (!heldLow && !heldHigh) freeVars[n++] = i;
        }
        if (n == 0) break;
        const bool atLimit = total >= rule_.inkLimit - 1e-9;

        bool improved = false;
        double moved = 0.0;
        while (lambda < 1e10) {
            double step[4] = {};
            auto solveStep = [&](bool limited) {
                const int size = limited ? n + 1 : n;
                std::array<std::array<double, 5>, 5> a{};
                std::array<double, 5> b{};
                for (int r = 0; r < n; ++r) {
                    for (int c = 0; c < n; ++c) a[r][c] = normal[freeVars[r]][freeVars[c]];
                    a[r][r] = a[r][r] * (1.0 + lambda) + 1e-9;
                    b[r] = -gradient[freeVars[r]];
                    if (limited) a[r][n] = a[n][r] = 1.0;
                }
                if (!solveLinear(a, b, size)) return false;
                for (int r = 0; r < n; ++r) step[freeVars[r]] = b[r];
                return true;
            };
            bool ok = solveStep(false);
            if (ok && atLimit) {
                double rise = 0.0;
                for (int r = 0; r < n; ++r) rise += step[freeVars[r]];
                if (rise > 0.0) ok = n > 1 && solveStep(true);
            }
            if (!ok) {
                lambda *= 10.0;
                continue;
            }
            std::array<double, 4> next = x;
            for (int a = 0; a < inks; ++a) next[a] += step[a];
            project(next);
            std::array<double, 4> nextRes{};
            double nextJac[12];
            double fn = evaluate(next, nextJac, nextRes);
            if (fn < f) {
                moved = 0.0;
                for (int a = 0; a < inks; ++a) moved = std::max(moved, std::fabs(next[a] - x[a]));
                x = next, res = nextRes, f = fn;
                std::copy(nextJac, nextJac + 12, jac);
                lambda = std::max(lambda / 10.0, 1e-9);
                improved = true;
                break;
            }
            lambda *= 10.0;
        }
        // The tables hold 16 bits: a step below 1e-7 changes nothing in them.
        if (!improved || moved < 1e-7 || f < 1e-12) break;
    }
    return f;
}

std::array<double, 4> Separator::separate(const Vec3& lab, const std::array<double, 4>* hint) const {
    const double black = model_.inks == 4 ? rule_.blackFor(lab) : 0.0;
    auto objective = [&](const std::array<double, 4>& x, const Vec3& at) {
        double d = (at[0] - lab[0]) * (at[0] - lab[0]) + (at[1] - lab[1]) * (at[1] - lab[1]) +
                   (at[2] - lab[2]) * (at[2] - lab[2]);
        if (model_.inks == 4) d += rule_.blackWeight * (x[kBlack] - black) * (x[kBlack] - black);
        return d + rule_.colourInkWeight * (x[0] * x[0] + x[1] * x[1] + x[2] * x[2]);
    };
    std::array<double, 4> result{};
    double resultCost = std::numeric_limits<double>::max();
    double resultError = std::numeric_limits<double>::max();
    auto attempt = [&](std::array<double, 4> x) {
        project(x);
        double f = refine(lab, black, x);
        if (f < resultCost) {
            resultCost = f, result = x;
            resultError = deltaE76(model_.lab(x.data()), lab);
        }
    };
    // The lattice point nearest the colour and the hint (the neighbouring
    // node's inks) are refined; when neither prints the colour exactly, the
    // second nearest lattice point too. The least objective wins.
    size_t best[2] = {0, 0};
    double bestCost[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    for (size_t i = 0; i < startInks_.size(); ++i) {
        double d = objective(startInks_[i], startLab_[i]);
        if (d < bestCost[0]) {
            best[1] = best[0], bestCost[1] = bestCost[0];
            best[0] = i, bestCost[0] = d;
        } else if (d < bestCost[1]) {
            best[1] = i, bestCost[1] = d;
        }
    }
    attempt(startInks_[best[0]]);
    if (hint) attempt(*hint);
    if (resultError > 1e-4 && bestCost[1] < std::numeric_limits<double>::max()) attempt(startInks_[best[1]]);
    return result;
}

}  // namespace quvgen
