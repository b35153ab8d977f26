#pragma once

// A panel's side of the tray on the session bus: a StatusNotifierWatcher that says a host is
// there, so that Qt's tray icons register with it, and a reader of the items' menus over the
// dbusmenu protocol that opens them and clicks their entries as a panel does.
#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace pelix::testing {

class TrayHost : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    TrayHost();
    ~TrayHost() override;

    // Whether the watcher's name and object are on the bus.
    bool ok() const { return ok_; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    // The registered items, as "service/path".
    QStringList items() const { return items_; }

    // The labels of the first registered item's menu, read after telling the menu it is about to
    // be shown (as a panel does before it opens one); nothing when there is no item or menu.
    std::optional<QStringList> labels() const;
    // Clicks the entry labelled `label`; false when there is none or the item did not answer.
    bool click(const QString& label) const;

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& serviceOrPath);
    void RegisterStatusNotifierHost(const QString& service);

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString& item);
    void StatusNotifierItemUnregistered(const QString& item);
    void StatusNotifierHostRegistered();

private:
    // The first item's service and its menu's object path.
    std::optional<std::pair<QString, QString>> menuAddress() const;
    // The menu's entries as ids and labels (without the access-key mark), depth first.
    std::optional<QList<std::pair<int, QString>>> entries() const;

    QStringList items_;
    bool ok_ = false;
};

}  // namespace pelix::testing
