// Emulation: conversion by look-up in a lattice of precomputed colours, for
// three pairs only. The look-up takes the mean of the lattice cell's lower
// and upper corners rather than interpolating.
#pragma once

#include "kernels/kernel.h"

#include <cstdint>

namespace quv::kernels {

// Lattice sizes: 33 nodes a side for RGB and Lab, 17 for CMYK; 3-byte entries.
constexpr uint32_t kLattice33Bytes = 33 * 33 * 33 * 3;
constexpr uint32_t kLattice17Bytes = 17 * 17 * 17 * 17 * 3;

// The three kernels. They report nothing: a buffer that fails its proof is
// left unwritten.
void rgbToLabByTable(const uint8_t* table, const KernelIo& io, int orderFlag);
void labToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag);
void cmykToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag);

// The pairs the look-ups serve; every method that binds or loads a table
// asks here. Kind 3 files serve the two 33-node pairs, kind 4 CMYK.
enum class EmulationPair { None, CmykToRgb, RgbToLab, LabToRgb };
enum TableKind : int32_t { kTableKind33 = 3, kTableKindCmyk = 4 };
EmulationPair emulationPair(uint32_t source, uint32_t dest);
int32_t tableKind(EmulationPair pair);  // 0 for None
const uint8_t* builtinTable(EmulationPair pair);  // null for None
// The look-up of the pair of spaces, RGB or BGR on the RGB side; other pairs
// write nothing.
void lookUpPair(const uint8_t* table, const KernelIo& io, uint32_t source, uint32_t dest);

}  // namespace quv::kernels
