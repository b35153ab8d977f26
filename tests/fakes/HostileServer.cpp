#include "fakes/HostileServer.h"

#include <QJsonDocument>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace pelix::fakes {

struct HostileServer::Impl {
    Script script;
    int listener = -1;
    int port = 0;
    std::thread acceptor;
    std::atomic_bool stopping{false};
    std::atomic<qint64> sent{0};
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::vector<std::thread> connections;
    std::set<int> open;
    QList<Recorded> received;

    // One request read off the socket: headers up to the blank line, then Content-Length bytes.
    bool readRequest(int fd) {
        QByteArray data;
        char buffer[4096];
        qsizetype headerEnd = -1;
        qint64 length = 0;
        Recorded r;
        while (!stopping) {
            if (headerEnd < 0 && (headerEnd = data.indexOf("\r\n\r\n")) >= 0) {
                const QList<QByteArray> lines = data.left(headerEnd).split('\n');
                const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
                r.method = QString::fromLatin1(first.value(0));
                r.path = QString::fromLatin1(first.value(1));
                r.function = r.path.section('/', -1);
                for (const QByteArray& line : lines.mid(1)) {
                    const qsizetype colon = line.indexOf(':');
                    if (colon < 0) continue;
                    r.headers.insert(QString::fromLatin1(line.left(colon)).toLower(),
                                     QString::fromLatin1(line.mid(colon + 1).trimmed()));
                }
                length = r.headers.value("content-length").toLongLong();
            }
            if (headerEnd >= 0 && data.size() >= headerEnd + 4 + length) break;
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0) return false;
            data.append(buffer, n);
        }
        if (stopping) return false;
        r.body = data.mid(headerEnd + 4, length);
        r.json = QJsonDocument::fromJson(r.body).object();
        std::lock_guard lock(mutex);
        received.push_back(r);
        return true;
    }

    void serve(int fd) {
        class SocketWire final : public Wire {
        public:
            SocketWire(Impl& impl, int fd) : impl_(impl), fd_(fd) {}
            bool send(const QByteArray& bytes) override {
                qsizetype at = 0;
                while (at < bytes.size()) {
                    if (impl_.stopping) return false;
                    const ssize_t n = ::send(fd_, bytes.constData() + at, size_t(bytes.size() - at),
                                             MSG_NOSIGNAL);
                    if (n <= 0) return false;
                    at += n;
                    impl_.sent += n;
                }
                return true;
            }
            bool pause(int ms) override {
                std::unique_lock lock(impl_.mutex);
                return !impl_.wake.wait_for(lock, std::chrono::milliseconds(ms),
                                            [this] { return impl_.stopping.load(); });
            }

        private:
            Impl& impl_;
            int fd_;
        };
        if (readRequest(fd)) {
            SocketWire wire(*this, fd);
            script(wire);
        }
        {
            std::lock_guard lock(mutex);
            open.erase(fd);
        }
        ::shutdown(fd, SHUT_RDWR);
        ::close(fd);
    }
};

HostileServer::HostileServer(Script script) : impl_(std::make_unique<Impl>()) {
    impl_->script = std::move(script);
    impl_->listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (impl_->listener < 0 ||
        ::bind(impl_->listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(impl_->listener, 16) != 0 ||
        ::getsockname(impl_->listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("the hostile server could not listen on 127.0.0.1");
    }
    impl_->port = ntohs(address.sin_port);
    impl_->acceptor = std::thread([impl = impl_.get()] {
        for (;;) {
            const int fd = ::accept4(impl->listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0 || impl->stopping) {
                if (fd >= 0) ::close(fd);
                return;
            }
            std::lock_guard lock(impl->mutex);
            impl->open.insert(fd);
            impl->connections.emplace_back([impl, fd] { impl->serve(fd); });
        }
    });
}

HostileServer::~HostileServer() {
    impl_->stopping = true;
    {
        std::lock_guard lock(impl_->mutex);
        for (const int fd : impl_->open) ::shutdown(fd, SHUT_RDWR);
    }
    impl_->wake.notify_all();
    ::shutdown(impl_->listener, SHUT_RDWR);
    impl_->acceptor.join();
    ::close(impl_->listener);
    std::vector<std::thread> connections;
    {
        std::lock_guard lock(impl_->mutex);
        connections.swap(impl_->connections);
    }
    for (std::thread& t : connections) t.join();
}

QUrl HostileServer::base() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(impl_->port));
}

