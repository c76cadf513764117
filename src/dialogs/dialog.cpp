// Quv_ClrDlg: the call around the dialogs' logic, and the GTK front end
// module it loads on first use.
#include "dialogs/logic.h"

#include "frame/narrow.h"
#include "platform/module_loader.h"
#include "platform/probe.h"

#include <cstring>
#include <mutex>
#include <utility>

namespace quv::dialogs {
namespace {

bool isEmulation(ClrMethod m) { return m == CLR_METHOD_EMULATION || m == CLR_METHOD_CUSTOM_EMULATION; }

// With the swap box checked, custom ICC runs with the two profiles exchanged
// (applied before the handle is made and again after, which puts them back);
// in kind 1 an emulation method falls back to built-in.
void applySwap(int32_t kind, const ClrDlgState& state) {
    if (!state.swapProfiles) return;
    ClrParams& p = *state.params;
    if (p.activeMethod == CLR_METHOD_CUSTOM_ICC) std::swap(p.inputProfilePath, p.outputProfilePath);
    if (kind == 1 && isEmulation(p.activeMethod)) p.activeMethod = CLR_METHOD_BUILTIN;
}

int32_t showWithModule(DialogLogic& logic, void* parent) {
    static ModuleLoader loader;
    static std::once_flag once;
    std::call_once(once, [] {
        if (loader.loadLibrary(QUV_DIALOGS_MODULE)) loader.addFunction(QUV_SHOW_DIALOG_FUNCTION);
    });
    auto show = reinterpret_cast<QuvShowClrDialogFn>(loader.getFunction(QUV_SHOW_DIALOG_FUNCTION));
    if (!show) return QUV_DIALOG_NO_DISPLAY;
    const QuvDialogHost host = logic.host();
    return show(&host, parent);
}

}  // namespace

ClrStatus runClrDialog(int32_t kind, void* parent, ClrHandle** handle, ClrParams* params, ShowDialog show) {
    if (kind != 1 && kind != 2) return CLR_SUCCESS;
    if (params) {
        // The record and its white point (and CMYK record) are written at
        // the end: proven writable now, before anything is shown.
        MemoryProbe probe;
        if (!probe.writable(params, CLR_PARAMS_SIZE)) return CLR_INVALID_PARAMETER;
        if (!params->whitePoint || !probe.writable(params->whitePoint, sizeof(ClrWhitePoint)))
            return CLR_INVALID_PARAMETER;
        if (kind == 1 && (!params->cmykParams || !probe.writable(params->cmykParams, sizeof(ClrCmykParams))))
            return CLR_INVALID_PARAMETER;
    }
    DialogRecords records;
    DialogLogic logic(kind, records);
    const int32_t shown = show(logic, parent);
    if (shown == QUV_DIALOG_NO_DISPLAY) return CLR_CODEC_MISSING;
    if (shown != QUV_DIALOG_OK || !logic.state().params) return 0;
    if (kind == 2 && !handle) return CLR_INVALID_PARAMETER;

    const ClrDlgState state = logic.state();
    ClrParams& local = *state.params;
    applySwap(kind, state);
    ClrStatus status = CLR_SUCCESS;
    if (handle)
        status = Quv_ClrInit(handle, state.bgrOrder ? ClrSpaceBgr : ClrSpaceRgb, kind == 1 ? ClrSpaceCmyk : ClrSpaceLab,
                             &local);
    if (!params) return status;
    applySwap(kind, state);

    params->whitePoint->code = local.whitePoint->code;
    params->whitePoint->x = local.whitePoint->x;
    params->whitePoint->y = local.whitePoint->y;
    if (kind == 1) {
        params->cmykParams->gcrLevel = local.cmykParams->gcrLevel;
        params->cmykParams->updateMask = local.cmykParams->updateMask;
        params->cmykParams->size = local.cmykParams->size;
    }
    params->activeMethod = local.activeMethod;
    params->methodMask = local.methodMask;
    params->size = CLR_PARAMS_SIZE;
    params->emulationKind = CLR_METHOD_EMULATION;
    std::memcpy(params->inputProfilePath, local.inputProfilePath, sizeof local.inputProfilePath);
    std::memcpy(params->outputProfilePath, local.outputProfilePath, sizeof local.outputProfilePath);
    std::memcpy(params->emulationTablePath, local.emulationTablePath, sizeof local.emulationTablePath);
    return status;
}

}  // namespace quv::dialogs

extern "C" QUV_API ClrStatus Quv_ClrDlg(int32_t kind, void* parent, ClrHandle** handle, ClrParams* params) {
    return quv::dialogs::runClrDialog(kind, parent, handle, params, quv::dialogs::showWithModule);
}

extern "C" QUV_API ClrStatus Quv_ClrDlgA(int32_t kind, void* parent, ClrHandle** handle, ClrParamsA* params) {
    if (!params) return Quv_ClrDlg(kind, parent, handle, nullptr);
    if (!quv::narrowRecordReadable(params)) return CLR_BAD_POINTER;
    ClrParams wide;
    quv::forwardRecord(*params, &wide);
    const ClrStatus status = Quv_ClrDlg(kind, parent, handle, &wide);
    if (status == CLR_SUCCESS) quv::copyBack(wide, params);
    return status;
}
