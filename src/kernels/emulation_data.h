// The built-in emulation tables: lattices of precomputed colours, constant
// data made at build time by the generator in data/. An entry is three bytes
// at three times its index.
//
// emulationTableRgb: RGB to Lab. 33 nodes per axis over the bytes 8 n, node 32
//   standing for 255; entry (r x 33 + g) x 33 + b holds L (L* x 255 / 100,
//   unsigned), a and b (signed bytes), for sRGB against CIELab with a D50 white.
// emulationTableLab: Lab to RGB. 33 nodes per axis: L over the bytes 8 n (node
//   32 = 255) in the L* x 255 / 100 encoding; a and b over 8 n - 128 (node 32
//   = 127); entry (l x 33 + a) x 33 + b holds the sRGB R, G, B.
// emulationTableCmyk: CMYK to RGB. 17 nodes per ink over 16 n, node 16
//   standing for 255; entry ((c x 17 + m) x 17 + y) x 17 + k holds R, G, B:
//   the embedded CMYK profile evaluated to the embedded RGB profile.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quv::kernels {

inline constexpr size_t kEmulationTableRgbBytes = 33 * 33 * 33 * 3;
inline constexpr size_t kEmulationTableLabBytes = 33 * 33 * 33 * 3;
inline constexpr size_t kEmulationTableCmykBytes = 17 * 17 * 17 * 17 * 3;

const uint8_t* emulationTableRgb();
const uint8_t* emulationTableLab();
const uint8_t* emulationTableCmyk();

}  // namespace quv::kernels
