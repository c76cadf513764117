#include "icc/embedded.h"

#include "platform/probe.h"

#include <cstring>

namespace quv::icc {

const EmbeddedProfile* findEmbeddedProfile(uint32_t id) {
    for (const EmbeddedProfile& profile : kEmbeddedProfiles)
        if (profile.id == id) return &profile;
    return nullptr;
}

}  // namespace quv::icc

using namespace quv;

extern "C" QUV_API ClrStatus Quv_ClrGetEmbeddedProfile(uint32_t id, void* buffer, int32_t* length) {
    if (!length) return CLR_INVALID_PARAMETER;
    // A length word or buffer the call could not read or write is refused
    // with the status of a null length rather than faulting.
    MemoryProbe probe;
    if (!probe.readable(length, sizeof *length) || !probe.writable(length, sizeof *length))
        return CLR_INVALID_PARAMETER;
    const icc::EmbeddedProfile* profile = icc::findEmbeddedProfile(id);
    if (!profile) return CLR_INVALID_PARAMETER;
    if (buffer) {
        if (int64_t{*length} < int64_t{profile->length}) return CLR_BUFFER_TOO_SMALL;
        if (!probe.writable(buffer, profile->length)) return CLR_INVALID_PARAMETER;
        std::memcpy(buffer, profile->data, profile->length);
    }
    *length = static_cast<int32_t>(profile->length);
    return CLR_SUCCESS;
}
