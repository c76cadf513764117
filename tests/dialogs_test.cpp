// The narrow twins against the wide calls, and the settings dialogs' logic
// driven by scripted events (no toolkit): enabling, OK, Cancel and the call.
#include "test_support.h"

#include "dialogs/logic.h"
#include "frame/handle.h"
#include "frame/narrow.h"
#include "platform/module_loader.h"
#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using quv::dialogs::DialogLogic;
using quv::dialogs::DialogRecords;

const std::string kSrgb = "/usr/share/color/icc/colord/sRGB.icc";
const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const std::string kCmyk = std::string(QUVCLR_PINNED_DIR) + "/quvclr-cmyk.icc";

// The narrow twin of methodParams.
ClrParamsA narrowParams(ClrMethod method) {
    ClrParamsA p;
    std::memset(&p, 0, sizeof p);
    p.activeMethod = p.methodMask = method;
    p.emulationKind = CLR_METHOD_EMULATION;
    return p;
}

std::string wideText(const ClrWChar* w) { return quv::utf16ToUtf8(std::u16string_view(w, quv::wideLength(w))); }

// A profile under a directory whose name is outside ASCII.
fs::path nonAsciiCopy(const std::string& from) {
    const fs::path dir = fs::temp_directory_path() / "quvclr-Prüfung-色";
    fs::create_directories(dir);
    const fs::path to = dir / "Adobe-ä.icc";
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
    return to;
}

// RGB to CMYK through the caller's RGB profile and the generated CMYK one:
// the pixels of a handle made from the narrow record or its wide form.
std::vector<uint8_t> toCmyk(const std::string& input, bool narrowCall, ClrStatus* status) {
    ClrParamsA narrow = narrowParams(CLR_METHOD_CUSTOM_ICC);
    std::strcpy(narrow.inputProfilePath, input.c_str());
    std::strcpy(narrow.outputProfilePath, kCmyk.c_str());
    ClrParams wide;
    quv::forwardRecord(narrow, &wide);
    ClrHandle* h = nullptr;
    *status = narrowCall ? Quv_ClrInitA(&h, ClrSpaceRgb, ClrSpaceCmyk, &narrow)
                         : Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceCmyk, &wide);
    const std::vector<uint8_t> rgb = quvtest::randomBytes(3 * 64, 7);
    std::vector<uint8_t> cmyk(4 * 64);
    if (*status == CLR_SUCCESS) {
        EXPECT_EQ(Quv_ClrConvert(h, rgb.data(), cmyk.data(), 64, 1, 0, 0), CLR_SUCCESS);
    }
    Quv_ClrFree(h);
    return cmyk;
}

TEST(NarrowTwins, GiveTheWideResultsForUtf8PathsAndRecords) {
    const std::string adobe = nonAsciiCopy(kAdobe).string();
    ClrStatus sa, sw, ss;
    EXPECT_EQ(toCmyk(adobe, true, &sa), toCmyk(adobe, false, &sw));
    EXPECT_TRUE(sa == CLR_SUCCESS && sw == CLR_SUCCESS);
    EXPECT_NE(toCmyk(adobe, true, &sa), toCmyk(kSrgb, true, &ss)) << "the profile at the UTF-8 path was used";
    // A missing file takes the same fallback both ways.
    EXPECT_EQ(toCmyk(adobe + ".missing", true, &sa), toCmyk(adobe + ".missing", false, &sw));
    EXPECT_EQ(sa, sw);

    ClrHandle* h = nullptr;
    EXPECT_EQ(Quv_ClrInitA(&h, ClrSpaceRgb, ClrSpaceCmyk, nullptr), CLR_SUCCESS);
    ClrCmykParams cmyk{12, 700, 1};
    ClrParamsA update = narrowParams(16);
    update.cmykParams = &cmyk;
    ASSERT_EQ(Quv_ClrSetConversionParamsA(h, &update), CLR_SUCCESS);
    EXPECT_EQ(h->cmykParams->gcrLevel, 700);
    EXPECT_EQ(Quv_ClrSetConversionParamsA(h, nullptr), Quv_ClrSetConversionParams(h, nullptr));
    Quv_ClrFree(h);
    EXPECT_EQ(QUV_Load(nullptr, nullptr, nullptr, nullptr, 0), CLR_SUCCESS);

    // Records round-trip, and unterminated paths stay in their field.
    ClrParamsA narrow = narrowParams(CLR_METHOD_CUSTOM_ICC);
    std::strcpy(narrow.inputProfilePath, "/tmp/Prüfung/色.icc");
    std::memset(narrow.outputProfilePath, 'a', CLR_PATH_CHARS);  // no terminator: too long, arrives empty
    std::memset(narrow.emulationTablePath, 'b', CLR_PATH_CHARS - 1);
    ClrParams wide;
    quv::forwardRecord(narrow, &wide);
    EXPECT_EQ(wide.outputProfilePath[0], 0);
    EXPECT_EQ(wideText(wide.emulationTablePath), std::string(CLR_PATH_CHARS - 1, 'b'));
    ClrParamsA back = narrowParams(0);
    quv::copyBack(wide, &back);
    EXPECT_STREQ(back.inputProfilePath, narrow.inputProfilePath);
    EXPECT_EQ(back.activeMethod, narrow.activeMethod);
    // 263 wide characters that need two UTF-8 bytes each do not fit 264 bytes.
    std::fill_n(wide.emulationTablePath, CLR_PATH_CHARS - 1, ClrWChar(0xe9));
    quv::copyBack(wide, &back);
    EXPECT_EQ(back.emulationTablePath[0], 0);
}

