// CLUT blocks and curve buffers: the size rule of a CLUT block, and the
// exports that turn CLUT and curve records into the flat blocks in which they
// stand in a table. The buffers these take have no length of their own; what
// a call would read or write is proved to be mapped memory first, and a
// request that isn't is refused as a bad parameter.
#include "platform/memory.h"
#include "platform/probe.h"
#include "tags/lut_blocks.h"

#include <cstring>

namespace quv {

namespace {

constexpr uint32_t kParameters[] = {1, 3, 4, 5, 7};

// Bytes of parameters, by function.
uint32_t parameterBytes(uint32_t function) { return 4 * parametricParameterCount(function); }

}  // namespace

uint32_t parametricParameterCount(uint32_t function) { return function <= 4 ? kParameters[function] : 0; }

uint32_t parametricDataSize(uint32_t function) { return function <= 4 ? 4 + parameterBytes(function) : 4; }

uint32_t clutNodes(const uint8_t* grid, int32_t in) {
    uint32_t nodes = 1;
    for (int32_t i = 0; i < in; ++i) nodes *= grid[i];
    return nodes;
}

uint32_t clutBlockSize(uint32_t nodes, uint8_t precision, uint32_t out) {
    uint32_t size = nodes * precision * out + kClutHeadBytes;
    const int32_t remainder = static_cast<int32_t>(size) % 4;
    if (remainder != 0) size += static_cast<uint32_t>(4 - remainder);
    return size;
}

uint64_t clutExactBytes(uint32_t nodes, uint8_t precision, uint32_t out, uint64_t rounded) {
    const unsigned __int128 exact = static_cast<unsigned __int128>(nodes) * precision * out;
    return exact < rounded ? static_cast<uint64_t>(exact) : rounded;
}

ClrStatus encodeIccClut(uint8_t* buffer, IccClut* record, int32_t in, uint32_t out) {
    const uint32_t nodes = clutNodes(record->grid, in);
    const uint32_t count = clutBlockSize(nodes, record->precision, out) - kClutHeadBytes;
    // The caller's array holds the exact values; the rounding slack behind
    // them is not the caller's memory and is neither swapped nor copied.
    const uint64_t exact = clutExactBytes(nodes, record->precision, out, count);
    if (record->precision != 1) {
        for (uint64_t i = 0; i + 2 <= exact && i + 2 <= count; i += 2) {
            uint16_t v;
            std::memcpy(&v, record->data + i, 2);
            v = toWire16(v);
            std::memcpy(record->data + i, &v, 2);
        }
    }
    if (!buffer || (record->precision != 1 && record->precision != 2)) return CLR_SUCCESS;
    std::memcpy(buffer, record, kClutHeadBytes);
    if (exact) std::memcpy(buffer + kClutHeadBytes, record->data, static_cast<size_t>(exact));
    std::memset(buffer + kClutHeadBytes + exact, 0, static_cast<size_t>(count - exact));
    return CLR_SUCCESS;
}

ClrStatus readClutBlock(TagCursor c, int32_t in, uint32_t out, uint8_t** flat, uint32_t* size) {
    *flat = nullptr;
    // The grid is `in` bytes: past 16 it runs on into precision, padding and
    // values, as the bytes stand.
    uint8_t head[256] = {};
    const uint32_t headBytes = in > static_cast<int32_t>(kClutHeadBytes) ? static_cast<uint32_t>(in) : kClutHeadBytes;
    TagCursor grid = c;
    grid.copy(head, headBytes);
    if (!grid.ok()) return grid.status();
    c.skip(kClutHeadBytes);
    const uint32_t nodes = clutNodes(head, in);
    const uint8_t precision = head[16];
    *size = clutBlockSize(nodes, precision, out);
    const uint64_t exact = clutExactBytes(nodes, precision, out, *size - kClutHeadBytes);
    if (!c.holds(exact)) return CLR_INVALID_TAG_DATA;
    auto* block = static_cast<uint8_t*>(quvCalloc(*size, 1));
    if (!block) return CLR_FAILURE;
    *flat = block;
    if (precision != 1 && precision != 2) return CLR_SUCCESS;
    std::memcpy(block, head, 17);
    block[17] = head[19];
    block[18] = head[18];
    block[19] = head[17];
    c.copy(block + kClutHeadBytes, exact);
    if (precision == 2) {
        for (uint64_t i = 0; i + 2 <= exact; i += 2) {
            const uint16_t v = readBe16(block + kClutHeadBytes + i);
            std::memcpy(block + kClutHeadBytes + i, &v, 2);
        }
    }
    return c.status();
}

}  // namespace quv

using namespace quv;

// Without a grid to read there is no size: an unreadable block gives 0.
extern "C" QUV_API uint32_t Quv_ClrIntGetCLUTSize(const void* clut, int32_t in, uint32_t out) {
    MemoryProbe probe;
    const size_t head = in > 16 ? static_cast<size_t>(in) : 17;
    if (!probe.readable(clut, head)) return 0;
    const auto* p = static_cast<const uint8_t*>(clut);
    return clutBlockSize(clutNodes(p, in), p[16], out);
}

