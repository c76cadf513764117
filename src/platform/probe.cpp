#include "platform/probe.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/types.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

namespace quv {
namespace {

// The mapping query of /proc/<pid>/maps (Linux 6.11 and later). Declared here
// because older kernel headers lack it; the layout is a stable kernel ABI.
struct ProcMapQuery {
    __u64 size;
    __u64 query_flags;
    __u64 query_addr;
    __u64 vma_start;
    __u64 vma_end;
    __u64 vma_flags;
    __u64 vma_page_size;
    __u64 vma_offset;
    __u64 inode;
    __u32 dev_major;
    __u32 dev_minor;
    __u32 vma_name_size;
    __u32 build_id_size;
    __u64 vma_name_addr;
    __u64 build_id_addr;
};
constexpr unsigned long kProcMapQuery = _IOWR('f', 17, ProcMapQuery);
constexpr __u64 kVmaReadable = 1;
constexpr __u64 kVmaWritable = 2;

constexpr uintptr_t kPage = 4096;
constexpr int kIovBatch = 512;

std::atomic<int> g_mapsFd{-1};
std::atomic<int> g_mechanism{static_cast<int>(ProbeMechanism::Auto)};
std::atomic<bool> g_forkHookSet{false};

void closeMapsAfterFork() {
    // The child's descriptor still names the parent's mappings.
    int fd = g_mapsFd.exchange(-1);
    if (fd >= 0) close(fd);
}

int mapsFd() {
    int fd = g_mapsFd.load(std::memory_order_acquire);
    if (fd >= 0) return fd;
    if (!g_forkHookSet.exchange(true)) pthread_atfork(nullptr, nullptr, closeMapsAfterFork);
    int opened = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (opened < 0) return -1;
    int expected = -1;
    if (!g_mapsFd.compare_exchange_strong(expected, opened)) {
        close(opened);
        return expected;
    }
    return opened;
}

enum class Lookup { Found, Unmapped, Unavailable };

struct Mapping {
    uintptr_t begin, end;
    bool read, write, exact;
};

Lookup queryMapping(uintptr_t address, Mapping* out) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        int fd = mapsFd();
        if (fd < 0) return Lookup::Unavailable;
        ProcMapQuery q{};
        q.size = sizeof q;
        q.query_addr = address;
        if (ioctl(fd, kProcMapQuery, &q) == 0) {
            *out = {static_cast<uintptr_t>(q.vma_start), static_cast<uintptr_t>(q.vma_end),
                    (q.vma_flags & kVmaReadable) != 0, (q.vma_flags & kVmaWritable) != 0, true};
            return Lookup::Found;
        }
        if (errno == ENOENT) return Lookup::Unmapped;
        if (errno != EBADF) return Lookup::Unavailable;
        // The descriptor was closed under us: open it again once.
        int stale = fd;
        g_mapsFd.compare_exchange_strong(stale, -1);
    }
    return Lookup::Unavailable;
}

Lookup parseMapsText(uintptr_t address, Mapping* out) {
    FILE* f = std::fopen("/proc/self/maps", "re");
    if (!f) return Lookup::Unavailable;
    char line[512];
    Lookup result = Lookup::Unmapped;
    while (std::fgets(line, sizeof line, f)) {
        char* rest = nullptr;
        unsigned long begin = std::strtoul(line, &rest, 16);
        if (!rest || *rest != '-') continue;
        unsigned long end = std::strtoul(rest + 1, &rest, 16);
        if (!rest || address < begin || address >= end) continue;
        while (*rest == ' ') ++rest;
        *out = {begin, end, rest[0] == 'r', rest[1] == 'w', true};
        result = Lookup::Found;
        break;
    }
    std::fclose(f);
    return result;
}

// Proves [begin, end) readable by copying one byte of every page out of this
// process through the kernel, which reports a fault as an error instead of a
// signal. Writability is not proven this way: copying a byte back would race
// with the caller's own writes, so write proofs read the maps text instead.
Lookup readThroughKernel(uintptr_t begin, uintptr_t end) {
    unsigned char scratch[kIovBatch];
    iovec local[kIovBatch], remote[kIovBatch];
    const pid_t self = getpid();
    uintptr_t page = begin & ~(kPage - 1);
    while (page < end) {
        int n = 0;
        for (; n < kIovBatch && page < end; ++n, page += kPage) {
            remote[n] = {reinterpret_cast<void*>(page < begin ? begin : page), 1};
            local[n] = {scratch + n, 1};
        }
        ssize_t got = process_vm_readv(self, local, n, remote, n, 0);
        if (got < 0 && (errno == ENOSYS || errno == EPERM)) return Lookup::Unavailable;
        if (got != n) return Lookup::Unmapped;
    }
    return Lookup::Found;
}

ProbeMechanism chooseMechanism() {
    Mapping m;
    int local = 0;
    const auto here = reinterpret_cast<uintptr_t>(&local);
    if (queryMapping(here, &m) == Lookup::Found) return ProbeMechanism::MapQuery;
    if (readThroughKernel(here, here + 1) == Lookup::Found) return ProbeMechanism::ProcessVm;
    return ProbeMechanism::MapsText;
}

}  // namespace

ProbeMechanism activeProbeMechanism() {
    int m = g_mechanism.load(std::memory_order_relaxed);
    if (m == static_cast<int>(ProbeMechanism::Auto)) {
        m = static_cast<int>(chooseMechanism());
        g_mechanism.store(m, std::memory_order_relaxed);
    }
    return static_cast<ProbeMechanism>(m);
}

const MemoryProbe::Range* MemoryProbe::known(uintptr_t address) const {
    for (unsigned i = 0; i < count_; ++i)
        if (address >= known_[i].begin && address < known_[i].end) return &known_[i];
    return nullptr;
}

void MemoryProbe::remember(const Range& range) {
    known_[next_] = range;
    next_ = (next_ + 1) % known_.size();
    if (count_ < known_.size()) ++count_;
}

bool MemoryProbe::check(const void* p, size_t bytes, bool write) {
    if (bytes == 0) return true;
    const auto begin = reinterpret_cast<uintptr_t>(p);
    uintptr_t end;
    if (!p || __builtin_add_overflow(begin, bytes, &end)) return false;

    uintptr_t at = begin;
    while (at < end) {
        const Range* r = known(at);
        if (r && !r->exact && !(write ? r->write : r->read)) r = nullptr;
        Range found;
        if (!r) {
            Mapping m{};
            Lookup result;
            switch (activeProbeMechanism()) {
            case ProbeMechanism::MapQuery:
                result = queryMapping(at, &m);
                if (result == Lookup::Unavailable) result = parseMapsText(at, &m);
                break;
            case ProbeMechanism::ProcessVm:
                result = write ? Lookup::Unavailable : readThroughKernel(at, end);
                m = {at, end, true, false, false};
                if (result == Lookup::Unavailable) result = parseMapsText(at, &m);
                break;
            default:
                result = parseMapsText(at, &m);
                break;
            }
            if (result != Lookup::Found) return false;
            found = {m.begin, m.end, m.read, m.write, m.exact};
            remember(found);
            r = &found;
        }
        if (!(write ? r->write : r->read)) return false;
        at = r->end;
    }
    return true;
}

bool MemoryProbe::readable(const void* p, size_t bytes) { return check(p, bytes, false); }
bool MemoryProbe::writable(void* p, size_t bytes) { return check(p, bytes, true); }

namespace testing {
void forceProbeMechanism(ProbeMechanism mechanism) {
    g_mechanism.store(static_cast<int>(mechanism), std::memory_order_relaxed);
}
}  // namespace testing

}  // namespace quv
