#include "platform/linux/X11KeySource.h"

#include "core/Sentences.h"

#include <QSocketNotifier>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

// Xlib names its int result type with a macro that hides pelix::Status.
#undef Status

namespace pelix::platform {

struct X11KeySource::Connection {
    Display* display = nullptr;
    int opcode = 0;    // XInput
    int xkbEvent = 0;  // first event code of XKB
    ~Connection() {
        if (display) XCloseDisplay(display);
    }
};

namespace {

bool hasXInput2(Display* display, int* opcode) {
    int event = 0, error = 0;
    if (!XQueryExtension(display, "XInputExtension", opcode, &event, &error)) return false;
    int major = 2, minor = 0;
    return XIQueryVersion(display, &major, &minor) == Success;
}

bool capsLocked(Display* display) {
    XkbStateRec state{};
    if (XkbGetState(display, XkbUseCoreKbd, &state) != Success) return false;
    return state.locked_mods & LockMask;
}

}  // namespace

X11KeySource::X11KeySource(const core::Clock& clock) : clock_(clock) {}

X11KeySource::~X11KeySource() {
    notifier_.reset();
    x_.reset();
}

X11KeySource::Support X11KeySource::probe() {
    Support support;
    Display* display = XOpenDisplay(nullptr);
    if (!display) return support;
    support.display = true;
    int opcode = 0;
    support.xinput2 = hasXInput2(display, &opcode);
    int event = 0, error = 0, major = 0, minor = 0;
    support.xtest = XTestQueryExtension(display, &event, &error, &major, &minor);
    XCloseDisplay(display);
    return support;
}

Status X11KeySource::start(Handlers handlers) {
    if (listening()) return {};
    auto x = std::make_unique<Connection>();
    x->display = XOpenDisplay(nullptr);
    if (!x->display) {
        return fail(1, core::sentences::kNoXDisplay);
    }
    if (!hasXInput2(x->display, &x->opcode)) {
        return fail(2, core::sentences::kNoXInput2);
    }
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawKeyPress);
    XISetMask(bits, XI_RawKeyRelease);
    XISetMask(bits, XI_RawButtonPress);
    XIEventMask mask{XIAllMasterDevices, sizeof(bits), bits};
    XISelectEvents(x->display, DefaultRootWindow(x->display), &mask, 1);
    // Caps Lock's state changes after its key event has been delivered raw: follow the lock
    // itself.
    int xkbOpcode = 0, xkbError = 0, major = XkbMajorVersion, minor = XkbMinorVersion;
    if (XkbQueryExtension(x->display, &xkbOpcode, &x->xkbEvent, &xkbError, &major, &minor)) {
        XkbSelectEventDetails(x->display, XkbUseCoreKbd, XkbStateNotify, XkbModifierLockMask,
                              XkbModifierLockMask);
    }
    // Once start returns, the server sends the keys: a key pressed right after is heard.
    XSync(x->display, False);

    handlers_ = std::move(handlers);
    tracker_.reset();
    tracker_.setCapsLocked(capsLocked(x->display));
    x_ = std::move(x);
    notifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(x_->display), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { drain(); });
    return {};
}

void X11KeySource::drain() {
    Display* display = x_->display;
    while (XPending(display)) {
        XEvent event;
        XNextEvent(display, &event);
        if (x_->xkbEvent && event.type == x_->xkbEvent) {
            const auto& xkb = reinterpret_cast<const XkbEvent&>(event);
            if (xkb.any.xkb_type != XkbStateNotify) continue;
            const bool locked = xkb.state.locked_mods & LockMask;
            // Num Lock's lock is no news.
            if (locked == tracker_.capsLocked()) continue;
            const Mods mods = tracker_.setCapsLocked(locked);
            const double uptime =
                serverTimeToUptime(static_cast<std::uint32_t>(xkb.state.time), clock_.uptime());
            if (uptime > ignoreUntil_ && handlers_.modifiersChanged)
                handlers_.modifiersChanged(mods, uptime);
            continue;
        }
        XGenericEventCookie* cookie = &event.xcookie;
        if (cookie->type != GenericEvent || cookie->extension != x_->opcode) continue;
        if (!XGetEventData(display, cookie)) continue;
        const auto* raw = static_cast<const XIRawEvent*>(cookie->data);
        const double uptime =
            serverTimeToUptime(static_cast<std::uint32_t>(raw->time), clock_.uptime());
        const bool ours = uptime <= ignoreUntil_;
        const int evtype = cookie->evtype;
        const int detail = raw->detail;
        XFreeEventData(display, cookie);

        if (evtype == XI_RawButtonPress) {
            // Buttons 4 to 7 are the wheel: scrolling is not a click.
            if (detail >= 4 && detail <= 7) continue;
            if (!ours && handlers_.otherInput) handlers_.otherInput(OtherInput{false, 0, uptime});
            continue;
        }
        const bool down = evtype == XI_RawKeyPress;
        const auto keysym =
            static_cast<std::uint32_t>(XkbKeycodeToKeysym(display, KeyCode(detail), 0, 0));
        const KeyRole role = roleOfKeysym(keysym);
        if (role == KeyRole::ignored || role == KeyRole::capsLock) continue;
        if (role == KeyRole::plain) {
            if (down && !ours && handlers_.otherInput) {
                handlers_.otherInput(OtherInput{true, keysym, uptime});
            }
            continue;
        }
        const Mods mods = tracker_.change(detail, role, down);
        if (!ours && handlers_.modifiersChanged) handlers_.modifiersChanged(mods, uptime);
    }
}

}  // namespace pelix::platform
