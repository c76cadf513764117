// The GTK 3 front end of the settings dialogs, a module the library loads at
// run time. It only lays the two forms out and reports what the user does;
// the library's logic decides what each action means and what is enabled.
// Every control is named "ctl-<identifier>" so that tests can find it.
#include "dialogs/frontend.h"

#include <gtk/gtk.h>

#include <map>
#include <string>

namespace {

struct Form {
    const QuvDialogHost* host;
    GtkWidget* dialog;
    std::map<int32_t, GtkWidget*> controls;
};

// Mnemonics are written with '&'; GTK writes them with '_'.
std::string mnemonic(const char* text) {
    std::string out;
    for (const char* p = text; *p; ++p) out += *p == '&' ? '_' : *p;
    return out;
}

GtkWidget* label(const char* text, GtkWidget* target = nullptr) {
    GtkWidget* l = gtk_label_new_with_mnemonic(mnemonic(text).c_str());
    gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
    if (target) gtk_label_set_mnemonic_widget(GTK_LABEL(l), target);
    return l;
}

GtkWidget* group(const char* title, GtkWidget** grid) {
    GtkWidget* frame = gtk_frame_new(title);
    *grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(*grid), 6);
    gtk_grid_set_column_spacing(GTK_GRID(*grid), 8);
    gtk_container_set_border_width(GTK_CONTAINER(*grid), 8);
    gtk_container_add(GTK_CONTAINER(frame), *grid);
    return frame;
}

GtkWidget* add(Form& form, int32_t id, GtkWidget* widget) {
    const std::string name = "ctl-" + std::to_string(id);
    gtk_widget_set_name(widget, name.c_str());
    form.controls[id] = widget;
    return widget;
}

void refresh(Form& form) {
    for (auto& [id, widget] : form.controls)
        gtk_widget_set_sensitive(widget, form.host->enabled(form.host->context, id) != 0);
}

void showText(Form& form, int32_t edit) {
    char text[1100];
    form.host->text(form.host->context, edit, text, sizeof text);
    gtk_entry_set_text(GTK_ENTRY(form.controls[edit]), text);
}

void send(Form& form, int32_t event, int32_t a, int32_t b = 0, const char* text = "") {
    form.host->event(form.host->context, event, a, b, text);
    refresh(form);
}

struct Picker {
    int32_t button, edit;
    const char* title;
    bool table;  // TIFF tables, else ICC profiles
};
// The "..." buttons of each kind.
const Picker kCmykPickers[] = {{118, 117, "Open CMYK Profile", false},
                               {120, 119, "Open RGB Profile", false},
                               {122, 121, "Open destination RGB image", true}};
const Picker kLabPickers[] = {{118, 117, "Open LAB Profile", false},
                              {120, 119, "Open RGB Profile", false},
                              {131, 130, "Open destination Lab image", true},
                              {133, 132, "Open destination RGB image", true}};

struct PickerContext {
    Form* form;
    const Picker* picker;
};

void pick(GtkButton*, gpointer data) {
    auto* c = static_cast<PickerContext*>(data);
    Form& form = *c->form;
    GtkWidget* chooser =
        gtk_file_chooser_dialog_new(c->picker->title, GTK_WINDOW(form.dialog), GTK_FILE_CHOOSER_ACTION_OPEN, "_Cancel",
                                    GTK_RESPONSE_CANCEL, "_Open", GTK_RESPONSE_ACCEPT, nullptr);
    GtkFileFilter* filter = gtk_file_filter_new();
    // File names are case-sensitive here: the lower-case extension too.
    gtk_file_filter_set_name(filter, c->picker->table ? "TIFF Files (*.TIF)" : "ICC Files (*.ICM)");
    gtk_file_filter_add_pattern(filter, c->picker->table ? "*.TIF" : "*.ICM");
    gtk_file_filter_add_pattern(filter, c->picker->table ? "*.tif" : "*.icm");
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
    if (gtk_dialog_run(GTK_DIALOG(chooser)) == GTK_RESPONSE_ACCEPT) {
        if (gchar* file = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(chooser))) {
            send(form, QUV_EVENT_FILE, c->picker->button, 0, file);
            showText(form, c->picker->edit);
            g_free(file);
        }
    }
    gtk_widget_destroy(chooser);
}

GtkWidget* combo(Form& form, int32_t id, std::initializer_list<const char*> items) {
    GtkWidget* box = add(form, id, gtk_combo_box_text_new());
    for (const char* item : items) gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(box), item);
    gtk_combo_box_set_active(GTK_COMBO_BOX(box), form.host->value(form.host->context, id));
    return box;
}

