// "mft2" and "mft1": a matrix, input tables, a CLUT and output tables. "mft2"
// has the ICC layout. "mft1" has its own: the two entry counts stand at bytes
// 48 and 50 in host byte order and the tables follow from byte 52, so its
// tables are not fixed at 256 entries. An "mft1" of the ICC layout is read
// with its first four table bytes taken as the counts.
#include "platform/memory.h"
#include "platform/probe.h"
#include "tags/codec.h"

#include <cstring>

namespace quv {
namespace {

// trunc(g^i) as a double power cut to a 32-bit integer: exact below 2^31,
// and a power beyond the integer's range gives 0x80000000, as such a
// conversion does.
uint32_t gridNodes(uint8_t g, uint8_t i) {
    uint64_t nodes = 1;
    for (uint8_t k = 0; k < i; ++k) {
        nodes *= g;
        if (nodes > 0x7FFFFFFF) return 0x80000000u;
    }
    return static_cast<uint32_t>(nodes);
}

// The three table lengths in elements, 32-bit as the file's counts make them.
struct LutShape {
    uint32_t input, clut, output;
    static LutShape of(uint8_t i, uint8_t o, uint8_t g, uint16_t n, uint16_t m) {
        return {uint32_t{n} * i, gridNodes(g, i) * o, uint32_t{m} * o};
    }
};

template <uint32_t Type, class Element>
struct LutCodec {
    static constexpr bool kWide = sizeof(Element) == 2;
    // Both records share one layout; only the element width differs.
    using Record = IccLut16Type;
    static Record& rec(IccTagRecord* r) { return r->lut16; }
    static const Record& rec(const IccTagRecord* r) { return r->lut16; }

    static uint16_t readCount(TagCursor& c) { return kWide ? c.be16() : c.host16(); }

    // One table of `count` elements from the cursor. Elements the data image
    // can't hold are refused before their block is allocated.
    static ClrStatus readTable(TagCursor& c, uint32_t count, uint16_t** out) {
        *out = nullptr;
        if (!c.holds(uint64_t{count} * sizeof(Element))) return CLR_INVALID_TAG_DATA;
        auto* t = static_cast<Element*>(quvMalloc(count, sizeof(Element)));
        *out = reinterpret_cast<uint16_t*>(t);
        if (!t) return CLR_FAILURE;
        for (uint32_t k = 0; k < count; ++k) {
            const Element v = kWide ? static_cast<Element>(c.be16()) : static_cast<Element>(c.u8());
            std::memcpy(t + k, &v, sizeof v);
        }
        return c.status();
    }

    static ClrStatus decode(const TagBytes& tag, IccTagRecord* out) {
        Record& r = rec(out);
        TagCursor c(tag);
        r.head.signature = c.be32();
        r.head.reserved = c.be32();
        r.inputChannels = c.u8();
        r.outputChannels = c.u8();
        r.gridPoints = c.u8();
        r.pad = c.u8();
        for (uint32_t& m : r.matrix) m = c.be32();
        r.inputEntries = readCount(c);
        r.outputEntries = readCount(c);
        if (!c.ok()) return c.status();
        const LutShape s = LutShape::of(r.inputChannels, r.outputChannels, r.gridPoints, r.inputEntries,
                                        r.outputEntries);
        uint16_t* table = nullptr;
        ClrStatus status = readTable(c, s.input, &table);
        r.inputTables = table;
        if (status != CLR_SUCCESS) return status;
        status = readTable(c, s.clut, &table);
        r.clut = table;
        if (status != CLR_SUCCESS) return status;
        status = readTable(c, s.output, &table);
        r.outputTables = table;
        return status;
    }

    // A copy of a caller's table in file order. The caller's array has no
    // length of its own: one that isn't readable memory for its count is
    // refused as a bad parameter before anything is allocated.
    static ClrStatus copyTable(const uint16_t* source, uint32_t count, uint16_t** out) {
        *out = nullptr;
        MemoryProbe probe;
        if (!probe.readable(source, size_t{count} * sizeof(Element))) return CLR_INVALID_PARAMETER;
        auto* t = static_cast<Element*>(quvMalloc(count, sizeof(Element)));
        *out = reinterpret_cast<uint16_t*>(t);
        if (!t) return CLR_FAILURE;
        std::memcpy(t, source, size_t{count} * sizeof(Element));
        if constexpr (kWide)
            for (uint32_t k = 0; k < count; ++k) t[k] = toWire16(t[k]);
        return CLR_SUCCESS;
    }

