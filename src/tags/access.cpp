// The five tag operations. They find a tag's row, look its type up in the
// codec table, and report through the warning statuses when the tag's
// signature or type is not a known one; any type may stand under any
// signature. Types without a codec take the table's fallback entry and
// travel as IccUnknownType, their bytes carried through unchanged. The head
// is the dispatcher's: it reads a tag's type signature and reserved word
// into the record before decoding, and puts the type signature into the
// wire-order record before encoding.
#include "platform/memory.h"
#include "tags/codec.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace quv {
namespace {

const TagCodec* const kCodecs[] = {
    &kXyzCodec,         &kDataCodec,           &kS15Fixed16ArrayCodec, &kSignatureCodec,       &kTextCodec,
    &kU16Fixed16ArrayCodec, &kUInt8ArrayCodec, &kUInt16ArrayCodec,     &kUInt32ArrayCodec,     &kUInt64ArrayCodec,
    // localized text, response curves, profile sequences, colour lists, small fixed types
    &kMlucCodec, &kResponseCurveSetCodec, &kProfileSequenceCodec,
    &kNamedColor2Codec, &kColorantTableCodec, &kColorantOrderCodec,
    &kMeasurementCodec, &kViewingConditionsCodec, &kChromaticityCodec, &kDateTimeCodec,
    // curves and lookup tables
    &kCurveCodec, &kParametricCurveCodec, &kLut8Codec, &kLut16Codec, &kLutAToBCodec, &kLutBToACodec,
};

// The tag signatures this library knows. Knowing one says nothing of the
// type a tag under it should have.
constexpr uint32_t kKnownTagSignatures[] = {
    QUV_ICC_SIG('A', '2', 'B', '0'), QUV_ICC_SIG('A', '2', 'B', '1'), QUV_ICC_SIG('A', '2', 'B', '2'),
    QUV_ICC_SIG('B', '2', 'A', '0'), QUV_ICC_SIG('B', '2', 'A', '1'), QUV_ICC_SIG('B', '2', 'A', '2'),
    QUV_ICC_SIG('b', 'T', 'R', 'C'), QUV_ICC_SIG('b', 'X', 'Y', 'Z'), QUV_ICC_SIG('b', 'k', 'p', 't'),
    QUV_ICC_SIG('c', 'a', 'l', 't'), QUV_ICC_SIG('c', 'h', 'a', 'd'), QUV_ICC_SIG('c', 'h', 'r', 'm'),
    QUV_ICC_SIG('c', 'l', 'o', 't'), QUV_ICC_SIG('c', 'l', 'r', 'o'), QUV_ICC_SIG('c', 'l', 'r', 't'),
    QUV_ICC_SIG('c', 'p', 'r', 't'), QUV_ICC_SIG('d', 'e', 's', 'c'), QUV_ICC_SIG('d', 'm', 'd', 'd'),
    QUV_ICC_SIG('d', 'm', 'n', 'd'), QUV_ICC_SIG('g', 'T', 'R', 'C'), QUV_ICC_SIG('g', 'X', 'Y', 'Z'),
    QUV_ICC_SIG('g', 'a', 'm', 't'), QUV_ICC_SIG('k', 'T', 'R', 'C'), QUV_ICC_SIG('l', 'u', 'm', 'i'),
    QUV_ICC_SIG('m', 'e', 'a', 's'), QUV_ICC_SIG('n', 'c', 'l', '2'), QUV_ICC_SIG('p', 'r', 'e', '0'),
    QUV_ICC_SIG('p', 'r', 'e', '1'), QUV_ICC_SIG('p', 'r', 'e', '2'), QUV_ICC_SIG('p', 's', 'e', 'q'),
    QUV_ICC_SIG('r', 'T', 'R', 'C'), QUV_ICC_SIG('r', 'X', 'Y', 'Z'), QUV_ICC_SIG('r', 'e', 's', 'p'),
    QUV_ICC_SIG('t', 'a', 'r', 'g'), QUV_ICC_SIG('t', 'e', 'c', 'h'), QUV_ICC_SIG('v', 'i', 'e', 'w'),
    QUV_ICC_SIG('v', 'u', 'e', 'd'), QUV_ICC_SIG('w', 't', 'p', 't'),
};
static_assert(std::size(kKnownTagSignatures) == 38);

bool isKnownIccTagSig(uint32_t signature) {
    return std::find(std::begin(kKnownTagSignatures), std::end(kKnownTagSignatures), signature) !=
           std::end(kKnownTagSignatures);
}

// Success when signature and type are both known, else the warning that says
// which is not; the work is done either way.
ClrStatus knownness(bool signatureKnown, bool typeKnown) {
    if (signatureKnown) return typeKnown ? CLR_SUCCESS : CLR_TAG_UNKNOWN_TYPE;
    return typeKnown ? CLR_TAG_UNKNOWN_SIGNATURE : CLR_TAG_UNKNOWN_BOTH;
}

// ---- types without a codec: the table's fallback entry ----

ClrStatus decodeUnknown(const TagBytes& tag, IccTagRecord* out) {
    IccUnknownType& r = out->unknown;
    r.size = tag.size - 8;
    r.bytes = static_cast<uint8_t*>(quvMalloc(r.size, 1));
    if (!r.bytes) return CLR_FAILURE;
    std::memcpy(r.bytes, tag.data + 8, r.size);
    return CLR_SUCCESS;
}

// The type signature is in `out` already, as the dispatcher wrote it.
ClrStatus encodeUnknown(const IccTagRecord* in, IccTagRecord* out) {
    if (!in->unknown.bytes) return CLR_INVALID_PARAMETER;
    const uint32_t size = in->unknown.size;
    out->unknown.bytes = static_cast<uint8_t*>(quvMalloc(size, 1));
    if (!out->unknown.bytes) return CLR_FAILURE;
    std::memcpy(out->unknown.bytes, in->unknown.bytes, size);
    out->unknown.size = size;
    return CLR_SUCCESS;
}

ClrStatus storeUnknown(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const uint32_t n = wire->unknown.size;
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, n + 8, padFor(n), uint64_t{n} + 8, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, toWire32(wire->head.signature));
    std::memcpy(at + 8, wire->unknown.bytes, n);
    return CLR_SUCCESS;
}

