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

std::optional<std::pair<QString, QString>> TrayHost::menuAddress() const {
    if (items_.isEmpty()) return std::nullopt;
    const QString item = items_.first();
    const qsizetype slash = item.indexOf('/');
    const QString service = item.left(slash);
    QDBusMessage get = QDBusMessage::createMethodCall(service, item.mid(slash),
                                                      "org.freedesktop.DBus.Properties", "Get");
    get << QStringLiteral("org.kde.StatusNotifierItem") << QStringLiteral("Menu");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, kCallMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    const QVariant menu = qvariant_cast<QDBusVariant>(reply.arguments().first()).variant();
    return std::pair{service, qvariant_cast<QDBusObjectPath>(menu).path()};
}

std::optional<QList<std::pair<int, QString>>> TrayHost::entries() const {
    const auto address = menuAddress();
    if (!address) return std::nullopt;
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusMessage opening = QDBusMessage::createMethodCall(address->first, address->second,
                                                          kMenuInterface, "AboutToShow");
    opening << 0;
    bus.call(opening, QDBus::Block, kCallMs);
    QDBusMessage layout = QDBusMessage::createMethodCall(address->first, address->second,
                                                         kMenuInterface, "GetLayout");
    layout << 0 << -1 << QStringList();
    const QDBusMessage reply = bus.call(layout, QDBus::Block, kCallMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < 2) {
        return std::nullopt;
    }
    QList<std::pair<int, QString>> entries;
    readLayout(qvariant_cast<QDBusArgument>(reply.arguments().at(1)), entries, true);
    return entries;
}

std::optional<QStringList> TrayHost::labels() const {
    const auto all = entries();
    if (!all) return std::nullopt;
    QStringList labels;
    for (const auto& [id, label] : *all) labels << label;
    return labels;
}

bool TrayHost::click(const QString& label) const {
    const auto all = entries();
    const auto address = menuAddress();
    if (!all || !address) return false;
    for (const auto& [id, entryLabel] : *all) {
        if (entryLabel != label) continue;
        QDBusMessage event = QDBusMessage::createMethodCall(address->first, address->second,
                                                            kMenuInterface, "Event");
        event << id << QStringLiteral("clicked") << QVariant::fromValue(QDBusVariant(QVariant(0)))
              << static_cast<uint>(QDateTime::currentSecsSinceEpoch());
        return QDBusConnection::sessionBus().call(event, QDBus::Block, kCallMs).type() ==
               QDBusMessage::ReplyMessage;
    }
    return false;
}

}  // namespace pelix::testing