GtkWidget* entry(Form& form, int32_t id, int maxLength = 0) {
    GtkWidget* e = add(form, id, gtk_entry_new());
    if (maxLength) {
        gtk_entry_set_max_length(GTK_ENTRY(e), maxLength);
        gtk_entry_set_width_chars(GTK_ENTRY(e), maxLength + 1);
    } else {
        gtk_widget_set_hexpand(e, TRUE);
        gtk_entry_set_width_chars(GTK_ENTRY(e), 36);
    }
    showText(form, id);
    return e;
}

// A path row: label, edit and "..." button.
void pathRow(Form& form, GtkWidget* grid, int row, const char* text, int32_t edit, int32_t button) {
    GtkWidget* e = entry(form, edit);
    gtk_editable_set_editable(GTK_EDITABLE(e), FALSE);
    gtk_grid_attach(GTK_GRID(grid), label(text, e), 0, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), e, 1, row, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), add(form, button, gtk_button_new_with_label("...")), 2, row, 1, 1);
}

GtkWidget* check(Form& form, int32_t id, const char* text) {
    GtkWidget* c = add(form, id, gtk_check_button_new_with_mnemonic(mnemonic(text).c_str()));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(c), form.host->value(form.host->context, id) != 0);
    g_signal_connect(c, "toggled", G_CALLBACK(+[](GtkToggleButton* b, gpointer f) {
                         auto& form = *static_cast<Form*>(f);
                         const int32_t id = std::stoi(gtk_widget_get_name(GTK_WIDGET(b)) + 4);
                         send(form, QUV_EVENT_CHECK, id, gtk_toggle_button_get_active(b));
                     }),
                     &form);
    return c;
}

