#pragma once

#include "core/Error.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace pelix::platform {

// The application in front of the user, as the desktop names it.
struct FrontApp {
    // The window's class (X11 WM_CLASS); empty when the window names none.
    QString windowClass;
    // The owning process; 0 when the window does not say.
    qint64 pid = 0;
    // The desktop entry the application was started from or is known by ("firefox-esr.desktop");
    // empty when none is known.
    QString desktopId;

    bool operator==(const FrontApp&) const = default;
};

// The desktop's applications: which one is in front, which one opens a link, and opening it.
class Apps {
public:
    virtual ~Apps() = default;
    // The application in front, or none.
    virtual std::optional<FrontApp> front() const = 0;
    // The desktop entry of the application the desktop opens `url` with; empty when none.
    virtual QString handlerFor(const QUrl& url) const = 0;
    // Hands `url` to that application (starting it when needed).
    virtual Status open(const QUrl& url) = 0;
};

}  // namespace pelix::platform
