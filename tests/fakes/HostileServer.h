#pragma once

#include "fakes/LoopbackBackend.h"

#include <QByteArray>
#include <QList>
#include <QUrl>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace pelix::fakes {

// The server's side of one connection, for scripts.
class Wire {
public:
    virtual ~Wire() = default;
    // Writes bytes; false once the client has gone or the server stops.
    virtual bool send(const QByteArray& bytes) = 0;
    // Waits, returning early (false) when the server stops.
    virtual bool pause(int ms) = 0;
};

// An HTTP server on 127.0.0.1 and a free port that answers every request with one scripted
// misbehaviour, written byte by byte as a hostile server would: the tests of the service client
// hold it to its limits with these. Serves each connection on a thread of its own and records
// every request.
class HostileServer {
public:
    using Script = std::function<void(Wire&)>;

    // A whole answer with `status` and `body`, as a gateway in front of the functions gives one.
    static Script answer(int status, const QByteArray& contentType, const QByteArray& body);
    // A proxy's 502 page: HTML, no JSON at all.
    static Script badGatewayPage();
    // A gateway's refusal of the token: a 401 JSON object that is not the backend's own.
    static Script invalidJwt();
    // The answers a gateway gives in place of the backend's, with their status: the two above.
    static std::vector<std::pair<int, Script>> gatewayAnswers();
    // A redirect with `status` to `location` and a small JSON body.
    static Script redirect(int status, const QUrl& location);
    // A 200 with a Content-Length body sent one byte every `msPerByte` milliseconds.
    static Script trickle(const QByteArray& body, int msPerByte);
    // A 200 whose chunked body never ends, sent as fast as the client takes it.
    static Script endless();
    // A 200 announcing `body` whole but closing the connection after `sent` bytes of it.
    static Script cutShort(const QByteArray& body, int sent);
    // A chunked 200 whose connection closes in the middle of a chunk.
    static Script chunkedCutShort();
    // A status line followed by header lines that never end.
    static Script endlessHeaders();
    // A chunked 200 whose last chunk is followed by a trailer line that never ends.
    static Script endlessTrailer();

    explicit HostileServer(Script script);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    QUrl base() const;
    int port() const;
    QList<Recorded> requests() const;
    // Bytes written to clients so far, over every connection.
    qint64 bytesSent() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace pelix::fakes
