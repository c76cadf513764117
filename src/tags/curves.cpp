// "curv" and "para": the tone curves, as tags and as the elements of curve
// sets. Points and parameters are held as stored; nothing here evaluates a
// curve. The flat-buffer readers take records of native numbers.
#include "platform/memory.h"
#include "platform/probe.h"
#include "tags/lut_blocks.h"

#include <cstring>

namespace quv {

// Elements an i32 count copies: a count below 1 copies nothing.
static uint32_t copied(uint32_t count) { return static_cast<int32_t>(count) < 1 ? 0 : count; }

ClrStatus decodeCurveElement(TagCursor& c, IccCurveType* out) {
    out->head.signature = c.be32();
    out->head.reserved = c.be32();
    out->count = c.be32();
    if (!c.ok()) return c.status();
    // The count is not compared with the row, but points the data image
    // can't hold are refused before anything is allocated for them.
    if (!c.holds(2 * uint64_t{out->count})) return CLR_INVALID_TAG_DATA;
    out->points = static_cast<uint16_t*>(quvMalloc(out->count, sizeof(uint16_t)));
    if (!out->points) return CLR_FAILURE;
    for (uint32_t i = 0; i < copied(out->count); ++i) {
        const uint16_t v = c.be16();
        std::memcpy(out->points + i, &v, sizeof v);
    }
    return c.status();
}

ClrStatus decodeParametricElement(TagCursor& c, IccParametricCurveType* out) {
    out->head.signature = c.be32();
    out->head.reserved = c.be32();
    out->function = c.be16();
    out->reserved2 = c.be16();
    if (!c.ok()) return c.status();
    if (out->function > 4) return CLR_INVALID_TAG_DATA;
    const uint32_t n = parametricParameterCount(out->function);
    out->parameters = static_cast<uint32_t*>(quvMalloc(n, sizeof(uint32_t)));
    if (!out->parameters) return CLR_FAILURE;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t v = c.be32();
        std::memcpy(out->parameters + i, &v, sizeof v);
    }
    return c.status();
}

ClrStatus encodeCurveElement(const IccCurveType* in, IccCurveType* out) {
    if (!in || !in->points) return CLR_INVALID_PARAMETER;
    const uint32_t count = in->count;
    // The caller's array has no length of its own: one not readable for its
    // count is refused before anything is allocated.
    if (!MemoryProbe().readable(in->points, 2 * size_t{copied(count)})) return CLR_INVALID_PARAMETER;
    out->head.signature = toWire32(ICC_TYPE_CURVE);
    out->head.reserved = 0;
    out->count = toWire32(count);
    out->points = static_cast<uint16_t*>(quvMalloc(copied(count), sizeof(uint16_t)));
    if (!out->points) return CLR_FAILURE;
    for (uint32_t i = 0; i < copied(count); ++i) {
        uint16_t v;
        std::memcpy(&v, in->points + i, sizeof v);  // the caller's array need not be aligned
        v = toWire16(v);
        std::memcpy(out->points + i, &v, sizeof v);
    }
    return CLR_SUCCESS;
}

ClrStatus encodeParametricElement(const IccParametricCurveType* in, IccParametricCurveType* out) {
    if (!in || !in->parameters || in->function > 4) return CLR_INVALID_PARAMETER;
    if (!MemoryProbe().readable(in->parameters, 4 * size_t{parametricParameterCount(in->function)}))
        return CLR_INVALID_PARAMETER;
    std::memset(out, 0, sizeof *out);
    out->head.signature = toWire32(ICC_TYPE_PARAMETRIC_CURVE);
    out->function = toWire16(in->function);
    const uint32_t n = parametricParameterCount(in->function);
    out->parameters = static_cast<uint32_t*>(quvMalloc(n, sizeof(uint32_t)));
    if (!out->parameters) return CLR_FAILURE;
    for (uint32_t i = 0; i < n; ++i) {
        uint32_t v;
        std::memcpy(&v, in->parameters + i, sizeof v);
        v = toWire32(v);
        std::memcpy(out->parameters + i, &v, sizeof v);
    }
    return CLR_SUCCESS;
}

namespace {

ClrStatus decodeCurve(const TagBytes& tag, IccTagRecord* out) {
    TagCursor c(tag);
    return decodeCurveElement(c, &out->curve);
}

ClrStatus encodeCurve(const IccTagRecord* in, IccTagRecord* out) { return encodeCurveElement(&in->curve, &out->curve); }

ClrStatus storeCurve(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const uint32_t count = toWire32(wire->curve.count);
    // One point is sized 13 with three bytes of padding: a room of 16 that
    // holds the 14 bytes written, and the padding stops at the room's end.
    const uint32_t size = count == 1 ? 13 : 2 * count + 12;
    const uint32_t pad = count == 1 ? 3 : padFor(size);
    const uint64_t writes = 12 + 2 * uint64_t{copied(count)};
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, pad, writes, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, ICC_TYPE_CURVE);
    writeBe32(at + 8, count);
    if (copied(count)) std::memcpy(at + 12, wire->curve.points, 2 * size_t{copied(count)});
    return CLR_SUCCESS;
}

