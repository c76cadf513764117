// "pseq": the profiles a profile was made from, each with its device data and
// two "mluc" texts. Reading follows the element as it stands. Writing keeps
// its own long-standing rules, which files written earlier depend on: the
// element is reserved at the size of the last entry alone, every entry's
// head is that of entry 0, the texts are taken from the input at steps of 32
// bytes, attributes go out unswapped, and a text whose size is a multiple of 4
// is followed by a four-byte gap. Everything is written inside the
// reservation; what would fall past its end is dropped.
#include "platform/memory.h"
#include "tags/localized_text.h"

#include <cstddef>
#include <initializer_list>

namespace quv {
namespace {

constexpr uint32_t kEntryHeadBytes = 20;  // manufacturer, model, attributes, technology
constexpr uint32_t kTagPseq = QUV_ICC_SIG('p', 's', 'e', 'q');

uint32_t countOf(const IccProfileSequenceDescType& r) {
    return r.head.signature == ICC_TYPE_PSEQ ? r.count : toWire32(r.count);
}

// Bytes a nested text just read takes: its size + 8, rounded up to 4. The
// size is taken from the numbers as read: a text of another type in the
// place of an "mluc" (an old "desc") has a signature that would make the
// size rule take them for big-endian and walk its entries far past their
// array.
uint64_t textSpan(const IccMultiLocalizedUnicodeType& text) {
    uint64_t size = 8;
    if (text.recordSize != 0) {
        size += uint64_t{text.recordSize} * text.count;
        for (uint32_t i = 0; i < text.count && text.records; ++i) size += text.records[i].length;
    }
    return (uint64_t{static_cast<uint32_t>(size)} + 8 + 3) & ~uint64_t{3};  // the size is 32-bit
}

ClrStatus decodeSequence(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccProfileSequenceDescType& r = out->profileSequence;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.count = readBe32(tag.data + 8);
    // An entry takes at least its head and two text heads.
    if ((tag.size - 12) / (kEntryHeadBytes + 32) < r.count) return CLR_INVALID_TAG_DATA;
    r.entries = static_cast<IccProfileSequenceEntry*>(quvCalloc(r.count, sizeof(IccProfileSequenceEntry)));
    if (!r.entries) return CLR_FAILURE;
    uint64_t place = 12;
    for (uint32_t i = 0; i < r.count; ++i) {
        IccProfileSequenceEntry& e = r.entries[i];
        if (place + kEntryHeadBytes > tag.size) return CLR_INVALID_TAG_DATA;
        const uint8_t* p = tag.data + place;
        e.manufacturer = readBe32(p);
        e.model = readBe32(p + 4);
        e.attributes = readBe64(p + 8);
        e.technology = readBe32(p + 16);
        place += kEntryHeadBytes;
        for (IccMultiLocalizedUnicodeType* text : {&e.manufacturerText, &e.modelText}) {
            if (place > tag.size) return CLR_INVALID_TAG_DATA;
            const ClrStatus status = readIccMluc(tag.data + place, tag.size - place, text);
            if (status != CLR_SUCCESS) return status;
            place += textSpan(*text);
        }
    }
    return CLR_SUCCESS;
}

// The input text that entry `e` takes: the first or second text of entry 0
// plus 32e bytes. Only a place where a text record of the input really
// stands is copied from (always so for entry 0); any other place lies across
// the fields of entries, its pointers are no pointers, and the text stays
// empty as after a failed copy.
const IccMultiLocalizedUnicodeType* inputText(const IccProfileSequenceEntry* entries, uint32_t count, uint32_t e,
                                               bool second) {
    constexpr uint64_t kEntry = sizeof(IccProfileSequenceEntry);
    constexpr uint64_t kText = sizeof(IccMultiLocalizedUnicodeType);
    const uint64_t at = (second ? offsetof(IccProfileSequenceEntry, modelText)
                                : offsetof(IccProfileSequenceEntry, manufacturerText)) +
                        kText * e;
    if (at + kText > kEntry * count) return nullptr;
    const uint64_t within = at % kEntry;
    if (within != offsetof(IccProfileSequenceEntry, manufacturerText) &&
        within != offsetof(IccProfileSequenceEntry, modelText))
        return nullptr;
    return reinterpret_cast<const IccMultiLocalizedUnicodeType*>(reinterpret_cast<const uint8_t*>(entries) + at);
}

ClrStatus encodeSequence(const IccTagRecord* in, IccTagRecord* out) {
    const IccProfileSequenceDescType& s = in->profileSequence;
    if (!s.entries) return CLR_INVALID_PARAMETER;
    IccProfileSequenceDescType& r = out->profileSequence;
    r.head = {toWire32(ICC_TYPE_PSEQ), 0};
    r.count = toWire32(s.count);
    r.entries = static_cast<IccProfileSequenceEntry*>(quvCalloc(s.count, sizeof(IccProfileSequenceEntry)));
    if (!r.entries) return CLR_FAILURE;
    for (uint32_t e = 0; e < s.count; ++e) {
        const IccProfileSequenceEntry& from = s.entries[e];
        IccProfileSequenceEntry& to = r.entries[e];
        to.manufacturer = toWire32(from.manufacturer);
        to.model = toWire32(from.model);
        to.attributes = from.attributes;  // unswapped: the file gets the host's byte order
        to.technology = toWire32(from.technology);
        // A failed copy is not an error of the whole: the text stays as it got.
        if (const auto* text = inputText(s.entries, s.count, e, false)) iccMlucCopy(&to.manufacturerText, text);
        if (const auto* text = inputText(s.entries, s.count, e, true)) iccMlucCopy(&to.modelText, text);
    }
    return CLR_SUCCESS;
}

ClrStatus storeSequence(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccProfileSequenceDescType& r = wire->profileSequence;
    const uint32_t count = toWire32(r.count);
    // The texts are written in place only under the tag signature "pseq";
    // under any other the text writer would take its place for a profile.
    if (count > 0 && tagSig != kTagPseq) return CLR_INVALID_PARAMETER;
    uint32_t size = 12;
    for (uint32_t e = 0; e < count; ++e) {  // set, not summed: the last entry's size stands
        const IccProfileSequenceEntry& entry = r.entries[e];
        if (!iccMlucSizeFits(&entry.manufacturerText) || !iccMlucSizeFits(&entry.modelText))
            return CLR_INVALID_PARAMETER;
        size = 48 + ((iccMlucSize(&entry.manufacturerText) + 3) & ~3u) + ((iccMlucSize(&entry.modelText) + 3) & ~3u);
    }
    const uint32_t pad = padFor(size);
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, pad, 0, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    BoundedWriter out{at, uint64_t{size} + (pad == 4 ? 0 : pad)};
    out.put(&r, 12);
    for (uint32_t e = 0; e < count; ++e) {
        out.put(&r.entries[0], kEntryHeadBytes);
        out.skip(iccMlucEmitNested(out, &r.entries[e].manufacturerText));
        out.skip(iccMlucEmitNested(out, &r.entries[e].modelText));
    }
    return CLR_SUCCESS;  // the padding is zero already
}

void releaseSequence(IccTagRecord* record) {
    IccProfileSequenceDescType& r = record->profileSequence;
    if (!r.entries) return;
    const uint32_t count = countOf(r);
    for (uint32_t e = 0; e < count; ++e) {
        releaseIccMluc(&r.entries[e].manufacturerText);
        releaseIccMluc(&r.entries[e].modelText);
    }
    quvFree(r.entries);
    r.entries = nullptr;
}

}  // namespace

const TagCodec kProfileSequenceCodec = {ICC_TYPE_PSEQ, decodeSequence, encodeSequence, storeSequence,
                                        releaseSequence};

}  // namespace quv
