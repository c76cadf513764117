#include "dialogs/logic.h"

#include "platform/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace quv::dialogs {
namespace {

constexpr ClrMethod kMethodOfItem[5] = {CLR_METHOD_BUILTIN, CLR_METHOD_ICC, CLR_METHOD_CUSTOM_ICC,
                                        CLR_METHOD_EMULATION, CLR_METHOD_CUSTOM_EMULATION};
// The white list is sorted: "Custom (xyY) point" comes first.
constexpr uint32_t kWhiteCodeOfItem[6] = {0, 50, 55, 65, 75, 93};
constexpr int32_t kMethodItems = 5;
constexpr int32_t kWhiteItems = 6;

// One row of an enabling table: what the method list item turns on.
enum Cell : uint8_t { Off, On, IfCustomWhite, ByRadio };
struct EnablingRow {
    Cell profiles;  // 117 to 120
    Cell tables;    // kind 1: 121, 122; kind 2: 130 to 133
    Cell radios;    // kind 2: 134, 135
    Cell white;     // 123
    Cell whiteXY;   // 124, 125
    Cell gcr;       // kind 1: 126, 127
    Cell swap;      // 1002
};
constexpr EnablingRow kCmykEnabling[kMethodItems] = {
    {Off, Off, Off, Off, Off, On, On},
    {Off, Off, Off, On, IfCustomWhite, Off, On},
    {On, Off, Off, On, IfCustomWhite, Off, On},
    {Off, Off, Off, Off, Off, Off, Off},
    {Off, On, Off, Off, Off, Off, Off},
};
constexpr EnablingRow kLabEnabling[kMethodItems] = {
    {Off, Off, Off, Off, Off, Off, On},
    {Off, Off, Off, On, IfCustomWhite, Off, On},
    {On, Off, Off, On, IfCustomWhite, Off, On},
    {Off, Off, Off, Off, Off, Off, On},
    {Off, ByRadio, On, Off, Off, Off, On},
};

bool isCmykOnly(int32_t c) { return c == QUV_CTL_TABLE_PATH || c == QUV_CTL_TABLE_BROWSE || c == QUV_CTL_GCR || c == QUV_CTL_GCR_SPIN; }
bool isLabOnly(int32_t c) { return c >= QUV_CTL_LAB_TABLE_PATH && c <= QUV_CTL_LAB_TO_RGB; }

// A "..." button's picked path goes to a field of the record and shows in an
// edit.
ClrWChar* pathField(ClrParams& p, int32_t kind, int32_t button) {
    switch (button) {
    case QUV_CTL_INPUT_BROWSE: return p.inputProfilePath;
    case QUV_CTL_OUTPUT_BROWSE: return p.outputProfilePath;
    case QUV_CTL_TABLE_BROWSE: return kind == 1 ? p.emulationTablePath : nullptr;
    case QUV_CTL_LAB_TABLE_BROWSE:
    case QUV_CTL_RGB_TABLE_BROWSE: return kind == 2 ? p.emulationTablePath : nullptr;
    default: return nullptr;
    }
}

const ClrWChar* shownPath(const ClrParams& p, int32_t kind, int32_t edit) {
    switch (edit) {
    case QUV_CTL_INPUT_PATH: return p.inputProfilePath;
    case QUV_CTL_OUTPUT_PATH: return p.outputProfilePath;
    case QUV_CTL_TABLE_PATH: return kind == 1 ? p.emulationTablePath : nullptr;
    case QUV_CTL_LAB_TABLE_PATH:
    case QUV_CTL_RGB_TABLE_PATH: return kind == 2 ? p.emulationTablePath : nullptr;
    default: return nullptr;
    }
}

}  // namespace

DialogLogic::DialogLogic(int32_t kind, DialogRecords& records) : kind_(kind), records_(records) {
    std::memset(&records_, 0, sizeof records_);
    ClrParams& p = records_.params;
    p.size = CLR_PARAMS_SIZE;
    p.activeMethod = CLR_METHOD_BUILTIN;
    p.methodMask = 63;
    p.emulationKind = CLR_METHOD_EMULATION;
    records_.white.code = 50;
    p.whitePoint = &records_.white;
    if (kind_ == 1) {
        records_.cmyk = ClrCmykParams{sizeof(ClrCmykParams), 250, 1};
        p.cmykParams = &records_.cmyk;
    }
    // The list starts at item 0, built-in; its enabling row is in effect,
    // but the record keeps its starting mask (63) until the list changes.
    state_ = ClrDlgState{&p, 0, 0, 0};
}

void DialogLogic::methodChosen(int32_t item) {
    if (item < 0 || item >= kMethodItems || !state_.params) return;
    methodItem_ = item;
    state_.params->activeMethod = kMethodOfItem[item];
    state_.params->methodMask = kMethodOfItem[item];
}

void DialogLogic::whiteChosen(int32_t item) {
    if (item < 0 || item >= kWhiteItems || !state_.params) return;
    whiteItem_ = item;
    state_.params->whitePoint->code = kWhiteCodeOfItem[item];
}

void DialogLogic::boxChecked(int32_t control, bool checked) {
    if (control == QUV_CTL_BGR_ORDER) state_.bgrOrder = checked;
    if (control == QUV_CTL_SWAP) state_.swapProfiles = checked;
}

void DialogLogic::radioChosen(int32_t control) {
    if (kind_ != 2 || (control != QUV_CTL_RGB_TO_LAB && control != QUV_CTL_LAB_TO_RGB)) return;
    labToRgbChecked_ = control == QUV_CTL_LAB_TO_RGB;
    state_.labDirection = labToRgbChecked_;
}

