#include "kernels/ink.h"

#include "kernels/kernel.h"

#include <cmath>

namespace quv::kernels {
namespace {

YcckTables g_ycck;
uint16_t g_grayGamma[256];

}  // namespace

void buildYcckTables(YcckTables& t) {
    uint8_t* limit = t.rangeLimitStore + 256;
    for (int i = -256; i < 1152; ++i) {
        uint8_t v;
        if (i < 0) v = 0;
        else if (i < 256) v = static_cast<uint8_t>(i);
        else if (i < 640) v = 255;
        else if (i < 1024) v = 0;
        else v = static_cast<uint8_t>(i - 1024);
        limit[i] = v;
    }
    for (int32_t i = 0; i < 256; ++i) {
        t.rToY[i] = 19595 * i;
        t.gToY[i] = 38470 * i;
        t.bToY[i] = 7471 * i + 32768;
        t.rToCb[i] = -11059 * i;
        t.gToCb[i] = -21709 * i;
        t.bToCb[i] = 32768 * i + 8421375;
        t.gToCr[i] = -27439 * i;
        t.bToCr[i] = -5329 * i;
        t.crToR[i] = (91881 * i - 11728000) >> 16;
        t.cbToB[i] = (116130 * i - 14831872) >> 16;
        t.crToG[i] = 5990656 - 46802 * i;
        t.cbToG[i] = 2919680 - 22554 * i;
    }
}

void buildProcessYcckTables() { buildYcckTables(g_ycck); }
const YcckTables& processYcckTables() { return g_ycck; }

void buildGrayGammaTable() {
    for (int i = 0; i < 256; ++i)
        g_grayGamma[i] = static_cast<uint16_t>(truncToInt(std::pow(i / 255.0, 2.0) * 256.0));
}
const uint16_t* grayGammaTable() { return g_grayGamma; }

}  // namespace quv::kernels
