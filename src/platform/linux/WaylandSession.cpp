#include "platform/linux/WaylandSession.h"

#include "fake-input-client-protocol.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"
#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
#include "wlr-layer-shell-unstable-v1-client-protocol.h"

#include <QSocketNotifier>

#include <poll.h>
#include <wayland-client.h>

#include <algorithm>
#include <cstring>

namespace pelix::platform {

// One window of the compositor's list. State comes in pieces and holds once "done" arrives.
struct WaylandSession::Toplevel {
    WaylandSession* session = nullptr;
    zwlr_foreign_toplevel_handle_v1* handle = nullptr;
    QString appId, pendingAppId;
    bool active = false, pendingActive = false;
    ~Toplevel() {
        if (handle) zwlr_foreign_toplevel_handle_v1_destroy(handle);
    }
};

namespace {

template <class T>
T* bind(wl_registry* registry, uint32_t name, const wl_interface* interface, uint32_t offered,
        uint32_t wanted) {
    return static_cast<T*>(wl_registry_bind(registry, name, interface, std::min(offered, wanted)));
}

void globalRemoved(void*, wl_registry*, uint32_t) {}

const wl_registry_listener kRegistry = {&WaylandSession::global, &globalRemoved};

using Toplevel = WaylandSession::Toplevel;

void onTitle(void*, zwlr_foreign_toplevel_handle_v1*, const char*) {}
void onAppId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* appId) {
    static_cast<Toplevel*>(data)->pendingAppId = QString::fromUtf8(appId);
}
void onOutput(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
void onState(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
    auto* window = static_cast<Toplevel*>(data);
    window->pendingActive = false;
    const auto* state = static_cast<const uint32_t*>(states->data);
    for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
        if (state[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
            window->pendingActive = true;
    }
}
void onDone(void* data, zwlr_foreign_toplevel_handle_v1*) {
    auto* window = static_cast<Toplevel*>(data);
    window->appId = window->pendingAppId;
    window->active = window->pendingActive;
}
void onParent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}

const zwlr_foreign_toplevel_handle_v1_listener kToplevel = {
    onTitle,  onAppId, onOutput, onOutput, onState, onDone, &WaylandSession::toplevelClosed,
    onParent,
};

void onManagerFinished(void*, zwlr_foreign_toplevel_manager_v1*) {}

const zwlr_foreign_toplevel_manager_v1_listener kToplevels = {&WaylandSession::toplevelAdded,
                                                              onManagerFinished};

}  // namespace

void WaylandSession::global(void* data, wl_registry* registry, uint32_t name, const char* interface,
                            uint32_t version) {
    auto* self = static_cast<WaylandSession*>(data);
    const auto is = [interface](const wl_interface& wanted) {
        return std::strcmp(interface, wanted.name) == 0;
    };
    if (is(wl_seat_interface) && !self->seat_) {
        self->seat_ = bind<wl_seat>(registry, name, &wl_seat_interface, version, 1);
    } else if (is(wl_compositor_interface)) {
        self->compositor_ =
            bind<wl_compositor>(registry, name, &wl_compositor_interface, version, 4);
    } else if (is(wl_shm_interface)) {
        self->shm_ = bind<wl_shm>(registry, name, &wl_shm_interface, version, 1);
    } else if (is(zwp_virtual_keyboard_manager_v1_interface)) {
        self->keyboards_ = bind<zwp_virtual_keyboard_manager_v1>(
            registry, name, &zwp_virtual_keyboard_manager_v1_interface, version, 1);
    } else if (is(zwlr_data_control_manager_v1_interface)) {
        self->dataControl_ = bind<zwlr_data_control_manager_v1>(
            registry, name, &zwlr_data_control_manager_v1_interface, version, 1);
    } else if (is(zwlr_foreign_toplevel_manager_v1_interface)) {
        self->toplevels_ = bind<zwlr_foreign_toplevel_manager_v1>(
            registry, name, &zwlr_foreign_toplevel_manager_v1_interface, version, 3);
        zwlr_foreign_toplevel_manager_v1_add_listener(self->toplevels_, &kToplevels, self);
    } else if (is(org_kde_kwin_fake_input_interface) && version >= 4) {
        // Keys came with version 4.
        self->fakeInput_ = bind<org_kde_kwin_fake_input>(
            registry, name, &org_kde_kwin_fake_input_interface, version, 4);
    } else if (is(zwlr_layer_shell_v1_interface)) {
        self->layerShell_ =
            bind<zwlr_layer_shell_v1>(registry, name, &zwlr_layer_shell_v1_interface, version, 1);
    }
}

void WaylandSession::toplevelClosed(void* data, zwlr_foreign_toplevel_handle_v1*) {
    // A closed window leaves the list; its object goes with it.
    auto* window = static_cast<Toplevel*>(data);
    std::erase_if(window->session->windows_,
                  [window](const auto& kept) { return kept.get() == window; });
}

void WaylandSession::toplevelAdded(void* data, zwlr_foreign_toplevel_manager_v1*,
                                   zwlr_foreign_toplevel_handle_v1* handle) {
    auto* self = static_cast<WaylandSession*>(data);
    auto window = std::make_unique<Toplevel>();
    window->session = self;
    window->handle = handle;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kToplevel, window.get());
    self->windows_.push_back(std::move(window));
}

