#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>

namespace pelix::fakes {

// One scripted answer of the loopback backend.
struct Reply {
    int status = 200;
    QByteArray body = "{}";
    QByteArray contentType = "application/json";
    QMap<QByteArray, QByteArray> headers;
    int delayMs = 0;  // held back this long before answering

    static Reply json(const QJsonObject& object, int status = 200);
    static Reply text(const QByteArray& body, int status);
};

// One request as the backend saw it.
struct Recorded {
    QString method;
    QString path;
    QString function;                // the last path component
    QMap<QString, QString> headers;  // names in lower case
    QByteArray body;
    QJsonObject json;  // empty when the body is not a JSON object
};

// An HTTP server on 127.0.0.1 serving in threads of its own (a test may block while it answers):
// scripted per function name, else 200 "{}". It records every request.
class LoopbackBackend {
public:
    LoopbackBackend();
    ~LoopbackBackend();
    LoopbackBackend(const LoopbackBackend&) = delete;
    LoopbackBackend& operator=(const LoopbackBackend&) = delete;

    // The base address to configure (PELIX_API_BASE); functions live under /functions/v1/.
    QUrl base() const;

    // Every call of `function` gets `reply`.
    void answer(const QString& function, Reply reply);
    // Calls of `function` take the replies in turn; the last one repeats.
    void answerInTurn(const QString& function, QList<Reply> replies);
    // Calls of `function` are answered by `respond`, on a server thread.
    void answerWith(const QString& function, std::function<Reply(const Recorded&)> respond);

    // What was received, oldest first; only for `function` when one is given.
    QList<Recorded> requests(const QString& function = {}) const;
    // Runs the event loop until `count` requests of `function` have come; false on time-out.
    bool waitFor(const QString& function, int count, int timeoutMs = 10000) const;
    void clear();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    int port_ = 0;
};

}  // namespace pelix::fakes
