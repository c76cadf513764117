// "ncl2", "clrt" and "clro": colours listed by name, colorants by name and by
// order. Names and order bytes are the file's bytes in either record order;
// the "ncl2" encoder keeps only the high half of the vendor flag.
#include "platform/memory.h"
#include "tags/codec.h"

namespace quv {
namespace {

// The count of a record of either order: a host-order record's signature is
// the type's number.
uint32_t countOf(const IccTagHead& head, uint32_t type, uint32_t count) {
    return head.signature == type ? count : toWire32(count);
}

// True when `count` items of `itemBytes` each fit in the tag behind `start`.
bool itemsFit(const TagBytes& tag, uint32_t start, uint64_t count, uint64_t itemBytes) {
    if (tag.size < start) return false;
    return count == 0 || (tag.size - start) / itemBytes >= count;
}

// ---- ncl2 ----

ClrStatus decodeNamedColor2(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 84) return CLR_INVALID_TAG_DATA;
    IccNamedColor2Type& r = out->namedColor2;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.vendorFlag = readBe32(tag.data + 8);
    r.count = readBe32(tag.data + 12);
    r.coordinates = readBe32(tag.data + 16);
    std::memcpy(r.prefix, tag.data + 20, 32);
    std::memcpy(r.suffix, tag.data + 52, 32);
    const uint64_t colourBytes = 38 + 2 * uint64_t{r.coordinates};
    if (!itemsFit(tag, 84, r.count, colourBytes)) return CLR_INVALID_TAG_DATA;
    r.entries = static_cast<IccNamedColorEntry*>(quvCalloc(r.count, sizeof(IccNamedColorEntry)));
    if (!r.entries) return CLR_FAILURE;
    const uint8_t* p = tag.data + 84;
    for (uint32_t i = 0; i < r.count; ++i, p += colourBytes) {
        IccNamedColorEntry& e = r.entries[i];
        std::memcpy(e.name, p, 32);
        for (int k = 0; k < 3; ++k) e.pcs[k] = readBe16(p + 32 + 2 * k);
        e.device = static_cast<uint16_t*>(quvMalloc(r.coordinates, sizeof(uint16_t)));
        if (!e.device) return CLR_FAILURE;
        for (uint32_t k = 0; k < r.coordinates; ++k) e.device[k] = readBe16(p + 38 + 2 * uint64_t{k});
    }
    return CLR_SUCCESS;
}

ClrStatus encodeNamedColor2(const IccTagRecord* in, IccTagRecord* out) {
    const IccNamedColor2Type& s = in->namedColor2;
    if (!s.entries) return CLR_INVALID_PARAMETER;
    IccNamedColor2Type& r = out->namedColor2;
    r.head = {toWire32(ICC_TYPE_NCL2), 0};
    r.vendorFlag = toWire32(s.vendorFlag & 0xFFFF0000u);
    r.count = toWire32(s.count);
    r.coordinates = toWire32(s.coordinates);
    std::memcpy(r.prefix, s.prefix, 32);
    std::memcpy(r.suffix, s.suffix, 32);
    r.entries = static_cast<IccNamedColorEntry*>(quvCalloc(s.count, sizeof(IccNamedColorEntry)));
    if (!r.entries) return CLR_FAILURE;
    for (uint32_t i = 0; i < s.count; ++i) {
        const IccNamedColorEntry& from = s.entries[i];
        IccNamedColorEntry& e = r.entries[i];
        if (!from.device && s.coordinates > 0) return CLR_INVALID_PARAMETER;
        e.device = static_cast<uint16_t*>(quvMalloc(s.coordinates, sizeof(uint16_t)));
        if (!e.device) return CLR_FAILURE;
        std::memcpy(e.name, from.name, 32);
        for (int k = 0; k < 3; ++k) e.pcs[k] = toWire16(from.pcs[k]);
        for (uint32_t k = 0; k < s.coordinates; ++k) {
            uint16_t v;
            std::memcpy(&v, from.device + k, sizeof v);
            e.device[k] = toWire16(v);
        }
    }
    return CLR_SUCCESS;
}

ClrStatus storeNamedColor2(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccNamedColor2Type& r = wire->namedColor2;
    const uint32_t count = toWire32(r.count);
    const uint32_t coordinates = toWire32(r.coordinates);
    const uint32_t size = 2 * (coordinates + 19) * count + 84;
    const uint64_t colourBytes = 38 + 2 * uint64_t{coordinates};
    uint8_t* at = nullptr;
    const ClrStatus status =
        reserveTag(profile, tagSig, size, padFor(size), 84 + colourBytes * count, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r, 84);
    at += 84;
    for (uint32_t i = 0; i < count; ++i, at += colourBytes) {
        std::memcpy(at, &r.entries[i], 38);
        std::memcpy(at + 38, r.entries[i].device, 2 * size_t{coordinates});
    }
    return CLR_SUCCESS;
}

// Walks the count the record's own order gives, so a wire-order record from
// Create is released as well as one from Get.
void releaseNamedColor2(IccTagRecord* record) {
    IccNamedColor2Type& r = record->namedColor2;
    if (!r.entries) return;
    const uint32_t count = countOf(r.head, ICC_TYPE_NCL2, r.count);
    for (uint32_t i = 0; i < count; ++i) {
        if (r.entries[i].device) quvFree(r.entries[i].device);
        r.entries[i].device = nullptr;
    }
    quvFree(r.entries);
    r.entries = nullptr;
}

// ---- clrt ----

ClrStatus decodeColorantTable(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccColorantTableType& r = out->colorantTable;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.count = readBe32(tag.data + 8);
    if (!itemsFit(tag, 12, r.count, 38)) return CLR_INVALID_TAG_DATA;
    r.entries = static_cast<IccColorantEntry*>(quvMalloc(r.count, sizeof(IccColorantEntry)));
    if (!r.entries) return CLR_FAILURE;
    for (uint32_t i = 0; i < r.count; ++i) {
        const uint8_t* p = tag.data + 12 + 38 * uint64_t{i};
        std::memcpy(r.entries[i].name, p, 32);
        for (int k = 0; k < 3; ++k) r.entries[i].pcs[k] = readBe16(p + 32 + 2 * k);
    }
    return CLR_SUCCESS;
}

ClrStatus encodeColorantTable(const IccTagRecord* in, IccTagRecord* out) {
    const IccColorantTableType& s = in->colorantTable;
    if (!s.entries) return CLR_INVALID_PARAMETER;
    IccColorantTableType& r = out->colorantTable;
    r.head = {toWire32(ICC_TYPE_CLRT), 0};
    r.count = toWire32(s.count);
    r.entries = static_cast<IccColorantEntry*>(quvMalloc(s.count, sizeof(IccColorantEntry)));
    if (!r.entries) return CLR_FAILURE;
    for (uint32_t i = 0; i < s.count; ++i) {
        std::memcpy(r.entries[i].name, s.entries[i].name, 32);
        for (int k = 0; k < 3; ++k) r.entries[i].pcs[k] = toWire16(s.entries[i].pcs[k]);
    }
    return CLR_SUCCESS;
}

ClrStatus storeColorantTable(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccColorantTableType& r = wire->colorantTable;
    const uint32_t count = toWire32(r.count);
    const uint64_t bytes = 38 * uint64_t{count};
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, 38 * count + 12, padFor(38 * count), bytes + 12,
                                        CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r, 12);
    std::memcpy(at + 12, r.entries, static_cast<size_t>(bytes));
    return CLR_SUCCESS;
}

