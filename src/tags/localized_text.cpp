// "mluc": one text in several languages. The reader follows each entry's
// offset on its own, so entries that share a string read it twice; in a
// host-order record the strings stand one behind the other and a caller finds
// the i-th by adding the lengths before it. The writer never computes offsets:
// they stand as the caller gives them.
#include "tags/localized_text.h"

#include "platform/memory.h"

#include <algorithm>

namespace quv {

namespace {

bool isHostOrder(const IccMultiLocalizedUnicodeType& r) { return r.head.signature == ICC_TYPE_MLUC; }
uint32_t native(const IccMultiLocalizedUnicodeType& r, uint32_t v) { return isHostOrder(r) ? v : toWire32(v); }

// The sum of the lengths, each taken in the record's order; no entries or no
// array sum to 0.
uint64_t totalLength(const IccMultiLocalizedUnicodeType& r) {
    const uint32_t count = native(r, r.count);
    uint64_t total = 0;
    if (!r.records) return 0;
    for (uint32_t i = 0; i < count; ++i) total += native(r, r.records[i].length);
    return total;
}

}  // namespace

ClrStatus readIccMluc(const uint8_t* value, uint64_t room, IccMultiLocalizedUnicodeType* out) {
    if (!value || !out) return CLR_INVALID_PARAMETER;
    if (room < 16) return CLR_INVALID_TAG_DATA;
    out->head = {readBe32(value), readBe32(value + 4)};
    out->count = readBe32(value + 8);
    out->recordSize = readBe32(value + 12);
    out->records = nullptr;
    out->strings = nullptr;
    const uint32_t count = out->count;
    if (count == 0) return CLR_SUCCESS;
    // The entries are walked at 12 bytes whatever the record size says.
    if ((room - 16) / 12 < count) return CLR_INVALID_TAG_DATA;
    out->records = static_cast<IccMlucEntry*>(quvMalloc(count, sizeof(IccMlucEntry)));
    if (!out->records) return CLR_FAILURE;
    uint64_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* p = value + 16 + 12 * uint64_t{i};
        IccMlucEntry& e = out->records[i];
        e = {readBe16(p), readBe16(p + 2), readBe32(p + 4), readBe32(p + 8)};
        // Each string lies inside the tag.
        if (uint64_t{e.offset} + e.length > room) return CLR_INVALID_TAG_DATA;
        total += e.length;
    }
    if (total == 0) return CLR_SUCCESS;
    if (!decodedFits(total, room)) return CLR_INVALID_TAG_DATA;
    // An odd length stores one byte more than it adds to the place of the
    // next string; the block has a unit to spare for the last one.
    out->strings = static_cast<uint16_t*>(quvCalloc(static_cast<size_t>(total / 2 + 1), sizeof(uint16_t)));
    if (!out->strings) return CLR_FAILURE;
    uint64_t place = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const IccMlucEntry& e = out->records[i];
        uint16_t* to = out->strings + place / 2;
        const uint8_t* from = value + e.offset;
        for (uint32_t u = 0; u < (e.length + 1) / 2; ++u) {
            // The last byte of an odd string lies behind it: zero past the tag.
            const uint64_t at = uint64_t{e.offset} + 2 * uint64_t{u};
            const uint8_t low = at + 1 < room ? from[2 * uint64_t{u} + 1] : 0;
            to[u] = static_cast<uint16_t>(from[2 * uint64_t{u}] << 8 | low);
        }
        place += e.length;
    }
    return CLR_SUCCESS;
}

uint32_t iccMlucSize(const IccMultiLocalizedUnicodeType* r) {
    if (!r) return 0;
    const uint32_t recordSize = native(*r, r->recordSize);
    if (recordSize == 0) return 8;
    const uint32_t count = native(*r, r->count);
    return 8 + recordSize * count + static_cast<uint32_t>(totalLength(*r));
}

bool iccMlucSizeFits(const IccMultiLocalizedUnicodeType* r) {
    if (!r) return true;
    const uint64_t content = 16 + 12 * uint64_t{native(*r, r->count)} + totalLength(*r);
    return decodedFits(iccMlucSize(r), content);
}

uint32_t iccMlucEmitNested(BoundedWriter out, const IccMultiLocalizedUnicodeType* r) {
    const uint32_t size = iccMlucSize(r);
    const uint32_t pad = padFor(size);
    // The writes stop where the block given ends: a record size below 12
    // reserves less than the entries take.
    out.put(r, 16);
    if (const uint32_t count = toWire32(r->count)) {
        out.put(r->records, 12 * uint64_t{count});
        out.put(r->strings, totalLength(*r));
    }
    if (pad != 4) out.skip(pad);  // the block is zero already
    return size + 8 + pad;
}

