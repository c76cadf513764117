// "mAB " and "mBA ": three curve sets (A, M, B), a 3x4 matrix and a CLUT.
// A read keeps every stage twice, once in `block` (in reading order, host
// order) and once in a block of its own; an encoding lays the stages out in
// file order B, matrix, M, CLUT, A. What a Set writes is sized by a walk that
// steps 16 bytes from curve to curve whatever each curve takes, and a size
// pass over the caller's curve records that steps by each curve's size in
// the file: both are the sizes these types have always been written with.
// Where either walk would step off the memory it walks, the library bounds
// it, as the comments below say.
#include "platform/memory.h"
#include "platform/probe.h"
#include "tags/lut_blocks.h"

#include <cstring>

namespace quv {
namespace {

constexpr uint32_t kHeadBytes = 32;
constexpr uint32_t kMatrixBytes = 48;
constexpr uint32_t kCurveRecordBytes = 20;

enum class Kind { AToB, BToA };

struct StageChannels {
    uint32_t a, m, b;
};

StageChannels channelsOf(Kind kind, uint8_t i, uint8_t o) {
    return kind == Kind::AToB ? StageChannels{i, o, o} : StageChannels{o, i, i};
}

// ---- reading ----

// `block` of a record, grown as stages are read.
struct Block {
    IccLutAToBType& r;
    uint64_t length = 0;

