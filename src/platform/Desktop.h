#pragma once

#include "core/Clock.h"

#include <QString>

#include <memory>

namespace pelix::platform {

class Accessibility;
class Apps;
class Autostart;
class Clipboard;
class KeySource;
class Microphone;
class RemoteFiles;
class SecretStore;
class Session;
class SingleInstance;
class Typist;

// What the permission report reads about the session.
struct Probes {
    // The kind of session: "x11", "wayland", or "none" without a display.
    QString session;
    // Whether the key source hears the keys of every application of the session.
    bool keysSeen = false;
    // Whether text can be typed into other applications.
    bool typing = false;
    // Whether the sound server lists a microphone.
    bool microphone = false;
};

// Every service of the desktop the application uses, for the session it runs in. Services are
// made on first use, so a command-line mode that needs only the secret store opens no display.
// Main thread only.
class Desktop {
public:
    virtual ~Desktop() = default;

    virtual KeySource& keys() = 0;
    virtual Typist& typist() = 0;
    virtual Clipboard& clipboard() = 0;
    virtual Microphone& microphone() = 0;
    virtual SecretStore& secrets() = 0;
    virtual Autostart& autostart() = 0;
    // Fetching files from places that are not local (the service itself may be used from any
    // thread).
    virtual RemoteFiles& remoteFiles() = 0;
    // The applications: the one in front, which one opens a link, opening it.
    virtual Apps& apps() = 0;
    // Other applications' interfaces, for where their keyboard focus is.
    virtual Accessibility& accessibility() = 0;
    // The login session: its lock, waking from sleep, the machine's name.
    virtual Session& session() = 0;
    // One running Pelix per user data folder `dataDir`.
    virtual std::unique_ptr<SingleInstance> singleInstance(const QString& dataDir) = 0;

    // Whether the keys of every application of the session are heard now (cheap: for the menu).
    virtual bool keysHeard() = 0;
    // What the permission report reads; also asks the display and the sound server.
    virtual Probes probe() = 0;
};

// What the factory needs to know.
struct DesktopOptions {
    const Clock& clock;
    // Where the typist notes the key codes it borrows.
    QString cacheDir;
};

// The desktop of this session, with the implementations that serve it.
std::unique_ptr<Desktop> makeDesktop(const DesktopOptions& options);

}  // namespace pelix::platform
