#pragma once

#include "platform/Typist.h"
#include "platform/linux/LinuxDesktop.h"

#include <functional>
#include <memory>
#include <optional>

namespace pelix::platform {

// A Wayland session. The keys come from the input devices (the compositor tells no client about
// other clients' keys); typing, the clipboard, the application in front and the status line go
// through the compositor's protocols where it offers them (wlroots compositors offer all four,
// KWin the clipboard and the status line, GNOME none). KWin types through its fake input, to
// a program its desktop entry allows; elsewhere (GNOME) typing goes through the desktop portal's
// RemoteDesktop. Without any of them nothing is typed and the window in front is
// none, so dictated text goes to the status line; without data control the clipboard is Qt's, which
// the compositor serves only while a window of Pelix's has the focus.
class WaylandDesktop final : public LinuxDesktop {
public:
    explicit WaylandDesktop(const DesktopOptions& options);
    ~WaylandDesktop() override;

    KeySource& keys() override;
    Typist& typist() override;
    Clipboard& clipboard() override;
    Overlay* overlay() override;
    bool keysHeard() override;
    Probes probe() override;

private:
    // The application in front as the accessibility bus last named it.
    std::function<std::optional<FrontWindow>()> focusedApplication();

    struct Parts;
    const core::Clock& clock_;
    QString cacheDir_;
    QString display_;
    QString inputFolder_;
    std::unique_ptr<Parts> parts_;
};

}  // namespace pelix::platform