    // `n` bytes from `bytes`, or zeros when it is null.
    ClrStatus append(const void* bytes, uint64_t n) {
        if (n == 0) return CLR_SUCCESS;
        if (length + n > SIZE_MAX) return CLR_FAILURE;
        auto* grown = static_cast<uint8_t*>(quvRealloc(r.block, static_cast<size_t>(length + n)));
        if (!grown) return CLR_FAILURE;
        r.block = grown;
        if (bytes) {
            std::memcpy(grown + length, bytes, static_cast<size_t>(n));
        } else {
            std::memset(grown + length, 0, static_cast<size_t>(n));
        }
        length += n;
        return CLR_SUCCESS;
    }
};

// One curve element at `source` into `block` as a 12-byte host-order head
// and its data, rounded up to four bytes; `*size` is what it takes in the
// file. The rounding bytes behind a "curv"'s points are zero.
ClrStatus readCurve(Block& block, TagCursor source, uint32_t* size) {
    TagCursor peek = source;
    uint8_t head[12];
    const void* data = nullptr;
    uint64_t dataBytes = 0;
    void* array = nullptr;
    ClrStatus status;
    if (peek.be32() == ICC_TYPE_PARAMETRIC_CURVE) {
        IccParametricCurveType c{};
        status = decodeParametricElement(source, &c);
        data = array = c.parameters;
        dataBytes = 4 * uint64_t{parametricParameterCount(c.function)};
        *size = 8 + parametricDataSize(c.function);
        std::memcpy(head, &c, 12);
    } else {
        IccCurveType c{};
        status = decodeCurveElement(source, &c);
        data = array = c.points;
        dataBytes = static_cast<int32_t>(c.count) < 1 ? 0 : 2 * uint64_t{c.count};
        *size = 8 + roundUp4(curveDataSize(c.count));
        std::memcpy(head, &c, 12);
    }
    // A curve that can't be read ends the set with its status; the position
    // behind it would be no position at all.
    if (status == CLR_SUCCESS) status = block.append(head, 12);
    if (status == CLR_SUCCESS) status = block.append(data, dataBytes);
    if (status == CLR_SUCCESS && *size > 12 + dataBytes) status = block.append(nullptr, *size - 12 - dataBytes);
    if (array) quvFree(array);
    return status;
}

// `count` curves from `offset` in the tag onto `block`; the run they make is
// copied into a block of eight times its length, the stage's own.
ClrStatus readCurveSet(Block& block, const TagBytes& tag, uint32_t offset, uint32_t count, void** stage) {
    const uint64_t start = block.length;
    uint64_t at = offset;
    for (uint32_t k = 0; k < count; ++k) {
        uint32_t size = 0;
        const ClrStatus status = readCurve(block, TagCursor(tag).at(at), &size);
        if (status != CLR_SUCCESS) return status;
        at += size;
    }
    const uint64_t run = block.length - start;
    auto* copy = static_cast<uint8_t*>(quvCalloc(static_cast<size_t>(run), 8));
    if (!copy) return CLR_FAILURE;
    if (run) std::memcpy(copy, block.r.block + start, static_cast<size_t>(run));
    *stage = copy;
    return CLR_SUCCESS;
}

ClrStatus readMatrix(Block& block, const TagBytes& tag) {
    IccLutAToBType& r = block.r;
    TagCursor c = TagCursor(tag).at(r.offsetMatrix);
    for (uint32_t& m : r.matrix) m = c.be32();
    if (!c.ok()) return c.status();
    return block.append(r.matrix, kMatrixBytes);
}

ClrStatus readClut(Block& block, const TagBytes& tag) {
    IccLutAToBType& r = block.r;
    uint8_t* flat = nullptr;
    uint32_t size = 0;
    const ClrStatus status =
        readClutBlock(TagCursor(tag).at(r.offsetClut), r.inputChannels, r.outputChannels, &flat, &size);
    r.clut = flat;
    if (status != CLR_SUCCESS) return status;
    return block.append(flat, size);
}

template <Kind K>
ClrStatus decodeLut(const TagBytes& tag, IccTagRecord* out) {
    IccLutAToBType& r = out->lutAToB;
    std::memset(&r, 0, sizeof r);
    TagCursor c(tag);
    r.head.signature = c.be32();
    r.head.reserved = c.be32();
    r.inputChannels = c.u8();
    r.outputChannels = c.u8();
    r.pad = c.be16();
    r.offsetB = c.be32();
    r.offsetMatrix = c.be32();
    r.offsetM = c.be32();
    r.offsetClut = c.be32();
    r.offsetA = c.be32();
    if (!c.ok()) return c.status();
    const StageChannels ch = channelsOf(K, r.inputChannels, r.outputChannels);
    Block block{r};
    ClrStatus status = CLR_SUCCESS;
    auto then = [&](bool present, auto read) {
        if (status == CLR_SUCCESS && present) status = read();
    };
    auto matrixAndM = [&] {
        then(r.offsetMatrix != 0, [&] { return readMatrix(block, tag); });
        then(r.offsetMatrix != 0 && r.offsetM != 0,
             [&] { return readCurveSet(block, tag, r.offsetM, ch.m, &r.curvesM); });
    };
    auto clutAndA = [&] {
        then(true, [&] { return readClut(block, tag); });
        then(r.offsetA != 0, [&] { return readCurveSet(block, tag, r.offsetA, ch.a, &r.curvesA); });
    };
    if constexpr (K == Kind::AToB) {
        // CLUT, A, matrix, M, B; the B curves are required, and tested last.
        if (r.offsetClut != 0) {
            clutAndA();
        } else if (r.inputChannels != r.outputChannels) {
            return CLR_INVALID_TAG_DATA;
        }
        matrixAndM();
        if (status != CLR_SUCCESS) return status;
        if (r.offsetB == 0) return CLR_INVALID_TAG_DATA;
        return readCurveSet(block, tag, r.offsetB, ch.b, &r.curvesB);
    } else {
        // B, matrix, M, CLUT, A.
        if (r.offsetB == 0) return CLR_INVALID_TAG_DATA;
        status = readCurveSet(block, tag, r.offsetB, ch.b, &r.curvesB);
        matrixAndM();
        if (r.offsetClut != 0) clutAndA();
        return status;
    }
}

// ---- encoding ----

// The size pass over a caller's array of `count` curve records: each
// curve's signature and the word at its byte 8, stepping by the curve's size
// in the file rather than by the 20 bytes of a record, so that from the
// second curve on it reads whatever its steps land on. A step that lands
// where the array has no 12 bytes is refused as a bad parameter.
ClrStatus reckonCurveSet(const void* curves, uint32_t count, uint64_t* size) {
    const uint64_t arrayBytes = uint64_t{kCurveRecordBytes} * count;
    if (!MemoryProbe().readable(curves, static_cast<size_t>(arrayBytes))) return CLR_INVALID_PARAMETER;
    const auto* p = static_cast<const uint8_t*>(curves);
    uint64_t at = 0;
    *size = 0;
    for (uint32_t k = 0; k < count; ++k) {
        if (at + 12 > arrayBytes) return CLR_INVALID_PARAMETER;
        uint32_t signature, word;
        uint16_t function;
        std::memcpy(&signature, p + at, 4);
        std::memcpy(&word, p + at + 8, 4);
        std::memcpy(&function, p + at + 8, 2);
        const uint32_t data =
            signature == ICC_TYPE_PARAMETRIC_CURVE ? parametricDataSize(function) : curveDataSize(word);
        const uint64_t step = 8 + uint64_t{roundUp4(data)};
        *size += step;
        at += step;
    }
    return CLR_SUCCESS;
}

// A set of caller's curve records into `buffer` of `capacity` bytes (the
// size pass's reckoning), each element on a four-byte boundary. A "para"
// takes its head, and its parameters only when its function read from the
// file-order record is 0, as it is only for function 0: the parameters of
// functions 1 to 4 stay zero. A set whose true size is more than was
// reckoned is refused rather than written past its room.
ClrStatus encodeCurveSet(uint8_t* buffer, uint64_t capacity, const void* curves, uint32_t count) {
    if (!buffer || !curves || count == 0) return CLR_INVALID_PARAMETER;
    const auto* records = static_cast<const uint8_t*>(curves);
    uint64_t at = 0;
    for (uint32_t k = 0; k < count; ++k) {
        const uint8_t* record = records + uint64_t{kCurveRecordBytes} * k;
        uint32_t signature;
        std::memcpy(&signature, record, 4);
        ClrStatus status;
        if (signature == ICC_TYPE_PARAMETRIC_CURVE) {
            IccParametricCurveType in, wire{};
            std::memcpy(&in, record, sizeof in);
            const uint32_t size = in.function <= 4 ? 8 + parametricDataSize(in.function) : 12;
            status = encodeParametricElement(&in, &wire);
            if (status == CLR_SUCCESS && at + size > capacity) status = CLR_INVALID_PARAMETER;
            if (status == CLR_SUCCESS) {
                std::memcpy(buffer + at, &wire, 12);
                if (wire.function == 0) std::memcpy(buffer + at + 12, wire.parameters, 4);
                at += size;
            }
            wire.parameters = released(wire.parameters);
        } else {
            IccCurveType in, wire{};
            std::memcpy(&in, record, sizeof in);
            const uint32_t size = roundUp4(in.count == 1 ? 13 : 2 * in.count + 12);
            const uint64_t points = static_cast<int32_t>(in.count) < 1 ? 0 : 2 * uint64_t{in.count};
            status = encodeCurveElement(&in, &wire);
            if (status == CLR_SUCCESS && (at + size > capacity || 12 + points > size)) status = CLR_INVALID_PARAMETER;
            if (status == CLR_SUCCESS) {
                std::memcpy(buffer + at, &wire, 12);
                if (points) std::memcpy(buffer + at + 12, wire.points, static_cast<size_t>(points));
                at += size;
            }
            wire.points = released(wire.points);
        }
        if (status != CLR_SUCCESS) return status;
    }
    return CLR_SUCCESS;
}

// The sizes of the stages as an encoding lays them out.
struct Layout {
    uint64_t b, m, clut, a;
    uint64_t block() const { return b + kMatrixBytes + m + clut + a; }
};

template <Kind K>
ClrStatus layoutOf(const IccLutAToBType& in, Layout* l) {
    if (!in.curvesB || !in.curvesM || !in.clut || !in.curvesA) return CLR_INVALID_PARAMETER;
    // An IccClut holds 16 grid bytes; more inputs would be read past it.
    if (in.inputChannels > 16) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    const auto* clut = static_cast<const IccClut*>(in.clut);
    if (!probe.readable(clut, sizeof *clut)) return CLR_INVALID_PARAMETER;
    const uint32_t nodes = clutNodes(clut->grid, in.inputChannels);
    l->clut = clutBlockSize(nodes, clut->precision, in.outputChannels);
    // The values the CLUT record must hold, swapped and copied by the encoding.
    const uint64_t exact = clutExactBytes(nodes, clut->precision, in.outputChannels, l->clut - kClutHeadBytes);
    if (!probe.readable(clut->data, static_cast<size_t>(exact))) return CLR_INVALID_PARAMETER;
    const StageChannels ch = channelsOf(K, in.inputChannels, in.outputChannels);
    ClrStatus status = reckonCurveSet(in.curvesB, ch.b, &l->b);
    if (status == CLR_SUCCESS) status = reckonCurveSet(in.curvesM, ch.m, &l->m);
    if (status == CLR_SUCCESS) status = reckonCurveSet(in.curvesA, ch.a, &l->a);
    if (status != CLR_SUCCESS) return status;
    // Offsets are 32-bit: a layout they can't address is refused.
    return l->block() + 2 * kHeadBytes <= UINT32_MAX ? CLR_SUCCESS : CLR_INVALID_PARAMETER;
}

uint8_t* duplicate(const uint8_t* bytes, uint64_t n) {
    auto* copy = static_cast<uint8_t*>(quvMalloc(static_cast<size_t>(n), 1));
    if (copy && n) std::memcpy(copy, bytes, static_cast<size_t>(n));
    return copy;
}

template <uint32_t Type, Kind K>
ClrStatus encodeLut(const IccTagRecord* inRecord, IccTagRecord* out) {
    // The caller's matrix and 16-bit CLUT values are swapped to file order
    // in place: an encoding of these types changes its input.
    auto& in = const_cast<IccLutAToBType&>(inRecord->lutAToB);
    Layout l{};
    const ClrStatus status = layoutOf<K>(in, &l);
    if (status != CLR_SUCCESS) return status;
    const StageChannels ch = channelsOf(K, in.inputChannels, in.outputChannels);

    IccLutAToBType& r = out->lutAToB;
    std::memset(&r, 0, sizeof r);
    r.head.signature = toWire32(Type);
    r.inputChannels = in.inputChannels;
    r.outputChannels = in.outputChannels;
    r.block = static_cast<uint8_t*>(quvCalloc(static_cast<size_t>(l.block()), 1));
    if (!r.block) return CLR_FAILURE;
    uint8_t* const block = r.block;
    const uint64_t atMatrix = l.b, atM = l.b + kMatrixBytes, atClut = atM + l.m, atA = atClut + l.clut;

    ClrStatus s = encodeCurveSet(block, l.b, in.curvesB, ch.b);
    if (s != CLR_SUCCESS) return s;
    r.offsetB = toWire32(kHeadBytes);
    for (uint32_t& m : in.matrix) m = toWire32(m);
    std::memcpy(block + atMatrix, in.matrix, kMatrixBytes);
    r.offsetMatrix = toWire32(static_cast<uint32_t>(kHeadBytes + atMatrix));
    s = encodeCurveSet(block + atM, l.m, in.curvesM, ch.m);
    if (s != CLR_SUCCESS) return s;
    r.offsetM = toWire32(static_cast<uint32_t>(kHeadBytes + atM));
    encodeIccClut(block + atClut, static_cast<IccClut*>(in.clut), in.inputChannels, in.outputChannels);
    r.offsetClut = toWire32(static_cast<uint32_t>(kHeadBytes + atClut));
    s = encodeCurveSet(block + atA, l.a, in.curvesA, ch.a);
    if (s != CLR_SUCCESS) return s;
    r.offsetA = toWire32(static_cast<uint32_t>(kHeadBytes + atA));

    std::memcpy(r.matrix, in.matrix, kMatrixBytes);
    if (!(r.curvesB = duplicate(block, l.b))) return CLR_FAILURE;
    if (!(r.curvesM = duplicate(block + atM, l.m))) return CLR_FAILURE;
    if (!(r.clut = duplicate(block + atClut, l.clut))) return CLR_FAILURE;
    if (!(r.curvesA = duplicate(block + atA, l.a))) return CLR_FAILURE;
    return CLR_SUCCESS;
}

// ---- writing ----

// The size walk over a file-order `block` of `length` bytes: bytes behind
// the block read as zero, so a walk that steps off it measures zeros (a
// "curv" of no points) instead of reading on.
struct SizeWalk {
    const uint8_t* block;
    uint64_t length;
    uint8_t at(uint64_t k) const { return k < length ? block[k] : 0; }
    uint32_t be32(uint64_t k) const {
        return (uint32_t{at(k)} << 24) | (uint32_t{at(k + 1)} << 16) | (uint32_t{at(k + 2)} << 8) | at(k + 3);
    }
    // `count` curves from `pos`, each taken 16 bytes after the last whatever
    // its size; a "para" function is read natively.
    uint32_t curveSet(uint64_t pos, uint32_t count) const {
        uint32_t total = 0;
        for (uint32_t k = 0; k < count; ++k, pos += 16) {
            const uint32_t data = be32(pos) == ICC_TYPE_PARAMETRIC_CURVE
                                      ? parametricDataSize(at(pos + 8) | (at(pos + 9) << 8))
                                      : curveDataSize(be32(pos + 8));
            total += 8 + roundUp4(data);
        }
        return total;
    }
};

template <Kind K>
ClrStatus storeLut(IccProfile* profile, uint32_t tagSig, const IccTagRecord* in, const IccTagRecord* wire) {
    const IccLutAToBType& r = wire->lutAToB;
    Layout l{};
    const ClrStatus laid = layoutOf<K>(in->lutAToB, &l);  // the block's length, as the encoding made it
    if (laid != CLR_SUCCESS) return laid;
    const SizeWalk walk{r.block, l.block()};
    const StageChannels ch = channelsOf(K, r.inputChannels, r.outputChannels);
    auto place = [](uint32_t wireOffset) { return uint64_t{toWire32(wireOffset)} - kHeadBytes; };
    uint32_t size = 0;
    if (r.offsetA) size += walk.curveSet(place(r.offsetA), ch.a);
    if (r.offsetM) size += walk.curveSet(place(r.offsetM), ch.m);
    if (r.offsetB) size += walk.curveSet(place(r.offsetB), ch.b);
    if (r.offsetClut) {
        const uint64_t c = place(r.offsetClut);
        uint8_t grid[17];
        for (uint32_t k = 0; k < 17; ++k) grid[k] = walk.at(c + k);
        size += clutBlockSize(clutNodes(grid, r.inputChannels), grid[16], r.outputChannels);
    }
    size += r.offsetMatrix ? 72 : 24;
    if (size < 24) return CLR_INVALID_PARAMETER;  // wrapped past 32 bits
    // The element is head and size - 24 bytes of block; what the walk counts
    // beyond the block is written as zero.
    const uint64_t copied = size - 24 < l.block() ? size - 24 : l.block();
    uint8_t* at = nullptr;
    const ClrStatus status = reserveTag(profile, tagSig, size + 8, padFor(size), kHeadBytes + copied, CLR_FAILURE, &at);
    if (status != CLR_SUCCESS) return status;
    std::memcpy(at, &r, kHeadBytes);
    if (copied) std::memcpy(at + kHeadBytes, r.block, static_cast<size_t>(copied));
    return CLR_SUCCESS;
}

void releaseLut(IccTagRecord* record) {
    IccLutAToBType& r = record->lutAToB;
    r.block = released(r.block);
    r.clut = released(r.clut);
    r.curvesA = released(r.curvesA);
    r.curvesB = released(r.curvesB);
    r.curvesM = released(r.curvesM);
}

}  // namespace

const TagCodec kLutAToBCodec{ICC_TYPE_LUT_A_TO_B, decodeLut<Kind::AToB>, encodeLut<ICC_TYPE_LUT_A_TO_B, Kind::AToB>,
                             storeLut<Kind::AToB>, releaseLut};
const TagCodec kLutBToACodec{ICC_TYPE_LUT_B_TO_A, decodeLut<Kind::BToA>, encodeLut<ICC_TYPE_LUT_B_TO_A, Kind::BToA>,
                             storeLut<Kind::BToA>, releaseLut};

}  // namespace quv
