// The profile record's lifetime and the two big-endian number helpers.
#include "platform/memory.h"
#include "profile/store.h"

#include <cstring>

using namespace quv;

extern "C" QUV_API ClrStatus Quv_InitICCProfile(IccProfile* profile, uint64_t structSize) {
    if (!profile) return CLR_INVALID_PARAMETER;
    if (structSize > ICC_PROFILE_STRUCT_SIZE) return CLR_INVALID_STRUCT_SIZE;
    // Only the bytes the caller names are cleared: a smaller record keeps the
    // rest, and a used record forgets its blocks without releasing them.
    std::memset(profile, 0, static_cast<size_t>(structSize));
    profile->structSize = ICC_PROFILE_STRUCT_SIZE;
    return CLR_SUCCESS;
}

// Null records are the caller's error and are not reported.
extern "C" QUV_API void Quv_ClrIntFreeTagList(IccProfile* profile) {
    if (!profile || profile->tagCount == 0) return;
    if (profile->tagTable) {
        quvFree(profile->tagTable);
        profile->tagTable = nullptr;
    }
    if (profile->tagData) {
        quvFree(profile->tagData);
        profile->tagData = nullptr;
    }
}

extern "C" QUV_API void Quv_ClrIntFreeICCData(IccProfile* profile) {
    if (!profile || !profile->image) return;
    quvSharedFree(profile->image);
    profile->image = nullptr;
}

extern "C" QUV_API void Quv_FreeICCProfile(IccProfile* profile) {
    if (!profile) return;
    Quv_ClrIntFreeTagList(profile);
    if (profile->header) {
        quvFree(profile->header);
        profile->header = nullptr;
    }
    Quv_ClrIntFreeICCData(profile);
}

extern "C" QUV_API uint32_t Quv_ClrIntIccGetBytes(const uint8_t* bytes, int32_t count) {
    if (!bytes || count < 1 || count > 8) return 0;
    // A 32-bit accumulator: of five to eight bytes only the last four remain.
    uint32_t value = 0;
    for (int32_t i = 0; i < count; ++i) value = (value << 8) | bytes[i];
    return value;
}

extern "C" QUV_API ClrStatus Quv_ClrIntIccSetBytes(uint8_t* bytes, uint64_t value, int32_t count) {
    if (!bytes || count == 0 || count > 8) return CLR_INVALID_PARAMETER;
    for (int32_t i = count - 1; i >= 0; --i) {
        bytes[i] = static_cast<uint8_t>(value);
        value >>= 8;
    }
    return CLR_SUCCESS;
}
