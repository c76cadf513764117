// "meas", "view", "chrm" and "dtim": small elements of fixed or nearly fixed
// shape. Their encoders accept only the codes the format defines, and a
// "chrm" that names a standard set of primaries gets that set's values in
// place of the caller's.
#include "platform/memory.h"
#include "tags/codec.h"

namespace quv {
namespace {

IccXYZNumber readXyz(const uint8_t* p) { return {readBe32(p), readBe32(p + 4), readBe32(p + 8)}; }
IccXYZNumber xyzToWire(const IccXYZNumber& v) { return {toWire32(v.x), toWire32(v.y), toWire32(v.z)}; }

void releaseNothing(IccTagRecord*) {}

// The record of a fixed element is its file image once in wire order: the
// writer copies it as it stands.
template <size_t Bytes>
ClrStatus storeFixed(IccProfile* profile, uint32_t tagSig, const IccTagRecord* wire, ClrStatus noMemory) {
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, Bytes, 4, Bytes, noMemory, &at);
    if (status == CLR_SUCCESS) std::memcpy(at, wire, Bytes);
    return status;
}

// ---- meas ----

ClrStatus decodeMeasurement(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 36) return CLR_INVALID_TAG_DATA;
    IccMeasurementType& r = out->measurement;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.observer = readBe32(tag.data + 8);
    r.backing = readXyz(tag.data + 12);
    r.geometry = readBe32(tag.data + 24);
    r.flare = readBe32(tag.data + 28);
    r.illuminant = readBe32(tag.data + 32);
    return CLR_SUCCESS;
}

ClrStatus encodeMeasurement(const IccTagRecord* in, IccTagRecord* out) {
    const IccMeasurementType& s = in->measurement;
    if (s.observer > 2 || s.geometry > 2 || (s.flare != 0 && s.flare != 0x10000) || s.illuminant > 8)
        return CLR_INVALID_PARAMETER;
    IccMeasurementType& r = out->measurement;
    r.head = {toWire32(ICC_TYPE_MEAS), 0};
    r.observer = toWire32(s.observer);
    r.backing = xyzToWire(s.backing);
    r.geometry = toWire32(s.geometry);
    r.flare = toWire32(s.flare);
    r.illuminant = toWire32(s.illuminant);
    return CLR_SUCCESS;
}

ClrStatus storeMeasurement(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    return storeFixed<36>(profile, tagSig, wire, CLR_INVALID_PARAMETER);  // -13 also for want of memory
}

// ---- view ----

ClrStatus decodeViewing(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 36) return CLR_INVALID_TAG_DATA;
    IccViewingConditionsType& r = out->viewingConditions;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.illuminant = readXyz(tag.data + 8);
    r.surround = readXyz(tag.data + 20);
    r.illuminantType = readBe32(tag.data + 32);
    return CLR_SUCCESS;
}

ClrStatus encodeViewing(const IccTagRecord* in, IccTagRecord* out) {
    const IccViewingConditionsType& s = in->viewingConditions;
    if (s.illuminantType > 8) return CLR_INVALID_PARAMETER;
    IccViewingConditionsType& r = out->viewingConditions;
    r.head = {toWire32(ICC_TYPE_VIEW), 0};
    r.illuminant = xyzToWire(s.illuminant);
    r.surround = xyzToWire(s.surround);
    r.illuminantType = toWire32(s.illuminantType);
    return CLR_SUCCESS;
}

ClrStatus storeViewing(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    return storeFixed<36>(profile, tagSig, wire, CLR_INVALID_PARAMETER);
}

// ---- dtim ----

ClrStatus decodeDateTime(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 20) return CLR_INVALID_TAG_DATA;
    IccDateTimeType& r = out->dateTime;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    const uint8_t* p = tag.data + 8;
    r.dateTime = {readBe16(p), readBe16(p + 2), readBe16(p + 4), readBe16(p + 6), readBe16(p + 8), readBe16(p + 10)};
    return CLR_SUCCESS;
}

ClrStatus encodeDateTime(const IccTagRecord* in, IccTagRecord* out) {
    const IccDateTimeNumber& s = in->dateTime.dateTime;  // no value is tested
    IccDateTimeType& r = out->dateTime;
    r.head = {toWire32(ICC_TYPE_DTIM), 0};
    r.dateTime = {toWire16(s.year),  toWire16(s.month),   toWire16(s.day),
                  toWire16(s.hours), toWire16(s.minutes), toWire16(s.seconds)};
    return CLR_SUCCESS;
}

