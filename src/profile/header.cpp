// The header: its defaults, the setters with their closed lists of values, the
// big-endian encoding, and the rebuild of the file image that follows every
// change, so that `image` always mirrors the record.
#include "platform/memory.h"
#include "profile/store.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <iterator>

namespace quv {
namespace {

constexpr uint32_t kDeviceClasses[] = {
    QUV_ICC_SIG('s', 'c', 'n', 'r'), QUV_ICC_SIG('m', 'n', 't', 'r'), QUV_ICC_SIG('p', 'r', 't', 'r'),
    QUV_ICC_SIG('l', 'i', 'n', 'k'), QUV_ICC_SIG('s', 'p', 'a', 'c'), QUV_ICC_SIG('a', 'b', 's', 't'),
    QUV_ICC_SIG('n', 'm', 'c', 'l'),
};
constexpr uint32_t kDeviceLink = QUV_ICC_SIG('l', 'i', 'n', 'k');
constexpr uint32_t kXyz = QUV_ICC_SIG('X', 'Y', 'Z', ' ');
constexpr uint32_t kLab = QUV_ICC_SIG('L', 'a', 'b', ' ');

bool isColorSpace(uint32_t space) {
    static constexpr uint32_t kNamed[] = {
        kXyz,
        kLab,
        QUV_ICC_SIG('L', 'u', 'v', ' '),
        QUV_ICC_SIG('Y', 'C', 'b', 'r'),
        QUV_ICC_SIG('Y', 'x', 'y', ' '),
        QUV_ICC_SIG('R', 'G', 'B', ' '),
        QUV_ICC_SIG('G', 'R', 'A', 'Y'),
        QUV_ICC_SIG('H', 'S', 'V', ' '),
        QUV_ICC_SIG('H', 'L', 'S', ' '),
        QUV_ICC_SIG('C', 'M', 'Y', 'K'),
        QUV_ICC_SIG('C', 'M', 'Y', ' '),
    };
    if (std::find(std::begin(kNamed), std::end(kNamed), space) != std::end(kNamed)) return true;
    // "2CLR" to "9CLR" and "ACLR" to "FCLR".
    if ((space & 0x00FFFFFFu) != QUV_ICC_SIG(0, 'C', 'L', 'R')) return false;
    const uint32_t first = space >> 24;
    return (first >= '2' && first <= '9') || (first >= 'A' && first <= 'F');
}

bool isDeviceClass(uint32_t c) {
    return std::find(std::begin(kDeviceClasses), std::end(kDeviceClasses), c) != std::end(kDeviceClasses);
}

bool isPlatform(uint32_t p) {
    for (uint32_t known : {0u, QUV_ICC_SIG('A', 'P', 'P', 'L'), QUV_ICC_SIG('M', 'S', 'F', 'T'),
                           QUV_ICC_SIG('S', 'G', 'I', ' '), QUV_ICC_SIG('S', 'U', 'N', 'W')})
        if (p == known) return true;
    return false;
}

// The common shape of a setter: the record and its header must be there, the
// value must be accepted; then the field is stored and the image rebuilt.
template <class Store>
ClrStatus setField(IccProfile* profile, bool accepted, Store store) {
    if (!profile || !profile->header || !accepted) return CLR_INVALID_PARAMETER;
    store(*profile->header);
    return rebuildIccImage(profile);
}

// Writes `bytes` at `at` inside an image of `capacity` bytes, clipped to it.
void putClipped(uint8_t* image, uint64_t capacity, uint64_t at, const void* bytes, uint64_t count) {
    if (!bytes || at >= capacity) return;
    std::memcpy(image + at, bytes, static_cast<size_t>(std::min(count, capacity - at)));
}

}  // namespace

void iccHeaderFromBigEndian(const uint8_t* in, IccHeader* h) {
    h->size = readBe32(in + 0);
    h->cmmType = readBe32(in + 4);
    h->version = readBe32(in + 8);
    h->deviceClass = readBe32(in + 12);
    h->colorSpace = readBe32(in + 16);
    h->connectionSpace = readBe32(in + 20);
    h->dateTime.year = readBe16(in + 24);
    h->dateTime.month = readBe16(in + 26);
    h->dateTime.day = readBe16(in + 28);
    h->dateTime.hours = readBe16(in + 30);
    h->dateTime.minutes = readBe16(in + 32);
    h->dateTime.seconds = readBe16(in + 34);
    h->signature = readBe32(in + 36);
    h->primaryPlatform = readBe32(in + 40);
    h->flags = readBe32(in + 44);
    h->manufacturer = readBe32(in + 48);
    h->model = readBe32(in + 52);
    h->attributes = readBe32(in + 60);  // bytes 56 to 59 are not kept
    h->renderingIntent = readBe32(in + 64);
    h->illuminantX = static_cast<int32_t>(readBe32(in + 68));
    h->illuminantY = static_cast<int32_t>(readBe32(in + 72));
    h->illuminantZ = static_cast<int32_t>(readBe32(in + 76));
    h->creator = readBe32(in + 80);
    std::memcpy(h->profileId, in + 84, sizeof h->profileId);
    std::memcpy(h->reserved, in + 100, sizeof h->reserved);
}

ClrStatus iccHeaderToBigEndian(const IccProfile* profile, uint8_t* out) {
    if (!profile || !out) return CLR_INVALID_PARAMETER;
    std::memset(out, 0, kIccHeaderBytes);
    const IccHeader* h = profile->header;
    if (!h) return CLR_INVALID_PARAMETER;
    writeBe32(out + 0, h->size);
    writeBe32(out + 4, h->cmmType);
    writeBe32(out + 8, h->version);
    writeBe32(out + 12, h->deviceClass);
    writeBe32(out + 16, h->colorSpace);
    writeBe32(out + 20, h->connectionSpace);
    writeBe16(out + 24, h->dateTime.year);
    writeBe16(out + 26, h->dateTime.month);
    writeBe16(out + 28, h->dateTime.day);
    writeBe16(out + 30, h->dateTime.hours);
    writeBe16(out + 32, h->dateTime.minutes);
    writeBe16(out + 34, h->dateTime.seconds);
    writeBe32(out + 36, h->signature);
    writeBe32(out + 40, h->primaryPlatform);
    writeBe32(out + 44, h->flags);
    writeBe32(out + 48, h->manufacturer);
    writeBe32(out + 52, h->model);
    writeBe64(out + 56, h->attributes);
    writeBe32(out + 64, h->renderingIntent);
    writeBe32(out + 68, static_cast<uint32_t>(h->illuminantX));
    writeBe32(out + 72, static_cast<uint32_t>(h->illuminantY));
    writeBe32(out + 76, static_cast<uint32_t>(h->illuminantZ));
    writeBe32(out + 80, h->creator);
    std::memcpy(out + 84, h->profileId, sizeof h->profileId);
    // The reserved area stays zero, whatever the record holds.
    return CLR_SUCCESS;
}

// Writes header, tag count, table and data image into `image` of `capacity`
// bytes. A well-formed profile fills it exactly. A profile whose numbers
// disagree (a parsed image that declared less than its table, or the stale
// sizes left by deleting the last tag) would be written past the block or read
// from a released data image: what does not fit is left out, bytes without a
// source are zero, and tagData is read only while it exists.
ClrStatus writeIccImage(const IccProfile* profile, uint8_t* image, uint64_t capacity) {
    std::memset(image, 0, static_cast<size_t>(capacity));
    uint8_t header[kIccHeaderBytes];
    ClrStatus status = iccHeaderToBigEndian(profile, header);
    if (status != CLR_SUCCESS) return status;
    putClipped(image, capacity, 0, header, kIccHeaderBytes);
    uint8_t count[4];
    writeBe32(count, static_cast<uint32_t>(profile->tagCount));
    putClipped(image, capacity, kIccHeaderBytes, count, 4);
    uint64_t at = kIccTableStart;
    for (int32_t i = 0; i < profile->tagCount && profile->tagTable && at < capacity; ++i, at += kIccRowBytes) {
        const IccTagEntry& row = profile->tagTable[i];
        uint8_t bytes[kIccRowBytes];
        writeBe32(bytes, row.signature);
        writeBe32(bytes + 4, row.offset);
        writeBe32(bytes + 8, row.size);
        putClipped(image, capacity, at, bytes, kIccRowBytes);
    }
    if (profile->tagCount > 0) at = kIccTableStart + uint64_t{kIccRowBytes} * static_cast<uint32_t>(profile->tagCount);
    putClipped(image, capacity, at, profile->tagData, profile->tagDataSize);
    return CLR_SUCCESS;
}

ClrStatus rebuildIccImage(IccProfile* profile) {
    if (!profile || !profile->header) return CLR_INVALID_PARAMETER;
    const uint32_t n = profile->header->size;
    auto* image = static_cast<uint8_t*>(quvSharedAlloc(n, 1));
    if (!image) return CLR_FAILURE;
    writeIccImage(profile, image, n);
    if (profile->image) quvSharedFree(profile->image);
    profile->image = image;
    profile->dataSize = n;
    return CLR_SUCCESS;
}

}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_InitICCHeader(IccProfile* profile) {
    if (!profile) return CLR_INVALID_PARAMETER;
    if (!profile->header) {
        profile->header = static_cast<IccHeader*>(quvMalloc(1, sizeof(IccHeader)));
        if (!profile->header) return CLR_FAILURE;  // nothing to initialise
    }
    IccHeader* h = profile->header;
    std::memset(h, 0, sizeof *h);
    h->size = kIccTableStart;
    h->version = ICC_PROFILE_VERSION;
    h->signature = ICC_MAGIC;
    h->illuminantX = static_cast<int32_t>(Quv_DoubleTo2bFixed2bNumber(0.9642));
    h->illuminantY = static_cast<int32_t>(Quv_DoubleTo2bFixed2bNumber(1.0));
    h->illuminantZ = static_cast<int32_t>(Quv_DoubleTo2bFixed2bNumber(0.8249));
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_SetICCProfileId(IccProfile* profile) {
    if (!profile) return CLR_INVALID_PARAMETER;
    // The id is never computed: it is cleared. Without a header there is
    // nothing to clear, and the call is refused rather than writing through a
    // null pointer.
    if (!profile->header) return CLR_INVALID_PARAMETER;
    std::memset(profile->header->profileId, 0, sizeof profile->header->profileId);
    return rebuildIccImage(profile);
}

extern "C" QUV_API ClrStatus Quv_SetICCCMMType(IccProfile* profile, uint32_t cmmType) {
    return setField(profile, true, [&](IccHeader& h) { h.cmmType = cmmType; });
}

extern "C" QUV_API ClrStatus Quv_SetICCDeviceClass(IccProfile* profile, uint32_t deviceClass) {
    return setField(profile, isDeviceClass(deviceClass), [&](IccHeader& h) { h.deviceClass = deviceClass; });
}

extern "C" QUV_API ClrStatus Quv_SetICCColorSpace(IccProfile* profile, uint32_t colorSpace) {
    return setField(profile, isColorSpace(colorSpace), [&](IccHeader& h) { h.colorSpace = colorSpace; });
}

extern "C" QUV_API ClrStatus Quv_SetICCConnectionSpace(IccProfile* profile, uint32_t space) {
    if (!profile || !profile->header || profile->header->deviceClass == 0) return CLR_INVALID_PARAMETER;
    IccHeader& h = *profile->header;
    if (h.deviceClass == kDeviceLink) {
        // A device link connects two device spaces. Its image is not rebuilt
        // here: it keeps the old value until the next change.
        if (!isColorSpace(space)) return CLR_INVALID_PARAMETER;
        h.connectionSpace = space;
        return CLR_SUCCESS;
    }
    return setField(profile, space == kXyz || space == kLab, [&](IccHeader& hh) { hh.connectionSpace = space; });
}

extern "C" QUV_API ClrStatus Quv_SetICCPrimaryPlatform(IccProfile* profile, int32_t platform) {
    const auto value = static_cast<uint32_t>(platform);
    return setField(profile, isPlatform(value), [&](IccHeader& h) { h.primaryPlatform = value; });
}

extern "C" QUV_API ClrStatus Quv_SetICCFlags(IccProfile* profile, int32_t flags) {
    return setField(profile, true, [&](IccHeader& h) { h.flags = static_cast<uint32_t>(flags) & 3u; });
}

extern "C" QUV_API ClrStatus Quv_SetICCDevManufacturer(IccProfile* profile, uint32_t manufacturer) {
    return setField(profile, true, [&](IccHeader& h) { h.manufacturer = manufacturer; });
}

extern "C" QUV_API ClrStatus Quv_SetICCDevModel(IccProfile* profile, uint32_t model) {
    return setField(profile, true, [&](IccHeader& h) { h.model = model; });
}

extern "C" QUV_API ClrStatus Quv_SetICCDeviceAttributes(IccProfile* profile, int32_t attributes) {
    return setField(profile, true, [&](IccHeader& h) { h.attributes = static_cast<uint32_t>(attributes) & 15u; });
}

extern "C" QUV_API ClrStatus Quv_SetICCRenderingIntent(IccProfile* profile, uint32_t intent) {
    return setField(profile, intent <= 3, [&](IccHeader& h) { h.renderingIntent = intent; });
}

extern "C" QUV_API ClrStatus Quv_SetICCCreator(IccProfile* profile, uint32_t creator) {
    return setField(profile, true, [&](IccHeader& h) { h.creator = creator; });
}

extern "C" QUV_API ClrStatus Quv_SetICCDateTime(IccProfile* profile, const IccDateTimeNumber* dateTime) {
    // The six numbers are taken as they are. A null date would be read through
    // a null pointer: it is refused instead.
    return setField(profile, dateTime != nullptr, [&](IccHeader& h) { h.dateTime = *dateTime; });
}
