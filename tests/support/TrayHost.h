#pragma once

// A panel's side of the tray: a StatusNotifierWatcher with a host, so Qt's tray icons register,
// which opens their menus (dbusmenu) and clicks their entries as a panel does.
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

    bool ok() const { return ok_; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return items_; }

    // The first item's menu's labels, read after AboutToShow as a panel does; none without one.
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
    // The first item's menu: its service and path, its entries' ids and labels (without the
    // access-key mark), depth first.
    struct Menu {
        QString service, path;
        QList<std::pair<int, QString>> entries;
    };
    std::optional<Menu> menu() const;

    QStringList items_;
    bool ok_ = false;
};

}  // namespace pelix::testing