// Every row of both enabling tables. Columns: 117-120 | 121 122 | 126 |
// 130-133 | 134 135 | 123 | 124 125 | 1002.
const int32_t kColumns[] = {117, 118, 119, 120, 121, 122, 126, 130, 131, 132, 133, 134, 135, 123, 124, 125, 1002};
struct EnablingCase {
    int32_t kind, methodItem, whiteItem, radio;
    const char* expected;
};
const EnablingCase kEnabling[] = {
    {1, 0, 1, 0, "0000 00 1 0000 00 0 00 1"},   {1, 1, 1, 0, "0000 00 0 0000 00 1 00 1"},
    {1, 1, 0, 0, "0000 00 0 0000 00 1 11 1"},   {1, 2, 3, 0, "1111 00 0 0000 00 1 00 1"},
    {1, 2, 0, 0, "1111 00 0 0000 00 1 11 1"},   {1, 3, 0, 0, "0000 00 0 0000 00 0 00 0"},
    {1, 4, 0, 0, "0000 11 0 0000 00 0 00 0"},   {2, 0, 0, 0, "0000 00 0 0000 00 0 00 1"},
    {2, 1, 3, 0, "0000 00 0 0000 00 1 00 1"},   {2, 1, 0, 0, "0000 00 0 0000 00 1 11 1"},
    {2, 2, 0, 0, "1111 00 0 0000 00 1 11 1"},   {2, 3, 0, 0, "0000 00 0 0000 00 0 00 1"},
    {2, 4, 0, 134, "0000 00 0 1100 11 0 00 1"}, {2, 4, 0, 135, "0000 00 0 0011 11 0 00 1"},
};

TEST(DialogLogic, EveryEnablingRowTheFlagsItWritesAndTheStartingRecords) {
    constexpr ClrMethod kFlag[] = {1, 2, 4, 8, 16};
    constexpr uint32_t kCode[] = {0, 50, 55, 65, 75, 93};
    for (const EnablingCase& c : kEnabling) {
        DialogRecords records;
        DialogLogic logic(c.kind, records);
        logic.methodChosen(c.methodItem);
        logic.whiteChosen(c.whiteItem);
        if (c.radio) logic.radioChosen(c.radio);
        std::string got;
        for (int32_t control : kColumns) got += logic.enabled(control) ? '1' : '0';
        std::string want = c.expected;
        std::erase(want, ' ');
        EXPECT_EQ(got, want) << "kind " << c.kind << " item " << c.methodItem << " white " << c.whiteItem;
        EXPECT_EQ(records.params.activeMethod, kFlag[c.methodItem]);
        EXPECT_EQ(records.params.methodMask, kFlag[c.methodItem]);
        EXPECT_EQ(records.white.code, kCode[c.whiteItem]);
        EXPECT_EQ(logic.state().labDirection, c.radio == 135 ? 1u : 0u);
    }

    // It starts from its own records and shows them.
    DialogRecords records;
    DialogLogic logic(1, records);
    EXPECT_TRUE(records.params.activeMethod == CLR_METHOD_BUILTIN && records.params.methodMask == 63u);
    EXPECT_TRUE(records.white.code == 50u && records.cmyk.gcrLevel == 250);
    EXPECT_EQ(logic.value(QUV_CTL_WHITE), 1) << "D50 is the second item of the sorted list";
    EXPECT_EQ(logic.text(QUV_CTL_WHITE_X), "0.000000");
    EXPECT_EQ(logic.text(QUV_CTL_GCR), "250");
    EXPECT_TRUE(logic.filePicked(QUV_CTL_TABLE_BROWSE, "/t/ä.tif"));
    EXPECT_EQ(logic.text(QUV_CTL_TABLE_PATH), "/t/ä.tif");
    EXPECT_FALSE(logic.filePicked(QUV_CTL_LAB_TABLE_BROWSE, "/t/x.tif")) << "a kind 2 button";
    EXPECT_FALSE(logic.filePicked(QUV_CTL_INPUT_BROWSE, std::string(260, 'p'))) << "longer than the picker";
    EXPECT_EQ(records.params.inputProfilePath[0], 0);
}

