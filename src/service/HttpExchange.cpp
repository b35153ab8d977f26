#include "service/HttpExchange.h"

#include "core/Sentences.h"

#include <QIODevice>
#include <QNetworkReply>
#include <QSslSocket>
#include <QTcpSocket>

#include <algorithm>
#include <cmath>

namespace pelix::service {
namespace {

// Bytes the socket reads ahead of us: a server sending faster than the answer is read waits.
constexpr qint64 kReadAhead = 64 * 1024;
// Bytes of a streamed body handed to the socket at a time.
constexpr qint64 kWriteStep = 64 * 1024;

QString withFullStop(QString text) {
    text = text.trimmed();
    if (text.isEmpty() || text == QStringLiteral("Unknown error")) {
        return core::sentences::kConnectionFailed;
    }
    if (!QStringLiteral(".!?…").contains(text.back())) text += u'.';
    return text;
}

// The next line of `buffer` without its line end, taken off the buffer; none while it is not
// whole.
std::optional<QByteArray> takeLine(QByteArray& buffer) {
    const qsizetype end = buffer.indexOf('\n');
    if (end < 0) return std::nullopt;
    QByteArray line = buffer.left(end);
    buffer.remove(0, end + 1);
    if (line.endsWith('\r')) line.chop(1);
    return line;
}

}  // namespace

HttpExchange::HttpExchange(Request request, std::function<void(Answer)> done, QObject* parent)
    : QObject(parent), request_(std::move(request)), done_(std::move(done)) {
    limit_.setSingleShot(true);
    connect(&limit_, &QTimer::timeout, this, [this] {
        fail(Error{QStringLiteral("network"), QAbstractSocket::SocketTimeoutError,
                   core::sentences::kTimedOut});
    });
    silence_.setSingleShot(true);
    connect(&silence_, &QTimer::timeout, this, [this] {
        fail(Error{
            QStringLiteral("network"), QAbstractSocket::SocketTimeoutError,
            core::sentences::silentFor(static_cast<int>(std::lround(request_.silenceSeconds)))});
    });
}

void HttpExchange::cancel() {
    fail(Error{QStringLiteral("network"), QNetworkReply::OperationCanceledError,
               core::sentences::kRequestCancelled});
}

void HttpExchange::heard() {
    if (request_.silenceSeconds > 0) silence_.start();
}

HttpExchange::~HttpExchange() {
    // Going with its owner before the answer came: no signal of the socket reaches a half-gone
    // exchange.
    ended_ = true;
    if (socket_) {
        socket_->disconnect(this);
        socket_->abort();
    }
}

void HttpExchange::start() {
    const bool tls =
        request_.url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;
    if (tls) {
        auto* ssl = new QSslSocket;
        socket_.reset(ssl);
        connect(ssl, &QSslSocket::encrypted, this, &HttpExchange::send);
    } else {
        socket_ = std::make_unique<QTcpSocket>();
        connect(socket_.get(), &QAbstractSocket::connected, this, &HttpExchange::send);
    }
    socket_->setProxy(request_.proxy);
    socket_->setReadBufferSize(kReadAhead);
    connect(socket_.get(), &QIODevice::readyRead, this, &HttpExchange::readMore);
    connect(socket_.get(), &QIODevice::bytesWritten, this, &HttpExchange::sendMore);
    connect(socket_.get(), &QAbstractSocket::disconnected, this, &HttpExchange::closed);
    connect(socket_.get(), &QAbstractSocket::errorOccurred, this,
            [this](QAbstractSocket::SocketError error) {
                if (error == QAbstractSocket::RemoteHostClosedError) return closed();
                fail(Error{QStringLiteral("network"), static_cast<int>(error),
                           withFullStop(socket_->errorString())});
            });
    const auto ms = [](double seconds) {
        return static_cast<int>(std::lround(std::clamp(seconds * 1000, 0.0, 24.0 * 3600 * 1000)));
    };
    limit_.start(ms(request_.timeoutSeconds));
    silence_.setInterval(ms(request_.silenceSeconds));
    heard();
    const QString host = request_.url.host();
    const quint16 port = static_cast<quint16>(request_.url.port(tls ? 443 : 80));
    if (tls) {
        static_cast<QSslSocket*>(socket_.get())->connectToHostEncrypted(host, port);
    } else {
        socket_->connectToHost(host, port);
    }
}

void HttpExchange::send() {
    heard();
    const QUrl& url = request_.url;
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (target.isEmpty()) target = "/";
    if (url.hasQuery()) target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
    if (host.contains(':')) host = '[' + host + ']';
    if (url.port() != -1) host += ':' + QByteArray::number(url.port());
    const qint64 length = request_.bodyDevice ? request_.bodyDevice->size() : request_.body.size();

    QByteArray head = request_.method + ' ' + target + " HTTP/1.1\r\nHost: " + host + "\r\n";
    for (const auto& [name, value] : request_.headers) {
        // A line break in a value would end the header and start another.
        if (value.contains('\r') || value.contains('\n')) {
            return failed(kNotHttp, core::sentences::kHeaderLineBreak);
        }
        head += name + ": " + value + "\r\n";
    }
    head += "Content-Length: " + QByteArray::number(length) +
            "\r\nAccept-Encoding: identity\r\nConnection: close\r\n\r\n";
    socket_->write(head);
    if (request_.bodyDevice) {
        sendMore();
    } else {
        socket_->write(request_.body);
    }
}

void HttpExchange::sendMore() {
    if (ended_) return;
    heard();
    QIODevice* device = request_.bodyDevice.get();
    if (!device) return;
    while (socket_->bytesToWrite() < 4 * kWriteStep && sent_ < device->size()) {
        const QByteArray step = device->read(kWriteStep);
        if (step.isEmpty()) {
            return fail(Error::pelix(1, core::sentences::kCouldntReadBody));
        }
        sent_ += step.size();
        socket_->write(step);
    }
}

void HttpExchange::readMore() {
    if (ended_) return;
    heard();
    buffer_ += socket_->readAll();
    parse();
}

bool HttpExchange::parseHead() {
    qsizetype end = buffer_.indexOf("\r\n\r\n");
    qsizetype after = end + 4;
    if (const qsizetype bare = buffer_.indexOf("\n\n"); bare >= 0 && (end < 0 || bare < end)) {
        end = bare;
        after = bare + 2;
    }
    if (end < 0) {
        if (buffer_.size() > kHeaderLimit) {
            failed(kTooLarge, core::sentences::headersTooLarge(kHeaderLimit / 1024));
            return false;
        }
        return true;
    }
    const QList<QByteArray> lines = buffer_.left(end).split('\n');
    buffer_.remove(0, after);
    const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
    bool ok = false;
    status_ = first.value(1).toInt(&ok);
    if (!first.value(0).startsWith("HTTP/1.") || !ok || status_ < 100 || status_ > 999) {
        failed(kNotHttp, core::sentences::kNotHttp);
        return false;
    }
    // An interim answer ("100 Continue") is followed by the real one.
    if (status_ < 200) return parseHead();
    qint64 length = -1;
    bool chunked = false;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon < 0) continue;
        const QByteArray name = lines[i].left(colon).trimmed().toLower();
        const QByteArray value = lines[i].mid(colon + 1).trimmed();
        if (name == "transfer-encoding") {
            chunked = value.toLower().contains("chunked");
        } else if (name == "content-length") {
            length = value.toLongLong(&ok);
            if (!ok || length < 0) {
                failed(kNotHttp, core::sentences::kNotHttp);
                return false;
            }
        }
    }
    if (status_ == 204 || status_ == 304) {
        finish(Answer{status_, {}, std::nullopt});
        return false;
    }
    if (chunked) {
        reading_ = Reading::chunkSize;
    } else if (length >= 0) {
        if (length > request_.answerLimit) {
            failed(kTooLarge,
                   core::sentences::answerTooLarge(request_.answerLimit / (1024 * 1024)));
            return false;
        }
        reading_ = Reading::sized;
        remaining_ = length;
        body_.reserve(length);
    } else {
        reading_ = Reading::untilClose;
    }
    return true;
}

