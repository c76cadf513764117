// Finding the ICC profile inside an image file. Every length, count and
// offset comes from the file and is bounded by what the file holds before
// anything is allocated for it.
#include "containers/png_codec.h"
#include "containers/readers.h"
#include "platform/memory.h"
#include "platform/scope_guard.h"
#include "platform/text.h"

#include <quvclr/imagefile.h>

#include <array>
#include <cstring>
#include <vector>

namespace quv {
namespace {

uint32_t be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}
uint32_t le32(const uint8_t* p) {
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}
bool readAll(ByteSource& source, void* buffer, size_t count) {
    return source.read(buffer, count) == static_cast<int64_t>(count);
}

ClrStatus readTiff(ByteSource& source, IccProfile* profile) {
    return readTiffTag(source, kTiffIccTag, [profile](uint32_t count) {
        auto* bytes = static_cast<uint8_t*>(quvSharedAlloc(count, 1));
        if (bytes) {
            profile->image = bytes;
            profile->dataSize = count;
        }
        return bytes;
    });
}

// APP2 segments that begin "ICC_PROFILE": the chunks are joined in file
// order; their sequence numbers are not read.
ClrStatus readJpeg(ByteSource& source, IccProfile* profile) {
    static const char kIcc[] = "ICC_PROFILE";  // 11 characters and a zero
    return enumJpegMarkers(source, [profile](uint8_t marker, const uint8_t* data, size_t length) -> ClrStatus {
        if (marker != 0xE2 || length < 12 || std::memcmp(data, kIcc, 11) != 0) return CLR_SUCCESS;
        // The one-chunk form without a terminator: the profile's own size
        // word follows the name. The size word must lie inside the segment.
        if (length >= 15 && !profile->image && uint64_t{be32(data + 11)} + 11 == length)
            return appendProfileBytes(profile, data + 11, length - 11);
        // A chunk: name, zero, sequence number, count, then profile bytes. A
        // segment too short to reach its first profile byte adds nothing.
        if (data[11] == 0 && length > 14) return appendProfileBytes(profile, data + 14, length - 14);
        return CLR_SUCCESS;
    });
}

// EPS: hexadecimal comment lines between "%%BeginICCProfile:" and
// "%%EndICCProfile". Bytes go through an 80-byte staging area that is
// appended when a byte finds it full; the last 1 to 80 bytes stay behind.
class EpsReader {
public:
    EpsReader(ByteSource& source, IccProfile* profile) : source_(source), profile_(profile) {}

    ClrStatus run() {
        const int64_t first = source_.read(buf_.data(), buf_.size());
        if (first <= 0) return CLR_EPS_PROFILE_MALFORMED;  // an empty file scans nothing
        fill_ = static_cast<size_t>(first);
        if (fill_ < 19) return CLR_NO_PROFILE_IN_FILE;
        static const char kBegin[] = "%%BeginICCProfile:";
        for (;;) {
            if (!ensure(1)) return CLR_NO_PROFILE_IN_FILE;
            if (buf_[pos_] != '%') {
                ++pos_;
                continue;
            }
            if (!ensure(18)) return CLR_NO_PROFILE_IN_FILE;
            if (std::memcmp(&buf_[pos_], kBegin, 18) == 0) break;
            ++pos_;
        }
        const int64_t behind = base_ + static_cast<int64_t>(pos_) + 18;
        if (source_.seek(behind, 0) != behind) return CLR_FILE_SEEK_FAILED;
        base_ = behind;
        pos_ = fill_ = 0;
        const int64_t got = source_.read(buf_.data(), buf_.size());
        if (got <= 0) return CLR_EPS_PROFILE_MALFORMED;
        fill_ = static_cast<size_t>(got);
        return scan();
    }

private:
    // True when `need` bytes stand ahead, moving the rest to the front and
    // reading more as needed.
    bool ensure(size_t need) {
        while (fill_ - pos_ < need) {
            std::memmove(buf_.data(), buf_.data() + pos_, fill_ - pos_);
            base_ += static_cast<int64_t>(pos_);
            fill_ -= pos_;
            pos_ = 0;
            const int64_t got = source_.read(buf_.data() + fill_, buf_.size() - fill_);
            if (got <= 0) return false;
            fill_ += static_cast<size_t>(got);
        }
        return true;
    }