void releaseUnknown(IccTagRecord* r) { r->unknown.bytes = released(r->unknown.bytes); }

const TagCodec kUnknownCodec{0, decodeUnknown, encodeUnknown, storeUnknown, releaseUnknown};

// The codec of a type, or the fallback that carries its bytes unchanged.
const TagCodec& codecFor(uint32_t type) {
    const TagCodec* codec = findTagCodec(type);
    return codec ? *codec : kUnknownCodec;
}

bool hasCodec(const TagCodec& codec) { return &codec != &kUnknownCodec; }

}  // namespace

const TagCodec* findTagCodec(uint32_t type) {
    for (const TagCodec* codec : kCodecs)
        if (codec->type == type) return codec;
    return nullptr;
}

void TagCursor::copy(void* out, uint64_t n) {
    if (n > remaining()) {
        pos_ = end_;
        fail();
        return;
    }
    if (n) std::memcpy(out, data_ + pos_, static_cast<size_t>(n));
    pos_ += n;
}

ClrStatus reserveTag(IccProfile* profile, uint32_t tagSig, uint32_t size, uint32_t pad, uint64_t writes,
                     ClrStatus noMemory, uint8_t** out) {
    const uint32_t padding = pad >= 4 ? 0 : pad;
    if (writes > uint64_t{size} + padding) return CLR_INVALID_PARAMETER;
    *out = appendIccTag(profile, IccTagEntry{tagSig, 0, size}, pad);
    return *out ? CLR_SUCCESS : noMemory;
}

}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_GetICCTagData(IccProfile* profile, IccTagRecord* record, uint32_t tagSig) {
    if (!profile || !record) return CLR_INVALID_PARAMETER;
    if (profile->tagCount < 1) return CLR_TAG_NOT_FOUND;
    const int index = findIccTagRow(profile, tagSig);
    if (index < 0) return CLR_TAG_NOT_FOUND;
    const IccTagEntry row = profile->tagTable[index];
    // The row comes from the file unchecked. One whose value lies outside the
    // data image, or that is too short for the type signature and reserved
    // word, would be read past the block: it is refused as tag data that can't
    // be represented.
    uint64_t available = 0;
    const uint8_t* place = iccTagPlace(profile, row.offset, &available);
    if (!place || row.size < 8 || row.size > available) return CLR_INVALID_TAG_DATA;

    const TagBytes tag{place, row.size, available};
    const TagCodec& codec = codecFor(readBe32(place));
    // The head is read here, once; a codec may read it again with the rest.
    std::memset(record, 0, sizeof *record);
    record->head.signature = readBe32(place);
    record->head.reserved = readBe32(place + 4);
    const ClrStatus status = codec.decode(tag, record);
    if (status != CLR_SUCCESS) return status;
    return knownness(isKnownIccTagSig(tagSig), hasCodec(codec));
}

