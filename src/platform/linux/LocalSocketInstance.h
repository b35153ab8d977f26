#pragma once

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
