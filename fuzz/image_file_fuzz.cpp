// A profile found in an image file of the input's bytes. The first byte
// chooses the way: the readers over memory, or the file calls, which load,
// write an embedded profile into the file and load again.
#include "containers/readers.h"

#include <quvclr/quvclr.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// The embedded Lab profile's bytes: what the writers put into a file.
const std::vector<uint8_t>& profileBytes() {
    static const std::vector<uint8_t> bytes = [] {
        int32_t length = 0;
        Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_LAB, nullptr, &length);
        std::vector<uint8_t> b(static_cast<size_t>(length));
        Quv_ClrGetEmbeddedProfile(CLR_EMBEDDED_PROFILE_LAB, b.data(), &length);
        return b;
    }();
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    IccProfile found;
    Quv_InitICCProfile(&found, ICC_PROFILE_STRUCT_SIZE);
    if ((data[0] & 1) == 0) {
        quv::readProfileFromMemory(data + 1, size - 1, &found);
        Quv_FreeICCProfile(&found);
        return 0;
    }
    static const std::string path = "/tmp/quvclr-image-fuzz-" + std::to_string(getpid());
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data + 1, 1, size - 1, f);
    std::fclose(f);
    Quv_HasICCProfileA(path.c_str(), nullptr);
    Quv_LoadICCProfileA(path.c_str(), &found, nullptr);
    Quv_FreeICCProfile(&found);
    IccProfile embed;
    Quv_InitICCProfile(&embed, ICC_PROFILE_STRUCT_SIZE);
    std::vector<uint8_t> bytes = profileBytes();
    if (Quv_FillICCProfileStructure(&embed, bytes.data(), bytes.size()) == CLR_SUCCESS &&
        Quv_SaveICCProfileA(path.c_str(), &embed, nullptr) == CLR_SUCCESS) {
        Quv_InitICCProfile(&found, ICC_PROFILE_STRUCT_SIZE);
        Quv_LoadICCProfileA(path.c_str(), &found, nullptr);
        Quv_FreeICCProfile(&found);
    }
    Quv_FreeICCProfile(&embed);
    return 0;
}
