#pragma once

// Why the backend client speaks HTTP itself instead of through QNetworkAccessManager: Qt's HTTP
// thread reads an answer as fast as the server sends it, whatever the reader does. With
// QNetworkAccessManager, a 64 KB setReadBufferSize, no redirects and the same 32 MB limit, every
// hostile server test (tests/service/api_hostile_test.cpp) passes but the endless answer: in four
// runs the server got to send 0.5 to 4.8 GB, and the process grew by 0.7 to 6.4 GB, before the
// abort reached Qt's HTTP thread (Qt 6.4). Here the socket reads at most 64 KB ahead, so a fast
// server waits on TCP.
//
// Failures are one sentence each: "The request timed out." (one timer from the start; a
// request may add a limit on silence, "The server sent nothing for N seconds…"), "The answer was
// larger than 32 MB, so it was not read.", "The answer broke off before its end." (fewer bytes than
// Content-Length, or a chunked body cut in the middle: never a success with half a body) and "The
// answer was not HTTP.". A 3xx is an answer like any other, so the token never travels to another
// address and a POST never turns into a GET. Whether the status and body mean success is the Api's
// to decide (Api::read). A proxy set on the process's QNetworkAccessManager is passed in by the Api
// and applies here too.

#include "core/Error.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QNetworkProxy>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

class QAbstractSocket;
class QIODevice;

namespace pelix::service {

// One HTTP/1.1 request (a POST unless told otherwise) and its answer over a connection of its own,
// read with firm limits: the socket's read buffer is small, so a server that sends faster than the
// answer is read waits on TCP instead of filling memory; the headers may take 64 KB, a line of the
// chunked frame (a chunk's size, a trailer) 8 KB, and the body `answerLimit` bytes; the time limit
// is the whole exchange's. Redirects are answers like any other; the answer is asked for
// uncompressed, and the connection is closed after it. TLS (https) verifies the server as Qt does
// by default. Lives on the thread that made it; `done` runs there once.
class HttpExchange : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 kHeaderLimit = 64 * 1024;
    static constexpr qint64 kLineLimit = 8 * 1024;

    struct Answer {
        int status = 0;
        QByteArray body;
        // Set when no whole answer came: the connection failed, was cut, or a limit was hit.
        std::optional<Error> failure;
    };

    struct Request {
        QByteArray method = "POST";
        QUrl url;
        QList<std::pair<QByteArray, QByteArray>> headers;
        QByteArray body;
        // Instead of `body`: an open device of known size, read as the request goes out.
        std::shared_ptr<QIODevice> bodyDevice;
        double timeoutSeconds = 60;
        // A limit on silence too: nothing sent nor received for this long ends the exchange.
        // 0 for none.
        double silenceSeconds = 0;
        qint64 answerLimit = 32 * 1024 * 1024;
        QNetworkProxy proxy = QNetworkProxy(QNetworkProxy::DefaultProxy);
    };

    // Error codes of the failures that are not the socket's own (domain "pelix").
    enum : int {
        kTooLarge = 6002,
        kCutOff = 6003,
        kNotHttp = 6004,
    };

    HttpExchange(Request request, std::function<void(Answer)> done, QObject* parent = nullptr);
    ~HttpExchange() override;

    // Connects and sends; the answer comes to `done`, after which the exchange deletes itself.
    void start();
    // Ends the exchange at once; `done` hears "The request was cancelled." (Qt's
    // OperationCanceledError in the domain "network").
    void cancel();

private:
    enum class Reading { head, sized, chunkSize, chunkData, chunkEnd, trailers, untilClose };

    void send();
    void sendMore();
    void readMore();
    // Something went out or came in: the limit on silence starts again.
    void heard();
    // Parses what has been read; false once the exchange has ended.
    bool parse();
    bool parseHead();
    void finish(Answer answer);
    void fail(Error error);
    void failed(int code, const QString& message);
    void closed();

    Request request_;
    std::function<void(Answer)> done_;
    std::unique_ptr<QAbstractSocket> socket_;
    QTimer limit_;
    QTimer silence_;
    QByteArray buffer_;
    Reading reading_ = Reading::head;
    int status_ = 0;
    qint64 remaining_ = 0;  // of the sized body or the current chunk
    QByteArray body_;
    qint64 sent_ = 0;
    bool ended_ = false;
};

}  // namespace pelix::service
