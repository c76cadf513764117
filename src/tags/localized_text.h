// The "mluc" helpers that the profile sequence uses for its nested texts.
#pragma once

#include "tags/codec.h"

namespace quv {

// Reads an "mluc" element that begins at `value`, `room` bytes from there to
// the end of the tag, into a host-order record.
ClrStatus readIccMluc(const uint8_t* value, uint64_t room, IccMultiLocalizedUnicodeType* out);

// The element's size behind its first 8 bytes, for a record of either order;
// 32-bit, wrapping as the file's sizes do.
uint32_t iccMlucSize(const IccMultiLocalizedUnicodeType* record);

// Whether the element's size stays within what its content could fill (see
// decodedFits): the size counts `recordSize` per entry, a number the file or
// caller gives, so a small text could otherwise ask for gigabytes of zeros.
bool iccMlucSizeFits(const IccMultiLocalizedUnicodeType* record);

// Writes a wire-order record as a nested element at `out` and gives the
// number of bytes to advance by: size + 8 + pad count, so four more than was
// written when the size is a multiple of 4.
uint32_t iccMlucEmitNested(BoundedWriter out, const IccMultiLocalizedUnicodeType* record);

// A deep copy of a wire-order record.
ClrStatus iccMlucCopy(IccMultiLocalizedUnicodeType* target, const IccMultiLocalizedUnicodeType* source);

// Releases records, then strings, nulling both.
void releaseIccMluc(IccMultiLocalizedUnicodeType* record);

}  // namespace quv
