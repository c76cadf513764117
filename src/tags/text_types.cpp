// "text", "data" and "sig ": a block of bytes or one word behind the head.
// Text is measured in 16-bit units although it is copied in bytes, and ASCII
// data carries one byte more than it counts; both shape what is stored.
#include "platform/memory.h"
#include "tags/codec.h"

#include <cstring>

namespace quv {
namespace {

// Zero bytes behind a decoded text: enough for a measure in 16-bit units that
// starts at any offset to meet a zero unit.
constexpr size_t kTextSlack = 3;

// Units of 16 bits before the first zero unit of a caller's string.
size_t measureUnits(const uint8_t* p) {
    size_t n = 0;
    while (p[2 * n] != 0 || p[2 * n + 1] != 0) ++n;
    return n;
}

// The same measure over a block of `length` bytes: bytes behind the block
// count as zero, so the measure never reads past it.
size_t measureUnitsWithin(const uint8_t* p, size_t length) {
    size_t n = 0;
    for (;;) {
        const size_t at = 2 * n;
        const uint8_t low = at < length ? p[at] : 0;
        const uint8_t high = at + 1 < length ? p[at + 1] : 0;
        if (low == 0 && high == 0) return n;
        ++n;
    }
}

void releasePointer(void* block) {
    if (block) quvFree(block);
}

// ---- text ----

ClrStatus decodeText(const TagBytes& tag, IccTagRecord* out) {
    IccTextType& r = out->text;
    r.head.signature = readBe32(tag.data);
    r.head.reserved = readBe32(tag.data + 4);
    const uint32_t length = tag.size - 8;
    // The text is the tag's bytes as they stand, with no terminator of its
    // own. Set measures a text to its first zero 16-bit unit, which such
    // bytes need not hold (a text ending in one zero byte at an odd offset
    // holds none), so zero bytes stand behind the block, outside the text,
    // where that measure stops.
    r.text = static_cast<char*>(quvCalloc(size_t{length} + kTextSlack, 1));
    if (!r.text) return CLR_FAILURE;
    std::memcpy(r.text, tag.data + 8, length);
    return CLR_SUCCESS;
}

ClrStatus encodeText(const IccTagRecord* in, IccTagRecord* out) {
    const char* source = in->text.text;
    if (!source) return CLR_INVALID_PARAMETER;
    out->text.head.signature = toWire32(ICC_TYPE_TEXT);
    // As many bytes as the string has 16-bit units, plus one.
    const size_t n = measureUnits(reinterpret_cast<const uint8_t*>(source));
    auto* copy = static_cast<char*>(quvMalloc(n + 1, 1));
    if (!copy) return CLR_FAILURE;
    std::memcpy(copy, source, n + 1);
    out->text.text = copy;
    return CLR_SUCCESS;
}

ClrStatus storeText(IccProfile* profile, uint32_t tagSig, const IccTagRecord* in, const IccTagRecord* wire) {
    // The copy is measured again in 16-bit units; the value is that many
    // bytes plus one.
    const size_t copyLength = measureUnits(reinterpret_cast<const uint8_t*>(in->text.text)) + 1;
    const auto* copy = reinterpret_cast<const uint8_t*>(wire->text.text);
    const uint64_t value = measureUnitsWithin(copy, copyLength) + 1;
    const auto size = static_cast<uint32_t>(value + 8);
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, padFor(static_cast<uint32_t>(value)), value + 8,
                                        CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, ICC_TYPE_TEXT);
    std::memcpy(at + 8, copy, static_cast<size_t>(value));
    return CLR_SUCCESS;
}

void releaseText(IccTagRecord* r) {
    releasePointer(r->text.text);
    r->text.text = nullptr;
}

// ---- data ----

ClrStatus decodeData(const TagBytes& tag, IccTagRecord* out) {
    // A row too short for the flag would make the length wrap to nearly 4 GiB.
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccDataType& r = out->data;
    r.head.signature = readBe32(tag.data);
    r.head.reserved = readBe32(tag.data + 4);
    r.flag = readBe32(tag.data + 8);  // no range check on reading
    r.size = tag.size - 12;
    const bool ascii = r.flag == 0;
    r.bytes = static_cast<uint8_t*>(quvMalloc(size_t{r.size} + ascii, 1));
    if (!r.bytes) return CLR_FAILURE;
    std::memcpy(r.bytes, tag.data + 12, r.size);
    // ASCII data takes the byte that follows the tag in the data image, a
    // terminator when it is zero. At the very end of the data image there is
    // no such byte; zero stands for it.
    if (ascii) r.bytes[r.size] = tag.available > tag.size ? tag.data[tag.size] : 0;
    return CLR_SUCCESS;
}

ClrStatus encodeData(const IccTagRecord* in, IccTagRecord* out) {
    const IccDataType& source = in->data;
    if (!source.bytes || source.flag > 1) return CLR_INVALID_PARAMETER;
    out->data.head.signature = toWire32(ICC_TYPE_DATA);
    out->data.flag = toWire32(source.flag);
    // An ASCII source is read one byte behind its size, and the copy counts it.
    const uint32_t length = source.size + (source.flag == 0 ? 1 : 0);
    auto* copy = static_cast<uint8_t*>(quvMalloc(length, 1));
    if (!copy) return CLR_FAILURE;
    std::memcpy(copy, source.bytes, length);
    out->data.bytes = copy;
    out->data.size = length;  // a native number in either order
    return CLR_SUCCESS;
}

ClrStatus storeData(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccDataType& r = wire->data;
    const uint32_t flag = toWire32(r.flag);
    // ASCII adds one more byte to what the record already counts; it has no
    // source and is written as zero.
    const uint64_t value = uint64_t{r.size} + (flag == 0 ? 1 : 0);
    const auto size = static_cast<uint32_t>(value + 12);
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, padFor(size), value + 12, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, ICC_TYPE_DATA);
    writeBe32(at + 8, flag);
    std::memcpy(at + 12, r.bytes, r.size);
    if (flag == 0) at[12 + r.size] = 0;
    return CLR_SUCCESS;
}