QList<Recorded> HostileServer::requests() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->received;
}

qint64 HostileServer::bytesSent() const {
    return impl_->sent;
}

namespace {

QByteArray head(int status, const QByteArray& reason, const QList<QByteArray>& headers) {
    QByteArray text = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason + "\r\n";
    for (const QByteArray& h : headers) text += h + "\r\n";
    return text + "\r\n";
}
// A 200 with a JSON body described by `framing` (its length, or chunked).
QByteArray jsonHead(const QByteArray& framing) {
    return head(200, "OK", {"Content-Type: application/json", framing});
}
QByteArray lengthOf(const QByteArray& body) {
    return "Content-Length: " + QByteArray::number(body.size());
}
constexpr auto kChunked = "Transfer-Encoding: chunked";
// Sends `block` again and again until the client or the server gives up.
void flood(Wire& wire, const QByteArray& block) {
    while (wire.send(block)) {
    }
}

}  // namespace

HostileServer::Script HostileServer::answer(int status, const QByteArray& contentType,
                                            const QByteArray& body) {
    return [=](Wire& wire) {
        wire.send(head(status, "Answer",
                       {"Content-Type: " + contentType, lengthOf(body), "Connection: close"}) +
                  body);
    };
}

HostileServer::Script HostileServer::badGatewayPage() {
    return answer(502, "text/html",
                  "<html><head><title>502 Bad Gateway</title></head><body><center><h1>502 Bad "
                  "Gateway</h1></center><hr><center>nginx</center></body></html>\r\n");
}

HostileServer::Script HostileServer::invalidJwt() {
    return answer(401, "application/json", R"({"code":401,"message":"Invalid JWT"})");
}

std::vector<std::pair<int, HostileServer::Script>> HostileServer::gatewayAnswers() {
    return {{502, badGatewayPage()}, {401, invalidJwt()}};
}

HostileServer::Script HostileServer::redirect(int status, const QUrl& location) {
    return [status, location](Wire& wire) {
        const QByteArray body = R"({"moved":true})";
        wire.send(head(status, "Moved",
                       {"Location: " + location.toEncoded(), "Content-Type: application/json",
                        lengthOf(body), "Connection: close"}) +
                  body);
    };
}

HostileServer::Script HostileServer::trickle(const QByteArray& body, int msPerByte) {
    return [body, msPerByte](Wire& wire) {
        if (!wire.send(jsonHead(lengthOf(body)))) return;
        for (const char c : body) {
            if (!wire.send(QByteArray(1, c)) || !wire.pause(msPerByte)) return;
        }
    };
}

HostileServer::Script HostileServer::endless() {
    return [](Wire& wire) {
        if (!wire.send(jsonHead(kChunked))) return;
        flood(wire,
              QByteArray::number(64 * 1024, 16) + "\r\n" + QByteArray(64 * 1024, ' ') + "\r\n");
    };
}

HostileServer::Script HostileServer::cutShort(const QByteArray& body, int sent) {
    return [body, sent](Wire& wire) { wire.send(jsonHead(lengthOf(body)) + body.left(sent)); };
}

HostileServer::Script HostileServer::chunkedCutShort() {
    return [](Wire& wire) { wire.send(jsonHead(kChunked) + "20\r\n{\"text\":\"only the first"); };
}

HostileServer::Script HostileServer::endlessHeaders() {
    return [](Wire& wire) {
        if (wire.send("HTTP/1.1 200 OK\r\n")) {
            flood(wire, QByteArray("X-Filler: " + QByteArray(1000, 'x') + "\r\n").repeated(64));
        }
    };
}

HostileServer::Script HostileServer::endlessTrailer() {
    return [](Wire& wire) {
        if (wire.send(jsonHead(kChunked) + "2\r\n{}\r\n0\r\nX-Trailer: ")) {
            flood(wire, QByteArray(1024, 'x'));
        }
    };
}

}  // namespace pelix::fakes
