#pragma once

#include <QFile>
#include <QHash>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>
#include <QUrl>

#include <memory>

// A small web server on 127.0.0.1 for the web window's tests: fixed pages by path (others get
// 404) and redirects (302), over HTTPS with a given certificate or over plain HTTP without one.
// Runs on the thread that made it.
class WebServer {
public:
    explicit WebServer(const QString& certificate = {}, const QString& key = {})
        : tls_(!certificate.isEmpty()) {
        if (tls_) {
            QFile certFile(certificate), keyFile(key);
            certFile.open(QIODevice::ReadOnly);
            keyFile.open(QIODevice::ReadOnly);
            QSslConfiguration config = QSslConfiguration::defaultConfiguration();
            config.setLocalCertificate(QSslCertificate(certFile.readAll(), QSsl::Pem));
            config.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Rsa, QSsl::Pem));
            auto server = std::make_unique<QSslServer>();
            server->setSslConfiguration(config);
            server_ = std::move(server);
        } else {
            server_ = std::make_unique<QTcpServer>();
        }
        QObject::connect(server_.get(), &QTcpServer::pendingConnectionAvailable, server_.get(),
                         [this] {
                             while (QTcpSocket* socket = server_->nextPendingConnection()) {
                                 serve(socket);
                             }
                         });
    }

    // Listens on `port` (0: a free one); false when it cannot.
    bool listen(quint16 port = 0) { return server_->listen(QHostAddress::LocalHost, port); }
    quint16 port() const { return server_->serverPort(); }
    // "https://127.0.0.1:PORT" or "http://…".
    QString base() const {
        return QStringLiteral("%1://127.0.0.1:%2").arg(tls_ ? "https" : "http").arg(port());
    }
    void page(const QString& path, const QByteArray& html) { pages_.insert(path, html); }
    void redirect(const QString& path, const QString& to) { redirects_.insert(path, to); }
    // The paths asked for, with their query, oldest first.
    QStringList asked() const { return asked_; }

private:
    // A plain socket is ready at once; a TLS one once the handshake is done.
    void serve(QTcpSocket* socket) {
        auto request = std::make_shared<QByteArray>();
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, request] {
            request->append(socket->readAll());
            if (!request->contains("\r\n\r\n")) return;
            const QString target = QString::fromLatin1(request->split(' ').value(1));
            asked_ << target;
            const QString path = QUrl(target).path();
            const bool found = pages_.contains(path);
            QByteArray head = found ? "200 OK" : "404 Not Found";
            if (redirects_.contains(path))
                head = "302 Found\r\nLocation: " + redirects_[path].toUtf8();
            const QByteArray body = redirects_.contains(path) ? ""
                                    : found                   ? pages_.value(path)
                                                              : "not here";
            socket->write("HTTP/1.1 " + head +
                          "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
                          QByteArray::number(body.size()) +
                          "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n" + body);
            socket->disconnectFromHost();
        });
    }

    bool tls_;
    std::unique_ptr<QTcpServer> server_;
    QHash<QString, QByteArray> pages_;
    QHash<QString, QString> redirects_;
    QStringList asked_;
};
