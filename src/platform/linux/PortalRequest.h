#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <optional>

namespace pelix::platform {

// The desktop portal's bus name and object.
inline constexpr auto kPortal = "org.freedesktop.portal.Desktop";
inline constexpr auto kPortalPath = "/org/freedesktop/portal/desktop";

// The version of the portal's `interface`; none when the bus has no such portal.
std::optional<uint> portalVersion(const QDBusConnection& bus, const QString& interface);

// Calls `method` of the portal's `interface` with `args` and `options` (its last argument, a
// handle token added), and later `then` with the request's response (0 granted, 1 cancelled by
// the user, 2 otherwise ended) and results, or `failed` with the D-Bus error when the call
// itself fails. Nothing is called once `owner` is gone.
void portalRequest(QDBusConnection bus, QObject* owner, const QString& interface,
                   const QString& method, QVariantList args, QVariantMap options,
                   std::function<void(uint, const QVariantMap&)> then,
                   std::function<void(const QString&)> failed);

// Closes the portal session at `session` (an object path), when there is one, without waiting.
void closePortalSession(const QDBusConnection& bus, const QString& session);

// One request's Response signal (for `portalRequest`).
class PortalRequest : public QObject {
    Q_OBJECT
public:
    PortalRequest(QObject* owner, std::function<void(uint, const QVariantMap&)> then)
        : QObject(owner), then_(std::move(then)) {}

public Q_SLOTS:
    void response(uint code, const QVariantMap& results);

private:
    std::function<void(uint, const QVariantMap&)> then_;
};

}  // namespace pelix::platform
