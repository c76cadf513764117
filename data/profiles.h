// The four ICC profiles the library carries, built with lcms2.
#pragma once

#include "press_model.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quvgen {

using Bytes = std::vector<uint8_t>;

// lcms2 profiles and transforms released at scope end.
struct ProfileCloser {
    void operator()(void* h) const;
};
using Profile = std::unique_ptr<void, ProfileCloser>;
struct TransformFree {
    void operator()(void* t) const;
};
using Transform = std::unique_ptr<void, TransformFree>;

// Opens profile bytes (lcms2 keeps a copy); throws when they do not open.
Profile openProfile(const Bytes& bytes);
// A perceptual transform with no optimisation or cache; throws on failure.
Transform makeTransform(void* from, uint32_t inFormat, void* to, uint32_t outFormat);

// Display RGB: sRGB primaries and tone curve, matrix and curves, version 2.1.
// `display` receives the matrix from linear RGB to XYZ (D50).
Bytes buildRgbProfile(RgbMatrix& display);

// Lab to Lab identity, as 8-bit tables, version 2.1.
Bytes buildLabIdentityProfile();

// The four-ink press: CMYK to Lab from the model, Lab to CMYK by its
// inverse under the rule, and a gamut tag, version 2.1.
Bytes buildCmykProfile(const PressModel& press, const SeparationRule& rule);

// The same press with its three colour inks only, version 2.0.
Bytes buildCmyProfile(const PressModel& press);

// Fixed creation date written into every header (bytes 24 to 35), so that the
// same sources give the same bytes.
inline constexpr uint16_t kCreationDate[6] = {2025, 1, 1, 0, 0, 0};

// Messages lcms2 reported while building; any one fails the generator.
const std::vector<std::string>& engineErrors();
void watchEngineErrors();

}  // namespace quvgen
