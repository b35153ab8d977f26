#pragma once

#include "platform/Accessibility.h"

#include <QObject>
#include <QThread>

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

private:
    class Worker;
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
