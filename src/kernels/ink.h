// Ink spaces: the fixed-point tables of YCCK and the grey gamma table of the
// CMYK inverse. The process keeps one of each, built when the library loads
// and read-only afterwards; a handle with YCCK on either side has its own.
#pragma once

#include <cstdint>

namespace quv::kernels {

struct YcckTables {
    // Addressed from -256 to 1151 through rangeLimit(): a clamp to 0..255 over
    // the indices the YCCK arithmetic reaches.
    uint8_t rangeLimitStore[256 + 1152];
    int32_t rToY[256];
    int32_t gToY[256];
    int32_t bToY[256];
    int32_t rToCb[256];
    int32_t gToCb[256];
    int32_t bToCb[256];  // also serves as R to Cr
    int32_t gToCr[256];
    int32_t bToCr[256];
    int32_t crToR[256];
    int32_t cbToB[256];
    int32_t crToG[256];
    int32_t cbToG[256];

    const uint8_t* rangeLimit() const { return rangeLimitStore + 256; }
};

void buildYcckTables(YcckTables& tables);

// Process-wide tables.
void buildProcessYcckTables();
const YcckTables& processYcckTables();
void buildGrayGammaTable();
const uint16_t* grayGammaTable();

}  // namespace quv::kernels