void releaseColorantTable(IccTagRecord* r) {
    if (r->colorantTable.entries) quvFree(r->colorantTable.entries);
    r->colorantTable.entries = nullptr;
}

// ---- clro ----

ClrStatus decodeColorantOrder(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccColorantOrderType& r = out->colorantOrder;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.count = readBe32(tag.data + 8);
    if (!itemsFit(tag, 12, r.count, 1)) return CLR_INVALID_TAG_DATA;
    r.order = static_cast<uint8_t*>(quvMalloc(r.count, 1));
    if (!r.order) return CLR_FAILURE;
    std::memcpy(r.order, tag.data + 12, r.count);
    return CLR_SUCCESS;
}

ClrStatus encodeColorantOrder(const IccTagRecord* in, IccTagRecord* out) {
    const IccColorantOrderType& s = in->colorantOrder;
    if (!s.order) return CLR_INVALID_PARAMETER;
    IccColorantOrderType& r = out->colorantOrder;
    r.head = {toWire32(ICC_TYPE_CLRO), 0};
    r.count = toWire32(s.count);
    r.order = static_cast<uint8_t*>(quvMalloc(s.count, 1));
    if (!r.order) return CLR_FAILURE;
    std::memcpy(r.order, s.order, s.count);
    return CLR_SUCCESS;
}

ClrStatus storeColorantOrder(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccColorantOrderType& r = wire->colorantOrder;
    const uint32_t count = toWire32(r.count);
    uint8_t* at = nullptr;
    const ClrStatus status =
        reserveTag(profile, tagSig, count + 12, padFor(count), uint64_t{count} + 12, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r, 12);
    std::memcpy(at + 12, r.order, count);
    return CLR_SUCCESS;
}

void releaseColorantOrder(IccTagRecord* r) {
    if (r->colorantOrder.order) quvFree(r->colorantOrder.order);
    r->colorantOrder.order = nullptr;
}

}  // namespace

const TagCodec kNamedColor2Codec = {ICC_TYPE_NCL2, decodeNamedColor2, encodeNamedColor2, storeNamedColor2,
                                    releaseNamedColor2};
const TagCodec kColorantTableCodec = {ICC_TYPE_CLRT, decodeColorantTable, encodeColorantTable,
                                      storeColorantTable, releaseColorantTable};
const TagCodec kColorantOrderCodec = {ICC_TYPE_CLRO, decodeColorantOrder, encodeColorantOrder,
                                      storeColorantOrder, releaseColorantOrder};

}  // namespace quv
