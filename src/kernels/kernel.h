// What every colour kernel shares: its arguments, its buffer proofs, the row
// walk, and the number rules of the formulas (truncation, clamps, MulDiv).
#pragma once

#include "platform/probe.h"

#include <quvclr/status.h>

#include <climits>
#include <cstdint>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quv::kernels {

// Memory the caller touches right after a walk: `bytes` from each nonzero
// address. A walk that takes the hint asks for it a cache line at a time in
// step with its own progress, so those loads overlap its arithmetic instead
// of stalling the caller afterwards. Nothing is read or written through it,
// so an address that isn't mapped costs only the hint.
struct WarmAhead {
    uintptr_t first = 0;
    uintptr_t second = 0;
    uint64_t bytes = 0;
};

// A hint spread evenly over a walk of `steps` steps: after step k the lines
// below bytes x k / steps have been asked for. Counted in integers, so a
// step costs an add and a compare; a hint too large to count is dropped.
class Warming {
public:
    Warming(const WarmAhead& ahead, uint64_t steps) : ahead_(ahead), lineCost_(64 * steps) {
        uint64_t span;  // the marks never pass (bytes + 64) x steps
        if (steps == 0 || __builtin_add_overflow(ahead.bytes, uint64_t{64}, &span) ||
            __builtin_mul_overflow(span, steps, &span))
            ahead_.bytes = 0;
    }
    bool active() const { return ahead_.bytes != 0; }
    void step() {
        for (dueMark_ += ahead_.bytes; lineMark_ < dueMark_; lineMark_ += lineCost_, warmed_ += 64) {
            if (ahead_.first) __builtin_prefetch(reinterpret_cast<const void*>(ahead_.first + warmed_), 0, 3);
            if (ahead_.second) __builtin_prefetch(reinterpret_cast<const void*>(ahead_.second + warmed_), 0, 3);
        }
    }

private:
    WarmAhead ahead_;
    uint64_t lineCost_;      // 64 x steps: lineMark_ is warmed_ x steps
    uint64_t lineMark_ = 0;
    uint64_t dueMark_ = 0;   // bytes x steps so far
    uint64_t warmed_ = 0;
};

// A kernel's buffers. The pads are bytes skipped after each row; values
// below 1 count as none. `probe` is the calling conversion's, so buffers the
// caller has proven already are not asked about again.
struct KernelIo {
    const uint8_t* src;
    uint8_t* dst;
    int32_t width;
    int32_t height;
    int32_t srcPad;
    int32_t dstPad;
    MemoryProbe* probe;
    WarmAhead ahead{};
};

// A kernel between one space and the RGB hub. orderFlag nonzero: the RGB
// side is R, G, B; zero: B, G, R.
using Kernel = ClrStatus (*)(const KernelIo& io, int orderFlag);

constexpr int32_t padBytes(int32_t pad) { return pad < 1 ? 0 : pad; }

// Bytes a walk over `height` rows of `rowBytes` plus `pad` touches, as the
// buffer proofs count it: (row + pad) x height.
uint64_t walkExtent(int64_t rowBytes, int32_t pad, int32_t height);

// True when the first srcBytes of the source and dstBytes of the destination
// share a byte. A call converting in place gets what the reference order of
// reads and writes makes of it; a kernel whose fast rows read and write in
// blocks takes its reference form for such a call.
inline bool sharesBytes(const KernelIo& io, uint64_t srcBytes, uint64_t dstBytes) {
    const auto s = reinterpret_cast<uintptr_t>(io.src), d = reinterpret_cast<uintptr_t>(io.dst);
    return s < d + dstBytes && d < s + srcBytes;
}

// True when the rows of a call share bytes other than as one buffer with one
// pad: each row's source then meets what the rows before it, or the pixels
// before it, have written.
inline bool overlapsShifted(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes) {
    const bool samePlace = io.src == io.dst && padBytes(io.srcPad) == padBytes(io.dstPad) && srcRowBytes == dstRowBytes;
    return !samePlace && sharesBytes(io, walkExtent(srcRowBytes, io.srcPad, io.height),
                                     walkExtent(dstRowBytes, io.dstPad, io.height));
}

// Proves the source readable and the destination writable over their walks;
// CLR_INVALID_PARAMETER when either is not.
ClrStatus proveBuffers(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes);

// Conversion of a double to a 32-bit integer toward zero; NaN, infinities
// and values out of range give INT32_MIN. That is what x86's truncating
// conversion does by itself, without a branch.
inline int32_t truncToInt(double x) {
#if defined(__SSE2__)
    return _mm_cvttsd_si32(_mm_set_sd(x));
#else
    return (x > -2147483649.0 && x < 2147483648.0) ? static_cast<int32_t>(x) : INT32_MIN;
#endif
}

// Sum and difference in 32 bits that wrap, as the fixed-point formulas are
// defined: the bits of two's complement without signed overflow.
constexpr int32_t wrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t wrapMul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Quotient and remainder that wrap too: INT32_MIN / -1, which traps, gives
// INT32_MIN, and its remainder 0.
constexpr int32_t wrapDiv(int32_t a, int32_t b) { return b == -1 ? wrapSub(0, a) : a / b; }
constexpr int32_t wrapRem(int32_t a, int32_t b) { return b == -1 ? 0 : a % b; }

