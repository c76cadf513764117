// The settings dialogs without a toolkit: the records a dialog starts from,
// what each control enables, and what every user action does to the choice.
// A front end (or a test) drives it with plain events.
#pragma once

#include "dialogs/frontend.h"

#include <quvclr/dialogs.h>

#include <string>

namespace quv::dialogs {

// The dialog's own state, attached to the window.
struct ClrDlgState {
    ClrParams* params;
    uint32_t labDirection;  // kind 2: 0 RGB to CIELab, 1 CIELab to RGB
    uint32_t bgrOrder;
    uint32_t swapProfiles;
};

// The local records a dialog fills; never started from the caller's.
struct DialogRecords {
    ClrParams params;
    ClrWhitePoint white;
    ClrCmykParams cmyk;
};

class DialogLogic {
public:
    // Starts `records` for `kind` (1 or 2), the method list at item 0.
    DialogLogic(int32_t kind, DialogRecords& records);

    int32_t kind() const { return kind_; }
    const ClrDlgState& state() const { return state_; }

    void methodChosen(int32_t item);
    void whiteChosen(int32_t item);
    void boxChecked(int32_t control, bool checked);
    void radioChosen(int32_t control);
    // The path picked with a "..." button; false (nothing changes) for a
    // button this form lacks or a path longer than the picker's 259
    // characters.
    bool filePicked(int32_t button, const std::string& utf8Path);
    // "OK" reads both lists once more.
    void ok(int32_t methodItem, int32_t whiteItem);
    void cancel();

    bool enabled(int32_t control) const;
    int32_t value(int32_t control) const;
    std::string text(int32_t control) const;

    // Host callbacks over this logic, for a front end module.
    QuvDialogHost host();

private:
    int32_t kind_;
    DialogRecords& records_;
    ClrDlgState state_;
    int32_t methodItem_ = 0;
    int32_t whiteItem_ = 1;
    bool labToRgbChecked_ = false;
};

// A front end: shows the form over `parent` driving `logic`, returns a
// QUV_DIALOG_* result.
using ShowDialog = int32_t (*)(DialogLogic& logic, void* parent);

// The call of Quv_ClrDlg with a given front end.
ClrStatus runClrDialog(int32_t kind, void* parent, ClrHandle** handle, ClrParams* params, ShowDialog show);

}  // namespace quv::dialogs