std::unique_ptr<WaylandSession> WaylandSession::connect(const QString& display) {
    const QByteArray name = display.toLocal8Bit();
    wl_display* connection = wl_display_connect(name.isEmpty() ? nullptr : name.constData());
    if (!connection) return nullptr;
    std::unique_ptr<WaylandSession> session(new WaylandSession);
    session->display_ = connection;
    session->registry_ = wl_display_get_registry(connection);
    wl_registry_add_listener(session->registry_, &kRegistry, session.get());
    // The globals, then the first state of what they announce (the list of windows).
    if (!session->roundtrip() || !session->roundtrip()) return nullptr;
    session->notifier_ =
        std::make_unique<QSocketNotifier>(wl_display_get_fd(connection), QSocketNotifier::Read);
    WaylandSession* self = session.get();
    QObject::connect(self->notifier_.get(), &QSocketNotifier::activated,
                     [self] { self->readEvents(); });
    return session;
}

WaylandSession::~WaylandSession() {
    notifier_.reset();
    windows_.clear();
    if (toplevels_) zwlr_foreign_toplevel_manager_v1_destroy(toplevels_);
    if (keyboards_) zwp_virtual_keyboard_manager_v1_destroy(keyboards_);
    if (dataControl_) zwlr_data_control_manager_v1_destroy(dataControl_);
    if (layerShell_) zwlr_layer_shell_v1_destroy(layerShell_);
    if (fakeInput_) org_kde_kwin_fake_input_destroy(fakeInput_);
    if (shm_) wl_shm_destroy(shm_);
    if (compositor_) wl_compositor_destroy(compositor_);
    if (seat_) wl_seat_destroy(seat_);
    if (registry_) wl_registry_destroy(registry_);
    if (display_) wl_display_disconnect(display_);
}

WaylandSession::Offers WaylandSession::offers() const {
    return {
        .virtualKeyboard = keyboards_ && seat_,
        .dataControl = dataControl_ && seat_,
        .foreignToplevel = toplevels_ != nullptr,
        .layerShell = layerShell_ && compositor_ && shm_,
        .fakeInput = fakeInput_ != nullptr,
    };
}

std::optional<QString> WaylandSession::activeAppId() const {
    if (!toplevels_) return std::nullopt;
    for (const auto& window : windows_) {
        if (window->active) return window->appId;
    }
    return std::nullopt;
}

bool WaylandSession::roundtrip() {
    if (broken_) return false;
    if (wl_display_roundtrip(display_) < 0) {
        broken_ = true;
        if (notifier_) notifier_->setEnabled(false);
    }
    return !broken_;
}

void WaylandSession::flush() {
    if (!broken_) wl_display_flush(display_);
}

bool WaylandSession::waitForEvents(int timeoutMs) {
    if (broken_) return false;
    while (wl_display_prepare_read(display_) != 0) wl_display_dispatch_pending(display_);
    wl_display_flush(display_);
    pollfd ready{.fd = wl_display_get_fd(display_), .events = POLLIN, .revents = 0};
    if (::poll(&ready, 1, timeoutMs) <= 0) {
        wl_display_cancel_read(display_);
        return true;
    }
    if (wl_display_read_events(display_) < 0 || wl_display_dispatch_pending(display_) < 0) {
        broken_ = true;
        if (notifier_) notifier_->setEnabled(false);
    }
    return !broken_;
}

void WaylandSession::readEvents() {
    while (wl_display_prepare_read(display_) != 0) wl_display_dispatch_pending(display_);
    wl_display_flush(display_);
    if (wl_display_read_events(display_) < 0 || wl_display_dispatch_pending(display_) < 0) {
        broken_ = true;
        notifier_->setEnabled(false);
        return;
    }
    wl_display_flush(display_);
}

}  // namespace pelix::platform