void releaseCurve(IccTagRecord* r) { r->curve.points = released(r->curve.points); }

ClrStatus decodeParametric(const TagBytes& tag, IccTagRecord* out) {
    TagCursor c(tag);
    return decodeParametricElement(c, &out->parametricCurve);
}

ClrStatus encodeParametric(const IccTagRecord* in, IccTagRecord* out) {
    return encodeParametricElement(&in->parametricCurve, &out->parametricCurve);
}

ClrStatus storeParametric(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const uint16_t function = toWire16(wire->parametricCurve.function);
    const uint32_t size = 8 + parametricDataSize(function);
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, 4, size, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    writeTagHead(at, ICC_TYPE_PARAMETRIC_CURVE);
    writeBe16(at + 8, function);
    std::memcpy(at + 12, wire->parametricCurve.parameters, 4 * size_t{parametricParameterCount(function)});
    return CLR_SUCCESS;
}

void releaseParametric(IccTagRecord* r) { r->parametricCurve.parameters = released(r->parametricCurve.parameters); }

}  // namespace

const TagCodec kCurveCodec{ICC_TYPE_CURVE, decodeCurve, encodeCurve, storeCurve, releaseCurve};
const TagCodec kParametricCurveCodec{ICC_TYPE_PARAMETRIC_CURVE, decodeParametric, encodeParametric, storeParametric,
                                     releaseParametric};

}  // namespace quv

using namespace quv;

extern "C" QUV_API uint32_t Quv_GetParametricCurveNumberOfParameters(uint32_t function) {
    return parametricParameterCount(function);
}

extern "C" QUV_API int32_t Quv_ClrIntIsParametricCurveType(const void* buffer, int32_t wire) {
    if (!buffer) return 0;
    uint32_t word;
    std::memcpy(&word, buffer, sizeof word);
    if (wire == 1) word = readBe32(static_cast<const uint8_t*>(buffer));
    return word == ICC_TYPE_PARAMETRIC_CURVE ? 1 : 0;
}

extern "C" QUV_API uint32_t Quv_ClrIntGetCurveTypeSize(const void* curve, uint32_t count) {
    return curve ? curveDataSize(count) : 0;
}

extern "C" QUV_API uint32_t Quv_ClrIntGetParametricCurveTypeSize(const void* curve) {
    if (!curve) return 0;
    uint16_t function;
    std::memcpy(&function, static_cast<const uint8_t*>(curve) + 8, sizeof function);
    return parametricDataSize(function);
}

// The flat buffer has no length of its own: a count whose points are not
// readable memory is refused as a bad parameter before anything is allocated.
extern "C" QUV_API ClrStatus Quv_ClrIntGetCurveTypeLittleIndian(const void* buffer, IccCurveType* curve) {
    if (!buffer || !curve) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!probe.readable(buffer, 12)) return CLR_INVALID_PARAMETER;
    const auto* p = static_cast<const uint8_t*>(buffer);
    std::memcpy(curve, p, 12);
    const uint64_t bytes = 2 * uint64_t{curve->count};
    if (!probe.readable(p + 12, static_cast<size_t>(bytes))) return CLR_INVALID_PARAMETER;
    curve->points = static_cast<uint16_t*>(quvMalloc(curve->count, sizeof(uint16_t)));
    if (!curve->points) return CLR_FAILURE;
    std::memcpy(curve->points, p + 12, static_cast<size_t>(bytes));
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ClrIntGetParametricCurveTypeLittleIndian(const void* buffer,
                                                                          IccParametricCurveType* curve) {
    if (!buffer || !curve) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!probe.readable(buffer, 12)) return CLR_INVALID_PARAMETER;
    const auto* p = static_cast<const uint8_t*>(buffer);
    std::memcpy(curve, p, 12);
    if (curve->function > 4) return CLR_INVALID_TAG_DATA;
    const uint32_t n = parametricParameterCount(curve->function);
    if (!probe.readable(p + 12, 4 * size_t{n})) return CLR_INVALID_PARAMETER;
    curve->parameters = static_cast<uint32_t*>(quvMalloc(n, sizeof(uint32_t)));
    if (!curve->parameters) return CLR_FAILURE;
    std::memcpy(curve->parameters, p + 12, 4 * size_t{n});
    return CLR_SUCCESS;
}

extern "C" QUV_API void Quv_ClrIntIccFreeCurveType(IccCurveType* curve) {
    if (curve) curve->points = released(curve->points);
}

extern "C" QUV_API void Quv_ClrIntIccFreeParametricCurveType(IccParametricCurveType* curve) {
    if (curve) curve->parameters = released(curve->parameters);
}