void releaseData(IccTagRecord* r) {
    releasePointer(r->data.bytes);
    r->data.bytes = nullptr;
}

// ---- sig ----

ClrStatus decodeSignature(const TagBytes& tag, IccTagRecord* out) {
    // The value is read from bytes 8 to 11 whatever the row's size; those
    // bytes must at least lie in the data image.
    if (tag.available < 12) return CLR_INVALID_TAG_DATA;
    IccSignatureType& r = out->sig;
    r.head.signature = readBe32(tag.data);
    r.head.reserved = readBe32(tag.data + 4);
    r.value = readBe32(tag.data + 8);
    return CLR_SUCCESS;
}

// Values of one, two or three bytes are signatures of that many characters:
// they move to the top of the word and blanks fill the rest.
uint32_t widenSignature(uint32_t v) {
    if (v < 0x100u) return (v << 24) | 0x202020u;
    if (v < 0x10000u) return (v << 16) | 0x2020u;
    if (v < 0x1000000u) return (v << 8) | 0x20u;
    return v;
}

ClrStatus encodeSignature(const IccTagRecord* in, IccTagRecord* out) {
    out->sig.head.signature = toWire32(ICC_TYPE_SIG);
    out->sig.value = toWire32(widenSignature(in->sig.value));
    return CLR_SUCCESS;
}

ClrStatus storeSignature(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    uint8_t* at = nullptr;
    // An append that fails for want of memory is reported as -13 here.
    const ClrStatus status = reserveTag(profile, tagSig, 12, 4, 12, CLR_INVALID_PARAMETER, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, ICC_TYPE_SIG);
    writeBe32(at + 8, toWire32(wire->sig.value));
    return CLR_SUCCESS;
}

void releaseNothing(IccTagRecord*) {}

}  // namespace

const TagCodec kTextCodec = {ICC_TYPE_TEXT, decodeText, encodeText, storeText, releaseText};
const TagCodec kDataCodec = {ICC_TYPE_DATA, decodeData, encodeData, storeData, releaseData};
const TagCodec kSignatureCodec = {ICC_TYPE_SIG, decodeSignature, encodeSignature, storeSignature, releaseNothing};

}  // namespace quv