// A scripted front end: the events go through the host callbacks a module
// would call.
struct Event {
    int32_t type, a, b;
    std::string text;
};
struct Script {
    std::vector<Event> events;
    int32_t result = QUV_DIALOG_OK;
    bool shown = false;
};
int32_t playScript(DialogLogic& logic, void* parent) {
    auto& script = *static_cast<Script*>(parent);
    script.shown = true;
    const QuvDialogHost host = logic.host();
    for (const Event& e : script.events) host.event(host.context, e.type, e.a, e.b, e.text.c_str());
    return script.result;
}

struct Caller {
    ClrWhitePoint white{93, 0.5, 0.5};
    ClrCmykParams cmyk{12, 900, 7};
    ClrParams params;
    Caller() {
        std::memset(&params, 0xab, sizeof params);
        params.whitePoint = &white;
        params.cmykParams = &cmyk;
    }
};

ClrStatus run(int32_t kind, Script& script, ClrHandle** handle, ClrParams* params) {
    return quv::dialogs::runClrDialog(kind, &script, handle, params, playScript);
}

TEST(DialogCall, OtherKindsCancelAndBadRecordsChangeNothing) {
    Caller caller;
    const Caller before = caller;
    ClrHandle* sentinel = reinterpret_cast<ClrHandle*>(0x1234);
    ClrHandle* out = sentinel;
    const struct {
        int32_t kind, result;
        bool nullOut, nullCmyk;
        ClrStatus expected;
        bool shown;
    } cases[] = {
        {3, QUV_DIALOG_OK, false, false, CLR_SUCCESS, false},
        {1, QUV_DIALOG_CANCEL, false, false, 0, true},
        {1, QUV_DIALOG_NO_DISPLAY, false, false, CLR_CODEC_MISSING, true},
        {1, QUV_DIALOG_OK, false, true, CLR_INVALID_PARAMETER, false},
        {2, QUV_DIALOG_OK, true, false, CLR_INVALID_PARAMETER, true},
    };
    for (const auto& c : cases) {
        Script script{{{QUV_EVENT_METHOD, 1, 0, ""}, {QUV_EVENT_CANCEL, 0, 0, ""}}, c.result};
        if (c.result == QUV_DIALOG_OK) script.events.pop_back();
        caller.params.cmykParams = c.nullCmyk ? nullptr : &caller.cmyk;
        EXPECT_EQ(run(c.kind, script, c.nullOut ? nullptr : &out, &caller.params), c.expected) << c.kind;
        EXPECT_EQ(script.shown, c.shown);
        caller.params.cmykParams = &caller.cmyk;
        EXPECT_EQ(std::memcmp(&caller.params, &before.params, sizeof caller.params), 0);
        EXPECT_TRUE(caller.white.code == 93u && caller.cmyk.gcrLevel == 900);
        EXPECT_EQ(out, sentinel);
    }
}