extern "C" QUV_API ClrStatus Quv_ConvertCLUTToBuffer(void* buffer, const IccClut* record, uint32_t precision,
                                                     uint64_t size) {
    if (!buffer || !record || (precision != 1 && precision != 2)) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (size > SIZE_MAX - kClutHeadBytes || !probe.writable(buffer, static_cast<size_t>(size) + kClutHeadBytes) ||
        !probe.readable(record->data, static_cast<size_t>(size)))
        return CLR_INVALID_PARAMETER;
    auto* b = static_cast<uint8_t*>(buffer);
    std::memcpy(b, record, kClutHeadBytes);  // the record's precision, not the argument
    if (size) std::memcpy(b + kClutHeadBytes, record->data, static_cast<size_t>(size));
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ClrIntGetCLUTBuffer(void* buffer, const void* source, int32_t in, uint32_t out,
                                                     IccClut* record) {
    if (!source) return CLR_INVALID_PARAMETER;
    const auto* s = static_cast<const uint8_t*>(source);
    MemoryProbe probe;
    const size_t grid = in > 16 ? static_cast<size_t>(in) : 17;
    if (!probe.readable(s, grid)) return CLR_INVALID_PARAMETER;
    const uint32_t nodes = clutNodes(s, in);
    const uint8_t precision = s[16];
    const uint32_t values = clutBlockSize(nodes, precision, out) - kClutHeadBytes;
    // The values copied are those the table holds; the up to three rounding
    // bytes behind them are left zero rather than read from past the block.
    const uint64_t exact = clutExactBytes(nodes, precision, out, values);
    if (!probe.readable(s, static_cast<size_t>(kClutHeadBytes + exact))) return CLR_INVALID_PARAMETER;

    IccClut local{};
    IccClut* r = record ? record : &local;
    r->data = nullptr;
    std::memcpy(r->grid, s, 17);
    r->pad[0] = s[19];
    r->pad[1] = s[18];
    r->pad[2] = s[17];
    const uint32_t units = precision == 1 ? values : values / 2;
    const size_t unitBytes = precision == 1 ? 1 : 2;
    auto* data = static_cast<uint8_t*>(quvCalloc(units, unitBytes));
    if (!data) return CLR_FAILURE;
    const uint64_t copiedBytes = exact < uint64_t{units} * unitBytes ? exact : uint64_t{units} * unitBytes;
    std::memcpy(data, s + kClutHeadBytes, static_cast<size_t>(copiedBytes));
    if (precision != 1 && buffer) {
        // Native numbers when a buffer is given; the record alone keeps
        // the file's byte order.
        for (uint64_t i = 0; i + 2 <= copiedBytes; i += 2) {
            const uint16_t v = readBe16(data + i);
            std::memcpy(data + i, &v, 2);
        }
    }
    r->data = data;
    if (buffer) Quv_ConvertCLUTToBuffer(buffer, r, precision, uint64_t{units} * unitBytes);
    if (!record) quvFree(data);
    return CLR_SUCCESS;
}

extern "C" QUV_API void Quv_ClrIntFreeCLUT(IccClut* record) {
    if (record && record->data) quvFree(record->data);
}

extern "C" QUV_API ClrStatus Quv_ConvertCurveTypeToBuffer(void* buffer, const IccCurveType* curve) {
    if (!buffer || !curve) return CLR_INVALID_PARAMETER;
    const uint32_t count = countOf(curve->head.signature, ICC_TYPE_CURVE, curve->count);
    const uint32_t doubled = 2 * count;
    const size_t bytes = static_cast<int32_t>(doubled) < 1 ? 0 : doubled;
    MemoryProbe probe;
    if (!probe.writable(buffer, 12 + bytes) || !probe.readable(curve->points, bytes)) return CLR_INVALID_PARAMETER;
    auto* b = static_cast<uint8_t*>(buffer);
    std::memcpy(b, curve, 12);
    if (bytes) std::memcpy(b + 12, curve->points, bytes);
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ConvertParametricCurveTypeToBuffer(void* buffer, const IccParametricCurveType* curve) {
    if (!buffer || !curve) return CLR_INVALID_PARAMETER;
    // The function is read natively whatever the record's order.
    const size_t bytes = parameterBytes(curve->function);
    MemoryProbe probe;
    if (!probe.writable(buffer, 12 + bytes) || !probe.readable(curve->parameters, bytes))
        return CLR_INVALID_PARAMETER;
    auto* b = static_cast<uint8_t*>(buffer);
    std::memcpy(b, curve, 12);
    if (bytes) std::memcpy(b + 12, curve->parameters, bytes);
    return CLR_SUCCESS;
}

// A walk whose next element is not readable memory ends the measure: the
// run is not there, and the result is 0.
extern "C" QUV_API uint32_t Quv_ClrIntGetLutCurveSize(const void* curves, uint32_t count, int32_t wire,
                                                      int32_t fixedStride) {
    if (!curves || count == 0) return 0;
    MemoryProbe probe;
    auto address = reinterpret_cast<uintptr_t>(curves);
    uint32_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const auto* p = reinterpret_cast<const uint8_t*>(address);
        if (!probe.readable(p, 12)) return 0;
        uint32_t signature, word;
        std::memcpy(&signature, p, 4);
        std::memcpy(&word, p + 8, 4);
        if (wire == 1) {
            signature = readBe32(p);
            word = readBe32(p + 8);
        }
        uint32_t data;
        if (signature == ICC_TYPE_PARAMETRIC_CURVE) {
            uint16_t function;
            std::memcpy(&function, p + 8, 2);  // native even in file order
            data = parametricDataSize(function);
        } else {
            data = curveDataSize(word);
        }
        total += 8 + roundUp4(data);
        // Elements of a run stand on four-byte boundaries.
        address += fixedStride ? 16 : 8 + uintptr_t{roundUp4(data)};
    }
    return total;
}
