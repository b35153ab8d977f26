#include "platform/linux/LinuxDesktop.h"

#include "core/Sentences.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/DBusSession.h"
#include "platform/linux/GioApps.h"
#include "platform/linux/GioRemoteFiles.h"
#include "platform/linux/LibsecretStore.h"
#include "platform/linux/LocalSocketInstance.h"
#include "platform/linux/QtClipboard.h"
#include "platform/linux/QtMicrophone.h"
#include "platform/linux/WaylandDesktop.h"
#include "platform/linux/X11KeySource.h"
#include "platform/linux/X11Typist.h"
#include "platform/linux/XdgAutostart.h"

namespace pelix::platform {

LinuxDesktop::LinuxDesktop() = default;
LinuxDesktop::~LinuxDesktop() = default;

Microphone& LinuxDesktop::microphone() {
    if (!microphone_) microphone_ = std::make_unique<QtMicrophone>();
    return *microphone_;
}

SecretStore& LinuxDesktop::secrets() {
    if (!secrets_) secrets_ = std::make_unique<LibsecretStore>();
    return *secrets_;
}

Autostart& LinuxDesktop::autostart() {
    if (!autostart_) autostart_ = std::make_unique<XdgAutostart>();
    return *autostart_;
}

RemoteFiles& LinuxDesktop::remoteFiles() {
    if (!remoteFiles_) remoteFiles_ = std::make_unique<GioRemoteFiles>();
    return *remoteFiles_;
}

std::unique_ptr<SingleInstance> LinuxDesktop::singleInstance(const QString& dataDir) {
    return std::make_unique<LocalSocketInstance>(LocalSocketInstance::socketName(dataDir));
}

Accessibility& LinuxDesktop::accessibility() {
    return atspi();
}

AtspiAccessibility& LinuxDesktop::atspi() {
    if (!accessibility_) accessibility_ = std::make_unique<AtspiAccessibility>();
    return *accessibility_;
}

Session& LinuxDesktop::session() {
    if (!session_) session_ = std::make_unique<DBusSession>();
    return *session_;
}

bool LinuxDesktop::microphonePresent() const {
    return QtMicrophone::present();
}

struct X11Desktop::Parts {
    std::unique_ptr<X11KeySource> keys;
    std::unique_ptr<X11Typist> typist;
    std::unique_ptr<QtClipboard> clipboard;
};

X11Desktop::X11Desktop(const DesktopOptions& options)
    : clock_(options.clock), cacheDir_(options.cacheDir), parts_(std::make_unique<Parts>()) {}

X11Desktop::~X11Desktop() {
    // The typist gives its borrowed key codes back while the display is still there.
    parts_.reset();
}

KeySource& X11Desktop::keys() {
    if (!parts_->keys) parts_->keys = std::make_unique<X11KeySource>(clock_);
    return *parts_->keys;
}

Typist& X11Desktop::typist() {
    if (!parts_->typist) {
        parts_->typist = std::make_unique<X11Typist>(cacheDir_ + "/borrowed-keys");
        // The key source must not read the typing as the user's keys: they would end a held
        // Ctrl. X server times are whole milliseconds and read back rounded: a little margin
        // covers the last of the typing's own events.
        parts_->typist->setInjected([this] { keys().ignoreUntil(clock_.uptime() + 0.005); });
    }
    return *parts_->typist;
}

Clipboard& X11Desktop::clipboard() {
    if (!parts_->clipboard) parts_->clipboard = std::make_unique<QtClipboard>();
    return *parts_->clipboard;
}

Apps& LinuxDesktop::apps() {
    if (!apps_) apps_ = std::make_unique<GioApps>(typist());
    return *apps_;
}

namespace {

bool waylandSession() {
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland");
}

}  // namespace

bool X11Desktop::keysHeard() {
    // Under Wayland, X11 clients see only the keys typed into other X11 clients.
    return parts_->keys && parts_->keys->listening() && !waylandSession();
}

Probes X11Desktop::probe() {
    const X11KeySource::Support support = X11KeySource::probe();
    const bool wayland = waylandSession();
    Probes probes;
    probes.session = wayland           ? QStringLiteral("wayland")
                     : support.display ? QStringLiteral("x11")
                                       : QStringLiteral("none");
    probes.keysSeen = support.xinput2 && keysHeard();
    probes.typing = support.xtest;
    if (support.xtest) probes.typingRoute = TypingRoute::xtest;
    probes.microphone = microphonePresent();
    return probes;
}

std::optional<QString> X11Desktop::displayProblem() {
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) return std::nullopt;
    const QString display = qEnvironmentVariable("DISPLAY");
    if (display.isEmpty()) {
        if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) return std::nullopt;
        return core::sentences::kNoDisplaySet;
    }
    if (!X11KeySource::probe().display) {
        return core::sentences::displayNotAnswering(display);
    }
    return std::nullopt;
}

std::unique_ptr<Desktop> makeDesktop(const DesktopOptions& options) {
    QString session = options.session;
    if (session.isEmpty()) {
        session = qEnvironmentVariable("XDG_SESSION_TYPE");
        if (session != QLatin1String("wayland") && session != QLatin1String("x11")) {
            session = qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ? QStringLiteral("x11")
                                                                     : QStringLiteral("wayland");
        }
    }
    if (session == QLatin1String("wayland")) return std::make_unique<WaylandDesktop>(options);
    return std::make_unique<X11Desktop>(options);
}

}  // namespace pelix::platform
