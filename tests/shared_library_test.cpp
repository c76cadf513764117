// The shipped library as an application meets it: loaded by path, with
// nothing of ours in its dynamic symbol table but the exports, and handles
// left open at unload released by the unload itself.
#include <quvclr/quvclr.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <set>
#include <string>

namespace {

const std::set<std::string> kExports = {
    // conversion
    "Quv_ClrInit", "Quv_ClrFree", "Quv_ClrIsValid", "Quv_ClrSetConversionParams", "Quv_ClrConvert",
    "Quv_ClrConvertDirect", "Quv_ClrConvertDirectToBitmap", "Quv_ClrConvertToBitmap", "Quv_ClrConvertBitmap",
    "Quv_ClrConvertCMYKArray", "Quv_ClrGetEmbeddedProfile", "SetResModule",
    // narrow twins, dialogs and the module entry
    "Quv_ClrInitA", "Quv_ClrSetConversionParamsA", "Quv_ClrDlg", "Quv_ClrDlgA", "QUV_Load",
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
    // profiles in image files
    "Quv_LoadICCProfile", "Quv_LoadICCProfileA", "Quv_HasICCProfile", "Quv_HasICCProfileA", "Quv_SaveICCProfile",
    "Quv_SaveICCProfileA",
    // curves, CLUT blocks and curve buffers
    "Quv_GetParametricCurveNumberOfParameters", "Quv_ClrIntIsParametricCurveType", "Quv_ClrIntGetCurveTypeSize",
    "Quv_ClrIntGetParametricCurveTypeSize", "Quv_ClrIntGetCurveTypeLittleIndian",
    "Quv_ClrIntGetParametricCurveTypeLittleIndian", "Quv_ClrIntIccFreeCurveType",
    "Quv_ClrIntIccFreeParametricCurveType", "Quv_ClrIntGetCLUTSize", "Quv_ConvertCLUTToBuffer",
    "Quv_ClrIntGetCLUTBuffer", "Quv_ClrIntFreeCLUT", "Quv_ConvertCurveTypeToBuffer",
    "Quv_ConvertParametricCurveTypeToBuffer", "Quv_ClrIntGetLutCurveSize",
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

// The PNG codec is a module found beside the library: a copy of the library
// in a directory without it reports the codec missing.
TEST(SharedLibrary, PngCodecIsFoundBesideTheLibraryOrMissing) {
    namespace fs = std::filesystem;
    char pattern[] = "/tmp/quvclr_alone_XXXXXX";
    const fs::path alone = mkdtemp(pattern);
    const std::string png = (alone / "p.png").string();
    const std::string make = "convert -size 4x4 xc:red -profile /usr/share/color/icc/sRGB.icc " + png;
    ASSERT_EQ(std::system(make.c_str()), 0);
    fs::copy_file(QUVCLR_LIBRARY_PATH, alone / "libquvclr.so");
    const struct {
        std::string library;
        ClrStatus status;
    } cases[] = {{QUVCLR_LIBRARY_PATH, CLR_SUCCESS}, {(alone / "libquvclr.so").string(), CLR_CODEC_MISSING}};
    for (const auto& c : cases) {
        void* lib = dlopen(c.library.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(lib, nullptr) << dlerror();
        auto load = reinterpret_cast<decltype(&Quv_LoadICCProfileA)>(dlsym(lib, "Quv_LoadICCProfileA"));
        auto release = reinterpret_cast<decltype(&Quv_FreeICCProfile)>(dlsym(lib, "Quv_FreeICCProfile"));
        IccProfile profile{};
        profile.structSize = ICC_PROFILE_STRUCT_SIZE;
        EXPECT_EQ(load(png.c_str(), &profile, nullptr), c.status) << c.library;
        EXPECT_EQ(uint64_t{profile.dataSize}, c.status == CLR_SUCCESS ? 6922u : 0u);
        release(&profile);
        dlclose(lib);
    }
    fs::remove_all(alone);
}

}  // namespace
