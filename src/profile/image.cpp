// The file image: parsing a memory image into the record (which trusts what
// the bytes say), loading a file (which checks its header first), generating
// the image and the file back, and the layout of adding and removing tags.
#include "platform/file.h"
#include "platform/memory.h"
#include "platform/scope_guard.h"
#include "platform/text.h"
#include "profile/store.h"

#include <cstring>

namespace quv {
namespace {

uint64_t tableEnd(int32_t tagCount) {
    return kIccTableStart + uint64_t{kIccRowBytes} * static_cast<uint64_t>(tagCount > 0 ? tagCount : 0);
}

}  // namespace

int findIccTagRow(const IccProfile* profile, uint32_t signature) {
    if (!profile->tagTable) return -1;
    for (int32_t i = 0; i < profile->tagCount; ++i)
        if (profile->tagTable[i].signature == signature) return i;
    return -1;
}

const uint8_t* iccTagPlace(const IccProfile* profile, uint32_t offset, uint64_t* available) {
    if (!profile->tagData) return nullptr;
    const int64_t place = int64_t{offset} - kIccTableStart - int64_t{kIccRowBytes} * profile->tagCount;
    if (place < 0 || static_cast<uint64_t>(place) > profile->tagDataSize) return nullptr;
    *available = profile->tagDataSize - static_cast<uint64_t>(place);
    return profile->tagData + place;
}

uint8_t* appendIccTag(IccProfile* profile, const IccTagEntry& row, uint32_t pad) {
    // The header's size grows with the tag; a table of negative length (a
    // count taken on trust from a parsed image) cannot grow by a row.
    if (!profile->header || profile->tagCount < 0) return nullptr;
    const int32_t count = ++profile->tagCount;
    if (count == 1) {
        // The first tag starts an empty store. Blocks a parse of a tagless
        // image left behind are released rather than carried on.
        quvFree(profile->tagTable);
        quvFree(profile->tagData);
        profile->tagTable = nullptr;
        profile->tagData = nullptr;
    }
    const uint64_t oldLength = profile->tagDataSize;
    const auto offset = static_cast<uint32_t>(tableEnd(count) + oldLength);

    auto* table = static_cast<IccTagEntry*>(quvRealloc(profile->tagTable, sizeof(IccTagEntry) * count));
    if (!table) return nullptr;
    profile->tagTable = table;
    // The table grew by a row, so every value moved 12 bytes along.
    for (int32_t i = 0; i < count - 1; ++i) table[i].offset += kIccRowBytes;
    table[count - 1] = IccTagEntry{row.signature, offset, row.size};

    const uint32_t padding = pad >= 4 ? 0 : pad;
    const uint64_t length = oldLength + row.size + padding;
    const bool hadData = profile->tagData != nullptr;
    auto* data = static_cast<uint8_t*>(quvRealloc(profile->tagData, static_cast<size_t>(length)));
    if (!data) return nullptr;
    profile->tagData = data;
    // Padding is zero. After the last tag was deleted the length is stale and
    // the data image starts afresh: that dead stretch is zero, too.
    const uint64_t kept = hadData ? oldLength : 0;
    std::memset(data + kept, 0, static_cast<size_t>(length - kept));

    profile->tagDataSize = length;
    profile->header->size += row.size + kIccRowBytes + padding;
    return data + oldLength;
}

ClrStatus removeIccTag(IccProfile* profile, int index) {
    // The sizes to lower and the profile id to clear live in the header.
    if (!profile->header) return CLR_INVALID_PARAMETER;
    const IccTagEntry removed = profile->tagTable[index];
    const int32_t count = profile->tagCount - 1;
    uint64_t available = 0;
    const uint8_t* place = iccTagPlace(profile, removed.offset, &available);
    // With rows left, the value is cut out of the data image; a row whose
    // value lies outside it would move bytes that are not there.
    if (count > 0 && (!place || removed.size > available)) return CLR_INVALID_PARAMETER;

    profile->tagCount = count;
    std::memmove(profile->tagTable + index, profile->tagTable + index + 1, sizeof(IccTagEntry) * (count - index));
    if (count > 0) {
        auto* table = static_cast<IccTagEntry*>(quvRealloc(profile->tagTable, sizeof(IccTagEntry) * count));
        if (!table) return CLR_FAILURE;
        profile->tagTable = table;

        const uint64_t at = static_cast<uint64_t>(place - profile->tagData);
        const uint64_t behind = available - removed.size;
        profile->tagDataSize -= removed.size;
        profile->header->size -= kIccRowBytes + removed.size;
        // Only the value's own bytes leave; its padding stays behind.
        if (behind > 0) {
            auto* moved = static_cast<uint8_t*>(quvMalloc(static_cast<size_t>(behind), 1));
            if (!moved) return CLR_FAILURE;
            std::memcpy(moved, profile->tagData + at + removed.size, static_cast<size_t>(behind));
            std::memcpy(profile->tagData + at, moved, static_cast<size_t>(behind));
            quvFree(moved);
        }
        auto* data = static_cast<uint8_t*>(quvRealloc(profile->tagData, static_cast<size_t>(profile->tagDataSize)));
        if (!data) return CLR_FAILURE;
        profile->tagData = data;
        for (int32_t i = 0; i < count; ++i) {
            IccTagEntry& row = profile->tagTable[i];
            row.offset -= row.offset < removed.offset ? kIccRowBytes : kIccRowBytes + removed.size;
        }
    } else {
        // The last tag: both blocks go, while the data length and the header's
        // size stay as they were. The next tag is appended behind that stale
        // length, and the image no longer passes the generator's check.
        quvFree(profile->tagTable);
        quvFree(profile->tagData);
        profile->tagTable = nullptr;
        profile->tagData = nullptr;
    }
    std::memset(profile->header->profileId, 0, sizeof profile->header->profileId);
    ClrStatus status = rebuildIccImage(profile);
    if (status == CLR_SUCCESS) status = rebuildIccImage(profile);
    return status;
}

}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_FillICCProfileStructure(IccProfile* profile, uint8_t* buffer, uint64_t size) {
    if (!profile || !buffer || size == 0) return CLR_INVALID_PARAMETER;
    // Parsing the held image copies nothing and keeps dataSize.
    const bool copies = profile->image != buffer;
    if (copies) {
        // The image takes the low 32 bits of the size. A previous image is
        // not released.
        profile->dataSize = static_cast<uint32_t>(size);
        profile->image = static_cast<uint8_t*>(quvSharedAlloc(static_cast<size_t>(profile->dataSize), 1));
        if (!profile->image) return CLR_FAILURE;
    }
    const bool ownHeader = profile->header == nullptr;
    if (ownHeader) {
        profile->header = static_cast<IccHeader*>(quvMalloc(1, sizeof(IccHeader)));
        if (!profile->header) {
            if (copies) {
                quvSharedFree(profile->image);
                profile->image = nullptr;
            }
            return CLR_FAILURE;
        }
    }
    auto undo = [&]() {
        if (copies) {
            quvSharedFree(profile->image);
            profile->image = nullptr;
        }
        if (ownHeader) {
            quvFree(profile->header);
            profile->header = nullptr;
        }
        return CLR_EPS_PROFILE_MALFORMED;
    };
    // A size beyond 32 bits leaves the image shorter than the buffer; the
    // copy stops at the image's end.
    if (copies)
        std::memcpy(profile->image, buffer, static_cast<size_t>(size < profile->dataSize ? size : profile->dataSize));

    // Fewer bytes than a header and tag count cannot be decoded at all.
    if (size < kIccTableStart) return undo();
    const uint32_t declared = readBe32(buffer);
    if (declared > size) {
        if (!ownHeader) profile->header->size = declared;
        return undo();
    }
    IccHeader* header = profile->header;
    iccHeaderFromBigEndian(buffer, header);

    // Everything else is believed: signature, version, classes and spaces.
    const auto count = static_cast<int32_t>(readBe32(buffer + kIccHeaderBytes));
    if (count <= 0) {
        profile->tagCount = count;
        return CLR_SUCCESS;
    }
    // A table that runs past the declared size would be read beyond the
    // buffer, and the data length would wrap to nearly 4 GiB.
    if (tableEnd(count) > declared) return undo();
    const auto dataLength = static_cast<uint32_t>(declared - tableEnd(count));
    // Table and data image are replaced together, so that a failure never
    // leaves a count that outruns its table. Earlier blocks are overwritten,
    // not released.
    auto* table = static_cast<IccTagEntry*>(quvMalloc(static_cast<size_t>(count), sizeof(IccTagEntry)));
    auto* data = static_cast<uint8_t*>(quvMalloc(dataLength, 1));
    if (!table || !data) {
        quvFree(table);
        quvFree(data);
        return CLR_FAILURE;
    }
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t* row = buffer + kIccTableStart + uint64_t{kIccRowBytes} * i;
        table[i] = IccTagEntry{readBe32(row), readBe32(row + 4), readBe32(row + 8)};
    }
    std::memcpy(data, buffer + tableEnd(count), dataLength);
    profile->tagCount = count;
    profile->tagTable = table;
    profile->tagData = data;
    profile->tagDataSize = dataLength;
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_FillICCProfileFromICCFile(const ClrWChar* fileName, IccProfile* profile) {
    if (!fileName || !profile) return CLR_INVALID_PARAMETER;
    const QuvFile file = quvFileOpen(fileName, kOpenRead, kShareRead);
    if (file == kBadFile) return CLR_FILE_CREATE_FAILED;
    ScopeGuard close([&] { quvFileClose(file); });

    uint8_t head[kIccHeaderBytes];
    if (!quvFileReadExactly(file, head, sizeof head)) return CLR_FILE_READ_FAILED;
    if (readBe32(head + 36) != ICC_MAGIC) return CLR_INVALID_PROFILE;
    const int64_t fileSize = quvFileSeek(file, 0, 2);
    if (fileSize < 0) return CLR_INVALID_PROFILE;
    // A file longer than it declares is accepted; the rest is ignored.
    const uint32_t declared = readBe32(head);
    if (declared == 0 || declared > static_cast<uint64_t>(fileSize)) return CLR_INVALID_PROFILE;
    if (head[8] < 1 || head[8] > 4) return CLR_INVALID_PROFILE;
    // Minor versions above 8 pass when the two last version bytes are zero.
    if ((head[9] >> 4) > 8 && (head[10] != 0 || head[11] != 0)) return CLR_INVALID_PROFILE;

    quvFileSeek(file, 0, 0);
    auto* bytes = static_cast<uint8_t*>(quvMalloc(declared, 1));
    if (!bytes) return CLR_FAILURE;
    ScopeGuard release([&] { quvFree(bytes); });
    if (!quvFileReadExactly(file, bytes, declared)) return CLR_FILE_READ_FAILED;
    return Quv_FillICCProfileStructure(profile, bytes, declared);
}