void build(Form& form) {
    const bool cmyk = form.host->kind == 1;
    GtkWidget* content = gtk_dialog_get_content_area(GTK_DIALOG(form.dialog));
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 10);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 10);
    gtk_container_set_border_width(GTK_CONTAINER(grid), 12);
    gtk_box_pack_start(GTK_BOX(content), grid, TRUE, TRUE, 0);
    int row = 0;

    GtkWidget* method = combo(form, 116, {"Built-in conversion", "ICC profiling", "Custom ICC Profiling",
                                          "Built-in emulation tables", "Custom emulation tables"});
    GtkWidget* methodRow = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_box_pack_start(GTK_BOX(methodRow), label("Conversion &Method", method), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(methodRow), method, TRUE, TRUE, 0);
    gtk_grid_attach(GTK_GRID(grid), methodRow, 0, row++, 2, 1);

    GtkWidget* inner;
    GtkWidget* profiles = group("Custom ICC Profiles", &inner);
    pathRow(form, inner, 0, cmyk ? "&CMYK Profile" : "&Source input profile", 117, 118);
    pathRow(form, inner, 1, cmyk ? "&RGB profile" : "&Destination output profile", 119, 120);
    gtk_grid_attach(GTK_GRID(grid), profiles, 0, row++, 2, 1);

    GtkWidget* tables = group("Emulation tables", &inner);
    if (cmyk) {
        pathRow(form, inner, 0, "&Destination RGB table", 121, 122);
    } else {
        GtkWidget* toLabGrid;
        GtkWidget* toLab = group("RGB To Lab conversion", &toLabGrid);
        GtkWidget* r1 = add(form, 134, gtk_radio_button_new_with_mnemonic(nullptr, mnemonic("&RGB To CIELab").c_str()));
        gtk_grid_attach(GTK_GRID(toLabGrid), r1, 0, 0, 3, 1);
        pathRow(form, toLabGrid, 1, "Destination &CIELab table", 130, 131);
        GtkWidget* toRgbGrid;
        GtkWidget* toRgb = group("Lab To RGB conversion", &toRgbGrid);
        GtkWidget* r2 = add(form, 135, gtk_radio_button_new_with_mnemonic_from_widget(
                                           GTK_RADIO_BUTTON(r1), mnemonic("CIE&Lab To RGB").c_str()));
        gtk_grid_attach(GTK_GRID(toRgbGrid), r2, 0, 0, 3, 1);
        pathRow(form, toRgbGrid, 1, "Destination R&GB table", 132, 133);
        gtk_grid_attach(GTK_GRID(inner), toLab, 0, 0, 1, 1);
        gtk_grid_attach(GTK_GRID(inner), toRgb, 0, 1, 1, 1);
        for (GtkWidget* radio : {r1, r2})
            g_signal_connect(radio, "toggled", G_CALLBACK(+[](GtkToggleButton* b, gpointer f) {
                                 if (!gtk_toggle_button_get_active(b)) return;
                                 const int32_t id = std::stoi(gtk_widget_get_name(GTK_WIDGET(b)) + 4);
                                 send(*static_cast<Form*>(f), QUV_EVENT_RADIO, id);
                             }),
                             &form);
    }
    gtk_grid_attach(GTK_GRID(grid), tables, 0, row++, 2, 1);

    GtkWidget* whiteGrid;
    GtkWidget* white = group(nullptr, &whiteGrid);
    GtkWidget* whiteList =
        combo(form, 123, {"Custom (xyY) point", "D50", "D55", "D65", "D75", "D93"});
    gtk_grid_attach(GTK_GRID(whiteGrid), label("&White point", whiteList), 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(whiteGrid), whiteList, 1, 0, 3, 1);
    GtkWidget* x = entry(form, 124, 8);
    GtkWidget* y = entry(form, 125, 8);
    gtk_grid_attach(GTK_GRID(whiteGrid), label("&x", x), 0, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(whiteGrid), x, 1, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(whiteGrid), label("&y", y), 2, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(whiteGrid), y, 3, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(whiteGrid), label("Y is always 1.0"), 0, 2, 4, 1);
    gtk_grid_attach(GTK_GRID(grid), white, 0, row, cmyk ? 1 : 2, 1);

    if (cmyk) {
        GtkWidget* builtinGrid;
        GtkWidget* builtin = group("Built-in Settings", &builtinGrid);
        // The spin button is both the edit (126) and its spin control (127).
        GtkWidget* gcr = add(form, 126, gtk_spin_button_new_with_range(0, 1000, 1));
        form.controls[127] = gcr;
        gtk_spin_button_set_value(GTK_SPIN_BUTTON(gcr), form.host->value(form.host->context, 126));
        gtk_grid_attach(GTK_GRID(builtinGrid), label("&GCR", gcr), 0, 0, 1, 1);
        gtk_grid_attach(GTK_GRID(builtinGrid), gcr, 1, 0, 1, 1);
        gtk_grid_attach(GTK_GRID(grid), builtin, 1, row, 1, 1);
    }
    ++row;

    GtkWidget* miscGrid;
    GtkWidget* misc = group("Miscellaneous", &miscGrid);
    gtk_grid_attach(GTK_GRID(miscGrid), check(form, 1001, "BGR &Order"), 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(miscGrid), check(form, 1002, cmyk ? "RGB &to CMYK" : "RGB &to LAB"), 1, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), misc, 0, row++, 2, 1);

    g_signal_connect(method, "changed", G_CALLBACK(+[](GtkComboBox* c, gpointer f) {
                         send(*static_cast<Form*>(f), QUV_EVENT_METHOD, gtk_combo_box_get_active(c));
                     }),
                     &form);
    g_signal_connect(whiteList, "changed", G_CALLBACK(+[](GtkComboBox* c, gpointer f) {
                         send(*static_cast<Form*>(f), QUV_EVENT_WHITE, gtk_combo_box_get_active(c));
                     }),
                     &form);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t QuvShowClrDialog(const QuvDialogHost* host, void* parent) {
    if (!host || !gtk_init_check(nullptr, nullptr)) return QUV_DIALOG_NO_DISPLAY;
    Form form{host, nullptr, {}};
    GtkWindow* owner = parent && GTK_IS_WINDOW(parent) ? GTK_WINDOW(parent) : nullptr;
    form.dialog = gtk_dialog_new_with_buttons(host->kind == 1 ? "CMYK color settings" : "CIELab color settings", owner,
                                              GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT), "OK",
                                              GTK_RESPONSE_OK, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_widget_set_name(gtk_dialog_get_widget_for_response(GTK_DIALOG(form.dialog), GTK_RESPONSE_OK), "ctl-1");
    gtk_widget_set_name(gtk_dialog_get_widget_for_response(GTK_DIALOG(form.dialog), GTK_RESPONSE_CANCEL), "ctl-2");
    build(form);

    PickerContext pickers[4];
    const Picker* list = host->kind == 1 ? kCmykPickers : kLabPickers;
    const int count = host->kind == 1 ? 3 : 4;
    for (int i = 0; i < count; ++i) {
        pickers[i] = PickerContext{&form, &list[i]};
        g_signal_connect(form.controls[list[i].button], "clicked", G_CALLBACK(pick), &pickers[i]);
    }
    refresh(form);
    gtk_widget_show_all(form.dialog);

    const gint response = gtk_dialog_run(GTK_DIALOG(form.dialog));
    if (response == GTK_RESPONSE_OK) {
        host->event(host->context, QUV_EVENT_OK, gtk_combo_box_get_active(GTK_COMBO_BOX(form.controls[116])),
                    gtk_combo_box_get_active(GTK_COMBO_BOX(form.controls[123])), "");
    } else {
        host->event(host->context, QUV_EVENT_CANCEL, 0, 0, "");
    }
    gtk_widget_destroy(form.dialog);
    while (gtk_events_pending()) gtk_main_iteration();
    return response == GTK_RESPONSE_OK ? QUV_DIALOG_OK : QUV_DIALOG_CANCEL;
}
