// Making lcms2 transforms for handles: pixel formats by colour space, the two
// profile sources (embedded or the caller's), the fallback of one missing
// side, and statuses for what lcms2 reports only through its log.
#pragma once

#include <quvclr/common.h>
#include <quvclr/status.h>

#include <cstdint>

namespace quv::icc {

// Flags of the builder: bit 0 is passed to lcms2 as "no white-on-white
// fix-up"; kCustomProfiles says the profiles come from the caller.
constexpr uint32_t kEngineFlagMask = 1;
constexpr uint32_t kCustomProfiles = 0x10000;

// One side's profile: bytes (which win) or a path; neither means absent.
struct ProfileSource {
    const ClrWChar* path;
    const void* data;
    uint32_t length;
};

// A transform (cmsHTRANSFORM), or null with *status telling why. Without
// kCustomProfiles the formats choose embedded profiles and the sources are
// ignored.
void* buildTransform(uint32_t inputFormat, uint32_t outputFormat, uint32_t flags, ProfileSource input,
                     ProfileSource output, ClrStatus* status);

}  // namespace quv::icc