    ClrStatus scan() {
        for (;;) {
            for (;;) {
                if (!ensure(1)) return CLR_PROFILE_DATA_TRUNCATED;
                if (buf_[pos_] == '%') break;
                ++pos_;
            }
            if (!ensure(5)) return CLR_PROFILE_DATA_TRUNCATED;
            const uint8_t next = buf_[pos_ + 1];
            if (next == '%') {
                if (!ensure(15)) return CLR_PROFILE_DATA_TRUNCATED;
                if (std::memcmp(&buf_[pos_], "%%EndICCProfile", 15) == 0) return CLR_SUCCESS;
                pos_ += 2;
            } else if (next == ' ') {
                pos_ += 2;
                const ClrStatus status = dataLine();
                if (status != CLR_SUCCESS) return status;
            } else {
                ++pos_;
            }
        }
    }

    static int hexValue(uint8_t c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    }

    // Decodes up to where the scan takes over again (1), or fails.
    ClrStatus dataLine() {
        for (;;) {
            if (!ensure(4)) return CLR_PROFILE_DATA_TRUNCATED;
            const uint8_t c = buf_[pos_];
            if (c == '%') return CLR_SUCCESS;
            if (c == '\r') {
                const uint8_t after = buf_[pos_ + 2];
                if (buf_[pos_ + 1] != '\n' || (after != '%' && after != ' ')) {
                    ++pos_;
                    return CLR_SUCCESS;
                }
                pos_ += after == ' ' ? 3 : 2;
                continue;
            }
            const int high = hexValue(c), low = hexValue(buf_[pos_ + 1]);
            if (high < 0 || low < 0) return CLR_PROFILE_DATA_TRUNCATED;
            pos_ += 2;
            if (staged_ == stage_.size()) {
                const ClrStatus status = appendProfileBytes(profile_, stage_.data(), staged_);
                if (status != CLR_SUCCESS) return status;
                staged_ = 0;
            }
            stage_[staged_++] = static_cast<uint8_t>(high << 4 | low);
        }
    }

