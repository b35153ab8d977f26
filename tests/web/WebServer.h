#pragma once

#include <QByteArray>
#include <QHash>
#include <QSslServer>
#include <QString>
#include <QStringList>

#include <memory>

// A small web server on 127.0.0.1 for the web window's tests: fixed pages by path, over HTTPS
// with a given certificate or over plain HTTP. Runs on the thread that made it.
class WebServer {
public:
    // Plain HTTP without a certificate.
    explicit WebServer(const QString& certificate = {}, const QString& key = {});
    ~WebServer();

    // Listens on `port` (0: a free one); false when it cannot.
    bool listen(quint16 port = 0);
    quint16 port() const;
    // "https://127.0.0.1:PORT" or "http://…".
    QString base() const;

    // The page served at `path` (query ignored); other paths get 404.
    void page(const QString& path, const QByteArray& html) { pages_.insert(path, html); }
    // `path` answers with a redirect (302) to `location`.
    void redirect(const QString& path, const QString& location) {
        redirects_.insert(path, location);
    }
    // The paths asked for, with their query, oldest first.
    QStringList asked() const { return asked_; }

private:
    void serve(class QTcpSocket* socket);

    bool tls_;
    std::unique_ptr<QTcpServer> server_;
    QHash<QString, QByteArray> pages_;
    QHash<QString, QString> redirects_;
    QStringList asked_;
};
