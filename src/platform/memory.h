// Allocation: the private heap (quvMalloc family) for what lives and dies inside
// the library, and the shared family (quvSharedAlloc) for buffers handed to the
// caller. Whoever allocates from one family releases to the same one.
#pragma once

#include <quvclr/status.h>

#include <cstddef>
#include <cstdint>

namespace quv {

void* quvMalloc(size_t count, size_t elementSize);
void* quvCalloc(size_t count, size_t elementSize);
void* quvRealloc(void* old, size_t size);
void quvFree(void* p);

void* quvSharedAlloc(size_t count, size_t elementSize);
void* quvSharedRealloc(void* old, size_t size);
void quvSharedFree(void* p);

// Accounting of large working buffers.
enum MemoryAccountOp : int {
    kAccountReserve = 2,      // announce a reservation; 1 when granted
    kAccountGiveBack = 3,     // give a reservation back
    kAccountAllocFailed = 5,  // an allocation failed; returns the status to report
};
ClrStatus quvMemoryAccount(int op, size_t bytes, int unused);

// A buffer that grows in steps and counts large sizes against the process's
// reservation. status() is 1 once it holds memory, else the failure.
class GrowBuffer {
public:
    static constexpr size_t kThreshold = 8000000;
    static constexpr int kGrowthsPerDoubling = 20;

    explicit GrowBuffer(size_t size);
    ~GrowBuffer();
    GrowBuffer(const GrowBuffer&) = delete;
    GrowBuffer& operator=(const GrowBuffer&) = delete;

    // Sets the logical size, growing the storage when needed.
    ClrStatus resize(size_t size);

    uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    size_t capacity() const { return capacity_; }
    ClrStatus status() const { return status_; }

private:
    struct Accounting {
        size_t amount = 0;
        size_t threshold = kThreshold;
        bool reservationOpen = false;
    };
    ClrStatus setCounted(size_t amount);
    ClrStatus reallocate(size_t capacity);

    uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
    ClrStatus status_ = CLR_FAILURE;
    Accounting account_;
    int growthCount_ = 0;
    size_t growthStep_ = 4096;
};

namespace testing {
// After `successes` more successful allocations (both families), every
// allocation fails until this is called with -1.
void failAllocationsAfter(long successes);
// Live blocks of each family: a leak shows as a count that does not return.
long livePrivateBlocks();
long liveSharedBlocks();
// Bytes currently reserved through quvMemoryAccount.
size_t reservedBytes();
// Reservations above this many bytes are refused (0: no limit).
void limitReservations(size_t bytes);
}  // namespace testing

}  // namespace quv
