// Text: narrow strings are UTF-8, wide strings UTF-16.
#pragma once

#include <quvclr/common.h>
#include <quvclr/status.h>

#include <string>
#include <string_view>

namespace quv {

size_t wideLength(const ClrWChar* text);

// Malformed UTF-8 becomes U+FFFD.
std::u16string utf8ToUtf16(std::string_view text);
// An unpaired surrogate becomes '?' and sets *lossy.
std::string utf16ToUtf8(std::u16string_view text, bool* lossy = nullptr);

// A newly allocated wide copy of `text` (private heap), or null.
ClrWChar* quvTextToWide(const char* text);
void quvTextFree(ClrWChar* text);

// Conversion into a fixed field of `capacity` bytes, terminator included.
// 1; -13 for a null argument; -290 when the text does not fit; -1851 when a
// wide character had no narrow form and was replaced.
ClrStatus wideToNarrowField(const ClrWChar* text, char* target, size_t capacity);

}  // namespace quv