    ByteSource& source_;
    IccProfile* profile_;
    std::array<uint8_t, 1024> buf_{};
    size_t pos_ = 0, fill_ = 0;
    int64_t base_ = 0;  // file offset of buf_[0]
    std::array<uint8_t, 80> stage_{};
    size_t staged_ = 0;
};

// The chunked stream: records of E0, a 16-bit length (counting the kind
// word) and a 32-bit kind; kinds 0 and 1 carry profile bytes, kind 2 ends.
ClrStatus readChunked(ByteSource& source, IccProfile* profile) {
    constexpr size_t kLargest = 32767;
    std::vector<uint8_t> buffer(kLargest);
    for (;;) {
        uint8_t byte = 0;
        if (source.read(&byte, 1) != 1) return CLR_PROFILE_DATA_TRUNCATED;
        if (byte != 0xE0) continue;
        const int64_t mark = source.seek(0, 1);
        uint8_t head[6];
        if (!readAll(source, head, sizeof head)) continue;
        const uint32_t length = uint32_t{head[0]} << 8 | head[1];
        const uint32_t kind = be32(head + 2);
        if (kind == 2) return CLR_SUCCESS;
        if (kind > 1) {
            if (source.seek(mark, 0) != mark) return CLR_FILE_SEEK_FAILED;
            continue;
        }
        // A record shorter than its kind word, or longer than the record
        // buffer, has no readable payload.
        if (length <= 4 || length - 4 > kLargest) return CLR_PROFILE_DATA_TRUNCATED;
        const int64_t got = source.read(buffer.data(), length - 4);
        if (got <= 0) return CLR_PROFILE_DATA_TRUNCATED;
        const ClrStatus status = appendProfileBytes(profile, buffer.data(), static_cast<size_t>(got));
        if (status != CLR_SUCCESS) return status;
    }
}

// PSD: the image resource 1039 ("8BIM" blocks behind the colour mode data).
ClrStatus readPsd(ByteSource& source, IccProfile* profile) {
    uint8_t head[26], word[4];
    if (!readAll(source, head, sizeof head) || !readAll(source, word, 4)) return CLR_FILE_READ_FAILED;
    source.seek(be32(word), 1);
    if (!readAll(source, word, 4)) return CLR_FILE_READ_FAILED;
    uint32_t remaining = be32(word);
    if (remaining == 0) return CLR_NO_PROFILE_IN_FILE;
    // The remaining count wraps as an unsigned number; every pass reads at
    // least six bytes, so the end of the file ends the walk.
    while (remaining != 0) {
        uint8_t block[6];
        if (!readAll(source, block, 6) || !std::strchr("8BIM", block[0]) || block[0] == 0) break;
        remaining -= 6;
        const uint32_t id = uint32_t{block[4]} << 8 | block[5];
        uint8_t unit[2] = {1, 1};
        bool named = true;
        while (named && (unit[0] | unit[1]) != 0) {
            named = readAll(source, unit, 2);
            remaining -= 2;
        }
        if (!named || !readAll(source, word, 4)) break;
        remaining -= 4;
        uint32_t size = be32(word);
        if (id == 0x40F) {
            if (size == 0) break;
            if (size > source.bytesLeft()) return CLR_PROFILE_DATA_TRUNCATED;
            auto* bytes = static_cast<uint8_t*>(quvSharedAlloc(size, 1));
            if (!bytes) return CLR_FAILURE;
            if (!readAll(source, bytes, size)) {
                quvSharedFree(bytes);
                break;
            }
            profile->image = bytes;
            profile->dataSize = size;
            return CLR_SUCCESS;
        }
        size += size & 1;
        source.seek(size, 1);
        remaining -= size;
    }
    return CLR_NO_PROFILE_IN_FILE;
}

ClrStatus readWebp(ByteSource& source, IccProfile* profile) {
    uint64_t padded = 0;
    bool found = false;
    const ClrStatus walked = findWebpIccChunk(source, CLR_FILE_READ_FAILED, &padded, &found);
    if (walked != CLR_SUCCESS) return walked;
    if (!found) return CLR_NO_PROFILE_IN_FILE;
    // A chunk longer than the file would be a short read: refused before
    // anything is allocated for it.
    if (padded > source.bytesLeft()) return quvFileMapError(CLR_UNEXPECTED_END_OF_FILE);
    auto* bytes = static_cast<uint8_t*>(quvSharedAlloc(padded, 1));
    if (!bytes) return CLR_FAILURE;
    const int64_t got = source.read(bytes, padded);
    if (got != static_cast<int64_t>(padded)) {
        quvSharedFree(bytes);
        return got < 1 ? static_cast<ClrStatus>(got) : quvFileMapError(CLR_UNEXPECTED_END_OF_FILE);
    }
    profile->image = bytes;
    profile->dataSize = padded;  // the pad byte counted
    return CLR_SUCCESS;
}

}  // namespace

ClrStatus appendProfileBytes(IccProfile* profile, const uint8_t* data, size_t count) {
    const uint64_t total = profile->dataSize + count;
    auto* grown = static_cast<uint8_t*>(profile->image ? quvSharedRealloc(profile->image, total)
                                                       : quvSharedAlloc(total, 1));
    if (!grown) return CLR_FAILURE;
    std::memcpy(grown + profile->dataSize, data, count);
    profile->image = grown;
    profile->dataSize = total;
    return CLR_SUCCESS;
}

ClrStatus findWebpIccChunk(ByteSource& source, ClrStatus shortHeader, uint64_t* padded, bool* found) {
    *found = false;
    uint8_t head[12];
    const int64_t got = source.read(head, sizeof head);
    if (got != 12) return got > 0 ? quvFileMapError(shortHeader) : static_cast<ClrStatus>(got);
    const uint32_t riffSize = le32(head + 4);
    if (std::memcmp(head, "RIFF", 4) != 0 || riffSize < 20 || std::memcmp(head + 8, "WEBP", 4) != 0)
        return CLR_INVALID_FORMAT;
    int64_t remaining = int64_t{riffSize} - 4;
    while (remaining >= 9) {
        uint8_t chunk[8];
        const int64_t n = source.read(chunk, sizeof chunk);
        if (n != 8) return n < 1 ? static_cast<ClrStatus>(n) : quvFileMapError(CLR_UNEXPECTED_END_OF_FILE);
        const uint32_t size = le32(chunk + 4);
        if (remaining < int64_t{size} + 8) return CLR_RIFF_CHUNK_OVERRUN;
        *padded = uint64_t{size} + (size & 1);
        if (std::memcmp(chunk, "ICCP", 4) == 0) {
            *found = true;
            return CLR_SUCCESS;
        }
        remaining -= static_cast<int64_t>(*padded) + 8;
        if (source.seek(static_cast<int64_t>(*padded), 1) < 0) return CLR_FILE_SEEK_FAILED;
    }
    return CLR_SUCCESS;
}