bool DialogLogic::filePicked(int32_t button, const std::string& utf8Path) {
    ClrWChar* field = state_.params ? pathField(*state_.params, kind_, button) : nullptr;
    if (!field) return false;
    const std::u16string wide = utf8ToUtf16(utf8Path);
    if (wide.size() >= 260) return false;
    std::memcpy(field, wide.c_str(), (wide.size() + 1) * sizeof(ClrWChar));
    return true;
}

void DialogLogic::ok(int32_t methodItem, int32_t whiteItem) {
    methodChosen(methodItem);
    whiteChosen(whiteItem);
    if (kind_ == 1 && state_.params &&
        (state_.params->activeMethod == CLR_METHOD_EMULATION ||
         state_.params->activeMethod == CLR_METHOD_CUSTOM_EMULATION))
        state_.swapProfiles = 0;
}

void DialogLogic::cancel() { state_ = ClrDlgState{}; }

bool DialogLogic::enabled(int32_t control) const {
    if ((kind_ == 1 && isLabOnly(control)) || (kind_ == 2 && isCmykOnly(control))) return false;
    const EnablingRow& row = (kind_ == 1 ? kCmykEnabling : kLabEnabling)[methodItem_];
    auto on = [&](Cell cell, bool radioSide) {
        switch (cell) {
        case On: return true;
        case IfCustomWhite: return state_.params && state_.params->whitePoint->code == 0;
        case ByRadio: return radioSide;
        default: return false;
        }
    };
    switch (control) {
    case QUV_CTL_INPUT_PATH: case QUV_CTL_INPUT_BROWSE: case QUV_CTL_OUTPUT_PATH: case QUV_CTL_OUTPUT_BROWSE:
        return on(row.profiles, false);
    case QUV_CTL_TABLE_PATH: case QUV_CTL_TABLE_BROWSE: return on(row.tables, false);
    case QUV_CTL_LAB_TABLE_PATH: case QUV_CTL_LAB_TABLE_BROWSE: return on(row.tables, !labToRgbChecked_);
    case QUV_CTL_RGB_TABLE_PATH: case QUV_CTL_RGB_TABLE_BROWSE: return on(row.tables, labToRgbChecked_);
    case QUV_CTL_RGB_TO_LAB: case QUV_CTL_LAB_TO_RGB: return on(row.radios, false);
    case QUV_CTL_WHITE: return on(row.white, false);
    case QUV_CTL_WHITE_X: case QUV_CTL_WHITE_Y: return on(row.whiteXY, false);
    case QUV_CTL_GCR: case QUV_CTL_GCR_SPIN: return on(row.gcr, false);
    case QUV_CTL_SWAP: return on(row.swap, false);
    default: return true;
    }
}

int32_t DialogLogic::value(int32_t control) const {
    switch (control) {
    case QUV_CTL_METHOD: return methodItem_;
    case QUV_CTL_WHITE: return whiteItem_;
    case QUV_CTL_BGR_ORDER: return int32_t(state_.bgrOrder);
    case QUV_CTL_SWAP: return int32_t(state_.swapProfiles);
    case QUV_CTL_RGB_TO_LAB: return !labToRgbChecked_;
    case QUV_CTL_LAB_TO_RGB: return labToRgbChecked_;
    case QUV_CTL_GCR: case QUV_CTL_GCR_SPIN: return records_.cmyk.gcrLevel;
    default: return 0;
    }
}

std::string DialogLogic::text(int32_t control) const {
    char number[64];
    const ClrWhitePoint* white = state_.params ? state_.params->whitePoint : nullptr;
    switch (control) {
    case QUV_CTL_WHITE_X:
    case QUV_CTL_WHITE_Y:
        if (!white) return "0.0";
        std::snprintf(number, sizeof number, "%f", control == QUV_CTL_WHITE_X ? white->x : white->y);
        return number;
    case QUV_CTL_GCR:
        std::snprintf(number, sizeof number, "%d", int(records_.cmyk.gcrLevel));
        return number;
    default: {
        const ClrWChar* path = state_.params ? shownPath(*state_.params, kind_, control) : nullptr;
        return path ? utf16ToUtf8(std::u16string_view(path, wideLength(path))) : std::string();
    }
    }
}

QuvDialogHost DialogLogic::host() {
    QuvDialogHost h{};
    h.kind = kind_;
    h.context = this;
    h.event = [](void* c, int32_t event, int32_t a, int32_t b, const char* text) {
        auto& logic = *static_cast<DialogLogic*>(c);
        switch (event) {
        case QUV_EVENT_METHOD: logic.methodChosen(a); break;
        case QUV_EVENT_WHITE: logic.whiteChosen(a); break;
        case QUV_EVENT_CHECK: logic.boxChecked(a, b != 0); break;
        case QUV_EVENT_RADIO: logic.radioChosen(a); break;
        case QUV_EVENT_FILE: if (text) logic.filePicked(a, text); break;
        case QUV_EVENT_OK: logic.ok(a, b); break;
        case QUV_EVENT_CANCEL: logic.cancel(); break;
        default: break;
        }
    };
    h.enabled = [](void* c, int32_t control) -> int32_t { return static_cast<DialogLogic*>(c)->enabled(control); };
    h.value = [](void* c, int32_t control) { return static_cast<DialogLogic*>(c)->value(control); };
    h.text = [](void* c, int32_t control, char* buffer, int32_t capacity) {
        if (!buffer || capacity < 1) return;
        const std::string t = static_cast<DialogLogic*>(c)->text(control);
        const size_t n = std::min(t.size(), size_t(capacity) - 1);
        std::memcpy(buffer, t.data(), n);
        buffer[n] = 0;
    };
    return h;
}

}  // namespace quv::dialogs
