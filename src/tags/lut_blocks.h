// The pieces lookup tables are made of: CLUT blocks and curve elements, with
// the size rules every table type repeats. The curve codecs and the
// multi-stage table codecs share them.
#pragma once

#include "tags/codec.h"

#include <cstdint>

namespace quv {

constexpr uint32_t kClutHeadBytes = 20;

inline uint32_t roundUp4(uint32_t n) { return (n + 3) & ~3u; }

// Parameters of a "para" function, 0 for a function above 4.
uint32_t parametricParameterCount(uint32_t function);
// Bytes behind the first 8 of a "para" element: 8, 16, 20, 24, 32 for
// functions 0 to 4, else 4.
uint32_t parametricDataSize(uint32_t function);
// Bytes behind the first 8 of a "curv" element: 5 for one point (one short of
// what it takes), else 2 * count + 4, in 32 bits.
inline uint32_t curveDataSize(uint32_t count) { return count == 1 ? 5 : 2 * count + 4; }

// Grid nodes over the first `in` grid bytes, 32-bit wrapping; 1 for `in`
// below 1.
uint32_t clutNodes(const uint8_t* grid, int32_t in);
// Size of a CLUT block, head included: nodes * precision * out + 20 in 32
// bits, rounded up to 4 by a remainder taken as signed, so a size of 2^31 or
// more grows by 5 to 7.
uint32_t clutBlockSize(uint32_t nodes, uint8_t precision, uint32_t out);
// Value bytes a table of that shape really holds, at most `rounded`: the
// copies move only these and leave the rounding bytes zero.
uint64_t clutExactBytes(uint32_t nodes, uint8_t precision, uint32_t out, uint64_t rounded);

// A caller's CLUT record into a block: its 16-bit values are swapped to
// big-endian in place (the caller's array stays changed), then head and
// values go to `buffer` unless it is null. `in` above 16 channels is refused
// by the callers, since the record holds only 16 grid bytes.
ClrStatus encodeIccClut(uint8_t* buffer, IccClut* record, int32_t in, uint32_t out);

// A CLUT block of a tag at the cursor into a new flat block of `*size`
// bytes: head (its three padding bytes reversed) and the values in native
// order. A precision other than 1 or 2 leaves the block zero. Values the
// data image can't hold are refused before anything is allocated; the
// rounding bytes behind the values are zero.
ClrStatus readClutBlock(TagCursor c, int32_t in, uint32_t out, uint8_t** flat, uint32_t* size);

// The curve element readers, for a tag and for each curve of a set: host
// order out, `c` left behind the bytes read.
ClrStatus decodeCurveElement(TagCursor& c, IccCurveType* out);
ClrStatus decodeParametricElement(TagCursor& c, IccParametricCurveType* out);
// The curve encoders: host-order record in, wire-order record out, with a
// new array.
ClrStatus encodeCurveElement(const IccCurveType* in, IccCurveType* out);
ClrStatus encodeParametricElement(const IccParametricCurveType* in, IccParametricCurveType* out);

}  // namespace quv
