// Helpers for the profile and tag tests: a profile record that releases
// itself, and ICC file images built byte by byte.
#pragma once

#include <quvclr/quvclr.h>
#include <quvclr/tags.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace quvtest {

constexpr uint32_t sig(const char (&s)[5]) {
    return QUV_ICC_SIG(s[0], s[1], s[2], s[3]);
}

// An initialised profile, released at the end of the scope.
struct ScopedProfile {
    IccProfile p;
    ScopedProfile() { Quv_InitICCProfile(&p, sizeof p); }
    ~ScopedProfile() { Quv_FreeICCProfile(&p); }
    ScopedProfile(const ScopedProfile&) = delete;
    ScopedProfile& operator=(const ScopedProfile&) = delete;
    IccProfile* operator->() { return &p; }
    IccProfile* get() { return &p; }
};

// A tag record released at the end of the scope with the type it names.
struct ScopedRecord {
    IccTagRecord r{};
    uint32_t type = 0;
    ~ScopedRecord() { Quv_FreeICCTagType(&r, type ? type : r.head.signature); }
    IccTagRecord* get() { return &r; }
};

inline void putBe16(std::vector<uint8_t>& v, size_t at, uint16_t x) {
    v[at] = uint8_t(x >> 8);
    v[at + 1] = uint8_t(x);
}
inline void putBe32(std::vector<uint8_t>& v, size_t at, uint32_t x) {
    for (int i = 0; i < 4; ++i) v[at + i] = uint8_t(x >> (24 - 8 * i));
}
inline uint32_t be32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}
inline std::vector<uint8_t> be32Bytes(uint32_t x) {
    return {uint8_t(x >> 24), uint8_t(x >> 16), uint8_t(x >> 8), uint8_t(x)};
}

// A tag's value: type signature, zero reserved word, then `body`.
inline std::vector<uint8_t> tagValue(uint32_t type, const std::vector<uint8_t>& body) {
    std::vector<uint8_t> v(8 + body.size(), 0);
    putBe32(v, 0, type);
    std::copy(body.begin(), body.end(), v.begin() + 8);
    return v;
}

// The bytes of the first row `tagSig`, padding excluded, from the data image.
inline std::vector<uint8_t> tagBytes(IccProfile* p, uint32_t tagSig) {
    for (int i = 0; i < p->tagCount; ++i) {
        const IccTagEntry& row = p->tagTable[i];
        if (row.signature != tagSig) continue;
        const uint8_t* at = p->tagData + row.offset - 132 - 12 * p->tagCount;
        return std::vector<uint8_t>(at, at + row.size);
    }
    return {};
}

struct TagSpec {
    uint32_t signature;
    std::vector<uint8_t> value;
};

// A well-formed image of a display RGB profile: the header, the table, the
// values each padded to four bytes in the order given.
inline std::vector<uint8_t> iccImage(const std::vector<TagSpec>& tags) {
    const size_t count = tags.size();
    std::vector<uint8_t> v(132 + 12 * count);
    std::vector<uint32_t> offsets;
    for (const TagSpec& t : tags) {
        offsets.push_back(uint32_t(v.size()));
        v.insert(v.end(), t.value.begin(), t.value.end());
        while (v.size() % 4) v.push_back(0);
    }
    putBe32(v, 0, uint32_t(v.size()));
    // CMM, version, class, spaces, date (2024-05-17 12:30:45), signature,
    // platform, manufacturer, model, intent, illuminant, creator.
    for (auto [at, word] : {std::pair{4, sig("lcms")}, {8, 0x04200000u}, {12, sig("mntr")}, {16, sig("RGB ")},
                            {20, sig("XYZ ")}, {24, 2024u << 16 | 5}, {28, 17u << 16 | 12}, {32, 30u << 16 | 45},
                            {36, sig("acsp")}, {40, sig("APPL")}, {48, sig("QUVC")}, {52, 0x1234u}, {64, 1u},
                            {68, 0xF6D6u}, {72, 0x10000u}, {76, 0xD32Du}, {80, sig("quvc")}})
        putBe32(v, size_t(at), word);
    for (int i = 0; i < 16; ++i) v[84 + i] = uint8_t(0xA0 + i);
    putBe32(v, 128, uint32_t(count));
    for (size_t i = 0; i < count; ++i) {
        putBe32(v, 132 + 12 * i, tags[i].signature);
        putBe32(v, 136 + 12 * i, offsets[i]);
        putBe32(v, 140 + 12 * i, uint32_t(tags[i].value.size()));
    }
    return v;
}

// A small profile with one tag of each of a few types.
inline std::vector<uint8_t> smallProfile() {
    return iccImage({
        {sig("desc"), tagValue(sig("text"), {'q', 'u', 'v', 0})},
        {sig("wtpt"), tagValue(sig("XYZ "), {0, 0, 0xF6, 0xD6, 0, 1, 0, 0, 0, 0, 0xD3, 0x2D})},
        {sig("targ"), tagValue(sig("data"), {0, 0, 0, 1, 9, 8, 7})},
        {sig("tech"), tagValue(sig("sig "), be32Bytes(sig("fscn")))},
        {sig("rTRC"), tagValue(sig("curv"), {0, 0, 0, 1, 1, 0})},
    });
}

// A file under the test's temporary directory, removed at the end.
struct TempFile {
    std::string path;
    explicit TempFile(const std::string& name) {
        const char* dir = std::getenv("TMPDIR");
        path = std::string(dir && *dir ? dir : "/tmp") + "/quvclr_" + std::to_string(getpid()) + "_" + name;
    }
    ~TempFile() { std::remove(path.c_str()); }
    void write(const std::vector<uint8_t>& bytes) const {
        FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    std::vector<uint8_t> read() const {
        std::vector<uint8_t> bytes;
        FILE* f = std::fopen(path.c_str(), "rb");
        if (!f) return bytes;
        int c;
        while ((c = std::fgetc(f)) != EOF) bytes.push_back(uint8_t(c));
        std::fclose(f);
        return bytes;
    }
    std::u16string wide() const { return std::u16string(path.begin(), path.end()); }
};

}  // namespace quvtest
