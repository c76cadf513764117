/* Narrow (UTF-8) twins of the conversion calls, the settings dialogs and the
 * module-loading entry. */
#ifndef QUVCLR_DIALOGS_H
#define QUVCLR_DIALOGS_H

#include "conversion.h"

#pragma pack(push, 1)

/* ClrParams with UTF-8 paths and without iccFlags: the narrow calls cannot
 * reach the engine flag. `size` is never tested. */
typedef struct ClrParamsA {
    uint32_t size;
    ClrMethod activeMethod;
    ClrWhitePoint* whitePoint;
    char inputProfilePath[CLR_PATH_CHARS];
    ClrProfileBlock* inputProfileBlock;
    char outputProfilePath[CLR_PATH_CHARS];
    ClrProfileBlock* outputProfileBlock;
    char emulationTablePath[CLR_PATH_CHARS];
    ClrCmykParams* cmykParams;
    ClrYuvParams* yuvParams;
    ClrLabParams* labParams;
    uint32_t methodMask;
    uint32_t emulationKind;
} ClrParamsA;

#pragma pack(pop)

QUV_STATIC_ASSERT(sizeof(ClrParamsA) == 856, "ClrParamsA size");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, activeMethod) == 4, "ClrParamsA.activeMethod");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, whitePoint) == 8, "ClrParamsA.whitePoint");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, inputProfilePath) == 16, "ClrParamsA.inputProfilePath");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, inputProfileBlock) == 280, "ClrParamsA.inputProfileBlock");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, outputProfilePath) == 288, "ClrParamsA.outputProfilePath");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, outputProfileBlock) == 552, "ClrParamsA.outputProfileBlock");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, emulationTablePath) == 560, "ClrParamsA.emulationTablePath");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, cmykParams) == 824, "ClrParamsA.cmykParams");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, yuvParams) == 832, "ClrParamsA.yuvParams");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, labParams) == 840, "ClrParamsA.labParams");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, methodMask) == 848, "ClrParamsA.methodMask");
QUV_STATIC_ASSERT(offsetof(ClrParamsA, emulationKind) == 852, "ClrParamsA.emulationKind");

/* Dialog kinds of Quv_ClrDlg. */
enum ClrDialogKind { CLR_DIALOG_CMYK = 1, CLR_DIALOG_LAB = 2 };

QUV_EXTERN_C_BEGIN

/* As Quv_ClrInit and Quv_ClrSetConversionParams, with a narrow record. Its
 * paths are converted to wide (a path that does not convert arrives empty);
 * an unreadable record gives CLR_BAD_POINTER. A null record stays null. */
QUV_API ClrStatus Quv_ClrInitA(ClrHandle** handle, ClrSpace source, ClrSpace dest, ClrParamsA* params);
QUV_API ClrStatus Quv_ClrSetConversionParamsA(ClrHandle* handle, ClrParamsA* params);

/* Shows the settings dialog of `kind` (CLR_DIALOG_CMYK or CLR_DIALOG_LAB),
 * modal over `parent` (a GtkWindow*, or null). On OK it makes a handle from
 * RGB (BGR with "BGR Order") to CMYK or Lab into *handle when handle is given
 * and writes the choice into *params when given; it returns that handle's
 * status. Cancel returns 0 and changes nothing. Other kinds return 1 at once.
 * The dialogs are a GTK 3 module loaded from beside the library on first use;
 * when the module is missing or no display can be opened the call returns
 * CLR_CODEC_MISSING, shows nothing and changes nothing. */
QUV_API ClrStatus Quv_ClrDlg(int32_t kind, void* parent, ClrHandle** handle, ClrParams* params);
/* As Quv_ClrDlg with a narrow record, converted back to UTF-8 on success. */
QUV_API ClrStatus Quv_ClrDlgA(int32_t kind, void* parent, ClrHandle** handle, ClrParamsA* params);

/* The module-loading entry: forwards to the base library's loader hook with
 * its own address in place of the first argument. On Linux there is nothing
 * to load and the hook answers CLR_SUCCESS. The library never calls it. */
QUV_API ClrStatus QUV_Load(void* caller, void* first, void* second, void* third, uint32_t reserved);

QUV_EXTERN_C_END

#endif
