// JPEG segments at the byte level. Only the segments before the first frame
// or table marker are ever rewritten; everything from there on (tables,
// frame header, entropy-coded data) is copied byte for byte.
#include "platform/image_file.h"

#include <cstring>

namespace quv {
namespace {

constexpr uint8_t kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kApp2 = 0xE2, kCom = 0xFE;

bool isMetadata(uint8_t marker) { return (marker >= 0xE0 && marker <= 0xEF) || marker == kCom; }
// Markers without a length field.
bool standsAlone(uint8_t marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7); }

bool isIccSegment(uint8_t marker, const uint8_t* data, size_t length) {
    return marker == kApp2 && length >= 12 && std::memcmp(data, "ICC_PROFILE", 12) == 0;
}

// One segment walk. `stopAt` decides where the walk ends (before the marker
// it accepts); *stopOffset is then the offset of that marker's FF byte.
ClrStatus walk(ByteSource& source, const JpegVisitor& visit, bool (*stopAt)(uint8_t), int64_t* stopOffset) {
    uint8_t two[2];
    if (source.read(two, 2) != 2 || two[0] != 0xFF || two[1] != kSoi) return CLR_INVALID_FORMAT;
    std::vector<uint8_t> payload(kJpegMaxPayload);
    for (;;) {
        // Bytes between segments that are not FF are skipped, as decoders do;
        // FF fill bytes before a marker too.
        uint8_t byte = 0;
        do
            if (source.read(&byte, 1) != 1) return CLR_FILE_READ_FAILED;
        while (byte != 0xFF);
        do
            if (source.read(&byte, 1) != 1) return CLR_FILE_READ_FAILED;
        while (byte == 0xFF);
        if (byte == 0 || standsAlone(byte)) continue;
        if (stopAt(byte)) {
            if (stopOffset) *stopOffset = source.seek(0, 1) - 2;
            return CLR_SUCCESS;
        }
        if (source.read(two, 2) != 2) return CLR_FILE_READ_FAILED;
        const size_t length = size_t{two[0]} << 8 | two[1];
        if (length < 2) return CLR_INVALID_FORMAT;
        if (source.read(payload.data(), length - 2) != static_cast<int64_t>(length - 2)) return CLR_FILE_READ_FAILED;
        const ClrStatus status = visit(byte, payload.data(), length - 2);
        if (status != CLR_SUCCESS) return status;
    }
}

}  // namespace

ClrStatus enumJpegMarkers(ByteSource& source, const JpegVisitor& visit) {
    return walk(source, visit, [](uint8_t m) { return m == kSos || m == kEoi; }, nullptr);
}

ClrStatus JpegMarkerList::insert(int index, uint8_t marker, size_t length, const uint8_t* data) {
    if (!isMetadata(marker) || length > kJpegMaxPayload || (length && !data)) return CLR_INVALID_PARAMETER;
    if (index < -1 || index > static_cast<int>(segments_.size())) return CLR_INVALID_PARAMETER;
    Segment segment{marker, std::vector<uint8_t>(data, data + length)};
    segments_.insert(index < 0 ? segments_.end() : segments_.begin() + index, std::move(segment));
    return CLR_SUCCESS;
}

ClrStatus resaveJpegMarkers(const ClrWChar* path, const JpegMarkerList& list) {
    std::string name;
    if (!quvNarrowPath(path, &name)) return CLR_FILE_NOT_FOUND;
    const QuvFile file = quvFileOpen(path, kOpenRead, kShareRead);
    if (file == kBadFile) return CLR_FILE_OPEN_FAILED;
    struct Closer {
        QuvFile f;
        ~Closer() { quvFileClose(f); }
    } closer{file};
    FileSource source(file);

    ReplacementFile out(name);
    if (!out.ok()) return CLR_FILE_CREATE_FAILED;
    auto put = [&](uint8_t marker, const uint8_t* data, size_t length) -> bool {
        const uint8_t head[4] = {0xFF, marker, static_cast<uint8_t>((length + 2) >> 8),
                                 static_cast<uint8_t>(length + 2)};
        return out.write(head, 4) && out.write(data, length);
    };
    const uint8_t soi[2] = {0xFF, kSoi};
    if (!out.write(soi, 2)) return CLR_FILE_WRITE_FAILED;
    int64_t rest = -1;
    const ClrStatus walked = walk(
        source,
        [&](uint8_t marker, const uint8_t* data, size_t length) -> ClrStatus {
            if (isIccSegment(marker, data, length)) return CLR_SUCCESS;
            return put(marker, data, length) ? CLR_SUCCESS : CLR_FILE_WRITE_FAILED;
        },
        [](uint8_t m) { return !isMetadata(m); }, &rest);
    if (walked != CLR_SUCCESS) return walked;
    for (const auto& s : list.segments_)
        if (!put(s.marker, s.data.data(), s.data.size())) return CLR_FILE_WRITE_FAILED;

    if (rest < 0 || source.seek(rest, 0) != rest) return CLR_FILE_SEEK_FAILED;
    std::vector<uint8_t> block(1 << 16);
    for (;;) {
        const int64_t n = source.read(block.data(), block.size());
        if (n < 0) return CLR_FILE_READ_FAILED;
        if (n == 0) break;
        if (!out.write(block.data(), static_cast<size_t>(n))) return CLR_FILE_WRITE_FAILED;
    }
    return out.commit();
}

}  // namespace quv
