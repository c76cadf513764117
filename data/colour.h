// Colour arithmetic the data generator shares: CIE XYZ and CIELab against the
// D50 white of the profile connection space.
#pragma once

#include <array>
#include <cmath>

namespace quvgen {

using Vec3 = std::array<double, 3>;

// The profile connection white, as an ICC header stores it.
inline constexpr Vec3 kD50 = {0.9642, 1.0, 0.8249};

// CIE f(t) of the Lab formulas and its derivative.
inline double labF(double t) {
    constexpr double e = 216.0 / 24389.0;
    constexpr double k = 24389.0 / 27.0;
    return t > e ? std::cbrt(t) : (k * t + 16.0) / 116.0;
}
inline double labFDerivative(double t) {
    constexpr double e = 216.0 / 24389.0;
    constexpr double k = 24389.0 / 27.0;
    if (t > e) {
        double c = std::cbrt(t);
        return 1.0 / (3.0 * c * c);
    }
    return k / 116.0;
}
inline double labFInverse(double f) {
    constexpr double k = 24389.0 / 27.0;
    return f > 6.0 / 29.0 ? f * f * f : (116.0 * f - 16.0) / k;
}

// Lab from XYZ given relative to the white (x / Xn, y / Yn, z / Zn).
inline Vec3 labFromRelative(const Vec3& r) {
    double fx = labF(r[0]), fy = labF(r[1]), fz = labF(r[2]);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

inline Vec3 relativeFromLab(const Vec3& lab) {
    double fy = (lab[0] + 16.0) / 116.0;
    double fx = fy + lab[1] / 500.0;
    double fz = fy - lab[2] / 200.0;
    return {labFInverse(fx), labFInverse(fy), labFInverse(fz)};
}

inline Vec3 labFromXyz(const Vec3& xyz, const Vec3& white = kD50) {
    return labFromRelative({xyz[0] / white[0], xyz[1] / white[1], xyz[2] / white[2]});
}

inline Vec3 xyzFromLab(const Vec3& lab, const Vec3& white = kD50) {
    Vec3 r = relativeFromLab(lab);
    return {r[0] * white[0], r[1] * white[1], r[2] * white[2]};
}

inline double deltaE76(const Vec3& a, const Vec3& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

// The sRGB tone curve, from the encoded value to linear light and back.
inline double srgbToLinear(double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}
inline double srgbFromLinear(double v) {
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
}

}  // namespace quvgen
