// The ICC profiles the library carries as constant data. Their bytes are made
// at build time by the generator in data/ and compiled in; nothing here reads
// their tags, lcms2 does.
#pragma once

#include <quvclr/conversion.h>

#include <cstddef>
#include <cstdint>

namespace quv::icc {

struct EmbeddedProfile {
    uint32_t id;
    const uint8_t* data;
    uint32_t length;  // also the size field of the profile's header
};

inline constexpr size_t kEmbeddedProfileCount = 4;
extern const EmbeddedProfile kEmbeddedProfiles[kEmbeddedProfileCount];

// The profile of an id, or null for an id the library does not carry.
const EmbeddedProfile* findEmbeddedProfile(uint32_t id);

}  // namespace quv::icc
