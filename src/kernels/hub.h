// The RGB hub's own kernel: exchanging R and B turns RGB into BGR and back.
#pragma once

#include "kernels/kernel.h"

#include <cstddef>

namespace quv::kernels {

// Writes bytes 2, 1, 0 of each 3-byte source pixel as bytes 0, 1, 2 of the
// destination. Source and destination may be one buffer.
ClrStatus swapRedBlue(const KernelIo& io);

// One run of `pixels` contiguous pixels. The scalar loop is the reference;
// the SSSE3 one gives the same bytes and needs src == dst or no overlap.
void swapRunScalar(const uint8_t* src, uint8_t* dst, size_t pixels);
void swapRunSsse3(const uint8_t* src, uint8_t* dst, size_t pixels);
bool cpuHasSsse3();

}  // namespace quv::kernels
