#include "frame/table_file.h"

#include "kernels/emulation.h"
#include "platform/file.h"
#include "platform/memory.h"

#include <algorithm>
#include <cerrno>

namespace quv {
namespace {

class TableFile {
public:
    explicit TableFile(QuvFile f) : f_(f) {}
    ~TableFile() { quvFileClose(f_); }
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    bool seek(uint32_t offset) { return quvFileSeek(f_, offset, 0) == int64_t{offset}; }
    // Numbers are little-endian whatever the file's byte-order mark says.
    bool read(uint32_t* value, int bytes) {
        uint8_t b[4] = {};
        if (!quvFileReadExactly(f_, b, static_cast<size_t>(bytes))) return false;
        *value = b[0] | b[1] << 8 | b[2] << 16 | uint32_t{b[3]} << 24;
        return true;
    }
    bool readBytes(uint8_t* to, size_t n) { return quvFileReadExactly(f_, to, n); }
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
    QuvFile f = quvFileCreate(path, kAccessRead, kOpenExisting);
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
    const size_t lattice = kind == kernels::kTableKindCmyk ? kernels::kLattice17Bytes : kernels::kLattice33Bytes;
    auto* data = static_cast<uint8_t*>(quvCalloc(std::max(bytes, lattice), 1));
    if (!data) return CLR_NO_MEMORY;
    *table = data;
    if (!file.readBytes(data, bytes)) return quvFileMapError(CLR_FILE_READ_FAILED);
    return CLR_SUCCESS;
}

}  // namespace quv