    static ClrStatus encode(const IccTagRecord* in, IccTagRecord* out) {
        const Record& a = rec(in);
        if (!a.inputTables || !a.clut || !a.outputTables) return CLR_INVALID_PARAMETER;
        uint32_t matrix[9];  // a private copy: the caller's record is only read
        std::memcpy(matrix, a.matrix, sizeof matrix);
        Record& r = rec(out);
        std::memset(&r, 0, sizeof r);
        r.head.signature = toWire32(Type);
        for (int k = 0; k < 9; ++k) r.matrix[k] = toWire32(matrix[k]);
        r.inputChannels = a.inputChannels;
        r.outputChannels = a.outputChannels;
        r.gridPoints = a.gridPoints;
        r.inputEntries = kWide ? toWire16(a.inputEntries) : a.inputEntries;
        r.outputEntries = kWide ? toWire16(a.outputEntries) : a.outputEntries;
        const LutShape s =
            LutShape::of(a.inputChannels, a.outputChannels, a.gridPoints, a.inputEntries, a.outputEntries);
        uint16_t* table = nullptr;
        ClrStatus status = copyTable(a.inputTables, s.input, &table);
        r.inputTables = table;
        if (status != CLR_SUCCESS) return status;
        status = copyTable(a.clut, s.clut, &table);
        r.clut = table;
        if (status != CLR_SUCCESS) return status;
        status = copyTable(a.outputTables, s.output, &table);
        r.outputTables = table;
        return status;
    }

    static ClrStatus store(IccProfile* profile, uint32_t tagSig, const IccTagRecord*, const IccTagRecord* wire) {
        const Record& r = rec(wire);
        const uint16_t n = kWide ? toWire16(r.inputEntries) : r.inputEntries;
        const uint16_t m = kWide ? toWire16(r.outputEntries) : r.outputEntries;
        const uint8_t i = r.inputChannels, o = r.outputChannels;
        const uint32_t nodes = gridNodes(r.gridPoints, i);
        const uint32_t size = kWide ? ((nodes + m) * o + uint32_t{i} * n) * 2 + 52
                                    : uint32_t{n} * i + 52 + (nodes + m) * o;
        const LutShape s = LutShape::of(i, o, r.gridPoints, n, m);
        const uint64_t writes = 52 + (uint64_t{s.input} + s.clut + s.output) * sizeof(Element);
        uint8_t* at = nullptr;
        const ClrStatus status = reserveTag(profile, tagSig, size, padFor(size), writes, CLR_FAILURE, &at);
        if (status != CLR_SUCCESS) return status;
        std::memcpy(at, &r, 48);
        std::memcpy(at + 48, &r.inputEntries, 2);
        std::memcpy(at + 50, &r.outputEntries, 2);
        uint8_t* p = at + 52;
        const uint16_t* const tables[3] = {r.inputTables, r.clut, r.outputTables};  // copied out of the packed record
        const uint32_t counts[3] = {s.input, s.clut, s.output};
        for (int k = 0; k < 3; ++k) {
            std::memcpy(p, tables[k], size_t{counts[k]} * sizeof(Element));
            p += size_t{counts[k]} * sizeof(Element);
        }
        return CLR_SUCCESS;
    }

    static void release(IccTagRecord* record) {
        Record& r = rec(record);
        r.inputTables = released(r.inputTables);
        r.outputTables = released(r.outputTables);
        r.clut = released(r.clut);
    }

    static constexpr TagCodec codec() { return TagCodec{Type, decode, encode, store, release}; }
};

static_assert(sizeof(IccLut8Type) == sizeof(IccLut16Type) && offsetof(IccLut8Type, clut) == offsetof(IccLut16Type, clut));

}  // namespace

const TagCodec kLut16Codec = LutCodec<ICC_TYPE_LUT16, uint16_t>::codec();
const TagCodec kLut8Codec = LutCodec<ICC_TYPE_LUT8, uint8_t>::codec();

}  // namespace quv