extern "C" QUV_API ClrStatus Quv_FillICCProfileFromICCFileA(const char* fileName, IccProfile* profile) {
    ClrWChar* wide = fileName ? quvTextToWide(fileName) : nullptr;
    if (fileName && !wide) return CLR_FAILURE;
    const ClrStatus status = Quv_FillICCProfileFromICCFile(wide, profile);
    quvTextFree(wide);
    return status;
}

extern "C" QUV_API ClrStatus Quv_GenerateICCPointer(IccProfile* profile) {
    if (!profile) return CLR_INVALID_PARAMETER;
    if (!profile->header) return CLR_NULL_ARGUMENT;
    // Written before it is tested, as the sum the header's size must equal.
    profile->dataSize = static_cast<uint64_t>(int64_t{kIccRowBytes} * (int64_t{profile->tagCount} + 11)) +
                        profile->tagDataSize;
    if (profile->header->size != profile->dataSize) return CLR_INVALID_PROFILE;
    if (profile->image) quvSharedFree(profile->image);
    profile->image = static_cast<uint8_t*>(quvSharedAlloc(static_cast<size_t>(profile->dataSize), 1));
    if (!profile->image) return CLR_FAILURE;
    return writeIccImage(profile, profile->image, profile->dataSize);
}

extern "C" QUV_API ClrStatus Quv_GenerateICCFile(IccProfile* profile, const ClrWChar* fileName) {
    if (!profile || !fileName) return CLR_INVALID_PARAMETER;
    const QuvFile file = quvFileCreate(fileName, kAccessWrite, kCreateAlways);
    if (file == kBadFile) return CLR_FILE_CREATE_FAILED;
    ScopeGuard close([&] { quvFileClose(file); });
    // The image is not built here. A missing one would be written from a null
    // pointer; that is reported as the failed write it is.
    if (!profile->image && profile->dataSize > 0) return CLR_FILE_WRITE_FAILED;
    const int64_t written = quvFileWrite(file, profile->image, static_cast<size_t>(profile->dataSize));
    return written == static_cast<int64_t>(profile->dataSize) ? CLR_SUCCESS : CLR_FILE_WRITE_FAILED;
}

extern "C" QUV_API ClrStatus Quv_GenerateICCFileA(IccProfile* profile, const char* fileName) {
    ClrWChar* wide = fileName ? quvTextToWide(fileName) : nullptr;
    if (fileName && !wide) return CLR_FAILURE;
    const ClrStatus status = Quv_GenerateICCFile(profile, wide);
    quvTextFree(wide);
    return status;
}

extern "C" QUV_API uint32_t Quv_GetICCTagTypeSig(IccProfile* profile, uint32_t tagSignature) {
    // A null record would be read through; it has no tags to answer with.
    if (!profile || profile->tagCount < 1) return 0;
    const int index = findIccTagRow(profile, tagSignature);
    if (index < 0) return 0;
    // A row whose value lies outside the data image has no type to read.
    uint64_t available = 0;
    const uint8_t* place = iccTagPlace(profile, profile->tagTable[index].offset, &available);
    return place && available >= 4 ? readBe32(place) : 0;
}
