#include "platform/linux/LocalSocketInstance.h"

#include "core/Log.h"
#include "core/Paths.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pelix::platform {
namespace {

// A folder only this user can enter: made with mode 0700 when missing; an existing one counts
// only when it is a real folder (not a link) owned by this user, and is then made 0700.
bool privateFolder(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST) return false;
    struct stat info {};
    if (::lstat(name.constData(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::getuid()) return false;
    return (info.st_mode & 0077) == 0 || ::chmod(name.constData(), 0700) == 0;
}

// Whether the other end of a connected local socket runs as this user.
bool peerIsThisUser(qintptr descriptor) {
    struct ucred peer {};
    socklen_t size = sizeof peer;
    if (::getsockopt(static_cast<int>(descriptor), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return false;
    }
    return peer.uid == ::getuid();
}

}  // namespace

QString LocalSocketInstance::socketName(const QString& dataDir) {
    const QByteArray digest =
        QCryptographicHash::hash(QDir::cleanPath(dataDir).toUtf8(), QCryptographicHash::Sha256)
            .toHex()
            .left(16);
    const QString file = QStringLiteral("/pelix-%1.sock").arg(QString::fromLatin1(digest));
    // The session's runtime folder is private already; a folder of our own inside it keeps
    // the socket out of everyone's way. Without one, a folder of our own in the temporary
    // folder, which nobody else can have made for us; failing that, one in the cache folder.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtime) && QDir(runtime).exists() &&
        privateFolder(runtime + "/pelix")) {
        return runtime + "/pelix" + file;
    }
    const QString temporary =
        QStringLiteral("%1/pelix-%2").arg(core::paths::tempDir()).arg(::getuid());
    if (privateFolder(temporary)) return temporary + file;
    core::logLine("pelix", temporary + " is not a private folder of this user, so it is not used");
    const QString cache = core::paths::cacheDir() + "/run";
    QDir().mkpath(core::paths::cacheDir());
    privateFolder(cache);
    return cache + file;
}

bool SingleInstance::isOneLine(const QString& message) {
    return message.toUtf8().size() <= kMessageLimit && std::ranges::none_of(message, [](QChar c) {
               return c.category() == QChar::Other_Control;
           });
}

bool LocalSocketInstance::sendToRunning(const QString& message, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(timeoutMs)) return false;
    // Links carry keys: they go only to a Pelix of this user.
    if (!peerIsThisUser(socket.socketDescriptor())) {
        core::logLine("pelix",
                      "the process on " + name_ + " is another user's; nothing was handed over");
        return false;
    }
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
            if (!peerIsThisUser(socket->socketDescriptor())) {
                socket->abort();
                socket->deleteLater();
                continue;
            }
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            // Qt stops reading from the connection once this much waits, so a client that never
            // ends its line holds no more than that; it is dropped then, or when it is slow.
            socket->setReadBufferSize(kMessageLimit + 1);
            QTimer::singleShot(kMessageTimeoutMs, socket, [socket] {
                core::logLine("pelix", "a message to the running Pelix did not come in time");
                socket->abort();
            });
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (!socket->canReadLine()) {
                    if (socket->bytesAvailable() <= kMessageLimit) return;
                    core::logLine("pelix", "a message to the running Pelix was too long");
                    socket->abort();
                    return;
                }
                QByteArray line = socket->readLine(kMessageLimit + 1);
                // One line of text is one message, and nothing follows it: a line break or
                // another control character in it would hand over a link cut short.
                const bool more = socket->bytesAvailable() > 0;
                socket->disconnectFromServer();
                if (line.endsWith('\n')) line.chop(1);
                const QString message = QString::fromUtf8(line);
                if (more || !isOneLine(message)) {
                    core::logLine("pelix", "a message to the running Pelix had control characters");
                    return;
                }
                Q_EMIT received(message.trimmed());
            });
        }
    });
    return true;
}

}  // namespace pelix::platform
