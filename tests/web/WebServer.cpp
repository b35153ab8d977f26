#include "WebServer.h"

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QUrl>

WebServer::WebServer(const QString& certificate, const QString& key)
    : tls_(!certificate.isEmpty()) {
    if (tls_) {
        QFile certFile(certificate), keyFile(key);
        certFile.open(QIODevice::ReadOnly);
        keyFile.open(QIODevice::ReadOnly);
        QSslConfiguration config = QSslConfiguration::defaultConfiguration();
        config.setLocalCertificate(QSslCertificate(certFile.readAll(), QSsl::Pem));
        config.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Rsa, QSsl::Pem));
        config.setPeerVerifyMode(QSslSocket::VerifyNone);
        auto server = std::make_unique<QSslServer>();
        server->setSslConfiguration(config);
        server_ = std::move(server);
    } else {
        server_ = std::make_unique<QTcpServer>();
    }
    QObject::connect(server_.get(), &QTcpServer::pendingConnectionAvailable, server_.get(), [this] {
        while (QTcpSocket* socket = server_->nextPendingConnection()) serve(socket);
    });
}

WebServer::~WebServer() = default;

bool WebServer::listen(quint16 port) {
    return server_->listen(QHostAddress::LocalHost, port);
}

quint16 WebServer::port() const {
    return server_->serverPort();
}

QString WebServer::base() const {
    return QStringLiteral("%1://127.0.0.1:%2").arg(tls_ ? "https" : "http").arg(port());
}

void WebServer::serve(QTcpSocket* socket) {
    auto* request = new QByteArray;
    QObject::connect(socket, &QTcpSocket::disconnected, socket, [socket, request] {
        delete request;
        socket->deleteLater();
    });
    // A plain socket is ready at once; a TLS one once the handshake is done.
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, request] {
        request->append(socket->readAll());
        if (!request->contains("\r\n\r\n")) return;
        const QList<QByteArray> line = request->left(request->indexOf("\r\n")).split(' ');
        request->clear();
        const QString target = line.size() > 1 ? QString::fromLatin1(line[1]) : QString();
        asked_ << target;
        const QString path = QUrl(target).path();
        if (redirects_.contains(path)) {
            socket->write("HTTP/1.1 302 Found\r\nLocation: " + redirects_.value(path).toUtf8() +
                          "\r\nContent-Length: 0\r\nCache-Control: no-store\r\n"
                          "Connection: close\r\n\r\n");
            socket->disconnectFromHost();
            return;
        }
        const bool found = pages_.contains(path);
        const QByteArray body = found ? pages_.value(path) : QByteArray("not here");
        socket->write((found ? "HTTP/1.1 200 OK\r\n" : "HTTP/1.1 404 Not Found\r\n") +
                      QByteArray("Content-Type: text/html; charset=utf-8\r\nContent-Length: ") +
                      QByteArray::number(body.size()) +
                      "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
    });
}
