#include "kernels/kernel.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace quv::kernels {
namespace {

KernelIsa detectIsa() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi")) return KernelIsa::Avx512;
    return __builtin_cpu_supports("avx2") ? KernelIsa::Avx2 : KernelIsa::Baseline;
}

std::atomic<KernelIsa> g_isa{detectIsa()};

}  // namespace

KernelIsa kernelIsa() { return g_isa.load(std::memory_order_relaxed); }

namespace testing {
void forceKernelIsa(KernelIsa isa) { g_isa.store(std::min(isa, detectIsa()), std::memory_order_relaxed); }
void resetKernelIsa() { g_isa.store(detectIsa(), std::memory_order_relaxed); }
}  // namespace testing

uint64_t walkExtent(int64_t rowBytes, int32_t pad, int32_t height) {
    if (height < 1) return 0;
    const int64_t row = (rowBytes > 0 ? rowBytes : 0) + padBytes(pad);
    return static_cast<uint64_t>(row) * static_cast<uint64_t>(height);
}

ClrStatus proveBuffers(const KernelIo& io, int64_t srcRowBytes, int64_t dstRowBytes) {
    if (!io.probe->readable(io.src, walkExtent(srcRowBytes, io.srcPad, io.height))) return CLR_INVALID_PARAMETER;
    if (!io.probe->writable(io.dst, walkExtent(dstRowBytes, io.dstPad, io.height))) return CLR_INVALID_PARAMETER;
    return CLR_SUCCESS;
}

int32_t mulDiv(int32_t a, int32_t b, int32_t c) {
    if (c == 0) return -1;
    const int64_t product = static_cast<int64_t>(a) * b;
    const bool negative = (product < 0) != (c < 0);
    const uint64_t magnitude = static_cast<uint64_t>(product < 0 ? -product : product);
    const uint64_t divisor = static_cast<uint64_t>(std::llabs(static_cast<long long>(c)));
    const uint64_t q = (magnitude + divisor / 2) / divisor;
    if (q > static_cast<uint64_t>(INT32_MAX)) return -1;
    return negative ? -static_cast<int32_t>(q) : static_cast<int32_t>(q);
}

}  // namespace quv::kernels
