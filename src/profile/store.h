// The profile store's internal operations: byte order, the header encoding,
// the rebuild of the file image, and the layout of adding and removing tags.
// The tag layer builds on these; nothing here knows a tag type.
#pragma once

#include <quvclr/profile.h>

#include <cstddef>
#include <cstdint>

namespace quv {

constexpr uint32_t kIccHeaderBytes = 128;
constexpr uint32_t kIccTableStart = 132;  // header and tag count
constexpr uint32_t kIccRowBytes = 12;

inline uint16_t readBe16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }
inline uint32_t readBe32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}
inline uint64_t readBe64(const uint8_t* p) { return (uint64_t{readBe32(p)} << 32) | readBe32(p + 4); }
inline void writeBe16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}
inline void writeBe32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}
inline void writeBe64(uint8_t* p, uint64_t v) {
    writeBe32(p, static_cast<uint32_t>(v >> 32));
    writeBe32(p + 4, static_cast<uint32_t>(v));
}
// The file bytes of a number as they lie in memory on this (little-endian)
// host: what a wire-order record holds.
inline uint16_t toWire16(uint16_t v) { return __builtin_bswap16(v); }
inline uint32_t toWire32(uint32_t v) { return __builtin_bswap32(v); }
inline uint64_t toWire64(uint64_t v) { return __builtin_bswap64(v); }

// Decodes the 128 header bytes. Attributes come from bytes 60 to 63 alone;
// bytes 56 to 59 are not kept.
void iccHeaderFromBigEndian(const uint8_t* in, IccHeader* out);
// Encodes the header into 128 bytes; the reserved area is written as zero.
ClrStatus iccHeaderToBigEndian(const IccProfile* profile, uint8_t* out);

// Writes header, tag count, table and data image into `image`, `capacity`
// bytes, clipped to it; bytes without a source are zero.
ClrStatus writeIccImage(const IccProfile* profile, uint8_t* image, uint64_t capacity);

// Makes a new file image of header->size bytes from header, table and data
// image, and puts it in place of the old one.
ClrStatus rebuildIccImage(IccProfile* profile);

// Reserves a new tag at the end of table and data image. `row` gives the
// signature and the unpadded size; `pad` is 1 to 4 zero bytes behind it, 4
// meaning none. Returns the tag's first byte in the data image, or null when
// memory runs out (the tag count has grown by then).
uint8_t* appendIccTag(IccProfile* profile, const IccTagEntry& row, uint32_t pad);

// Index of the first row with `signature`, or -1.
int findIccTagRow(const IccProfile* profile, uint32_t signature);

// Where a row's value lies in the data image, computed with the current tag
// count. Null when that place is outside the data image; otherwise
// *available is the number of bytes from there to the end of the data image.
const uint8_t* iccTagPlace(const IccProfile* profile, uint32_t offset, uint64_t* available);

// Removes row `index`: table and data image close up, the later offsets fall,
// the profile id is cleared and the image rebuilt. The caller has found the
// row; see image.cpp for what is refused.
ClrStatus removeIccTag(IccProfile* profile, int index);

}  // namespace quv
