// Ink spaces: CMY by complement, CMYK with a grey-component replacement level,
// and YCCK, the JPEG form of CMYK, through fixed-point tables. The process
// keeps one set of YCCK tables and the grey gamma table, built when the
// library loads and read-only afterwards; a handle with YCCK on either side
// has its own YCCK tables.
#pragma once

#include "kernels/kernel.h"

#include <cstddef>
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

// The grey-component replacement level kernels get when no parameters say.
constexpr int32_t kDefaultGcrLevel = 175;

ClrStatus rgbToCmy(const KernelIo& io, int orderFlag);
ClrStatus cmyToRgb(const KernelIo& io, int orderFlag);
// gcrLevel in tenths of a percent: 1000 replaces the whole grey component.
ClrStatus rgbToCmyk(const KernelIo& io, int32_t gcrLevel, int orderFlag);
ClrStatus cmykToRgb(const KernelIo& io, int32_t gcrLevel, int orderFlag);

// One YCCK pixel to CMYK and back through the tables; K is not touched.
void ycckPixelToCmyk(const YcckTables& t, const uint8_t* ycck, uint8_t* cmyk);
void cmykPixelToYcck(const YcckTables& t, const uint8_t* cmyk, uint8_t* ycck);

// What the YCCK kernels use of a handle. `handle` false means a conversion
// without one: the process tables and the formulas serve.
struct YcckContext {
    bool handle;
    uint32_t activeMethod;
    const YcckTables* tables;  // the handle's
    // The handle's ICC transform, run over `pixels` pixels; null when it has none.
    const void* transform;
    void (*transformPixels)(const void* transform, const void* in, void* out, uint32_t pixels);
};

// RGB to YCCK reads byte 0 as R whatever the layout: there is no orderFlag.
ClrStatus rgbToYcck(const KernelIo& io, const YcckContext& context);
ClrStatus ycckToRgb(const KernelIo& io, const YcckContext& context, int orderFlag);

}  // namespace quv::kernels