// OK with ICC profiling, BGR order and D65 in both kinds. RGB to CMYK needs
// the RGB profile as input: picked the other way round, only the swap box
// makes the handle. Emulation clears the swap box; custom tables fail
// without a file. The choice is copied out despite a failed init.
TEST(DialogCall, OkHandsBackTheHandleAndTheChoice) {
    const Event cmykIn{QUV_EVENT_FILE, QUV_CTL_INPUT_BROWSE, 0, kCmyk};
    const Event srgbOut{QUV_EVENT_FILE, QUV_CTL_OUTPUT_BROWSE, 0, kSrgb};
    const Event swap{QUV_EVENT_CHECK, QUV_CTL_SWAP, 1, ""}, noSwap{QUV_EVENT_CHECK, QUV_CTL_SWAP, 0, ""};
    const Event bgr{QUV_EVENT_CHECK, QUV_CTL_BGR_ORDER, 1, ""};
    const struct {
        int32_t kind;
        std::vector<Event> events;
        ClrStatus status;
        ClrMethod method;
    } rows[] = {
        {1, {bgr, {QUV_EVENT_OK, 1, 3, ""}}, CLR_SUCCESS, CLR_METHOD_ICC},
        {2, {bgr, {QUV_EVENT_OK, 1, 3, ""}}, CLR_SUCCESS, CLR_METHOD_ICC},
        {1, {cmykIn, srgbOut, noSwap, {QUV_EVENT_OK, 2, 1, ""}}, CLR_ICC_SPACE_MISMATCH, CLR_METHOD_CUSTOM_ICC},
        {1, {cmykIn, srgbOut, swap, {QUV_EVENT_OK, 2, 1, ""}}, CLR_SUCCESS, CLR_METHOD_CUSTOM_ICC},
        {1, {swap, {QUV_EVENT_OK, 3, 1, ""}}, CLR_SUCCESS, CLR_METHOD_EMULATION},
        {1, {swap, {QUV_EVENT_OK, 4, 1, ""}}, CLR_FILE_NOT_FOUND, CLR_METHOD_CUSTOM_EMULATION},
    };
    for (const auto& row : rows) {
        Caller caller;
        Script script{row.events};
        ClrHandle* h = nullptr;
        EXPECT_EQ(run(row.kind, script, &h, &caller.params), row.status) << "method " << row.method;
        quvtest::Handle owned(h);
        EXPECT_TRUE(caller.params.activeMethod == row.method && caller.params.methodMask == row.method);
        EXPECT_TRUE(caller.params.size == CLR_PARAMS_SIZE && caller.params.emulationKind == CLR_METHOD_EMULATION);
        if (row.method == CLR_METHOD_ICC) {
            ASSERT_NE(h, nullptr);
            EXPECT_EQ(h->sourceSpace, ClrSpaceBgr);
            EXPECT_EQ(h->destSpace, row.kind == 1 ? ClrSpaceCmyk : ClrSpaceLab);
            EXPECT_EQ(caller.white.code, 65u);
            EXPECT_EQ(double(caller.white.x), 0.0) << "the typed x is never read back";
            EXPECT_EQ(caller.cmyk.gcrLevel, row.kind == 1 ? 250 : 900) << "kind 2 has no CMYK record";
            EXPECT_EQ(caller.cmyk.updateMask, row.kind == 1 ? 1u : 7u);
        }
        if (row.method != CLR_METHOD_CUSTOM_ICC) continue;
        EXPECT_EQ(wideText(caller.params.inputProfilePath), kCmyk);
        EXPECT_EQ(wideText(caller.params.outputProfilePath), kSrgb);
    }
}

TEST(DialogCall, WithoutTheModuleNothingIsShownOrChanged) {
    const fs::path empty = fs::temp_directory_path() / "quvclr-no-modules";
    fs::create_directories(empty);
    quv::testing::setModuleDirectory(empty.string());
    Caller caller;
    const Caller before = caller;
    ClrHandle* h = nullptr;
    EXPECT_EQ(Quv_ClrDlg(1, nullptr, &h, &caller.params), CLR_CODEC_MISSING);
    ClrParamsA narrow = narrowParams(0);
    narrow.whitePoint = &caller.white;
    EXPECT_EQ(Quv_ClrDlgA(2, nullptr, &h, &narrow), CLR_CODEC_MISSING);
    EXPECT_EQ(Quv_ClrDlg(3, nullptr, &h, &caller.params), CLR_SUCCESS);
    quv::testing::setModuleDirectory("");
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(std::memcmp(&caller.params, &before.params, sizeof caller.params), 0);
    EXPECT_EQ(narrow.activeMethod, 0u);
}

}  // namespace
