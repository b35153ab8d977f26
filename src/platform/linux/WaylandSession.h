#pragma once

#include <QString>

#include <memory>
#include <optional>
#include <vector>

class QSocketNotifier;
struct wl_compositor;
struct wl_display;
struct wl_registry;
struct wl_seat;
struct wl_shm;
struct zwlr_data_control_manager_v1;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_layer_shell_v1;
struct zwp_virtual_keyboard_manager_v1;
struct org_kde_kwin_fake_input;

namespace pelix::platform {

// A connection of Pelix's own to the Wayland compositor, apart from the one Qt holds for the
// windows, with the globals the desktop pieces use. Its events are read on the thread that made
// it, through a socket notifier; everything that uses it runs there too.
//
// It also follows the compositor's list of windows (the foreign-toplevel protocol) to know the
// application in front.
class WaylandSession {
public:
    // Connects to `display`: a socket name in $XDG_RUNTIME_DIR or an absolute path; empty means
    // $WAYLAND_DISPLAY. None when no compositor answers.
    static std::unique_ptr<WaylandSession> connect(const QString& display = {});
    ~WaylandSession();
    WaylandSession(const WaylandSession&) = delete;
    WaylandSession& operator=(const WaylandSession&) = delete;

    // What the compositor offers of the protocols Pelix uses.
    struct Offers {
        bool virtualKeyboard = false;  // typing (wlroots compositors)
        bool dataControl = false;      // the clipboard without a focused window (wlroots, KWin)
        bool foreignToplevel = false;  // the application in front (wlroots compositors)
        bool layerShell = false;       // the status line above the windows (wlroots, KWin)
        bool fakeInput = false;        // typing by key codes (KWin, to clients it trusts)
    };
    Offers offers() const;

    // The app id of the window that has the focus, from the compositor's list of windows. None
    // when the compositor keeps its list to itself or no window is active; an empty text when
    // the active window names no app id.
    std::optional<QString> activeAppId() const;

    // Sends what is waiting and waits until the compositor has handled it, handling its answers;
    // false once the connection is broken.
    bool roundtrip();
    void flush();
    // Sends what is waiting and handles what the compositor sends within `timeoutMs`; false once
    // the connection is broken.
    bool waitForEvents(int timeoutMs);
    bool broken() const { return broken_; }

    wl_display* display() const { return display_; }
    wl_seat* seat() const { return seat_; }
    wl_compositor* compositor() const { return compositor_; }
    wl_shm* shm() const { return shm_; }
    zwp_virtual_keyboard_manager_v1* virtualKeyboards() const { return keyboards_; }
    zwlr_data_control_manager_v1* dataControl() const { return dataControl_; }
    zwlr_layer_shell_v1* layerShell() const { return layerShell_; }
    org_kde_kwin_fake_input* fakeInput() const { return fakeInput_; }

    // Listener entry points (C callbacks); not for callers.
    struct Toplevel;
    static void global(void* data, wl_registry* registry, uint32_t name, const char* interface,
                       uint32_t version);
    static void toplevelAdded(void* data, zwlr_foreign_toplevel_manager_v1* manager,
                              zwlr_foreign_toplevel_handle_v1* handle);
    static void toplevelClosed(void* data, zwlr_foreign_toplevel_handle_v1* handle);

private:
    WaylandSession() = default;
    void readEvents();

    wl_display* display_ = nullptr;
    wl_registry* registry_ = nullptr;
    wl_seat* seat_ = nullptr;
    wl_compositor* compositor_ = nullptr;
    wl_shm* shm_ = nullptr;
    zwp_virtual_keyboard_manager_v1* keyboards_ = nullptr;
    zwlr_data_control_manager_v1* dataControl_ = nullptr;
    zwlr_foreign_toplevel_manager_v1* toplevels_ = nullptr;
    zwlr_layer_shell_v1* layerShell_ = nullptr;
    org_kde_kwin_fake_input* fakeInput_ = nullptr;
    std::vector<std::unique_ptr<Toplevel>> windows_;
    std::unique_ptr<QSocketNotifier> notifier_;
    bool broken_ = false;
};

}  // namespace pelix::platform
