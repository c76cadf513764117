// The tag codecs and what they share. Each tag type has one entry in a table
// keyed by its type signature; the five tag operations look the type up there
// and know nothing of any type themselves.
#pragma once

#include "platform/memory.h"
#include "profile/store.h"

#include <quvclr/tags.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quv {

// One tag's bytes as Get finds them: `size` by its row (at least the eight
// bytes of type signature and reserved word), and `available` from the first
// byte to the end of the data image (at least `size`).
struct TagBytes {
    const uint8_t* data;
    uint32_t size;
    uint64_t available;
};

struct TagCodec {
    uint32_t type;
    // Get: the tag's bytes into a host-order record.
    ClrStatus (*decode)(const TagBytes& tag, IccTagRecord* out);
    // Create, and the first half of Set: a host-order record into a
    // wire-order one whose blocks are new.
    ClrStatus (*encode)(const IccTagRecord* in, IccTagRecord* out);
    // The second half of Set: the wire-order record appended to the profile
    // as tag `tagSig`, with the type's size and padding. `in` is the record
    // the wire-order one was made from.
    ClrStatus (*store)(IccProfile* profile, uint32_t tagSig, const IccTagRecord* in, const IccTagRecord* wire);
    // Releases what a record of either order points to, nulling the pointers.
    void (*release)(IccTagRecord* record);
};

// The codec of a type, or null for a type without one.
const TagCodec* findTagCodec(uint32_t type);

// The entries of each family, listed in the table in access.cpp.
extern const TagCodec kTextCodec;
extern const TagCodec kDataCodec;
extern const TagCodec kSignatureCodec;
extern const TagCodec kUInt8ArrayCodec;
extern const TagCodec kUInt16ArrayCodec;
extern const TagCodec kUInt32ArrayCodec;
extern const TagCodec kUInt64ArrayCodec;
extern const TagCodec kU16Fixed16ArrayCodec;
extern const TagCodec kS15Fixed16ArrayCodec;
extern const TagCodec kXyzCodec;
// Localized text, response curves, profile sequences, colour lists and the
// small fixed types.
extern const TagCodec kMlucCodec;
extern const TagCodec kResponseCurveSetCodec;
extern const TagCodec kProfileSequenceCodec;
extern const TagCodec kNamedColor2Codec;
extern const TagCodec kColorantTableCodec;
extern const TagCodec kColorantOrderCodec;
extern const TagCodec kMeasurementCodec;
extern const TagCodec kViewingConditionsCodec;
extern const TagCodec kChromaticityCodec;
extern const TagCodec kDateTimeCodec;
extern const TagCodec kCurveCodec;
extern const TagCodec kParametricCurveCodec;
extern const TagCodec kLut8Codec;
extern const TagCodec kLut16Codec;
extern const TagCodec kLutAToBCodec;
extern const TagCodec kLutBToACodec;

// Reserves a new tag of `size` bytes followed by `pad` zero bytes (1 to 4, 4
// meaning none) and gives where its bytes go. `writes` is the number of bytes
// the codec will put there: a size that wrapped below it in 32 bits is
// refused with CLR_INVALID_PARAMETER, since the codec would write past the
// reservation. When memory runs out the result is `noMemory`.
ClrStatus reserveTag(IccProfile* profile, uint32_t tagSig, uint32_t size, uint32_t pad, uint64_t writes,
                     ClrStatus noMemory, uint8_t** out);

// The eight head bytes of a tag: type signature and a zero reserved word.
inline void writeTagHead(uint8_t* p, uint32_t type) {
    writeBe32(p, type);
    writeBe32(p + 4, 0);
}

// Pad count of an element of `size` bytes: 4 - (size mod 4), where 4 is none.
inline uint32_t padFor(uint32_t size) { return 4 - (size & 3); }

// Readers that follow offsets may read the same bytes more than once, so
// what they decode can outgrow the tag. A result this many times larger than
// the tag's bytes is refused as tag data no profile holds: a small tag could
// otherwise ask for gigabytes.
constexpr uint64_t kMaxDecodedPerTagByte = 16;
inline bool decodedFits(uint64_t decodedBytes, uint64_t tagBytes) {
    return decodedBytes <= kMaxDecodedPerTagByte * (tagBytes + 64);
}

// A place to write into that ends where its block ends: bytes that would
// fall past the end are dropped, and skipping moves on without writing. A
// null source writes nothing, leaving the block's zero bytes.
struct BoundedWriter {
    uint8_t* at;
    uint64_t room;
    void put(const void* bytes, uint64_t n) {
        const uint64_t kept = n < room ? n : room;
        if (kept && bytes) std::memcpy(at, bytes, static_cast<size_t>(kept));
        skip(n);
    }
    void skip(uint64_t n) {
        const uint64_t kept = n < room ? n : room;
        at += kept;
        room -= kept;
    }
};

// Reads a tag from a place in it to the end of the data image. Counts and
// offsets inside a tag are taken as the file gives them and may point
// anywhere: a read past the end gives zeros and leaves CLR_INVALID_TAG_DATA,
// which sticks, so a codec tests the status once rather than counting bytes.
class TagCursor {
public:
    explicit TagCursor(const TagBytes& tag) : data_(tag.data), end_(tag.available) {}
    // A cursor at `offset` from the tag's first byte; one past the end fails
    // on its first read.
    TagCursor at(uint64_t offset) const {
        TagCursor c = *this;
        c.pos_ = 0;
        c.skip(offset);
        return c;
    }
    uint64_t position() const { return pos_; }
    uint64_t remaining() const { return end_ - pos_; }
    ClrStatus status() const { return status_; }
    bool ok() const { return status_ == CLR_SUCCESS; }
    void fail() { status_ = CLR_INVALID_TAG_DATA; }

    uint8_t u8() {
        uint8_t b[1]{};
        copy(b, 1);
        return b[0];
    }
    uint16_t be16() {
        uint8_t b[2]{};
        copy(b, 2);
        return readBe16(b);
    }
    uint32_t be32() {
        uint8_t b[4]{};
        copy(b, 4);
        return readBe32(b);
    }
    // A 16-bit number stored in host order.
    uint16_t host16() {
        uint8_t b[2]{};
        copy(b, 2);
        return static_cast<uint16_t>(b[0] | (b[1] << 8));
    }
    // `n` bytes into `out`; past the end, `out` is left as it was.
    void copy(void* out, uint64_t n);
    void skip(uint64_t n) {
        if (n > remaining()) {
            pos_ = end_;
            fail();
        } else {
            pos_ += n;
        }
    }
    // Whether `n` more bytes are there; a block sized from a count the file
    // gives is allocated only when the data image could fill it.
    bool holds(uint64_t n) const { return n <= remaining(); }

private:
    const uint8_t* data_;
    uint64_t end_;
    uint64_t pos_ = 0;
    ClrStatus status_ = CLR_SUCCESS;
};

// A count in a record of either order: a record whose signature equals the
// type's number is host order and holds it natively, any other holds the
// file's bytes.
inline uint32_t countOf(uint32_t signature, uint32_t type, uint32_t count) {
    return signature == type ? count : toWire32(count);
}

// Releases a block if there is one; gives the null to store in its place
// (record fields are packed, so they can't be bound to a reference).
template <class T>
T* released(T* p) {
    if (p) quvFree(p);
    return nullptr;
}

}  // namespace quv
