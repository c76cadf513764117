// The press's grades: how well the CMYK and CMY profiles the generator made
// print and separate, measured through lcms2. The generator's check runs
// them; they describe the models in data/, not the library.
#pragma once

#include "profiles.h"

namespace quvgen {

// The calibration rows: CMYK lattice nodes (16 n, node 16 standing for 255)
// and the display RGB the CMYK table is to hold there.
struct PressRow {
    std::array<int, 4> node;
    std::array<int, 3> rgb;
};
inline constexpr PressRow kPressRows[] = {
    {{0, 0, 0, 0}, {255, 255, 255}}, {{16, 0, 0, 0}, {0, 178, 236}}, {{0, 16, 0, 0}, {227, 0, 127}},
    {{0, 0, 16, 0}, {249, 244, 0}},  {{0, 0, 0, 16}, {0, 0, 0}},     {{8, 8, 8, 8}, {82, 72, 66}},
    {{16, 16, 16, 0}, {54, 39, 51}}, {{0, 0, 0, 15}, {22, 22, 22}},
};
inline int inkByte(int node) { return node == 16 ? 255 : 16 * node; }

// Prints every grade with its bound; false when one is missed.
bool gradePress(const Bytes& rgb, const Bytes& cmyk, const Bytes& cmy, const Bytes& tableCmyk);

}  // namespace quvgen
