#include "platform/linux/WaylandDesktop.h"

#include "core/Log.h"

#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/EvdevKeySource.h"
#include "platform/linux/FakeInputTypist.h"
#include "platform/linux/PortalKeySource.h"
#include "platform/linux/PortalTypist.h"
#include "platform/linux/QtClipboard.h"
#include "platform/linux/WaylandClipboard.h"
#include "platform/linux/WaylandOverlay.h"
#include "platform/linux/WaylandSession.h"
#include "platform/linux/WaylandTypist.h"

#include <QDBusConnectionInterface>

namespace pelix::platform {

namespace {

// Types nothing and knows no window in front: dictation then hands its text over otherwise.
class NoTypist final : public Typist {
public:
    bool canType() const override { return false; }
    std::optional<FrontWindow> frontWindow() const override { return std::nullopt; }
    void type(const QString&) override { ++undelivered_; }
    void press(Key, bool, int) override { ++undelivered_; }
    void pause(std::chrono::microseconds) override {}
    quint64 undelivered() const override { return undelivered_; }

private:
    quint64 undelivered_ = 0;
};

}  // namespace

struct WaylandDesktop::Parts {
    bool connected = false;  // a connection was tried
    std::unique_ptr<WaylandSession> session;
    std::unique_ptr<KeySource> keys;
    std::unique_ptr<Typist> typist;
    std::unique_ptr<Clipboard> clipboard;
    WaylandClipboard* waylandClipboard = nullptr;  // the clipboard, when through data control
    std::unique_ptr<WaylandOverlay> overlay;
    NoTypist none;

    WaylandSession* connect(const QString& display) {
        if (!connected) {
            connected = true;
            session = WaylandSession::connect(display);
        }
        return session.get();
    }
};

WaylandDesktop::WaylandDesktop(const DesktopOptions& options)
    : clock_(options.clock),
      cacheDir_(options.cacheDir),
      display_(options.waylandDisplay),
      inputFolder_(options.inputFolder.isEmpty() ? QStringLiteral("/dev/input")
                                                 : options.inputFolder),
      parts_(std::make_unique<Parts>()) {}

WaylandDesktop::~WaylandDesktop() {
    // Everything that speaks through the connection goes before it; the typist's late work on
    // the clipboard goes with the clipboard.
    parts_->overlay.reset();
    parts_->clipboard.reset();
    parts_->typist.reset();
    parts_.reset();
}

KeySource& WaylandDesktop::keys() {
    if (!parts_->keys) {
        const EvdevKeySource::Devices devices = EvdevKeySource::devicesIn(inputFolder_);
        // Keyboards this user may not read leave the desktop's shortcuts, where it has the
        // portal.
        if (EvdevKeySource::probe(devices).readable == 0 &&
            PortalKeySource::offered(QDBusConnection::sessionBus())) {
            parts_->keys = std::make_unique<PortalKeySource>(QDBusConnection::sessionBus(), clock_);
        } else {
            parts_->keys = std::make_unique<EvdevKeySource>(clock_, devices);
        }
    }
    return *parts_->keys;
}

Typist& WaylandDesktop::typist() {
    if (!parts_->typist) {
        WaylandSession* session = parts_->connect(display_);
        const WaylandSession::Offers offers =
            session ? session->offers() : WaylandSession::Offers{};
        if (offers.virtualKeyboard) {
            parts_->typist = std::make_unique<WaylandTypist>(*session);
            core::logLine("typing", "through the compositor's virtual keyboard");
        } else if (offers.fakeInput) {
            clipboard();
            parts_->typist = std::make_unique<FakeInputTypist>(*session, parts_->waylandClipboard,
                                                               focusedApplication());
            core::logLine("typing", "through KDE's fake input");
        } else if (PortalTypist::offered(QDBusConnection::sessionBus())) {
            parts_->typist = std::make_unique<PortalTypist>(QDBusConnection::sessionBus(),
                                                            cacheDir_ + "/remote-desktop-token",
                                                            focusedApplication());
        } else {
            core::logLine("typing", "not offered by this desktop");
            return parts_->none;
        }
    }
    return *parts_->typist;
}

std::function<std::optional<FrontWindow>()> WaylandDesktop::focusedApplication() {
    // Where the compositor names no window in front (KWin, Mutter), the accessibility bus names
    // the application; following it from now on has the answer at hand when typing starts.
    AtspiAccessibility& atspi = this->atspi();
    atspi.focusedApplication();
    return [&atspi] { return atspi.focusedApplication(); };
}

Clipboard& WaylandDesktop::clipboard() {
    if (!parts_->clipboard) {
        WaylandSession* session = parts_->connect(display_);
        if (session && session->offers().dataControl) {
            auto clipboard = std::make_unique<WaylandClipboard>(*session);
            parts_->waylandClipboard = clipboard.get();
            parts_->clipboard = std::move(clipboard);
        } else {
            parts_->clipboard = std::make_unique<QtClipboard>();
        }
    }
    return *parts_->clipboard;
}

Overlay* WaylandDesktop::overlay() {
    if (!parts_->overlay) {
        WaylandSession* session = parts_->connect(display_);
        if (!session || !session->offers().layerShell) return nullptr;
        parts_->overlay = std::make_unique<WaylandOverlay>(*session);
    }
    return parts_->overlay.get();
}

bool WaylandDesktop::keysHeard() {
    return parts_->keys && parts_->keys->listening();
}

Probes WaylandDesktop::probe() {
    Probes probes;
    probes.session = QStringLiteral("wayland");
    const EvdevKeySource::Access access =
        EvdevKeySource::probe(EvdevKeySource::devicesIn(inputFolder_));
    probes.inputDevices = access.found;
    probes.inputReadable = access.readable;
    probes.keysSeen = keysHeard() || (!parts_->keys && access.readable > 0);
    if (WaylandSession* session = parts_->connect(display_)) {
        const WaylandSession::Offers offers = session->offers();
        probes.typingRoute = offers.virtualKeyboard ? TypingRoute::virtualKeyboard
                             : offers.fakeInput     ? TypingRoute::fakeInput
                                                    : TypingRoute::none;
        probes.typing = probes.typingRoute != TypingRoute::none;
        probes.pasting = probes.typing && offers.dataControl;
        probes.frontKnown = offers.foreignToplevel;
    }
    if (probes.typingRoute == TypingRoute::none &&
        PortalTypist::offered(QDBusConnection::sessionBus())) {
        probes.typingRoute = TypingRoute::portal;
        probes.typing = true;
    }
    // The typists of KWin and GNOME ask the accessibility bus (started on demand).
    if (!probes.frontKnown && (probes.typingRoute == TypingRoute::fakeInput ||
                               probes.typingRoute == TypingRoute::portal)) {
        QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
        probes.frontByAccessibility =
            bus &&
            (bus->isServiceRegistered(QStringLiteral("org.a11y.Bus")).value() ||
             bus->activatableServiceNames().value().contains(QStringLiteral("org.a11y.Bus")));
    }
    probes.keysByShortcuts = dynamic_cast<PortalKeySource*>(parts_->keys.get()) != nullptr;
    probes.microphone = microphonePresent();
    return probes;
}

}  // namespace pelix::platform
