#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;

namespace pelix::platform {

// One running Pelix per user data folder, found over a local socket. A second process hands its
// message (a link, or an empty one to show the menu) to the first and ends.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // The socket's name for the data folder `dataDir` (one per user and home).
    static QString socketName(const QString& dataDir);

    // Hands `message` to a running instance; false when none answers within `timeoutMs`.
    static bool sendToRunning(const QString& name, const QString& message, int timeoutMs = 1000);

    explicit SingleInstance(QString name, QObject* parent = nullptr);
    ~SingleInstance() override;

    // Starts answering. A socket left behind by a process that died is taken over; false when
    // another instance is already listening or the socket can't be made.
    bool listen();

Q_SIGNALS:
    // What a later process handed over.
    void received(const QString& message);

private:
    QString name_;
    std::unique_ptr<QLocalServer> server_;
};

}  // namespace pelix::platform
