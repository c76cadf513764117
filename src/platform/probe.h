// Proofs that a caller's memory can be read or written, without touching it
// in a way that could fault. One MemoryProbe lives for one call: it remembers
// the mappings it has already seen, so a call asks the system about a buffer
// once however many steps check it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quv {

class MemoryProbe {
public:
    // True when [p, p + bytes) is mapped readable. Zero bytes always pass; a
    // null pointer with bytes fails.
    bool readable(const void* p, size_t bytes);
    // True when [p, p + bytes) is mapped writable. The memory is not changed.
    bool writable(void* p, size_t bytes);

private:
    struct Range {
        uintptr_t begin = 0;
        uintptr_t end = 0;
        bool read = false;
        bool write = false;
        bool exact = false;  // the flags describe the mapping, not only what was proven
    };
    bool check(const void* p, size_t bytes, bool write);
    const Range* known(uintptr_t address) const;
    void remember(const Range& range);

    std::array<Range, 4> known_{};
    unsigned count_ = 0;
    unsigned next_ = 0;
};

// How the system is asked. Auto takes the first that works here: the
// mapping query ioctl of /proc/self/maps, then process_vm_readv page by page
// for read proofs (write proofs then read the maps text), then reading the
// /proc/self/maps text. No mechanism stores into the memory it proves.
enum class ProbeMechanism { Auto, MapQuery, ProcessVm, MapsText };

ProbeMechanism activeProbeMechanism();

namespace testing {
void forceProbeMechanism(ProbeMechanism mechanism);
}

}  // namespace quv
