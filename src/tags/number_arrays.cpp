// The number arrays: "ui08", "ui16", "ui32", "ui64", "uf32", "sf32" and
// "XYZ ". One record shape, one reader and one writer; they differ only in
// the width of an element. The array has no count of its own in the file: it
// is what the row's size holds. Fixed-point elements stay encoded.
#include "platform/memory.h"
#include "tags/codec.h"

#include <cstring>
#include <type_traits>

namespace quv {
namespace {

template <uint32_t Type, class Element, uint32_t Width>
struct ArrayCodec {
    // The seven records share one layout: head, values, count.
    static Element* values(const IccTagRecord* r) { return reinterpret_cast<Element*>(r->uint8Array.values); }
    static void setValues(IccTagRecord* r, Element* v) { r->uint8Array.values = reinterpret_cast<uint8_t*>(v); }

    // One element from file bytes. A "ui64" element keeps only its last four
    // bytes: the high half reads as zero.
    static Element read(const uint8_t* p) {
        if constexpr (Width == 1) {
            return *p;
        } else if constexpr (Width == 2) {
            return readBe16(p);
        } else if constexpr (Width == 4) {
            return readBe32(p);
        } else if constexpr (Width == 8) {
            return readBe32(p + 4);
        } else {
            return IccXYZNumber{readBe32(p), readBe32(p + 4), readBe32(p + 8)};
        }
    }

    // One element in file byte order, all of its bits.
    static Element toWire(Element v) {
        if constexpr (Width == 1) {
            return v;
        } else if constexpr (Width == 2) {
            return toWire16(v);
        } else if constexpr (Width == 4) {
            return toWire32(v);
        } else if constexpr (Width == 8) {
            return toWire64(v);
        } else {
            return IccXYZNumber{toWire32(v.x), toWire32(v.y), toWire32(v.z)};
        }
    }

    // Elements a count copies: one taken as a negative i32 copies nothing.
    static uint32_t copied(uint32_t count) { return static_cast<int32_t>(count) < 0 ? 0 : count; }

    static ClrStatus decode(const TagBytes& tag, IccTagRecord* out) {
        IccUInt8ArrayType& r = out->uint8Array;
        r.head.signature = readBe32(tag.data);
        r.head.reserved = readBe32(tag.data + 4);
        r.count = (tag.size - 8) / Width;  // a remainder is ignored
        Element* v = static_cast<Element*>(quvMalloc(r.count, sizeof(Element)));
        setValues(out, v);
        if (!v) return CLR_FAILURE;
        for (uint32_t i = 0; i < r.count; ++i) v[i] = read(tag.data + 8 + uint64_t{Width} * i);
        return CLR_SUCCESS;
    }

    static ClrStatus encode(const IccTagRecord* in, IccTagRecord* out) {
        const Element* source = values(in);
        if (!source) return CLR_INVALID_PARAMETER;
        out->uint8Array.head.signature = toWire32(Type);
        const uint32_t count = in->uint8Array.count;
        Element* v = static_cast<Element*>(quvMalloc(copied(count), sizeof(Element)));
        if (!v) return CLR_FAILURE;
        for (uint32_t i = 0; i < copied(count); ++i) {
            Element e;
            std::memcpy(&e, source + i, sizeof e);  // the caller's array need not be aligned
            v[i] = toWire(e);
        }
        setValues(out, v);
        out->uint8Array.count = count;  // a native number in either order
        return CLR_SUCCESS;
    }

    static ClrStatus store(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
        const uint32_t count = wire->uint8Array.count;
        // Size and padding follow the count in 32 bits, as the file has them;
        // the writes are what the elements really take.
        const uint32_t size = Width * count + 8;
        const uint64_t writes = 8 + uint64_t{Width} * copied(count);
        uint8_t* at = nullptr;
        const ClrStatus status = reserveTag(profile, tagSig, size, padFor(size), writes, CLR_FAILURE, &at);
        if (status != CLR_SUCCESS) return status;
        writeTagHead(at, Type);
        const Element* v = values(wire);
        for (uint32_t i = 0; i < copied(count); ++i) std::memcpy(at + 8 + uint64_t{Width} * i, v + i, Width);
        return CLR_SUCCESS;
    }

    static void release(IccTagRecord* r) {
        if (Element* v = values(r)) quvFree(v);
        setValues(r, nullptr);
    }

    static constexpr TagCodec codec() { return TagCodec{Type, decode, encode, store, release}; }
};

static_assert(sizeof(IccXYZNumber) == 12);

}  // namespace

const TagCodec kUInt8ArrayCodec = ArrayCodec<ICC_TYPE_UINT8, uint8_t, 1>::codec();
const TagCodec kUInt16ArrayCodec = ArrayCodec<ICC_TYPE_UINT16, uint16_t, 2>::codec();
const TagCodec kUInt32ArrayCodec = ArrayCodec<ICC_TYPE_UINT32, uint32_t, 4>::codec();
const TagCodec kUInt64ArrayCodec = ArrayCodec<ICC_TYPE_UINT64, uint64_t, 8>::codec();
const TagCodec kU16Fixed16ArrayCodec = ArrayCodec<ICC_TYPE_U16F16, uint32_t, 4>::codec();
const TagCodec kS15Fixed16ArrayCodec = ArrayCodec<ICC_TYPE_S15F16, uint32_t, 4>::codec();
const TagCodec kXyzCodec = ArrayCodec<ICC_TYPE_XYZ, IccXYZNumber, 12>::codec();

}  // namespace quv