ClrStatus storeDateTime(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    return storeFixed<20>(profile, tagSig, wire, CLR_FAILURE);
}

// ---- chrm ----

// The primaries of the colorant codes 1 to 4: red, green, blue, each x, y.
constexpr double kPrimaries[4][6] = {
    {0.64, 0.33, 0.3, 0.6, 0.15, 0.06},
    {0.63, 0.34, 0.31, 0.595, 0.155, 0.07},
    {0.64, 0.33, 0.29, 0.6, 0.15, 0.06},
    {0.625, 0.34, 0.28, 0.605, 0.155, 0.07},
};

ClrStatus decodeChromaticity(const TagBytes& tag, IccTagRecord* out) {
    if (tag.size < 12) return CLR_INVALID_TAG_DATA;
    IccChromaticityType& r = out->chromaticity;
    r.head = {readBe32(tag.data), readBe32(tag.data + 4)};
    r.channels = readBe16(tag.data + 8);
    r.colorant = readBe16(tag.data + 10);
    if (r.channels == 0) return CLR_SUCCESS;
    if (12 + 8 * uint64_t{r.channels} > tag.size) return CLR_INVALID_TAG_DATA;
    r.values = static_cast<uint32_t*>(quvMalloc(2 * size_t{r.channels}, sizeof(uint32_t)));
    if (!r.values) return CLR_FAILURE;
    for (uint32_t i = 0; i < 2u * r.channels; ++i) r.values[i] = readBe32(tag.data + 12 + 4 * i);
    return CLR_SUCCESS;
}

ClrStatus encodeChromaticity(const IccTagRecord* in, IccTagRecord* out) {
    const IccChromaticityType& s = in->chromaticity;
    // The values pointer is required even when a colorant code replaces them.
    if (!s.values || s.channels > 3) return CLR_INVALID_PARAMETER;
    IccChromaticityType& r = out->chromaticity;
    // A colorant code writes all three pairs whatever `channels` says, so the
    // block always has room for three; the file gets `channels` of them.
    r.values = static_cast<uint32_t*>(quvCalloc(6, sizeof(uint32_t)));
    if (!r.values) return CLR_FAILURE;
    if (s.colorant == 0) {
        for (uint32_t i = 0; i < 2u * s.channels; ++i) {
            uint32_t v;
            std::memcpy(&v, s.values + i, sizeof v);  // the caller's array need not be aligned
            r.values[i] = toWire32(v);
        }
    } else if (s.colorant <= 4) {
        for (int i = 0; i < 6; ++i) r.values[i] = toWire32(Quv_DoubleTo2bFixed2bNumber(kPrimaries[s.colorant - 1][i]));
    } else {
        return CLR_INVALID_PARAMETER;  // the values block stays for the release
    }
    r.head = {toWire32(ICC_TYPE_CHRM), 0};
    r.channels = toWire16(s.channels);
    r.colorant = toWire16(static_cast<uint16_t>(s.colorant));  // 16 bits, in the field's first two bytes
    return CLR_SUCCESS;
}

ClrStatus storeChromaticity(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
    const IccChromaticityType& r = wire->chromaticity;
    const uint32_t channels = toWire16(r.channels);
    const uint32_t size = 8 * channels + 12;
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size, 4, size, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r.head, 8);
    std::memcpy(at + 8, &r.channels, 2);
    std::memcpy(at + 10, &r.colorant, 2);
    std::memcpy(at + 12, r.values, 8 * channels);
    return CLR_SUCCESS;
}

void releaseChromaticity(IccTagRecord* r) {
    if (r->chromaticity.values) quvFree(r->chromaticity.values);
    r->chromaticity.values = nullptr;
}

}  // namespace

const TagCodec kMeasurementCodec = {ICC_TYPE_MEAS, decodeMeasurement, encodeMeasurement, storeMeasurement,
                                    releaseNothing};
const TagCodec kViewingConditionsCodec = {ICC_TYPE_VIEW, decodeViewing, encodeViewing, storeViewing,
                                          releaseNothing};
const TagCodec kDateTimeCodec = {ICC_TYPE_DTIM, decodeDateTime, encodeDateTime, storeDateTime, releaseNothing};
const TagCodec kChromaticityCodec = {ICC_TYPE_CHRM, decodeChromaticity, encodeChromaticity, storeChromaticity,
                                     releaseChromaticity};

}  // namespace quv
