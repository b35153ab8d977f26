#pragma once

#include "platform/Apps.h"
#include "platform/Typist.h"

#include <QHash>
#include <QString>

namespace pelix::platform {

// The desktop's applications through GIO, which reads the desktop entries and the default
// applications (mimeapps.list) the way xdg-mime and xdg-settings do. The window in front comes
// from the typist's X connection; its desktop entry is the one GIO started its process from
// (GIO_LAUNCHED_DESKTOP_FILE), else the entry whose StartupWMClass, name or program matches the
// window's class.
class GioApps final : public Apps {
public:
    explicit GioApps(const Typist& typist) : typist_(typist) {}

    std::optional<FrontApp> front() const override;
    QString handlerFor(const QUrl& url) const override;
    Status open(const QUrl& url) override;

private:
    QString entryForClass(const QString& windowClass) const;

    const Typist& typist_;
    mutable QHash<QString, QString> byClass_;
};

}  // namespace pelix::platform