// Clamp applied before truncation; a NaN passes through.
inline double clamp(double x, double lo, double hi) { return x < lo ? lo : (x > hi ? hi : x); }
inline int32_t clamp(int32_t x, int32_t lo, int32_t hi) { return x < lo ? lo : (x > hi ? hi : x); }

// a x b / c from the exact product, rounded to nearest with halves away from
// zero; -1 when c is 0 or the result does not fit.
int32_t mulDiv(int32_t a, int32_t b, int32_t c);

// Where R and B sit on the RGB side of a kernel; G is always byte 1.
template <bool RFirst>
struct RgbOrder {
    static constexpr int r = RFirst ? 0 : 2;
    static constexpr int b = RFirst ? 2 : 0;
};

// Calls fn(RgbOrder<...>{}) for the layout orderFlag names.
template <class Fn>
decltype(auto) withOrder(int orderFlag, Fn&& fn) {
    return orderFlag ? fn(RgbOrder<true>{}) : fn(RgbOrder<false>{});
}

// Which instruction set the pixel walks use: the widest the processor has.
// Every level gives the same bytes; the formulas are the same operations in
// the same order, only several pixels at a time. Avx512 (AVX-512BW and VBMI)
// has rows of its own only where AVX2 falls short of the peers (the 4:2:2
// decoders); everything else takes the AVX2 rows there.
enum class KernelIsa { Baseline, Avx2, Avx512 };
KernelIsa kernelIsa();
namespace testing {
void forceKernelIsa(KernelIsa isa);  // at most what the processor has
void resetKernelIsa();
}  // namespace testing

// Walks every pixel row by row, skipping the pads after each row. fn reads
// the whole source pixel before it writes, so source and destination may be
// one buffer.
template <int SrcBytes, int DstBytes, class Fn>
__attribute__((always_inline)) inline void walkPixels(const KernelIo& io, Fn& fn) {
    // Locals, so that stores through the destination can't be taken to
    // change the loop bounds.
    const int32_t width = io.width, height = io.height;
    const uint8_t* s = io.src;
    uint8_t* d = io.dst;
    const int32_t sp = padBytes(io.srcPad);
    const int32_t dp = padBytes(io.dstPad);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) fn(s + SrcBytes * x, d + DstBytes * x);
        if (width > 0) {
            s += SrcBytes * width;
            d += DstBytes * width;
        }
        s += sp;
        d += dp;
    }
}

template <int SrcBytes, int DstBytes, class Fn>
void walkPixelsBaseline(const KernelIo& io, Fn& fn) {
    walkPixels<SrcBytes, DstBytes>(io, fn);
}

template <int SrcBytes, int DstBytes, class Fn>
__attribute__((target("avx2"))) void walkPixelsAvx2(const KernelIo& io, Fn& fn) {
    walkPixels<SrcBytes, DstBytes>(io, fn);
}

template <int SrcBytes, int DstBytes, class Fn>
inline void forEachPixel(const KernelIo& io, Fn&& fn) {
    if (kernelIsa() >= KernelIsa::Avx2)
        walkPixelsAvx2<SrcBytes, DstBytes>(io, fn);
    else
        walkPixelsBaseline<SrcBytes, DstBytes>(io, fn);
}

// The common body of a pixel-by-pixel kernel: proofs, then the walk.
template <int SrcBytes, int DstBytes, class Fn>
inline ClrStatus mapPixels(const KernelIo& io, Fn&& fn) {
    const int64_t w = io.width > 0 ? io.width : 0;
    ClrStatus proved = proveBuffers(io, SrcBytes * w, DstBytes * w);
    if (proved != CLR_SUCCESS) return proved;
    forEachPixel<SrcBytes, DstBytes>(io, fn);
    return CLR_SUCCESS;
}

// Walks the rows of an image: fn(source row, destination row, row index)
// for each, then steps over the row and its pads. Kernels whose pixels come
// in groups sharing chroma are written once over a row; the walk, the pads
// and the instruction-set dispatch stay here.
template <class Fn>
__attribute__((always_inline)) inline void walkRows(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes,
                                                    Fn& fn) {
    const int32_t height = io.height;
    const int64_t srcStep = srcRowBytes + padBytes(io.srcPad);
    const int64_t dstStep = dstRowBytes + padBytes(io.dstPad);
    for (int32_t y = 0; y < height; ++y) fn(io.src + y * srcStep, io.dst + y * dstStep, y);
}

template <class Fn>
void walkRowsBaseline(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes, Fn& fn) {
    walkRows(io, srcRowBytes, dstRowBytes, fn);
}

template <class Fn>
__attribute__((target("avx2"))) void walkRowsAvx2(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes,
                                                  Fn& fn) {
    walkRows(io, srcRowBytes, dstRowBytes, fn);
}

template <class Fn>
inline void forEachRow(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes, Fn&& fn) {
    if (kernelIsa() >= KernelIsa::Avx2)
        walkRowsAvx2(io, srcRowBytes, dstRowBytes, fn);
    else
        walkRowsBaseline(io, srcRowBytes, dstRowBytes, fn);
}

// The common body of a row kernel: proofs over the padded rows, then the walk.
template <class Fn>
inline ClrStatus mapRows(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes, Fn&& fn) {
    ClrStatus proved = proveBuffers(io, srcRowBytes, dstRowBytes);
    if (proved != CLR_SUCCESS) return proved;
    forEachRow(io, srcRowBytes, dstRowBytes, fn);
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
