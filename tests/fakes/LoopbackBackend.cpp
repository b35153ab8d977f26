#include "fakes/LoopbackBackend.h"

#include "support/TestSupport.h"

#include <httplib.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace pelix::fakes {

Reply Reply::json(const QJsonObject& object, int status) {
    return {.status = status, .body = QJsonDocument(object).toJson(QJsonDocument::Compact)};
}

Reply Reply::text(const QByteArray& body, int status) {
    return {.status = status, .body = body, .contentType = "text/plain"};
}

struct LoopbackBackend::Impl {
    httplib::Server server;
    std::thread thread;
    mutable std::mutex mutex;
    QList<Recorded> received;
    QMap<QString, std::function<Reply(const Recorded&)>> scripts;

    Reply respond(const Recorded& request) {
        std::function<Reply(const Recorded&)> script;
        {
            std::lock_guard lock(mutex);
            received.push_back(request);
            script = scripts.value(request.function);
        }
        return script ? script(request) : Reply{};
    }
};

LoopbackBackend::LoopbackBackend() : impl_(std::make_unique<Impl>()) {
    auto handler = [this](const httplib::Request& req, httplib::Response& res) {
        Recorded r;
        r.method = QString::fromStdString(req.method);
        r.path = QString::fromStdString(req.path);
        r.function = r.path.section('/', -1);
        for (const auto& [name, value] : req.headers) {
            r.headers.insert(QString::fromStdString(name).toLower(), QString::fromStdString(value));
        }
        r.body = QByteArray::fromStdString(req.body);
        r.json = QJsonDocument::fromJson(r.body).object();
        const Reply reply = impl_->respond(r);
        if (reply.delayMs > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(reply.delayMs));
        res.status = reply.status;
        for (auto it = reply.headers.begin(); it != reply.headers.end(); ++it) {
            res.set_header(it.key().toStdString(), it.value().toStdString());
        }
        res.set_content(reply.body.toStdString(), reply.contentType.toStdString());
    };
    impl_->server.Post(".*", handler);
    impl_->server.Get(".*", handler);
    port_ = impl_->server.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("the loopback backend could not bind 127.0.0.1");
    impl_->thread = std::thread([this] { impl_->server.listen_after_bind(); });
    while (!impl_->server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

LoopbackBackend::~LoopbackBackend() {
    impl_->server.stop();
    if (impl_->thread.joinable()) impl_->thread.join();
}

QUrl LoopbackBackend::base() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port_));
}

void LoopbackBackend::answer(const QString& function, Reply reply) {
    answerWith(function, [reply](const Recorded&) { return reply; });
}

void LoopbackBackend::answerInTurn(const QString& function, QList<Reply> replies) {
    auto next = std::make_shared<qsizetype>(0);
    answerWith(function, [replies, next](const Recorded&) {
        const Reply r = replies.value(std::min(*next, replies.size() - 1));
        ++*next;
        return r;
    });
}

void LoopbackBackend::answerWith(const QString& function,
                                 std::function<Reply(const Recorded&)> respond) {
    std::lock_guard lock(impl_->mutex);
    impl_->scripts.insert(function, std::move(respond));
}

QList<Recorded> LoopbackBackend::requests(const QString& function) const {
    std::lock_guard lock(impl_->mutex);
    if (function.isEmpty()) return impl_->received;
    QList<Recorded> out;
    for (const Recorded& r : impl_->received) {
        if (r.function == function) out.push_back(r);
    }
    return out;
}

bool LoopbackBackend::waitFor(const QString& function, int count, int timeoutMs) const {
    return testing::waitUntil([&] { return requests(function).size() >= count; }, timeoutMs);
}

void LoopbackBackend::clear() {
    std::lock_guard lock(impl_->mutex);
    impl_->received.clear();
}

}  // namespace pelix::fakes
