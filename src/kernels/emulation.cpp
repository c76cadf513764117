#include "kernels/emulation.h"

#include "platform/file.h"
#include "platform/memory.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace quv::kernels {
namespace {

// The kernels' walk over 3-byte pixels on both sides, or nothing when the
// buffers fail their proof.
template <int SrcBytes, class Fn>
void lookUp(const KernelIo& io, Fn&& fn) {
    const int64_t w = io.width > 0 ? io.width : 0;
    if (proveBuffers(io, SrcBytes * w, 3 * w) != CLR_SUCCESS) return;
    forEachPixel<SrcBytes, 3>(io, fn);
}

inline const uint8_t* entry(const uint8_t* table, uint32_t index) { return table + 3 * size_t{index}; }

}  // namespace

void rgbToLabByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<3>(io, [table](const uint8_t* s, uint8_t* d) {
            const uint32_t r = s[R], g = s[1], b = s[B];
            const uint8_t* lo = entry(table, ((r >> 3) * 33 + (g >> 3)) * 33 + (b >> 3));
            const uint8_t* hi = entry(table, (((r + 7) >> 3) * 33 + ((g + 7) >> 3)) * 33 + ((b + 7) >> 3));
            d[0] = static_cast<uint8_t>((lo[0] + hi[0]) >> 1);
            d[1] = static_cast<uint8_t>((static_cast<int8_t>(lo[1]) + static_cast<int8_t>(hi[1])) / 2);
            d[2] = static_cast<uint8_t>((static_cast<int8_t>(lo[2]) + static_cast<int8_t>(hi[2])) / 2);
        });
        return 0;
    });
}

// A pixel takes its upper corner alone when a test holds that, except for
// L = 0, only the top of the a and b axes passes.
void labToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<3>(io, [table](const uint8_t* s, uint8_t* d) {
            const double l = s[0];
            const double a = static_cast<int8_t>(s[1]) + 128;
            const double b = static_cast<int8_t>(s[2]) + 128;
            const auto lc = static_cast<uint32_t>(std::ceil(l * 0.125));
            const auto ac = static_cast<uint32_t>(std::ceil(a * 0.125));
            const auto bc = static_cast<uint32_t>(std::ceil(b * 0.125));
            const auto lf = static_cast<uint32_t>(std::floor(l * 0.125));
            const auto af = static_cast<uint32_t>(std::floor(a * 0.125));
            const auto bf = static_cast<uint32_t>(std::floor(b * 0.125));
            const uint32_t n = (lc * 33 + ac) * 33 + bc;
            auto axisByte = [](uint32_t node) { return static_cast<uint8_t>(std::min(8 * (node % 256), 255u) + 128); };
            const bool onLattice = s[0] == static_cast<uint8_t>(8 * (n / 1089)) && s[1] == axisByte(n / 33) &&
                                   s[2] == axisByte(n);
            const uint8_t* hi = entry(table, n);
            uint8_t rgb[3];
            if (onLattice) {
                std::copy(hi, hi + 3, rgb);
            } else {
                const uint8_t* lo = entry(table, (lf * 33 + af) * 33 + bf);
                for (int c = 0; c < 3; ++c) rgb[c] = static_cast<uint8_t>((lo[c] + hi[c]) >> 1);
            }
            d[R] = rgb[0];
            d[1] = rgb[1];
            d[B] = rgb[2];
        });
        return 0;
    });
}

// An ink byte from 241 up has node 15 below it and, by the wrap of node 16,
// node 0 above it: near-solid inks take the mean of those two.
void cmykToRgbByTable(const uint8_t* table, const KernelIo& io, int orderFlag) {
    withOrder(orderFlag, [&](auto order) {
        constexpr int R = decltype(order)::r, B = decltype(order)::b;
        lookUp<4>(io, [table](const uint8_t* s, uint8_t* d) {
            uint32_t up[4], down[4];
            for (int i = 0; i < 4; ++i) {
                up[i] = static_cast<uint32_t>(std::ceil(s[i] * 0.0625));
                down[i] = static_cast<uint32_t>(std::floor(s[i] * 0.0625));
            }
            const uint32_t n = ((up[0] * 17 + up[1]) * 17 + up[2]) * 17 + up[3];
            const bool onLattice = s[0] == static_cast<uint8_t>(16 * (n / 4913)) &&
                                   s[1] == static_cast<uint8_t>(16 * (n / 289)) &&
                                   s[2] == static_cast<uint8_t>(16 * (n / 17)) && s[3] == static_cast<uint8_t>(16 * n);
            uint8_t rgb[3];
            if (onLattice) {
                std::copy(entry(table, n), entry(table, n) + 3, rgb);
            } else {
                for (auto& u : up) u = (16 * u) % 256 / 16;
                const uint8_t* hi = entry(table, ((up[0] * 17 + up[1]) * 17 + up[2]) * 17 + up[3]);
                const uint8_t* lo = entry(table, ((down[0] * 17 + down[1]) * 17 + down[2]) * 17 + down[3]);
                for (int c = 0; c < 3; ++c) rgb[c] = static_cast<uint8_t>((lo[c] + hi[c]) >> 1);
            }
            d[R] = rgb[0];
            d[1] = rgb[1];
            d[B] = rgb[2];
        });
        return 0;
    });
}

