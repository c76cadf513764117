// The emulation table file: a TIFF subset whose one strip holds a lattice of
// 3-byte entries. Read here, by the handle that binds it; the look-ups in
// kernels/emulation.h only take the bytes.
#pragma once

#include <quvclr/common.h>
#include <quvclr/status.h>

#include <cstdint>

namespace quv {

// Loads a file as kind 3 (the two 33-node pairs) or kind 4 (CMYK). On success
// *table is a quvMalloc block the caller owns; on a failed read after
// allocation too. A failure to open gives the system's error number (2 or
// more), which the caller turns into a read failure.
ClrStatus loadEmulationTable(const ClrWChar* path, uint8_t** table, int32_t kind);

}  // namespace quv
