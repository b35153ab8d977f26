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
    virtual bool send(const QByteArray& bytes) = 0;  // false once the client or server has gone
    virtual bool pause(int ms) = 0;                  // false when the server stops meanwhile
};

// An HTTP server on 127.0.0.1 that answers every request with one scripted misbehaviour, byte by
// byte, a thread per connection; it records every request.
class HostileServer {
public:
    using Script = std::function<void(Wire&)>;

    // A whole answer, as a gateway in front of the functions gives one.
    static Script answer(int status, const QByteArray& contentType, const QByteArray& body);
    static Script badGatewayPage();  // HTML, no JSON at all
    static Script invalidJwt();      // a 401 JSON object that is not the backend's own
    // The answers a gateway gives in place of the backend's, with their status: the two above.
    static std::vector<std::pair<int, Script>> gatewayAnswers();
    static Script redirect(int status, const QUrl& location);
    // A 200 with a Content-Length body sent a byte every `msPerByte`.
    static Script trickle(const QByteArray& body, int msPerByte);
    // A 200 whose chunked body never ends, sent as fast as the client takes it.
    static Script endless();
    // A 200 announcing `body` whole but closing after `sent` bytes.
    static Script cutShort(const QByteArray& body, int sent);
    static Script chunkedCutShort();  // closes in the middle of a chunk
    static Script endlessHeaders();   // header lines that never end
    static Script endlessTrailer();   // a trailer line that never ends after the last chunk

    explicit HostileServer(Script script);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    QUrl base() const;
    QList<Recorded> requests() const;
    qint64 bytesSent() const;  // over every connection

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace pelix::fakes
