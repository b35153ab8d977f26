#pragma once

#include "core/Clock.h"

#include <QString>

#include <memory>
#include <optional>

namespace pelix::platform {

class Accessibility;
class Apps;
class Autostart;
class Clipboard;
class KeySource;
class Microphone;
class Overlay;
class RemoteFiles;
class SecretStore;
class Session;
class SingleInstance;
class Typist;

// How text is typed into other applications.
enum class TypingRoute {
    none,
    xtest,            // X11
    virtualKeyboard,  // the compositor's virtual keyboard (wlroots compositors)
    fakeInput,        // KWin's fake input
    portal,           // the desktop portal's RemoteDesktop
};

// What the permission report reads about the session.
struct Probes {
    // The kind of session: "x11", "wayland", or "none" without a display.
    QString session;
    // Whether the key source hears the keys of every application of the session.
    bool keysSeen = false;
    // Whether text can be typed into other applications.
    bool typing = false;
    TypingRoute typingRoute = TypingRoute::none;
    // Whether the sound server lists a microphone.
    bool microphone = false;

    // A Wayland session's keys come from the input devices: how many there are and how many
    // this user may read (the "input" group).
    int inputDevices = 0;
    int inputReadable = 0;
    // Whether the gestures come from the desktop's shortcuts (the shortcuts portal) instead.
    bool keysByShortcuts = false;
    // Whether the clipboard can be set and pasted from while another application has the focus.
    bool pasting = false;
    // Whether the application in front is known.
    bool frontKnown = false;
    // … through the accessibility bus, where the compositor keeps its window list to itself.
    bool frontByAccessibility = false;
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
    // Where the status line goes on a desktop whose windows could take the focus; none where the
    // status line's own window is fine.
    virtual Overlay* overlay() = 0;
    // One running Pelix per user data folder `dataDir`.
    virtual std::unique_ptr<SingleInstance> singleInstance(const QString& dataDir) = 0;

    // Whether the keys of every application of the session are heard now (cheap: for the menu).
    virtual bool keysHeard() = 0;
    // What the permission report reads; also asks the display and the sound server.
    virtual Probes probe() = 0;
    // Why no window can be opened in this session, as words that end a sentence, asked before
    // the Qt application is made (Qt ends the process when the display it is told to use does
    // not answer); none when windows can be opened.
    virtual std::optional<QString> displayProblem() { return std::nullopt; }
};

// What the factory needs to know.
struct DesktopOptions {
    const core::Clock& clock;
    // Where the typist notes the key codes it borrows.
    QString cacheDir;
    // The kind of session to serve, "x11" or "wayland"; empty asks the environment
    // ($XDG_SESSION_TYPE, else $WAYLAND_DISPLAY, else X11).
    QString session = {};
    // The Wayland display; empty means $WAYLAND_DISPLAY.
    QString waylandDisplay = {};
    // The folder of the input devices a Wayland session's keys come from; empty means
    // /dev/input.
    QString inputFolder = {};
};

// The desktop of this session, with the implementations that serve it.
std::unique_ptr<Desktop> makeDesktop(const DesktopOptions& options);

}  // namespace pelix::platform
