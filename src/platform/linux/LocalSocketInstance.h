#pragma once

// The socket's folder is one only this user can enter: $XDG_RUNTIME_DIR/pelix, else
// $TMPDIR/pelix-<uid> (made 0700, used only when it is a real folder owned by this user, not a
// link), else $XDG_CACHE_HOME/Pelix/run. Both ends check the other's user id (SO_PEERCRED): a
// link, which may carry a key, is handed only to a Pelix of the same user and accepted only from
// one.

#include "platform/SingleInstance.h"

#include <memory>

class QLocalServer;

namespace pelix::platform {

// Instances meet on a local socket named after the user and a hash of the data folder, in
// $XDG_RUNTIME_DIR. A socket left by a process that died is taken over.
class LocalSocketInstance final : public SingleInstance {
    Q_OBJECT
public:
    // The socket's name for the data folder `dataDir` (one per user and home).
    static QString socketName(const QString& dataDir);

    explicit LocalSocketInstance(QString name, QObject* parent = nullptr);
    ~LocalSocketInstance() override;

    bool sendToRunning(const QString& message, int timeoutMs = 1000) override;
    bool listen() override;
    QString address() const override { return name_; }

private:
    QString name_;
    std::unique_ptr<QLocalServer> server_;
};

}  // namespace pelix::platform
