#include "platform/linux/DBusSession.h"

#include "core/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QSysInfo>

namespace pelix::platform {
namespace {

constexpr auto kLogin = "org.freedesktop.login1";
constexpr auto kProperties = "org.freedesktop.DBus.Properties";

// The one value of a reply, if the call was answered.
std::optional<QVariant> answer(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    QVariant value = reply.arguments().first();
    if (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
    return value;
}

}  // namespace

DBusSession::DBusSession(QObject* parent) : QObject(parent) {
    // The pretty name comes once, without holding anything up.
    QDBusConnection system = QDBusConnection::systemBus();
    if (!system.isConnected()) return;
    QDBusMessage get = QDBusMessage::createMethodCall(
        "org.freedesktop.hostname1", "/org/freedesktop/hostname1", kProperties, "Get");
    get << QStringLiteral("org.freedesktop.hostname1") << QStringLiteral("PrettyHostname");
    auto* watcher = new QDBusPendingCallWatcher(system.asyncCall(get, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (const auto name = answer(watcher->reply());
            name && name->typeId() == QMetaType::QString) {
            prettyName_ = name->toString().trimmed();
        }
    });
}

bool DBusSession::screenLocked() const {
    QDBusConnection session = QDBusConnection::sessionBus();
    if (session.isConnected()) {
        const QDBusMessage getActive = QDBusMessage::createMethodCall(
            "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
            "org.freedesktop.ScreenSaver", "GetActive");
        if (const auto active = answer(session.call(getActive, QDBus::Block, kAnswerMs));
            active && active->typeId() == QMetaType::Bool) {
            return active->toBool();
        }
    }
    QDBusConnection system = QDBusConnection::systemBus();
    if (system.isConnected()) {
        QDBusMessage get = QDBusMessage::createMethodCall(
            kLogin, "/org/freedesktop/login1/session/auto", kProperties, "Get");
        get << QStringLiteral("org.freedesktop.login1.Session") << QStringLiteral("LockedHint");
        if (const auto locked = answer(system.call(get, QDBus::Block, kAnswerMs));
            locked && locked->typeId() == QMetaType::Bool) {
            return locked->toBool();
        }
    }
    return false;
}

void DBusSession::onWake(std::function<void()> woke) {
    woke_ = std::move(woke);
    if (watching_) return;
    watching_ = QDBusConnection::systemBus().connect(
        kLogin, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
        this, SLOT(prepareForSleep(bool)));
    if (!watching_) core::logLine("session", QStringLiteral("can't hear the machine wake"));
}

void DBusSession::prepareForSleep(bool sleeping) {
    if (!sleeping && woke_) woke_();
}

QString DBusSession::deviceName() const {
    return prettyName_.isEmpty() ? QSysInfo::machineHostName() : prettyName_;
}

}  // namespace pelix::platform
