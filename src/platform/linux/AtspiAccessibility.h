#pragma once

// Roles as the relay's focus check reads them: push buttons and push-button menus are buttons;
// links; menus and menu items; check boxes; radio buttons; page tabs; toggle buttons; combo boxes;
// entry, text, password text and edit bar are a one-line field unless the element says it is
// multi-line (Qt's line edits are plain "text", told from text areas only by that state);
// anything else is other. The texts kept are the name, the description (Qt puts a placeholder
// there) and the attributes placeholder-text (GTK, Chromium) and id (Firefox's urlbar-input).
// Every use of libatspi happens on the lookup's own thread, which owns the library's bus
// connection in its GLib context; a walk without the Collection interface (Qt has none) goes
// through what is showing, the active window first, and stops after 4,000 elements.

#include "platform/Accessibility.h"
#include "platform/Typist.h"

#include <QMutex>
#include <QObject>
#include <QThread>

#include <memory>

namespace pelix::platform {

// Other applications' interfaces through AT-SPI. Switching on sets the accessibility bus's
// `org.a11y.Status` `IsEnabled` property, which toolkits read when they start (Qt, Chromium) or
// follow. The focused element is looked up on a thread of its own, so a slow or hung
// application never stalls the caller: the application of the process is found on the
// accessibility bus (asked again for a second, since a bus that has just started, or an
// application that has just switched on, lists nothing at first), then its focused element,
// through the Collection interface where the application has one and by walking its showing
// windows otherwise.
class AtspiAccessibility final : public Accessibility {
public:
    AtspiAccessibility();
    ~AtspiAccessibility() override;

    void switchOn(std::function<void()> done) override;
    void focusedElement(qint64 pid,
                        std::function<void(std::optional<FocusedElement>)> done) override;

    // The application that last took the keyboard focus, its name (GTK's program name, Qt's
    // application name) as the window's application and its process, at hand at once for a
    // desktop that names no window in front: the first call starts following the bus's focus
    // events, and looks for the application with the active window meanwhile, and answers none;
    // later calls answer what the last event (or that look) said.
    std::optional<FrontWindow> focusedApplication();

private:
    class Worker;
    // What the worker's focus events last said, read on the caller's thread.
    struct Focus {
        QMutex mutex;
        std::optional<FrontWindow> application;
        bool followed = false;
    };
    std::shared_ptr<Focus> focus_ = std::make_shared<Focus>();
    // A thread of its own rather than a core Worker's job: libatspi binds itself to the GLib
    // main context of the thread that starts it and reads the bus's answers there, the looks
    // between tries are timers, and atspi_exit must run on that same thread. That takes a
    // thread running an event loop for the object's whole life, which a pool's jobs are not.
    QThread thread_;
    Worker* worker_;
    // Answers come back through this object's thread and end with it.
    QObject home_;
};

}  // namespace pelix::platform