namespace {

class TableFile {
public:
    explicit TableFile(QuvFile f) : f_(f) {}
    ~TableFile() { quvFileCloseTracked(f_); }
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    bool seek(uint32_t offset) { return quvFileSeek(f_, offset, 0) == int64_t{offset}; }
    // Numbers are little-endian whatever the file's byte-order mark says.
    bool read(uint32_t* value, int bytes) {
        uint8_t b[4] = {};
        if (quvFileRead(f_, b, static_cast<size_t>(bytes)) != static_cast<size_t>(bytes)) return false;
        *value = b[0] | b[1] << 8 | b[2] << 16 | uint32_t{b[3]} << 24;
        return true;
    }
    bool readBytes(uint8_t* to, size_t n) { return quvFileRead(f_, to, n) == n; }
    // Bytes from the present position to the end; 0 when unknown.
    uint64_t remaining() {
        const int64_t here = quvFileSeek(f_, 0, 1);
        const int64_t end = quvFileSeek(f_, 0, 2);
        if (here < 0 || end < here || quvFileSeek(f_, here, 0) != here) return 0;
        return static_cast<uint64_t>(end - here);
    }

private:
    QuvFile f_;
};

constexpr uint32_t kTagWidth = 256, kTagHeight = 257, kTagPhotometric = 262, kTagStripOffset = 273,
                   kTagSamples = 277;

}  // namespace

ClrStatus loadEmulationTable(const ClrWChar* path, uint8_t** table, int32_t kind) {
    QuvFile f = quvFileCreateTracked(path, kAccessRead, 1, nullptr, 3, 128, nullptr);
    // The system's error number, positive; the caller turns it into a read
    // failure. 1 would read as success, so it is reported as 2.
    if (f == kBadFile) return std::max(errno, 2);
    TableFile file(f);

    uint32_t mark, directory, count;
    if (!file.read(&mark, 2)) return quvFileMapError(CLR_FILE_READ_FAILED);
    if (mark != 0x4949 && mark != 0x4D4D) return CLR_NOT_TIFF;
    if (!file.seek(4)) return quvFileMapError(CLR_FILE_SEEK_FAILED);
    if (!file.read(&directory, 4)) return quvFileMapError(CLR_FILE_READ_FAILED);
    if (!file.seek(directory)) return quvFileMapError(CLR_FILE_SEEK_FAILED);
    if (!file.read(&count, 2)) return quvFileMapError(CLR_FILE_READ_FAILED);
    if (count == 0 || count > 999) return CLR_INVALID_FORMAT;

    uint32_t width = 0, height = 0, samples = 0, stripOffset = 0;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t tag, type, valueCount, value;
        if (!file.seek(directory + 2 + 12 * i)) return quvFileMapError(CLR_FILE_SEEK_FAILED);
        if (!file.read(&tag, 2)) return quvFileMapError(CLR_FILE_READ_FAILED);
        if (tag != kTagWidth && tag != kTagHeight && tag != kTagSamples && tag != kTagStripOffset &&
            tag != kTagPhotometric)
            continue;
        if (!file.read(&type, 2) || !file.read(&valueCount, 4) || !file.read(&value, 4))
            return quvFileMapError(CLR_FILE_READ_FAILED);
        if (tag == kTagWidth) width = value;
        if (tag == kTagHeight) height = value;
        if (tag == kTagSamples) samples = value;
        if (tag == kTagStripOffset) stripOffset = value;
    }
    if (!file.seek(stripOffset)) return quvFileMapError(CLR_FILE_SEEK_FAILED);
    if (width == 0 || height == 0 || samples == 0) return CLR_INVALID_SPACE;
    if (samples != static_cast<uint32_t>(kind)) return CLR_INVALID_BITS_PER_PIXEL;
    const uint32_t pixels = width * height;  // as 32 bits, as the file's fields are
    if (pixels < (samples == 3 ? 35936u : 83520u)) return CLR_INVALID_DIMENSION;

    // The look-ups take every entry of the lattice; a file at the minimum
    // size holds one pixel less, so the block is never smaller than the
    // lattice and what the file doesn't fill stays zero.
    const size_t bytes = size_t{pixels} * samples;
    // A declared size the file cannot hold fails as its read would, before
    // a block of that size is asked for.
    if (file.remaining() < bytes) return quvFileMapError(CLR_FILE_READ_FAILED);
    const size_t lattice = kind == kTableKindCmyk ? kLattice17Bytes : kLattice33Bytes;
    auto* data = static_cast<uint8_t*>(quvCalloc(std::max(bytes, lattice), 1));
    if (!data) return CLR_NO_MEMORY;
    *table = data;
    if (!file.readBytes(data, bytes)) return quvFileMapError(CLR_FILE_READ_FAILED);
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
