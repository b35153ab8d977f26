#include "support/TrayHost.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDateTime>

namespace pelix::testing {

namespace {

constexpr auto kWatcher = "org.kde.StatusNotifierWatcher";
constexpr auto kMenuInterface = "com.canonical.dbusmenu";
constexpr int kCallMs = 5000;

// Reads one (ia{sv}av) layout node and its children, depth first, into `entries`.
void readLayout(const QDBusArgument& node, QList<std::pair<int, QString>>& entries, bool root) {
    int id = 0;
    QVariantMap properties;
    node.beginStructure();
    node >> id >> properties;
    if (!root) entries.append({id, properties.value("label").toString().remove('_')});
    node.beginArray();
    while (!node.atEnd()) {
        QDBusVariant child;
        node >> child;
        readLayout(qvariant_cast<QDBusArgument>(child.variant()), entries, false);
    }
    node.endArray();
    node.endStructure();
}

}  // namespace

TrayHost::TrayHost() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    ok_ = bus.isConnected() &&
          bus.registerObject("/StatusNotifierWatcher", this,
                             QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                 QDBusConnection::ExportAllProperties) &&
          bus.registerService(kWatcher);
}

TrayHost::~TrayHost() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(kWatcher);
    bus.unregisterObject("/StatusNotifierWatcher");
}

void TrayHost::RegisterStatusNotifierItem(const QString& serviceOrPath) {
    // An item names its bus name (at the usual path) or its path on the caller's connection.
    const QString item = serviceOrPath.startsWith('/')
                             ? message().service() + serviceOrPath
                             : serviceOrPath + QStringLiteral("/StatusNotifierItem");
    if (!items_.contains(item)) items_.append(item);
    Q_EMIT StatusNotifierItemRegistered(item);
}

void TrayHost::RegisterStatusNotifierHost(const QString&) {
    Q_EMIT StatusNotifierHostRegistered();
}

std::optional<TrayHost::Menu> TrayHost::menu() const {
    if (items_.isEmpty()) return std::nullopt;
    const QString item = items_.first();
    const qsizetype slash = item.indexOf('/');
    Menu menu{.service = item.left(slash)};
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusMessage get = QDBusMessage::createMethodCall(menu.service, item.mid(slash),
                                                      "org.freedesktop.DBus.Properties", "Get");
    get << QStringLiteral("org.kde.StatusNotifierItem") << QStringLiteral("Menu");
    QDBusMessage reply = bus.call(get, QDBus::Block, kCallMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    menu.path = qvariant_cast<QDBusObjectPath>(
                    qvariant_cast<QDBusVariant>(reply.arguments().first()).variant())
                    .path();
    QDBusMessage opening =
        QDBusMessage::createMethodCall(menu.service, menu.path, kMenuInterface, "AboutToShow");
    opening << 0;
    bus.call(opening, QDBus::Block, kCallMs);
    QDBusMessage layout =
        QDBusMessage::createMethodCall(menu.service, menu.path, kMenuInterface, "GetLayout");
    layout << 0 << -1 << QStringList();
    reply = bus.call(layout, QDBus::Block, kCallMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < 2) {
        return std::nullopt;
    }
    readLayout(qvariant_cast<QDBusArgument>(reply.arguments().at(1)), menu.entries, true);
    return menu;
}

std::optional<QStringList> TrayHost::labels() const {
    const auto menu = this->menu();
    if (!menu) return std::nullopt;
    QStringList labels;
    for (const auto& [id, label] : menu->entries) labels << label;
    return labels;
}

bool TrayHost::click(const QString& label) const {
    const auto menu = this->menu();
    if (!menu) return false;
    for (const auto& [id, entryLabel] : menu->entries) {
        if (entryLabel != label) continue;
        QDBusMessage event =
            QDBusMessage::createMethodCall(menu->service, menu->path, kMenuInterface, "Event");
        event << id << QStringLiteral("clicked") << QVariant::fromValue(QDBusVariant(QVariant(0)))
              << static_cast<uint>(QDateTime::currentSecsSinceEpoch());
        return QDBusConnection::sessionBus().call(event, QDBus::Block, kCallMs).type() ==
               QDBusMessage::ReplyMessage;
    }
    return false;
}

}  // namespace pelix::testing
