#pragma once

#include "platform/Desktop.h"

#include <memory>

namespace pelix::platform {

class GioRemoteFiles;
class AtspiAccessibility;
class DBusSession;
class GioApps;
class LibsecretStore;
class QtMicrophone;
class XdgAutostart;

// The services every Linux session shares: the microphone through the sound server, the Secret
// Service, XDG autostart, GIO for files elsewhere, the local socket between instances, AT-SPI
// and the login session over D-Bus. A session's own desktop adds the keys, the typist, the
// clipboard and the application in front.
class LinuxDesktop : public Desktop {
public:
    LinuxDesktop();
    ~LinuxDesktop() override;

    Microphone& microphone() override;
    SecretStore& secrets() override;
    Autostart& autostart() override;
    RemoteFiles& remoteFiles() override;
    std::unique_ptr<SingleInstance> singleInstance(const QString& dataDir) override;
    // The applications; the one in front is the typist's window in front.
    Apps& apps() override;
    Accessibility& accessibility() override;
    Session& session() override;

protected:
    bool microphonePresent() const;
    AtspiAccessibility& atspi();

private:
    std::unique_ptr<QtMicrophone> microphone_;
    std::unique_ptr<LibsecretStore> secrets_;
    std::unique_ptr<XdgAutostart> autostart_;
    std::unique_ptr<GioRemoteFiles> remoteFiles_;
    std::unique_ptr<GioApps> apps_;
    std::unique_ptr<AtspiAccessibility> accessibility_;
    std::unique_ptr<DBusSession> session_;
};

// An X11 session (Xorg): keys from XInput 2, typing through XTest, the clipboard through Qt.
// In a Wayland session it serves only the X11 clients (Xwayland), which the probes report.
class X11Desktop final : public LinuxDesktop {
public:
    explicit X11Desktop(const DesktopOptions& options);
    ~X11Desktop() override;

    KeySource& keys() override;
    Typist& typist() override;
    Clipboard& clipboard() override;
    Overlay* overlay() override { return nullptr; }
    bool keysHeard() override;
    Probes probe() override;
    std::optional<QString> displayProblem() override;

private:
    struct Parts;
    const core::Clock& clock_;
    QString cacheDir_;
    std::unique_ptr<Parts> parts_;
};

}  // namespace pelix::platform
