// Emulation: conversion by look-up in a lattice of precomputed colours, for
// three pairs only. The look-up takes the mean of the lattice cell's lower
// and upper corners rather than interpolating.
#pragma once

#include "kernels/kernel.h"

#include <quvclr/common.h>

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

// Table files: a TIFF whose strip holds the entries. Kind 3 serves the two
// 33-node pairs, kind 4 CMYK. On success *table is a quvMalloc block the
// caller owns; on a failed read after allocation too.
enum TableKind : int32_t { kTableKind33 = 3, kTableKindCmyk = 4 };
ClrStatus loadEmulationTable(const ClrWChar* path, uint8_t** table, int32_t kind);

}  // namespace quv::kernels
