// A profile image from the input, then every tag through the five tag
// operations: Get, Set of what Get gave, Create, Delete and Free; last the
// image written back.
#include <quvclr/quvclr.h>

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    IccProfile profile;
    Quv_InitICCProfile(&profile, ICC_PROFILE_STRUCT_SIZE);
    std::vector<uint8_t> bytes(data, data + size);
    const ClrStatus filled = Quv_FillICCProfileStructure(&profile, bytes.data(), bytes.size());
    if (filled == CLR_SUCCESS) {
        std::vector<uint32_t> tags;
        for (int32_t i = 0; i < profile.tagCount && profile.tagTable; ++i) tags.push_back(profile.tagTable[i].signature);
        for (size_t i = 0; i < tags.size(); ++i) {
            const uint32_t type = Quv_GetICCTagTypeSig(&profile, tags[i]);
            IccTagRecord record{};
            const ClrStatus got = Quv_GetICCTagData(&profile, &record, tags[i]);
            // The warnings come with a valid record of the raw bytes.
            if (got == CLR_SUCCESS || (got <= CLR_TAG_UNKNOWN_SIGNATURE && got >= CLR_TAG_UNKNOWN_BOTH)) {
                IccTagRecord wire{};
                Quv_CreateICCTagData(&wire, &record, type);
                Quv_FreeICCTagType(&wire, type);
                Quv_SetICCTagData(&profile, &record, tags[i], type);
            }
            Quv_FreeICCTagType(&record, type);
            // Every other tag goes, its content taken on the way out. With
            // the signature twice in the table, the one now first may be of
            // another type than the one just written.
            if (i % 2 == 1) {
                const uint32_t firstType = Quv_GetICCTagTypeSig(&profile, tags[i]);
                IccTagRecord removed{};
                Quv_DeleteICCTag(&profile, tags[i], &removed);
                Quv_FreeICCTagType(&removed, firstType);
            }
        }
        Quv_GenerateICCPointer(&profile);
    }
    Quv_FreeICCProfile(&profile);
    return 0;
}