ClrStatus readContainerProfile(ByteSource& source, int format, IccProfile* profile) {
    switch (format) {
    case kFormatTiff: return readTiff(source, profile);
    case kFormatJpeg: return readJpeg(source, profile);
    case kFormatEps: return EpsReader(source, profile).run();
    case kFormatChunked: return readChunked(source, profile);
    case kFormatPng: {
        auto* file = dynamic_cast<FileSource*>(&source);
        return file ? extractPngProfile(file->file(), profile) : CLR_CODEC_MISSING;
    }
    case kFormatPsd: return readPsd(source, profile);
    case kFormatWebp: return readWebp(source, profile);
    default: return CLR_FORMAT_HOLDS_NO_PROFILE;
    }
}

ClrStatus readProfileFromMemory(const uint8_t* data, size_t size, IccProfile* profile) {
    const int format = recogniseImageFormat(data, size < kRecogniseBytes ? size : kRecogniseBytes);
    MemorySource source(data, size);
    return readContainerProfile(source, format, profile);
}

}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_LoadICCProfile(const ClrWChar* path, IccProfile* profile, const void* /*options*/) {
    if (!path || !profile) return CLR_INVALID_PARAMETER;
    if (profile->structSize != ICC_PROFILE_STRUCT_SIZE) return CLR_INVALID_STRUCT_SIZE;
    // The record's present data come back when the file holds no profile;
    // on any other outcome the record's old block is released, since the
    // record no longer points to it.
    uint8_t* const keptImage = profile->image;
    const uint64_t keptSize = profile->dataSize;
    profile->image = nullptr;
    profile->dataSize = 0;
    ScopeGuard dropKept([&] {
        if (keptImage) quvSharedFree(keptImage);
    });

    int format = kFormatUnknown;
    const ClrStatus info = quvFileInfo(path, &format);
    if (info != CLR_SUCCESS) return info;
    const QuvFile file = quvFileOpen(path, kOpenRead, kShareRead);
    if (file == kBadFile) return CLR_FILE_OPEN_FAILED;
    FileSource source(file);
    const ClrStatus status = readContainerProfile(source, format, profile);
    quvFileClose(file);
    if (status != CLR_SUCCESS || profile->image) return status;
    dropKept.dismiss();
    profile->image = keptImage;
    profile->dataSize = keptSize;
    return CLR_NO_PROFILE_IN_FILE;
}

extern "C" QUV_API int32_t Quv_HasICCProfile(const ClrWChar* path, const void* options) {
    IccProfile probe{};
    probe.structSize = ICC_PROFILE_STRUCT_SIZE;
    const ClrStatus status = Quv_LoadICCProfile(path, &probe, options);
    Quv_FreeICCProfile(&probe);
    return status == CLR_SUCCESS ? 1 : 0;
}

extern "C" QUV_API ClrStatus Quv_LoadICCProfileA(const char* path, IccProfile* profile, const void* options) {
    ClrWChar* wide = path ? quvTextToWide(path) : nullptr;
    if (path && !wide) return CLR_FAILURE;
    const ClrStatus status = Quv_LoadICCProfile(wide, profile, options);
    quvTextFree(wide);
    return status;
}

extern "C" QUV_API int32_t Quv_HasICCProfileA(const char* path, const void* options) {
    ClrWChar* wide = path ? quvTextToWide(path) : nullptr;
    if (path && !wide) return 0;
    const int32_t answer = Quv_HasICCProfile(wide, options);
    quvTextFree(wide);
    return answer;
}
