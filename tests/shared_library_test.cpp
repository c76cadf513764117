// The shipped library as an application meets it: loaded by path, with
// nothing of ours in its dynamic symbol table but the exports, and handles
// left open at unload released by the unload itself.
#include <quvclr/quvclr.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <dlfcn.h>
#include <set>
#include <string>

namespace {

const std::set<std::string> kExports = {
    // conversion
    "Quv_ClrInit", "Quv_ClrFree", "Quv_ClrIsValid", "Quv_ClrSetConversionParams", "Quv_ClrConvert",
    "Quv_ClrConvertDirect", "Quv_ClrConvertDirectToBitmap", "Quv_ClrConvertToBitmap", "Quv_ClrConvertBitmap",
    "Quv_ClrConvertCMYKArray", "Quv_ClrGetEmbeddedProfile", "SetResModule",
    // profile record, header, file image and numbers
    "Quv_InitICCProfile", "Quv_FreeICCProfile", "Quv_ClrIntFreeTagList", "Quv_ClrIntFreeICCData",
    "Quv_ClrIntIccGetBytes", "Quv_ClrIntIccSetBytes", "Quv_InitICCHeader", "Quv_SetICCProfileId", "Quv_SetICCCMMType",
    "Quv_SetICCDeviceClass", "Quv_SetICCColorSpace", "Quv_SetICCConnectionSpace", "Quv_SetICCPrimaryPlatform",
    "Quv_SetICCFlags", "Quv_SetICCDevManufacturer", "Quv_SetICCDevModel", "Quv_SetICCDeviceAttributes",
    "Quv_SetICCRenderingIntent", "Quv_SetICCCreator", "Quv_SetICCDateTime", "Quv_FillICCProfileStructure",
    "Quv_FillICCProfileFromICCFile", "Quv_FillICCProfileFromICCFileA", "Quv_GenerateICCPointer",
    "Quv_GenerateICCFile", "Quv_GenerateICCFileA", "Quv_GetICCTagTypeSig", "Quv_DoubleTo2bFixed2bNumber",
    "Quv_2bFixed2bNumberToDouble", "Quv_DoubleToU8Fixed8Number", "Quv_U8Fixed8NumberToDouble",
    // tags
    "Quv_GetICCTagData", "Quv_SetICCTagData", "Quv_CreateICCTagData", "Quv_DeleteICCTag", "Quv_FreeICCTagType",
};

std::set<std::string> definedDynamicSymbols() {
    std::set<std::string> names;
    FILE* nm = popen("nm -D --defined-only " QUVCLR_LIBRARY_PATH, "r");
    if (!nm) return names;
    char line[512];
    while (std::fgets(line, sizeof line, nm)) {
        char type;
        char name[400];
        if (std::sscanf(line, "%*s %c %399s", &type, name) == 2) names.insert(name);
    }
    pclose(nm);
    return names;
}

TEST(SharedLibrary, DynamicSymbolsAreTheExportsAndNothingElse) {
    EXPECT_EQ(definedDynamicSymbols(), kExports);
}

TEST(SharedLibrary, LoadsConvertsAndReleasesOpenHandlesAtUnload) {
    void* lib = dlopen(QUVCLR_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto init = reinterpret_cast<decltype(&Quv_ClrInit)>(dlsym(lib, "Quv_ClrInit"));
    auto convert = reinterpret_cast<decltype(&Quv_ClrConvert)>(dlsym(lib, "Quv_ClrConvert"));
    auto isValid = reinterpret_cast<decltype(&Quv_ClrIsValid)>(dlsym(lib, "Quv_ClrIsValid"));
    ASSERT_TRUE(init && convert && isValid);

    ClrHandle* handles[3] = {};
    ASSERT_EQ(init(&handles[0], ClrSpaceRgb, ClrSpaceBgr, nullptr), CLR_SUCCESS);
    ASSERT_EQ(init(&handles[1], ClrSpaceYcck, ClrSpaceRgb, nullptr), CLR_SUCCESS);
    ASSERT_EQ(init(&handles[2], ClrSpaceYuv, ClrSpaceHsv, nullptr), CLR_SUCCESS);
    const uint8_t rgb[6] = {1, 2, 3, 4, 5, 6};
    uint8_t bgr[6];
    ASSERT_EQ(convert(handles[0], rgb, bgr, 2, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(bgr[0], 3);
    EXPECT_EQ(bgr[5], 4);
    EXPECT_EQ(isValid(handles[2]), CLR_SUCCESS);
    // The handles stay open: unloading releases them (a leak checker run
    // over this test would report them otherwise).
    EXPECT_EQ(dlclose(lib), 0);
}

}  // namespace
