// "rcs2": for each of k measurement types, per channel a patch count, an XYZ
// value and a response curve. Every curve has k points, whatever the patch
// counts say; the patch counts are carried and not used. The writer computes
// the offsets anew, measures packed one behind the other.
#include "platform/memory.h"
#include "tags/codec.h"

namespace quv {
namespace {

// A measure's bytes in a file: type, c patch counts, c XYZ triples, c curves
// of k points of 8 bytes.
uint64_t measureBytes(uint64_t channels, uint64_t measures) { return 4 + 16 * channels + 8 * measures * channels; }

template <class T>
T* allocate(uint64_t count) {
    return static_cast<T*>(quvCalloc(static_cast<size_t>(count), sizeof(T)));
}

ClrStatus decodeResponseSet(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccResponseCurveSet16Type& r = out->responseCurveSet;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.channels = readBe16(tag.data + 8);
    r.measureCount = readBe16(tag.data + 10);
    const uint32_t c = r.channels;
    const uint32_t k = r.measureCount;
    const uint64_t perMeasure = measureBytes(c, k);
    // Measures may share their bytes, but all they make must stay near the
    // size of the tag.
    if (12 + 4 * uint64_t{k} > tag.size || !decodedFits(k * (perMeasure + 28), tag.size))
        return CLR_INVALID_TAG_DATA;
    r.offsets = allocate<uint32_t>(k);
    r.measures = allocate<IccResponseCurve>(k);
    if (!r.offsets || !r.measures) return CLR_FAILURE;
    for (uint32_t m = 0; m < k; ++m) {
        const uint32_t offset = readBe32(tag.data + 12 + 4 * m);
        r.offsets[m] = offset;
        if (offset + perMeasure > tag.size) return CLR_INVALID_TAG_DATA;
        const uint8_t* p = tag.data + offset;
        IccResponseCurve& measure = r.measures[m];
        measure.measureType = readBe32(p);
        p += 4;
        if (!(measure.patchCounts = allocate<uint32_t>(c))) return CLR_FAILURE;
        for (uint32_t i = 0; i < c; ++i, p += 4) measure.patchCounts[i] = readBe32(p);
        if (!(measure.xyz = allocate<uint32_t>(3 * uint64_t{c}))) return CLR_FAILURE;
        for (uint32_t i = 0; i < 3 * c; ++i, p += 4) measure.xyz[i] = readBe32(p);
        if (!(measure.points = allocate<IccResponsePoint*>(c))) return CLR_FAILURE;
        for (uint32_t ch = 0; ch < c; ++ch) {
            IccResponsePoint* points = allocate<IccResponsePoint>(k);
            if (!(measure.points[ch] = points)) return CLR_FAILURE;
            for (uint32_t i = 0; i < k; ++i, p += 8) points[i] = {readBe16(p), readBe16(p + 2), readBe32(p + 4)};
        }
    }
    return CLR_SUCCESS;
}

ClrStatus encodeResponseSet(const IccTagRecord* in, IccTagRecord* out) {
    const IccResponseCurveSet16Type& s = in->responseCurveSet;
    if (!s.measures) return CLR_INVALID_PARAMETER;
    const uint32_t c = s.channels;
    const uint32_t k = s.measureCount;
    IccResponseCurveSet16Type& r = out->responseCurveSet;
    r.head = {toWire32(ICC_TYPE_RCS2), 0};
    r.channels = toWire16(s.channels);
    r.measureCount = toWire16(s.measureCount);
    r.offsets = allocate<uint32_t>(k);
    r.measures = allocate<IccResponseCurve>(k);
    if (!r.offsets || !r.measures) return CLR_FAILURE;
    const uint32_t perMeasure = 8 * c * (k + 2) + 4;
    for (uint32_t m = 0; m < k; ++m) {
        const IccResponseCurve& from = s.measures[m];
        IccResponseCurve& to = r.measures[m];
        r.offsets[m] = toWire32(4 * k + 12 + m * perMeasure);
        to.measureType = toWire32(from.measureType);
        if (c > 0 && (!from.patchCounts || !from.xyz || !from.points)) return CLR_INVALID_PARAMETER;
        if (!(to.patchCounts = allocate<uint32_t>(c))) return CLR_FAILURE;
        for (uint32_t i = 0; i < c; ++i) to.patchCounts[i] = toWire32(from.patchCounts[i]);
        if (!(to.xyz = allocate<uint32_t>(3 * uint64_t{c}))) return CLR_FAILURE;
        for (uint32_t i = 0; i < 3 * c; ++i) to.xyz[i] = toWire32(from.xyz[i]);
        if (!(to.points = allocate<IccResponsePoint*>(c))) return CLR_FAILURE;
        for (uint32_t ch = 0; ch < c; ++ch) {
            const IccResponsePoint* source = from.points[ch];
            if (!source && k > 0) return CLR_INVALID_PARAMETER;
            if (!(to.points[ch] = allocate<IccResponsePoint>(k))) return CLR_FAILURE;
            for (uint32_t i = 0; i < k; ++i)
                to.points[ch][i] = {toWire16(source[i].device), toWire16(source[i].reserved),
                                    toWire32(source[i].measurement)};
        }
    }
    return CLR_SUCCESS;
}

ClrStatus storeResponseSet(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccResponseCurveSet16Type& r = wire->responseCurveSet;
    const uint32_t c = toWire16(r.channels);
    const uint32_t k = toWire16(r.measureCount);
    const uint32_t size = 8 * k * (c * (k + 2) + 1) + 12;
    const uint64_t writes = 12 + 4 * uint64_t{k} + k * measureBytes(c, k);
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, 4, writes, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r, 12);
    std::memcpy(at + 12, r.offsets, 4 * size_t{k});
    at += 12 + 4 * size_t{k};
    for (uint32_t m = 0; m < k; ++m) {
        const IccResponseCurve& measure = r.measures[m];
        std::memcpy(at, &measure.measureType, 4);
        std::memcpy(at + 4, measure.patchCounts, 4 * size_t{c});
        std::memcpy(at + 4 + 4 * size_t{c}, measure.xyz, 12 * size_t{c});
        at += 4 + 16 * size_t{c};
        for (uint32_t ch = 0; ch < c; ++ch, at += 8 * size_t{k}) std::memcpy(at, measure.points[ch], 8 * size_t{k});
    }
    return CLR_SUCCESS;
}

void release(void* p) {
    if (p) quvFree(p);
}

// Serves both orders: a host-order record's signature is the type's number.
void releaseResponseSet(IccTagRecord* record) {
    IccResponseCurveSet16Type& r = record->responseCurveSet;
    const bool host = r.head.signature == ICC_TYPE_RCS2;
    const uint32_t c = host ? r.channels : toWire16(r.channels);
    const uint32_t k = host ? r.measureCount : toWire16(r.measureCount);
    release(r.offsets);
    r.offsets = nullptr;
    if (!r.measures) return;
    for (uint32_t m = 0; m < k; ++m) {
        IccResponseCurve& measure = r.measures[m];
        release(measure.patchCounts);
        release(measure.xyz);
        measure.patchCounts = nullptr;
        measure.xyz = nullptr;
        if (!measure.points) continue;
        for (uint32_t ch = 0; ch < c; ++ch) {
            release(measure.points[ch]);
            measure.points[ch] = nullptr;
        }
        release(measure.points);
        measure.points = nullptr;
    }
    release(r.measures);
    r.measures = nullptr;
}

}  // namespace

const TagCodec kResponseCurveSetCodec = {ICC_TYPE_RCS2, decodeResponseSet, encodeResponseSet, storeResponseSet,
                                         releaseResponseSet};

}  // namespace quv
