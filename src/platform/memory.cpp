#include "platform/memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace quv {
namespace {

std::atomic<long> g_failAfter{-1};
std::atomic<long> g_livePrivate{0};
std::atomic<long> g_liveShared{0};
std::atomic<size_t> g_reserved{0};
std::atomic<size_t> g_reservationLimit{0};

// True when an injected failure is due.
bool injectedFailure() {
    long left = g_failAfter.load(std::memory_order_relaxed);
    while (left >= 0) {
        if (left == 0) return true;
        if (g_failAfter.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return false;
    }
    return false;
}

bool byteCount(size_t count, size_t elementSize, size_t* bytes) {
    return !__builtin_mul_overflow(count, elementSize, bytes);
}

void* allocate(size_t count, size_t elementSize, bool zero, std::atomic<long>& live) {
    size_t bytes;
    if (!byteCount(count, elementSize, &bytes) || injectedFailure()) return nullptr;
    void* p = zero ? std::calloc(bytes ? bytes : 1, 1) : std::malloc(bytes ? bytes : 1);
    if (p) live.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void* reallocate(void* old, size_t size, std::atomic<long>& live) {
    if (injectedFailure()) return nullptr;
    void* p = std::realloc(old, size ? size : 1);
    if (p && !old) live.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void release(void* p, std::atomic<long>& live) {
    if (!p) return;
    live.fetch_sub(1, std::memory_order_relaxed);
    std::free(p);
}

}  // namespace

void* quvMalloc(size_t count, size_t elementSize) { return allocate(count, elementSize, false, g_livePrivate); }
void* quvCalloc(size_t count, size_t elementSize) { return allocate(count, elementSize, true, g_livePrivate); }
void* quvRealloc(void* old, size_t size) { return reallocate(old, size, g_livePrivate); }
void quvFree(void* p) { release(p, g_livePrivate); }

void* quvSharedAlloc(size_t count, size_t elementSize) { return allocate(count, elementSize, false, g_liveShared); }
void* quvSharedRealloc(void* old, size_t size) { return reallocate(old, size, g_liveShared); }
void quvSharedFree(void* p) { release(p, g_liveShared); }

ClrStatus quvMemoryAccount(int op, size_t bytes, int /*unused*/) {
    switch (op) {
    case kAccountReserve: {
        const size_t limit = g_reservationLimit.load(std::memory_order_relaxed);
        size_t now = g_reserved.load(std::memory_order_relaxed);
        do {
            if (limit != 0 && (bytes > limit || now > limit - bytes)) return CLR_NO_MEMORY;
        } while (!g_reserved.compare_exchange_weak(now, now + bytes, std::memory_order_relaxed));
        return CLR_SUCCESS;
    }
    case kAccountGiveBack:
        g_reserved.fetch_sub(bytes, std::memory_order_relaxed);
        return CLR_SUCCESS;
    case kAccountAllocFailed:
        return CLR_NO_MEMORY;
    default:
        return CLR_INVALID_PARAMETER;
    }
}

GrowBuffer::GrowBuffer(size_t size) {
    if (size == 0) return;
    ClrStatus status = reallocate(size);
    if (status != CLR_SUCCESS) {
        status_ = status;
        return;
    }
    size_ = size;
    status_ = CLR_SUCCESS;
}

GrowBuffer::~GrowBuffer() {
    setCounted(0);
    quvFree(data_);
    if (account_.reservationOpen && account_.amount > 0) quvMemoryAccount(kAccountGiveBack, account_.amount, 0);
}

ClrStatus GrowBuffer::setCounted(size_t amount) {
    Accounting& a = account_;
    if (amount == a.amount) return CLR_SUCCESS;
    if (amount > a.amount) {
        if (!a.reservationOpen && amount > a.threshold) {
            ClrStatus granted = quvMemoryAccount(kAccountReserve, amount, 0);
            if (granted != CLR_SUCCESS) return granted;
            a.reservationOpen = true;
        } else if (a.reservationOpen) {
            ClrStatus granted = quvMemoryAccount(kAccountReserve, amount - a.amount, 0);
            if (granted != CLR_SUCCESS) return granted;
        }
    } else if (a.reservationOpen) {
        quvMemoryAccount(kAccountGiveBack, a.amount - amount, 0);
    }
    a.amount = amount;
    return CLR_SUCCESS;
}

// Moves the storage to `capacity` bytes and counts them; the old block stays
// when anything fails.
ClrStatus GrowBuffer::reallocate(size_t capacity) {
    void* p = quvRealloc(data_, capacity);
    if (!p) {
        ClrStatus reported = quvMemoryAccount(kAccountAllocFailed, capacity, 0);
        return reported == CLR_SUCCESS ? CLR_FAILURE : reported;
    }
    data_ = static_cast<uint8_t*>(p);
    ClrStatus counted = setCounted(capacity);
    if (counted != CLR_SUCCESS) {
        if (capacity_ == 0) {
            quvFree(data_);
            data_ = nullptr;
        }
        return counted;
    }
    capacity_ = capacity;
    if (++growthCount_ > kGrowthsPerDoubling) {
        growthCount_ = 0;
        growthStep_ *= 2;
    }
    return CLR_SUCCESS;
}

ClrStatus GrowBuffer::resize(size_t size) {
    if (size > capacity_) {
        size_t capacity = (size + growthStep_ - 1) / growthStep_ * growthStep_;
        if (capacity < size) return status_ = CLR_NO_MEMORY;
        ClrStatus status = reallocate(capacity);
        if (status != CLR_SUCCESS) return status_ = status;
    }
    size_ = size;
    return status_ = CLR_SUCCESS;
}

namespace testing {
void failAllocationsAfter(long successes) { g_failAfter.store(successes, std::memory_order_relaxed); }
long livePrivateBlocks() { return g_livePrivate.load(std::memory_order_relaxed); }
long liveSharedBlocks() { return g_liveShared.load(std::memory_order_relaxed); }
size_t reservedBytes() { return g_reserved.load(std::memory_order_relaxed); }
void limitReservations(size_t bytes) { g_reservationLimit.store(bytes, std::memory_order_relaxed); }
}  // namespace testing

}  // namespace quv