extern "C" QUV_API ClrStatus Quv_SetICCTagData(IccProfile* profile, const IccTagRecord* record, uint32_t tagSig,
                                               uint32_t typeSig) {
    if (!profile || !record) return CLR_INVALID_PARAMETER;
    // The new tag grows the header's size: without a header there is nothing
    // to grow, and the call is refused before anything changes.
    if (!profile->header) return CLR_INVALID_PARAMETER;
    const bool signatureKnown = isKnownIccTagSig(tagSig);
    // A Set never overwrites in place: the old tag goes first, whatever follows.
    Quv_DeleteICCTag(profile, tagSig, nullptr);

    const TagCodec& codec = codecFor(typeSig);
    IccTagRecord wire;
    std::memset(&wire, 0, sizeof wire);
    wire.head.signature = toWire32(typeSig);
    ClrStatus status = codec.encode(record, &wire);
    if (status == CLR_SUCCESS) status = codec.store(profile, tagSig, record, &wire);
    codec.release(&wire);
    if (status != CLR_SUCCESS) return status;
    const ClrStatus known = knownness(signatureKnown, hasCodec(codec));
    // Under a warning the tag is in table and data image, but the file image
    // waits for the next rebuild.
    if (known != CLR_SUCCESS) return known;
    return rebuildIccImage(profile);
}

extern "C" QUV_API ClrStatus Quv_CreateICCTagData(IccTagRecord* outRecord, const IccTagRecord* inRecord,
                                                  uint32_t typeSig) {
    if (!outRecord || !inRecord) return CLR_INVALID_PARAMETER;
    std::memset(outRecord, 0, sizeof *outRecord);
    const TagCodec& codec = codecFor(typeSig);
    outRecord->head.signature = toWire32(typeSig);
    const ClrStatus status = codec.encode(inRecord, outRecord);
    return status == CLR_SUCCESS && !hasCodec(codec) ? CLR_TAG_UNKNOWN_TYPE : status;
}

extern "C" QUV_API ClrStatus Quv_DeleteICCTag(IccProfile* profile, uint32_t tagSig, IccTagRecord* record) {
    if (!profile || profile->tagCount == 0) return CLR_INVALID_PARAMETER;
    if (profile->tagCount < 0) return CLR_TAG_NOT_FOUND;
    const int index = findIccTagRow(profile, tagSig);
    if (index < 0) return CLR_TAG_NOT_FOUND;
    if (record) {
        // A tag under a warning can be deleted only without a record.
        const ClrStatus status = Quv_GetICCTagData(profile, record, tagSig);
        if (status != CLR_SUCCESS) return status;
    }
    return removeIccTag(profile, index);
}

extern "C" QUV_API void Quv_FreeICCTagType(IccTagRecord* record, uint32_t typeSig) {
    if (!record) return;
    codecFor(typeSig).release(record);
}
