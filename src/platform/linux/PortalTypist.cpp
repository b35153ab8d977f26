#include "platform/linux/PortalTypist.h"

#include "core/Log.h"
#include "core/PrivateFile.h"
#include "platform/linux/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QFile>

#include <xkbcommon/xkbcommon.h>

#include <thread>

namespace pelix::platform {
namespace {

constexpr auto kRemoteDesktop = "org.freedesktop.portal.RemoteDesktop";
constexpr uint kKeyboard = 1;
// The session and its permission outlive Pelix until the user revokes them.
constexpr uint kPersistUntilRevoked = 2;

QDBusMessage call(const QString& method) {
    return QDBusMessage::createMethodCall(kPortal, kPortalPath, kRemoteDesktop, method);
}

}  // namespace

PortalTypist::PortalTypist(QDBusConnection bus, QString tokenFile,
                           std::function<std::optional<FrontWindow>()> fallbackFront)
    : bus_(std::move(bus)),
      tokenFile_(std::move(tokenFile)),
      fallbackFront_(std::move(fallbackFront)) {
    const std::optional<uint> version = portalVersion(bus_, kRemoteDesktop);
    if (!version) {
        state_ = State::absent;
        return;
    }
    version_ = *version;
    start();
}

PortalTypist::~PortalTypist() {
    closePortalSession(bus_, session_);
}

bool PortalTypist::offered(const QDBusConnection& bus) {
    return portalVersion(bus, kRemoteDesktop).has_value();
}

void PortalTypist::request(const QString& method, QVariantList args, QVariantMap options,
                           std::function<void(uint, const QVariantMap&)> then) {
    portalRequest(bus_, this, kRemoteDesktop, method, std::move(args), std::move(options),
                  std::move(then), [this](const QString& error) {
                      core::logLine("typing", "the remote-desktop portal failed: " + error);
                      finish(State::absent);
                  });
}

void PortalTypist::start() {
    state_ = State::starting;
    request("CreateSession", {}, {{"session_handle_token", "pelix_typing"}},
            [this](uint code, const QVariantMap& results) {
                if (code != 0) return finish(State::refused);
                session_ = results.value("session_handle").toString();
                bus_.connect(kPortal, session_, "org.freedesktop.portal.Session", "Closed", this,
                             SLOT(sessionClosed()));
                QVariantMap devices{{"types", QVariant::fromValue(kKeyboard)}};
                if (version_ >= 2) {
                    devices.insert("persist_mode", QVariant::fromValue(kPersistUntilRevoked));
                    QFile saved(tokenFile_);
                    if (saved.open(QIODevice::ReadOnly)) {
                        const QString token = QString::fromUtf8(saved.readAll()).trimmed();
                        if (!token.isEmpty()) devices.insert("restore_token", token);
                    }
                }
                request("SelectDevices", {QVariant::fromValue(QDBusObjectPath(session_))}, devices,
                        [this](uint code, const QVariantMap&) {
                            if (code != 0) return finish(State::refused);
                            request("Start",
                                    {QVariant::fromValue(QDBusObjectPath(session_)), QString()}, {},
                                    [this](uint code, const QVariantMap& results) {
                                        started(code, results);
                                    });
                        });
            });
}

void PortalTypist::started(uint response, const QVariantMap& results) {
    if (response != 0) return finish(State::refused);
    // A token serves once: the next session needs the one that came with this one.
    if (const QString token = results.value("restore_token").toString(); !token.isEmpty()) {
        if (const Status saved = core::writePrivateFile(tokenFile_, token.toUtf8()); !saved) {
            core::logLine("typing", saved.error().message);
        }
    }
    state_ = State::running;
    core::logLine("typing", "through the remote-desktop portal");
    keysym(XKB_KEY_Shift_L, true);
    keysym(XKB_KEY_Shift_L, false);
}

void PortalTypist::finish(State state) {
    if (state_ == State::running || state_ == State::starting) {
        core::logLine("typing", state == State::refused  ? "the remote-desktop portal refused"
                                : state == State::closed ? "the desktop ended the remote session"
                                                         : "no remote-desktop portal");
    }
    state_ = state;
}

void PortalTypist::sessionClosed() {
    session_.clear();
    // A refused session is closed too: the refusal is what the user did.
    if (state_ == State::running || state_ == State::starting) finish(State::closed);
}

bool PortalTypist::canType() const {
    return state_ == State::running;
}

std::optional<FrontWindow> PortalTypist::frontWindow() const {
    if (fallbackFront_) {
        if (std::optional<FrontWindow> front = fallbackFront_()) return front;
    }
    return FrontWindow{};
}

void PortalTypist::keysym(quint32 keysym, bool down) {
    if (state_ != State::running) {
        ++undelivered_;
        return;
    }
    QDBusMessage message = call("NotifyKeyboardKeysym");
    message << QVariant::fromValue(QDBusObjectPath(session_)) << QVariantMap() << int(keysym)
            << uint(down ? 1 : 0);
    // The portal handles calls on threads of its own: one sent before the last was answered can
    // overtake it.
    if (bus_.call(message, QDBus::Block, 2000).type() != QDBusMessage::ReplyMessage) {
        ++undelivered_;
    }
}

void PortalTypist::type(const QString& text) {
    for (char32_t point : text.toStdU32String()) {
        const xkb_keysym_t sym =
            point == U'\n' || point == U'\r' ? XKB_KEY_Return : xkb_utf32_to_keysym(point);
        if (sym == XKB_KEY_NoSymbol) continue;
        keysym(sym, true);
        keysym(sym, false);
    }
}

void PortalTypist::press(Key key, bool control, int times) {
    const xkb_keysym_t sym = key == Key::backspace ? XKB_KEY_BackSpace
                             : key == Key::enter   ? XKB_KEY_Return
                                                   : XKB_KEY_v;
    for (int i = 0; i < times; ++i) {
        if (control) keysym(XKB_KEY_Control_L, true);
        keysym(sym, true);
        keysym(sym, false);
        if (control) keysym(XKB_KEY_Control_L, false);
    }
}

Pacing PortalTypist::pacing() const {
    // A GTK entry took 0.2–0.5 ms a key while nearly empty, 1–3 ms holding 1,000 characters and
    // 2–4 ms holding 3,000 (the more while an accessibility client listens, as Pelix does),
    // while the portal passes a key on every 1.3–3 ms: past a few hundred characters the window
    // falls behind. At every key it also sends its text back to the compositor, which must read
    // that too: KWin and Mutter drop a window whose messages or keys pile up (GTK: "Resource
    // temporarily unavailable", "Lost connection"). So each piece carries at most 64 KB of text
    // sent back and waits about as long as the window works on it; a short text goes at full
    // speed. Without the feedback no portal gives, this lowers the odds rather than ruling it
    // out: on a busy machine a 3,000-character text was still dropped now and then on KWin.
    return {.piece = 100,
            .pause{},
            .perKeyPerHeldByte = std::chrono::nanoseconds(1200),
            .pieceBytes = 64000};
}

void PortalTypist::pause(std::chrono::microseconds duration) {
    std::this_thread::sleep_for(duration);
}

}  // namespace pelix::platform
