#include "platform/text.h"

#include "platform/memory.h"

#include <cstring>

namespace quv {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one UTF-8 sequence at s[i], advancing i; malformed input yields
// U+FFFD and consumes one byte.
char32_t decodeUtf8(std::string_view s, size_t& i) {
    const auto lead = static_cast<unsigned char>(s[i++]);
    if (lead < 0x80) return lead;
    int extra;
    char32_t cp;
    char32_t min;
    if ((lead & 0xE0) == 0xC0) { extra = 1; cp = lead & 0x1F; min = 0x80; }
    else if ((lead & 0xF0) == 0xE0) { extra = 2; cp = lead & 0x0F; min = 0x800; }
    else if ((lead & 0xF8) == 0xF0) { extra = 3; cp = lead & 0x07; min = 0x10000; }
    else return kReplacement;
    if (i + extra > s.size()) return kReplacement;
    for (int k = 0; k < extra; ++k) {
        const auto c = static_cast<unsigned char>(s[i + k]);
        if ((c & 0xC0) != 0x80) return kReplacement;
        cp = (cp << 6) | (c & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return kReplacement;
    i += extra;
    return cp;
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

}  // namespace

size_t wideLength(const ClrWChar* text) {
    size_t n = 0;
    while (text[n]) ++n;
    return n;
}

std::u16string utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        char32_t cp = decodeUtf8(text, i);
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out += static_cast<char16_t>(0xD800 | (cp >> 10));
            out += static_cast<char16_t>(0xDC00 | (cp & 0x3FF));
        } else {
            out += static_cast<char16_t>(cp);
        }
    }
    return out;
}

std::string utf16ToUtf8(std::u16string_view text, bool* lossy) {
    std::string out;
    out.reserve(text.size());
    bool replaced = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = '?';
            replaced = true;
        }
        appendUtf8(out, cp);
    }
    if (lossy) *lossy = replaced;
    return out;
}

ClrWChar* quvTextToWide(const char* text) {
    if (!text) return nullptr;
    const std::u16string wide = utf8ToUtf16(text);
    auto* copy = static_cast<ClrWChar*>(quvMalloc(wide.size() + 1, sizeof(ClrWChar)));
    if (!copy) return nullptr;
    std::memcpy(copy, wide.c_str(), (wide.size() + 1) * sizeof(ClrWChar));
    return copy;
}

void quvTextFree(ClrWChar* text) { quvFree(text); }

ClrStatus wideToNarrowField(const ClrWChar* text, char* target, size_t capacity) {
    if (!text || !target || capacity == 0) return CLR_INVALID_PARAMETER;
    bool lossy = false;
    const std::string narrow = utf16ToUtf8(std::u16string_view(text, wideLength(text)), &lossy);
    if (narrow.size() + 1 > capacity) return CLR_BUFFER_TOO_SMALL;
    std::memcpy(target, narrow.c_str(), narrow.size() + 1);
    return lossy ? CLR_TEXT_LOSSY : CLR_SUCCESS;
}

}  // namespace quv
