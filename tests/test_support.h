// Helpers shared by the tests: pixel conversion shorthands, memory with
// chosen protections, allocation failures, files and parameter records.
#pragma once

#include <quvclr/quvclr.h>

#include "platform/memory.h"
#include "platform/text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace quvtest {

using Pixel = std::array<uint8_t, 3>;

// Converts one 3-byte pixel directly between two spaces.
inline Pixel convert1(ClrSpace from, ClrSpace to, Pixel in, ClrStatus* status = nullptr) {
    Pixel out{};
    ClrStatus s = Quv_ClrConvertDirect(from, to, in.data(), out.data(), 1, 1, 0, 0);
    if (status) *status = s;
    return out;
}

inline Pixel toSpace(ClrSpace space, Pixel rgb) { return convert1(ClrSpaceRgb, space, rgb); }
inline Pixel fromSpace(ClrSpace space, Pixel value) { return convert1(space, ClrSpaceRgb, value); }

// A pixel a kernel is known to encode and decode to given bytes. The suite
// ListedValues (kernels_test.cpp) checks both directions; each kernel
// family's test file instantiates it with its own values.
struct KnownConversion {
    ClrSpace space;
    Pixel rgb;
    Pixel encoded;
    Pixel decoded;
};

inline void PrintTo(const KnownConversion& k, std::ostream* os) {
    *os << "space " << k.space << ", rgb " << int(k.rgb[0]) << ' ' << int(k.rgb[1]) << ' ' << int(k.rgb[2]);
}

inline std::string knownName(const testing::TestParamInfo<KnownConversion>& info) {
    const KnownConversion& k = info.param;
    return "space" + std::to_string(k.space) + "_rgb_" + std::to_string(k.rgb[0]) + "_" + std::to_string(k.rgb[1]) +
           "_" + std::to_string(k.rgb[2]);
}

// Whole pages mapped with one protection, optionally followed by a guard
// page that is not mapped at all.
class MappedPages {
public:
    explicit MappedPages(size_t pages, int protection = PROT_READ | PROT_WRITE) : bytes_(pages * pageSize()) {
        void* p = mmap(nullptr, bytes_ + pageSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = static_cast<uint8_t*>(p);
        munmap(base_ + bytes_, pageSize());  // nothing mapped right after the block
        if (protection != (PROT_READ | PROT_WRITE)) mprotect(base_, bytes_, protection);
    }
    ~MappedPages() { munmap(base_, bytes_); }
    MappedPages(const MappedPages&) = delete;
    MappedPages& operator=(const MappedPages&) = delete;

    uint8_t* data() const { return base_; }
    size_t size() const { return bytes_; }
    // The last `n` bytes before the unmapped gap.
    uint8_t* tail(size_t n) const { return base_ + bytes_ - n; }
    void protect(int protection) { mprotect(base_, bytes_, protection); }
    static size_t pageSize() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }

private:
    size_t bytes_;
    uint8_t* base_;
};

// A handle released at scope end.
struct HandleDeleter {
    void operator()(ClrHandle* h) const { Quv_ClrFree(h); }
};
using Handle = std::unique_ptr<ClrHandle, HandleDeleter>;

// A handle for the pair, made with `params` (null for none); the status must
// be `expected`, and the handle is null unless it is 1.
inline Handle makeHandle(ClrSpace from, ClrSpace to, ClrParams* params = nullptr, ClrStatus expected = CLR_SUCCESS) {
    ClrHandle* h = nullptr;
    EXPECT_EQ(Quv_ClrInit(&h, from, to, params), expected) << from << " -> " << to;
    return Handle(h);
}

// Deterministic pseudo-random bytes.
inline std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    for (auto& b : v) {
        seed = seed * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(seed >> 24);
    }
    return v;
}

// Every allocation after the first `successes` fails while this lives.
struct AllocationFailure {
    explicit AllocationFailure(long successes) { quv::testing::failAllocationsAfter(successes); }
    ~AllocationFailure() { quv::testing::failAllocationsAfter(-1); }
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
};

// The whole file, empty if it cannot be read.
inline std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A UTF-8 path into a record's wide path field.
inline void setPath(ClrWChar* field, const std::string& path) {
    const std::u16string wide = quv::utf8ToUtf16(path);
    ASSERT_LT(wide.size(), size_t{CLR_PATH_CHARS});
    std::memcpy(field, wide.c_str(), (wide.size() + 1) * sizeof(ClrWChar));
}

// A full-size parameter record for `method`, its mask `mask` (the method
// when 0), with the emulation kind word set.
inline ClrParams methodParams(uint32_t method, uint32_t mask = 0) {
    ClrParams p;
    std::memset(&p, 0, sizeof p);
    p.size = CLR_PARAMS_SIZE;
    p.activeMethod = method;
    p.methodMask = mask ? mask : method;
    p.emulationKind = CLR_METHOD_EMULATION;
    return p;
}

inline const std::string kSrgbPath = "/usr/share/color/icc/colord/sRGB.icc";

}  // namespace quvtest

// Outside the namespace: the test macros paste the suite name into others.
class ListedValues : public testing::TestWithParam<quvtest::KnownConversion> {};
