// Writing a profile into an image file. TIFF and JPEG are rewritten whole
// through a temporary file; GIF and WebP are edited in place.
#include "containers/readers.h"
#include "platform/memory.h"
#include "platform/scope_guard.h"
#include "platform/text.h"

#include <quvclr/imagefile.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace quv {
namespace {

constexpr size_t kJpegChunkTake = 65519;  // profile bytes per APP2 chunk
constexpr size_t kJpegChunkHead = 14;     // "ICC_PROFILE", zero, number, count

ClrStatus saveTiff(const ClrWChar* path, const IccProfile* profile) {
    if (profile->dataSize > UINT32_MAX) return CLR_INVALID_PARAMETER;  // a TIFF count is 32 bits
    return rewriteTiffTag(path, kTiffIccTag, static_cast<uint32_t>(profile->dataSize), profile->image);
}

// The profile in APP2 chunks of at most 65519 bytes. When 65520 to 65532
// bytes remain they are taken in one chunk, too long for a segment: the
// marker list refuses it and the file is left as it was.
ClrStatus saveJpeg(const ClrWChar* path, const IccProfile* profile) {
    const uint64_t length = profile->dataSize;
    const uint64_t count = length / kJpegChunkTake + (length % kJpegChunkTake ? 1 : 0);
    // Sized for the longest take the rule above can make.
    std::vector<uint8_t> chunk(kJpegMaxPayload - 1 + kJpegChunkHead);
    JpegMarkerList list;
    uint64_t remaining = length, offset = 0;
    size_t take = kJpegChunkTake;
    for (uint64_t i = 1; i <= count; ++i) {
        if (remaining < kJpegMaxPayload) take = static_cast<size_t>(remaining);
        std::memcpy(chunk.data(), "ICC_PROFILE", 12);
        // Number and count are single bytes; beyond 255 chunks they wrap.
        chunk[12] = static_cast<uint8_t>(i);
        chunk[13] = static_cast<uint8_t>(count);
        if (take) std::memcpy(chunk.data() + kJpegChunkHead, profile->image + offset, take);
        const ClrStatus inserted = list.insert(-1, 0xE2, take + kJpegChunkHead, chunk.data());
        if (inserted != CLR_SUCCESS) return inserted;
        offset += take;
        remaining -= std::min<uint64_t>(take, remaining);
    }
    return resaveJpegMarkers(path, list);
}

// GIF: an application extension "ICCRGBG1" written over the trailer, then a
// new trailer. The authentication code is the three bytes 0, 1, 2.
ClrStatus saveGif(const ClrWChar* path, const IccProfile* profile) {
    std::string name;
    if (!quvNarrowPath(path, &name)) return CLR_FILE_CREATE_FAILED;
    FILE* f = std::fopen(name.c_str(), "rb+");
    if (!f) return CLR_FILE_CREATE_FAILED;
    ScopeGuard close([&] { std::fclose(f); });
    // Only a trailer is overwritten: a file that does not end in one keeps
    // its last byte and is refused.
    if (std::fseek(f, -1, SEEK_END) != 0) return CLR_FILE_SEEK_FAILED;
    if (std::fgetc(f) != ';') return CLR_INVALID_FORMAT;
    if (std::fseek(f, -1, SEEK_END) != 0) return CLR_FILE_SEEK_FAILED;
    static const uint8_t kHead[14] = {0x21, 0xFF, 0x0B, 'I', 'C', 'C', 'R', 'G', 'B', 'G', '1', 0x00, 0x01, 0x02};
    bool ok = std::fwrite(kHead, 1, sizeof kHead, f) == sizeof kHead;
    for (uint64_t done = 0; ok && done < profile->dataSize;) {
        const auto block = static_cast<uint8_t>(std::min<uint64_t>(255, profile->dataSize - done));
        ok = std::fputc(block, f) != EOF && std::fwrite(profile->image + done, 1, block, f) == block;
        done += block;
    }
    static const uint8_t kTail[2] = {0x00, ';'};
    ok = ok && std::fwrite(kTail, 1, 2, f) == 2;
    close.dismiss();
    ok = std::fclose(f) == 0 && ok;
    return ok ? CLR_SUCCESS : quvFileMapError(CLR_FILE_WRITE_FAILED);
}

ClrStatus writeAllAt(QuvFile file, int64_t at, const uint8_t* data, size_t count) {
    if (quvFileSeek(file, at, 0) != at) return CLR_FILE_SEEK_FAILED;
    const int64_t written = quvFileWrite(file, data, count);
    if (written < 0) return static_cast<ClrStatus>(written);
    return written == static_cast<int64_t>(count) ? CLR_SUCCESS : quvFileMapError(CLR_FILE_WRITE_FAILED);
}

// Replaces `oldSize` bytes at the file's present position by `data`
// (`newSize` bytes), moving what follows. Growing reads ahead into one half
// of the working area while the other half is written; shrinking copies
// forward and cuts the file at the new end.
ClrStatus replacePayload(QuvFile file, uint64_t oldSize, const uint8_t* data, uint64_t newSize) {
    const int64_t start = quvFileSeek(file, 0, 1);
    if (start < 0) return CLR_FILE_SEEK_FAILED;
    if (oldSize == newSize) return writeAllAt(file, start, data, newSize);
    const uint64_t half = std::max<uint64_t>({oldSize, newSize, 8192});
    GrowBuffer area(2 * half);
    if (area.status() != CLR_SUCCESS) return area.status();
    int64_t readAt = start + static_cast<int64_t>(oldSize);
    int64_t writeAt = start;
    if (newSize > oldSize) {
        const int64_t end = quvFileSeek(file, 0, 2);
        if (end < 0) return CLR_FILE_SEEK_FAILED;
        uint8_t* pending = area.data();
        uint8_t* ahead = area.data() + half;
        std::memcpy(pending, data, newSize);
        uint64_t count = newSize;
        while (readAt < end) {
            if (quvFileSeek(file, readAt, 0) != readAt) return CLR_FILE_SEEK_FAILED;
            const int64_t got = quvFileRead(file, ahead, half);
            if (got < 0) return quvFileMapError(CLR_FILE_READ_FAILED);
            if (got == 0) break;
            readAt += got;
            const ClrStatus wrote = writeAllAt(file, writeAt, pending, count);
            if (wrote != CLR_SUCCESS) return wrote;
            writeAt += static_cast<int64_t>(count);
            std::swap(pending, ahead);
            count = static_cast<uint64_t>(got);
        }
        return count ? writeAllAt(file, writeAt, pending, count) : CLR_SUCCESS;
    }
    ClrStatus wrote = writeAllAt(file, writeAt, data, newSize);
    if (wrote != CLR_SUCCESS) return wrote;
    writeAt += static_cast<int64_t>(newSize);
    for (;;) {
        if (quvFileSeek(file, readAt, 0) != readAt) return CLR_FILE_SEEK_FAILED;
        const int64_t got = quvFileRead(file, area.data(), 2 * half);
        if (got < 0) return static_cast<ClrStatus>(got);
        if (got == 0) break;
        wrote = writeAllAt(file, writeAt, area.data(), static_cast<size_t>(got));
        if (wrote != CLR_SUCCESS) return wrote;
        readAt += got;
        writeAt += got;
        if (static_cast<uint64_t>(got) < 2 * half) break;
    }
    // The cut is made at the end of what was written, wherever the last
    // read left the file position.
    if (quvFileSeek(file, writeAt, 0) != writeAt) return CLR_FILE_SEEK_FAILED;
    quvFileTruncate(file);
    return CLR_SUCCESS;
}

void putLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// WebP: the "ICCP" chunk's payload replaced, or a chunk added where the walk
// of the chunks ends; then the RIFF size corrected. An odd profile gets no
// pad byte.
ClrStatus saveWebp(const ClrWChar* path, const IccProfile* profile) {
    const QuvFile file = quvFileOpen(path, kOpenReadWrite, kShareReadWrite);
    if (file == kBadFile) return quvFileMapError(CLR_FILE_CREATE_FAILED);
    ScopeGuard close([&] { quvFileClose(file); });
    FileSource source(file);
    uint64_t oldSize = 0;
    bool found = false;
    const ClrStatus walked = findWebpIccChunk(source, CLR_INVALID_FORMAT, &oldSize, &found);
    if (walked != CLR_SUCCESS) return walked;
    if (!found) oldSize = 0;  // the walk's last chunk is not replaced

    const int64_t place = quvFileSeek(file, 0, 1);
    uint8_t word[4];
    if (place < 0 || quvFileSeek(file, 4, 0) != 4 || !quvFileReadExactly(file, word, 4)) return CLR_FILE_READ_FAILED;
    const uint64_t riffSize = uint64_t{word[0]} | uint64_t{word[1]} << 8 | uint64_t{word[2]} << 16 |
                              uint64_t{word[3]} << 24;
    const uint64_t newSize = profile->dataSize + (found ? 0 : 8);
    // The RIFF size and the chunk size are 32-bit: a profile they cannot
    // count is refused before the file is touched; so is a chunk that runs
    // past the end of the file.
    if (profile->dataSize > UINT32_MAX - 8 || riffSize - oldSize + newSize > UINT32_MAX) return CLR_INVALID_PARAMETER;
    if (quvFileSeek(file, place, 0) != place) return CLR_FILE_SEEK_FAILED;
    if (oldSize > source.bytesLeft()) return CLR_RIFF_CHUNK_OVERRUN;

    ClrStatus status;
    if (found) {
        putLe32(word, static_cast<uint32_t>(profile->dataSize));
        status = writeAllAt(file, place - 4, word, 4);
        if (status == CLR_SUCCESS && quvFileSeek(file, place, 0) != place) status = CLR_FILE_SEEK_FAILED;
        if (status == CLR_SUCCESS) status = replacePayload(file, oldSize, profile->image, profile->dataSize);
    } else {
        // Added as a payload of nothing replaced, so that whatever lies
        // behind the walk's end is moved, not overwritten.
        std::vector<uint8_t> chunk(newSize);
        std::memcpy(chunk.data(), "ICCP", 4);
        putLe32(chunk.data() + 4, static_cast<uint32_t>(profile->dataSize));
        if (profile->dataSize) std::memcpy(chunk.data() + 8, profile->image, profile->dataSize);
        status = replacePayload(file, 0, chunk.data(), newSize);
    }
    if (status != CLR_SUCCESS) return status;
    if (newSize != oldSize) {
        putLe32(word, static_cast<uint32_t>(riffSize - oldSize + newSize));
        status = writeAllAt(file, 4, word, 4);
    }
    return status;
}

}  // namespace
}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_SaveICCProfile(const ClrWChar* path, const IccProfile* profile,
                                                const void* /*options*/) {
    if (!path || !profile) return CLR_INVALID_PARAMETER;
    if (profile->structSize != ICC_PROFILE_STRUCT_SIZE) return CLR_INVALID_STRUCT_SIZE;
    // Bytes promised without a block to take them from.
    if (!profile->image && profile->dataSize) return CLR_INVALID_PARAMETER;
    int format = kFormatUnknown;
    const ClrStatus info = quvFileInfo(path, &format);
    if (info != CLR_SUCCESS) return info;
    switch (format) {
    case kFormatTiff: return saveTiff(path, profile);
    case kFormatJpeg: return saveJpeg(path, profile);
    case kFormatGif: return saveGif(path, profile);
    case kFormatWebp: return saveWebp(path, profile);
    default: return CLR_FORMAT_HOLDS_NO_PROFILE;
    }
}

extern "C" QUV_API ClrStatus Quv_SaveICCProfileA(const char* path, const IccProfile* profile, const void* options) {
    ClrWChar* wide = path ? quvTextToWide(path) : nullptr;
    if (path && !wide) return CLR_FAILURE;
    // The options are reserved and pass through as they are.
    const ClrStatus status = Quv_SaveICCProfile(wide, profile, options);
    quvTextFree(wide);
    return status;
}