bool HttpExchange::parse() {
    for (;;) {
        if (ended_) return false;
        switch (reading_) {
            case Reading::head:
                if (!parseHead()) return false;
                if (reading_ == Reading::head) return true;
                break;
            case Reading::sized: {
                const qint64 n = std::min<qint64>(remaining_, buffer_.size());
                body_ += buffer_.left(n);
                buffer_.remove(0, n);
                remaining_ -= n;
                if (remaining_ == 0) {
                    finish(Answer{status_, std::move(body_), std::nullopt});
                    return false;
                }
                return true;
            }
            case Reading::chunkSize: {
                const std::optional<QByteArray> line = takeLine(buffer_);
                if (!line) {
                    if (buffer_.size() > kLineLimit) {
                        failed(kNotHttp, core::sentences::kNotHttp);
                        return false;
                    }
                    return true;
                }
                // Chunk extensions after ";" are ignored.
                const qsizetype extension = line->indexOf(';');
                const QByteArray digits = (extension < 0 ? *line : line->left(extension)).trimmed();
                bool ok = false;
                const qint64 size = digits.size() <= 15 ? digits.toLongLong(&ok, 16) : -1;
                if (!ok || size < 0) {
                    failed(kNotHttp, core::sentences::kNotHttp);
                    return false;
                }
                if (size > request_.answerLimit - body_.size()) {
                    failed(kTooLarge,
                           core::sentences::answerTooLarge(request_.answerLimit / (1024 * 1024)));
                    return false;
                }
                remaining_ = size;
                reading_ = size == 0 ? Reading::trailers : Reading::chunkData;
                break;
            }
            case Reading::chunkData: {
                const qint64 n = std::min<qint64>(remaining_, buffer_.size());
                body_ += buffer_.left(n);
                buffer_.remove(0, n);
                remaining_ -= n;
                if (remaining_ > 0) return true;
                reading_ = Reading::chunkEnd;
                break;
            }
            case Reading::chunkEnd: {
                const std::optional<QByteArray> line = takeLine(buffer_);
                if (!line) return true;
                if (!line->isEmpty()) {
                    failed(kNotHttp, core::sentences::kNotHttp);
                    return false;
                }
                reading_ = Reading::chunkSize;
                break;
            }
            case Reading::trailers: {
                const std::optional<QByteArray> line = takeLine(buffer_);
                if (!line) {
                    if (buffer_.size() > kLineLimit) {
                        failed(kTooLarge, core::sentences::headerLineTooLong(kLineLimit / 1024));
                        return false;
                    }
                    return true;
                }
                if (line->isEmpty()) {
                    finish(Answer{status_, std::move(body_), std::nullopt});
                    return false;
                }
                break;
            }
            case Reading::untilClose:
                body_ += buffer_;
                buffer_.clear();
                if (body_.size() > request_.answerLimit) {
                    failed(kTooLarge,
                           core::sentences::answerTooLarge(request_.answerLimit / (1024 * 1024)));
                    return false;
                }
                return true;
        }
    }
}

void HttpExchange::closed() {
    if (ended_) return;
    buffer_ += socket_->readAll();
    if (!parse()) return;
    if (reading_ == Reading::untilClose) {
        return finish(Answer{status_, std::move(body_), std::nullopt});
    }
    if (reading_ == Reading::head && status_ == 0 && buffer_.isEmpty()) {
        return fail(Error{QStringLiteral("network"), QAbstractSocket::RemoteHostClosedError,
                          core::sentences::kClosedWithoutAnswer});
    }
    failed(kCutOff, core::sentences::kBrokeOff);
}

void HttpExchange::failed(int code, const QString& message) {
    fail(Error::pelix(code, message));
}

void HttpExchange::fail(Error error) {
    Answer answer;
    answer.failure = std::move(error);
    finish(std::move(answer));
}

void HttpExchange::finish(Answer answer) {
    if (ended_) return;
    ended_ = true;
    limit_.stop();
    silence_.stop();
    if (socket_) {
        socket_->disconnect(this);
        socket_->abort();
    }
    deleteLater();
    done_(std::move(answer));
}

}  // namespace pelix::service
