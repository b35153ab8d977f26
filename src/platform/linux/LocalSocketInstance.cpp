#include "platform/linux/LocalSocketInstance.h"

#include "core/Paths.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

namespace pelix::platform {

QString LocalSocketInstance::socketName(const QString& dataDir) {
    const QByteArray digest =
        QCryptographicHash::hash(QDir::cleanPath(dataDir).toUtf8(), QCryptographicHash::Sha256)
            .toHex()
            .left(16);
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty() || !QDir(folder).exists()) folder = paths::tempDir();
    return QStringLiteral("%1/pelix-%2-%3.sock").arg(folder).arg(getuid()).arg(digest);
}

bool LocalSocketInstance::sendToRunning(const QString& message, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(timeoutMs)) return false;
    socket.write(message.toUtf8() + '\n');
    if (!socket.waitForBytesWritten(timeoutMs)) return false;
    // The running instance closes the connection once it has the whole line.
    socket.waitForDisconnected(timeoutMs);
    return true;
}

LocalSocketInstance::LocalSocketInstance(QString name, QObject* parent)
    : SingleInstance(parent), name_(std::move(name)) {}

LocalSocketInstance::~LocalSocketInstance() = default;

bool LocalSocketInstance::listen() {
    // Someone answering on the name is the running instance. (Listening with access options
    // would replace its socket rather than fail, so ask first.)
    {
        QLocalSocket probe;
        probe.connectToServer(name_);
        if (probe.waitForConnected(300)) return false;
    }
    QLocalServer::removeServer(name_);  // left by a process that died
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(name_)) return false;
    connect(server_.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (!socket->canReadLine()) return;
                const QString message = QString::fromUtf8(socket->readLine()).trimmed();
                socket->disconnectFromServer();
                Q_EMIT received(message);
            });
        }
    });
    return true;
}

}  // namespace pelix::platform
