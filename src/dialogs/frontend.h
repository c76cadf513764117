/* The boundary between the dialogs' logic (in the library) and a toolkit
 * front end (a module loaded at run time). Plain C: the two sides are built
 * separately. The front end shows the form, reports each user action as an
 * event and asks the logic what to show and enable. */
#ifndef QUVCLR_DIALOGS_FRONTEND_H
#define QUVCLR_DIALOGS_FRONTEND_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Control identifiers of the two forms. */
enum QuvDialogControl {
    QUV_IDOK = 1,
    QUV_IDCANCEL = 2,
    QUV_CTL_METHOD = 116,
    QUV_CTL_INPUT_PATH = 117,
    QUV_CTL_INPUT_BROWSE = 118,
    QUV_CTL_OUTPUT_PATH = 119,
    QUV_CTL_OUTPUT_BROWSE = 120,
    QUV_CTL_TABLE_PATH = 121,
    QUV_CTL_TABLE_BROWSE = 122,
    QUV_CTL_WHITE = 123,
    QUV_CTL_WHITE_X = 124,
    QUV_CTL_WHITE_Y = 125,
    QUV_CTL_GCR = 126,
    QUV_CTL_GCR_SPIN = 127,
    QUV_CTL_LAB_TABLE_PATH = 130,
    QUV_CTL_LAB_TABLE_BROWSE = 131,
    QUV_CTL_RGB_TABLE_PATH = 132,
    QUV_CTL_RGB_TABLE_BROWSE = 133,
    QUV_CTL_RGB_TO_LAB = 134,
    QUV_CTL_LAB_TO_RGB = 135,
    QUV_CTL_BGR_ORDER = 1001,
    QUV_CTL_SWAP = 1002
};

enum QuvDialogEvent {
    QUV_EVENT_METHOD = 1, /* a: list item */
    QUV_EVENT_WHITE = 2,  /* a: list item */
    QUV_EVENT_CHECK = 3,  /* a: check box, b: 1 checked */
    QUV_EVENT_RADIO = 4,  /* a: radio button */
    QUV_EVENT_FILE = 5,   /* a: "..." button, text: the chosen path (UTF-8) */
    QUV_EVENT_OK = 6,     /* a: method item, b: white item, as the lists show them */
    QUV_EVENT_CANCEL = 7
};

typedef struct QuvDialogHost {
    int32_t kind; /* 1 CMYK, 2 CIELab */
    void* context;
    void (*event)(void* context, int32_t event, int32_t a, int32_t b, const char* text);
    int32_t (*enabled)(void* context, int32_t control);
    /* Check boxes and radios: 1 when checked; lists: the selected item. */
    int32_t (*value)(void* context, int32_t control);
    /* The text an edit shows, UTF-8, into buffer (always terminated). */
    void (*text)(void* context, int32_t control, char* buffer, int32_t capacity);
} QuvDialogHost;

/* Front end results. */
enum { QUV_DIALOG_CANCEL = 0, QUV_DIALOG_OK = 1, QUV_DIALOG_NO_DISPLAY = -1 };

/* The module's one function: shows the form modally over parent (a
 * GtkWindow* or null) and returns one of the results above. */
typedef int32_t (*QuvShowClrDialogFn)(const QuvDialogHost* host, void* parent);
#define QUV_DIALOGS_MODULE "Quv.Dialogs.Gtk"
#define QUV_SHOW_DIALOG_FUNCTION "QuvShowClrDialog"

#ifdef __cplusplus
}
#endif

#endif
