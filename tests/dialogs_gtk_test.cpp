// The real dialogs: each form opened through the shared library under a
// private Xvfb server, driven with GTK's own signals, photographed, and
// closed with OK; the record and handle handed back are checked. Skipped
// where Xvfb cannot start.
#include <quvclr/quvclr.h>

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class Xvfb {
public:
    Xvfb() {
        const int display = 90 + getpid() % 900;
        std::string name = ":";
        name += std::to_string(display);
        std::string socketName = "X";
        socketName += std::to_string(display);
        const fs::path socket = fs::path("/tmp/.X11-unix") / socketName;
        pid_ = fork();
        if (pid_ == 0) {
            execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp", nullptr);
            _exit(127);
        }
        for (int i = 0; pid_ > 0 && i < 100 && !ready_; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            ready_ = fs::exists(socket) && waitpid(pid_, nullptr, WNOHANG) == 0;
        }
        if (ready_) setenv("DISPLAY", name.c_str(), 1);
    }
    ~Xvfb() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    bool ready() const { return ready_; }

private:
    pid_t pid_ = -1;
    bool ready_ = false;
};

GtkWidget* findNamed(GtkWidget* root, const std::string& name) {
    if (name == gtk_widget_get_name(root)) return root;
    if (!GTK_IS_CONTAINER(root)) return nullptr;
    GtkWidget* found = nullptr;
    GList* children = gtk_container_get_children(GTK_CONTAINER(root));
    for (GList* c = children; c && !found; c = c->next) found = findNamed(GTK_WIDGET(c->data), name);
    g_list_free(children);
    return found;
}

GtkWidget* openDialog() {
    GtkWidget* dialog = nullptr;
    GList* windows = gtk_window_list_toplevels();
    for (GList* w = windows; w; w = w->next)
        if (GTK_IS_DIALOG(w->data) && gtk_widget_get_visible(GTK_WIDGET(w->data))) dialog = GTK_WIDGET(w->data);
    g_list_free(windows);
    return dialog;
}

// One form's script: set the controls, then (a moment later, once drawn)
// check what is enabled, photograph it and press OK.
struct Drive {
    int kind;
    void (*act)(GtkWidget* dialog);
    std::vector<std::pair<int, bool>> enabled;
    std::string shot;
    std::string failure;
    bool done = false;
};

GtkWidget* control(GtkWidget* dialog, int id) {
    std::string name = "ctl-";
    name += std::to_string(id);
    return findNamed(dialog, name);
}

gboolean finish(gpointer data) {
    auto& d = *static_cast<Drive*>(data);
    GtkWidget* dialog = openDialog();
    for (auto [id, on] : d.enabled) {
        GtkWidget* w = control(dialog, id);
        if (!w || gtk_widget_get_sensitive(w) != on) d.failure += "control " + std::to_string(id) + " ";
    }
    GdkWindow* window = gtk_widget_get_window(dialog);
    GdkPixbuf* shot = gdk_pixbuf_get_from_window(window, 0, 0, gdk_window_get_width(window), gdk_window_get_height(window));
    if (shot) {
        gdk_pixbuf_save(shot, d.shot.c_str(), "png", nullptr, nullptr);
        g_object_unref(shot);
    }
    gtk_button_clicked(GTK_BUTTON(control(dialog, 1)));
    d.done = true;
    return G_SOURCE_REMOVE;
}

gboolean act(gpointer data) {
    auto& d = *static_cast<Drive*>(data);
    GtkWidget* dialog = openDialog();
    if (!dialog) return G_SOURCE_CONTINUE;
    d.act(dialog);
    g_timeout_add(700, finish, data);
    return G_SOURCE_REMOVE;
}

void select(GtkWidget* dialog, int id, int item) { gtk_combo_box_set_active(GTK_COMBO_BOX(control(dialog, id)), item); }
void check(GtkWidget* dialog, int id) { gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(control(dialog, id)), TRUE); }

TEST(DialogsUnderXvfb, EachFormIsDrivenToOkAndHandsBackTheChoice) {
    Xvfb server;
    if (!server.ready()) GTEST_SKIP() << "Xvfb could not start here; the real dialogs are not tested";
    ASSERT_TRUE(gtk_init_check(nullptr, nullptr));
    fs::create_directories(QUVCLR_SCREENSHOT_DIR);

    // Kind 1: ICC profiling, D65, BGR order: the profiles and the GCR off,
    // the white list on, its x and y off.
    Drive cmyk{1, [](GtkWidget* d) { select(d, 116, 1); select(d, 123, 3); check(d, 1001); },
               {{117, false}, {120, false}, {121, false}, {123, true}, {124, false}, {126, false}, {1002, true}},
               std::string(QUVCLR_SCREENSHOT_DIR) + "/dialog-cmyk.png", {}};
    g_timeout_add(100, act, &cmyk);
    ClrWhitePoint white{};
    ClrCmykParams cmykParams{};
    ClrParams params;
    std::memset(&params, 0, sizeof params);
    params.whitePoint = &white;
    params.cmykParams = &cmykParams;
    ClrHandle* handle = nullptr;
    EXPECT_EQ(Quv_ClrDlg(CLR_DIALOG_CMYK, nullptr, &handle, &params), CLR_SUCCESS);
    EXPECT_TRUE(cmyk.done);
    EXPECT_EQ(cmyk.failure, "");
    EXPECT_EQ(params.activeMethod, CLR_METHOD_ICC);
    EXPECT_EQ(params.methodMask, CLR_METHOD_ICC);
    EXPECT_EQ(white.code, 65u);
    EXPECT_EQ(cmykParams.gcrLevel, 250);
    EXPECT_EQ(Quv_ClrIsValid(handle), CLR_SUCCESS);
    const uint8_t bgr[3] = {0, 0, 255};  // red, given B first
    uint8_t ink[4];
    EXPECT_EQ(Quv_ClrConvert(handle, bgr, ink, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_LT(ink[0], 64) << "red takes little cyan: the handle reads B first";
    EXPECT_GT(ink[1], 128);
    Quv_ClrFree(handle);

    // Kind 2 through the narrow twin: custom emulation tables with "CIELab
    // To RGB" shows the RGB table and hides the Lab one; then ICC profiling
    // with the custom white point, whose x and y come on.
    Drive lab{2,
              [](GtkWidget* d) {
                  select(d, 116, 4);
                  check(d, 135);
              },
              {{130, false}, {131, false}, {132, true}, {133, true}, {134, true}, {123, false}, {117, false}},
              std::string(QUVCLR_SCREENSHOT_DIR) + "/dialog-lab.png", {}};
    g_timeout_add(100, act, &lab);
    ClrParamsA narrow;
    std::memset(&narrow, 0, sizeof narrow);
    narrow.whitePoint = &white;
    handle = nullptr;
    EXPECT_EQ(Quv_ClrDlgA(CLR_DIALOG_LAB, nullptr, &handle, &narrow), CLR_FILE_NOT_FOUND)
        << "custom tables without a table file";
    EXPECT_TRUE(lab.done);
    EXPECT_EQ(lab.failure, "");
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(narrow.activeMethod, 0u) << "the narrow record is written back on success only";
    EXPECT_EQ(narrow.whitePoint->code, 50u) << "the white point record itself is the caller's, written through";
}

}  // namespace
