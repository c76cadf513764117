// CIELab. The floating path reads and writes L as L* x 255 / 100 and a, b
// as signed bytes. The fixed-point path works in 16.16 and 4.28 integers with
// the caller's encoding of L, a and b, and compresses chroma that falls
// outside the encoded range. The two paths, and the two directions, differ
// in white point and rounding; the differences are part of the results.
#pragma once

#include "kernels/kernel.h"

#include <quvclr/conversion.h>

#include <cstdint>

namespace quv::kernels {

// Lab to RGB in fixed point.
struct LabDecodeTables {
    float lBias;
    double lScale;  // integer-valued; read as 32-bit integers by the kernel
    double aScale;
    double bScale;
    double whiteX, whiteY, whiteZ;
    double xyzToRgb[9];  // row major
    int32_t lOffset, lRange, aOffset, aRange, bOffset, bRange;
    int32_t fixedMatrix[9];
    int32_t encodeThresholds[255];  // byte i ends where the gamma-encoded value passes entry i
    // For each 1/4096 of [0, 1) at 4.28: how many thresholds lie below it.
    // The search starts there instead of halving the whole table.
    uint8_t searchStart[4096];
};

// RGB to Lab in fixed point.
struct LabEncodeTables {
    int32_t rgbToXyzTables[9][256];  // R, G, B to X; R, G, B to Y; R, G, B to Z
    uint16_t cubeRoot[4096];         // CIE f of a 16.16 value, sampled every 16
    int32_t lMul, aMul, bMul;
    int32_t aMin, aMax, bMin, bMax;
    int32_t lBias;
    double whiteX, whiteY, whiteZ;
    double rgbToXyz[9];
    int32_t lOffset, lRange, aOffset, aRange, bOffset, bRange;
};

// The handle's gamma: 45 means 0.45.
constexpr int32_t kLabGamma = 45;

// The white point and matrices a handle's records start from at init, and
// the ones the first Lab update of an existing handle uses instead.
void initLabDecodeTables(LabDecodeTables& t, const ClrLabParams& ranges);
void initLabEncodeTables(LabEncodeTables& t, const ClrLabParams& ranges, int32_t gamma);
void initLabDecodeTablesForUpdate(LabDecodeTables& t);
// Recomputes everything but white, matrix and ranges.
void deriveLabDecodeTables(LabDecodeTables& t, int32_t gamma);
// Fills the encode tables from white, matrix and ranges; stops early, leaving
// the rest zero, when the a or b range does not straddle neutral.
void deriveLabEncodeTables(LabEncodeTables& t, int32_t gamma);

ClrStatus rgbToLab(const KernelIo& io, int orderFlag);
ClrStatus labToRgb(const KernelIo& io, int orderFlag);
ClrStatus rgbToLabFixed(const LabEncodeTables& t, const KernelIo& io, int orderFlag);
ClrStatus labToRgbFixed(const LabDecodeTables& t, const KernelIo& io, int orderFlag);

// Fixed-point helpers, exposed for tests.
int32_t roundFixed(double x, double scale);

// 16.16 product rounded at bit 16, modulo 2^32. Written out as the four
// partial products of the halves, (ph qh << 16) + ph ql + pl qh +
// ((pl ql + 32768) >> 16), which is this 64-bit expression exactly.
inline int32_t fixMul16(int32_t p, int32_t q) {
    const int64_t r = (int64_t{p} * q + 32768) >> 16;
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(r)));
}

// The inverse of the CIE f at 4.28: the linear toe below 0.20689, the cube
// above, limited to 0..1.
inline int32_t labFinv(int32_t t) {
    int32_t r;
    if (t < 55536612) {
        r = fixMul16(538650, wrapSub(t, 37025548) >> 6);
    } else {
        const int32_t y = wrapAdd(t, 128) >> 8;
        r = fixMul16(fixMul16(y, y), y);
    }
    return r < 0 ? 0 : r > 268435456 ? 268435456 : r;
}
int32_t labSearch(const int32_t* thresholds, int32_t v);
// The same count from the decode record's index.
int32_t labSearchIndexed(const LabDecodeTables& t, int32_t v);

}  // namespace quv::kernels
