#include "platform/linux/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

namespace pelix::platform {

std::optional<uint> portalVersion(const QDBusConnection& bus, const QString& interface) {
    QDBusMessage get = QDBusMessage::createMethodCall(kPortal, kPortalPath,
                                                      "org.freedesktop.DBus.Properties", "Get");
    get << interface << QString("version");
    const QDBusMessage reply = bus.call(get, QDBus::Block, 2000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    return reply.arguments().first().value<QDBusVariant>().variant().toUInt();
}

void PortalRequest::response(uint code, const QVariantMap& results) {
    if (auto then = std::exchange(then_, nullptr)) then(code, results);
    deleteLater();
}

void portalRequest(QDBusConnection bus, QObject* owner, const QString& interface,
                   const QString& method, QVariantList args, QVariantMap options,
                   std::function<void(uint, const QVariantMap&)> then,
                   std::function<void(const QString&)> failed) {
    static int requests = 0;
    const QString token = QStringLiteral("pelix%1").arg(++requests);
    QString sender = bus.baseService().mid(1);
    sender.replace('.', '_');
    const QString path =
        QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
    auto* pending = new PortalRequest(owner, std::move(then));
    // Listening before asking: the answer may come before the call returns.
    bus.connect(kPortal, path, "org.freedesktop.portal.Request", "Response", pending,
                SLOT(response(uint, QVariantMap)));
    options.insert("handle_token", token);
    QDBusMessage message = QDBusMessage::createMethodCall(kPortal, kPortalPath, interface, method);
    message.setArguments(args << options);
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, owner,
                     [watcher, pending, failed = std::move(failed)] {
                         watcher->deleteLater();
                         if (!watcher->isError()) return;
                         pending->deleteLater();
                         failed(watcher->error().name());
                     });
}

void closePortalSession(const QDBusConnection& bus, const QString& session) {
    if (session.isEmpty()) return;
    QDBusConnection(bus).call(
        QDBusMessage::createMethodCall(kPortal, session, "org.freedesktop.portal.Session", "Close"),
        QDBus::NoBlock);
}

}  // namespace pelix::platform