ClrStatus iccMlucCopy(IccMultiLocalizedUnicodeType* target, const IccMultiLocalizedUnicodeType* source) {
    if (!target || !source) return CLR_INVALID_PARAMETER;
    // A host-order record would have its count taken for big-endian and its
    // arrays walked far past their end: it is refused.
    if (isHostOrder(*source) && source->count != 0) return CLR_INVALID_PARAMETER;
    target->head = source->head;
    target->count = source->count;
    target->recordSize = source->recordSize;
    target->records = nullptr;
    target->strings = nullptr;
    const uint32_t count = toWire32(source->count);
    if (count == 0) return CLR_SUCCESS;
    if (!source->records || !source->strings) return CLR_INVALID_PARAMETER;
    target->records = static_cast<IccMlucEntry*>(quvMalloc(count, sizeof(IccMlucEntry)));
    if (!target->records) return CLR_FAILURE;
    std::memcpy(target->records, source->records, sizeof(IccMlucEntry) * size_t{count});
    // n units are copied where n is the strings' total length less 8; below
    // 8 nothing can be copied.
    const auto n = static_cast<int32_t>(iccMlucSize(source) - 16 - count * toWire32(source->recordSize));
    if (n < 0) return CLR_FAILURE;
    // The source holds its total in whole units; what n asks for beyond that
    // is left zero. The block also has room for the whole total, which the
    // writer reads.
    const uint64_t total = totalLength(*source);
    const uint64_t held = total & ~uint64_t{1};
    const uint64_t wanted = 2 * uint64_t(n);
    target->strings = static_cast<uint16_t*>(quvCalloc(static_cast<size_t>(std::max(wanted, total) / 2 + 1), 2));
    if (!target->strings) return CLR_FAILURE;
    std::memcpy(target->strings, source->strings, static_cast<size_t>(std::min(wanted, held)));
    return CLR_SUCCESS;
}

void releaseIccMluc(IccMultiLocalizedUnicodeType* r) {
    if (r->records) quvFree(r->records);
    r->records = nullptr;
    if (r->strings) quvFree(r->strings);
    r->strings = nullptr;
}

namespace {

ClrStatus decodeMluc(const TagBytes& tag, IccTagRecord* out) { return readIccMluc(tag.data, tag.size, &out->mluc); }

ClrStatus encodeMluc(const IccTagRecord* in, IccTagRecord* out) {
    const IccMultiLocalizedUnicodeType& s = in->mluc;
    IccMultiLocalizedUnicodeType& r = out->mluc;
    r.head = {toWire32(ICC_TYPE_MLUC), 0};
    r.count = toWire32(s.count);
    r.recordSize = toWire32(s.recordSize);  // not tested
    if (s.count == 0) return CLR_SUCCESS;
    if (!s.records || !s.strings) return CLR_INVALID_PARAMETER;
    r.records = static_cast<IccMlucEntry*>(quvMalloc(s.count, sizeof(IccMlucEntry)));
    if (!r.records) return CLR_FAILURE;
    uint64_t total = 0;
    for (uint32_t i = 0; i < s.count; ++i) {
        const IccMlucEntry e = s.records[i];
        r.records[i] = {toWire16(e.language), toWire16(e.country), toWire32(e.length), toWire32(e.offset)};
        total += e.length;
    }
    // total / 2 units; one more, zero, lets the writer read an odd total whole.
    r.strings = static_cast<uint16_t*>(quvCalloc(static_cast<size_t>(total / 2 + 1), sizeof(uint16_t)));
    if (!r.strings) return CLR_FAILURE;
    for (uint64_t u = 0; u < total / 2; ++u) {
        uint16_t v;
        std::memcpy(&v, s.strings + u, sizeof v);
        r.strings[u] = toWire16(v);
    }
    return CLR_SUCCESS;
}

ClrStatus storeMluc(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    if (!iccMlucSizeFits(&wire->mluc)) return CLR_INVALID_PARAMETER;
    const uint32_t size = iccMlucSize(&wire->mluc);
    const uint32_t pad = padFor(size);
    const uint32_t tagSize = size + 8;  // 32-bit, as the row holds it
    uint8_t* at = nullptr;
    // What the record holds is written up to the end of the reservation and no
    // further (nothing is refused for it).
    const ClrStatus status = reserveTag(profile, tagSig, tagSize, pad, 0, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    iccMlucEmitNested(BoundedWriter{at, uint64_t{tagSize} + (pad == 4 ? 0 : pad)}, &wire->mluc);
    return CLR_SUCCESS;
}

void releaseMluc(IccTagRecord* r) { releaseIccMluc(&r->mluc); }

}  // namespace

const TagCodec kMlucCodec = {ICC_TYPE_MLUC, decodeMluc, encodeMluc, storeMluc, releaseMluc};

}  // namespace quv
