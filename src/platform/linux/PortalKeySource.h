#pragma once

#include "core/Clock.h"
#include "platform/KeySource.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

namespace pelix::platform {

// The gestures through the desktop portal's GlobalShortcuts, where Pelix may not read the
// keyboards: two shortcuts, "braindump" (held like Alt) and "dictate" (held like Ctrl), with
// default triggers passed when the session is made (KDE 5.27 binds only those) and bound again
// only when the desktop has not taken them. Activated and Deactivated become the modifier going
// down and up, so the gesture rules apply as to keys: a quick press and release of the braindump
// shortcut is a tap, the dictate shortcut held past the hold time a hold. Other keys are not
// seen.
class PortalKeySource final : public QObject, public KeySource {
    Q_OBJECT
public:
    PortalKeySource(QDBusConnection bus, const core::Clock& clock);
    ~PortalKeySource() override;

    // Whether the bus has the portal's GlobalShortcuts.
    static bool offered(const QDBusConnection& bus);

    Status start(Handlers handlers) override;
    void ignoreUntil(double) override {}
    // True once the desktop has made the session.
    bool listening() const override { return listening_; }

private Q_SLOTS:
    // Activated and Deactivated: (session, shortcut id, timestamp, options).
    void signalled(const QDBusMessage& message);

private:
    void request(const QString& method, QVariantList args, QVariantMap options,
                 std::function<void(uint, const QVariantMap&)> then);
    void bound(const QVariantMap& results);
    void changed(const QString& session, const QString& id, bool down);

    QDBusConnection bus_;
    const core::Clock& clock_;
    Handlers handlers_;
    QString session_;
    Mods held_;
    bool listening_ = false;
    int requests_ = 0;
};

}  // namespace pelix::platform
