#include "service/Api.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Prefs.h"
#include "core/Sentences.h"

#include <QHostAddress>
#include <QIODevice>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>
#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <memory>

namespace pelix::service {
namespace {

QStringList titles(const QJsonValue& list) {
    QStringList out;
    for (const QJsonValue& entry : list.toArray()) {
        const QString title = entry.toObject().value("title").toString();
        if (!title.isEmpty()) out << title;
    }
    return out;
}

bool isLoopbackHost(const QString& host) {
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0) return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

}  // namespace

std::optional<QString> Api::unsafeBase(const QUrl& base) {
    const QString scheme = base.scheme().toLower();
    const QString shown = base.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemovePath |
                                               QUrl::RemoveQuery | QUrl::RemoveFragment);
    if (!base.isValid() || base.host().isEmpty() || (scheme != "https" && scheme != "http")) {
        return core::sentences::notAWebAddress(shown.isEmpty() ? base.toString() : shown);
    }
    if (scheme == "http" && !isLoopbackHost(base.host())) {
        return core::sentences::plainHttpElsewhere(shown);
    }
    return std::nullopt;
}

bool Api::isTransport(const Error& error) {
    if (error.domain == QStringLiteral("network")) return true;
    return error.domain == QStringLiteral("pelix") &&
           (error.code == kUnsafeBase || error.code == kTooLarge || error.code == kCutOff ||
            error.code == kNotHttp);
}

QString Api::describe(const Error& error) {
    return isTransport(error) ? core::sentences::kCouldntReachPelix + error.message : error.message;
}

QUrl Api::configuredBase(const core::Prefs& prefs) {
    const QString env = qEnvironmentVariable("PELIX_API_BASE");
    if (!env.isEmpty()) return QUrl(env);
    if (auto stored = prefs.string("api.base"); stored && !stored->isEmpty()) return QUrl(*stored);
    return QUrl(kDefaultBase);
}

Api::Api(QUrl base, TokenStore tokens, QNetworkAccessManager* network, const core::Clock* clock,
         QObject* parent)
    : QObject(parent),
      unsafe_(unsafeBase(base)),
      tokens_(std::move(tokens)),
      network_(network),
      clock_(clock) {
    QString path = base.path();
    while (path.endsWith('/')) path.chop(1);
    base.setPath(path + "/functions/v1");
    functions_ = base;
}

QUrl Api::functionUrl(const QString& name) const {
    QUrl url = functions_;
    url.setPath(functions_.path() + "/" + name);
    return url;
}

void Api::call(const QString& name, const QJsonObject& body, std::optional<QString> token,
               double timeoutSeconds, Done done) {
    post(name, core::json::compact(body), std::move(token), timeoutSeconds,
         [done = std::move(done)](RawAnswer answer) { done(read(answer)); });
}

void Api::call(const QString& name, const QJsonObject& body, std::optional<QString> token,
               double timeoutSeconds, const Needs& needs, Done done) {
    post(name, core::json::compact(body), std::move(token), timeoutSeconds,
         [needs, done = std::move(done)](RawAnswer answer) { done(readFor(answer, needs)); });
}

std::optional<RawAnswer> Api::refusal(std::optional<QString>& token) const {
    if (!token || token->isEmpty()) token = tokens_.read();
    RawAnswer refused;
    if (!token) {
        refused.noToken = true;
    } else if (!isPelixKey(*token)) {
        refused.notAKey = true;
    } else if (unsafe_) {
        refused.transport = Error::pelix(kUnsafeBase, *unsafe_);
    } else {
        return std::nullopt;
    }
    return refused;
}

void Api::post(const QString& name, const QByteArray& body, std::optional<QString> token,
               double timeoutSeconds, RawDone done) {
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this,
            [this, name, body, token, timeoutSeconds, done = std::move(done)]() mutable {
                post(name, body, token, timeoutSeconds, std::move(done));
            },
            Qt::QueuedConnection);
        return;
    }
    if (std::optional<RawAnswer> refused = refusal(token)) {
        // Nothing is sent; the answer still comes later, as every answer does.
        QMetaObject::invokeMethod(
            this, [done = std::move(done), answer = *refused] { done(answer); },
            Qt::QueuedConnection);
        return;
    }
    HttpExchange::Request request = frame(name, *token, timeoutSeconds);
    request.body = body;
    exchange(std::move(request), [token = *token, done = std::move(done)](RawAnswer answer) {
        answer.sentWith = token;
        done(std::move(answer));
    });
}

void Api::callStreamed(const QString& name, BodyMaker body, std::optional<QString> token,
                       double timeoutSeconds, Done done) {
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this,
            [=, this, body = std::move(body), done = std::move(done)]() mutable {
                callStreamed(name, std::move(body), token, timeoutSeconds, std::move(done));
            },
            Qt::QueuedConnection);
        return;
    }
    if (std::optional<RawAnswer> refused = refusal(token)) {
        QMetaObject::invokeMethod(
            this, [done = std::move(done), answer = *refused] { done(read(answer)); },
            Qt::QueuedConnection);
        return;
    }
    std::shared_ptr<QIODevice> device = body();
    if (!device) return done(fail(1, core::sentences::kCouldntReadBody));
    HttpExchange::Request request = frame(name, *token, timeoutSeconds);
    request.bodyDevice = std::move(device);
    exchange(std::move(request), [token = *token, done = std::move(done)](RawAnswer answer) {
        answer.sentWith = token;
        done(read(answer));
    });
}

HttpExchange::Request Api::frame(const QString& name, const QString& token,
                                 double timeoutSeconds) const {
    HttpExchange::Request request;
    request.url = functionUrl(name);
    request.headers = {{"Content-Type", "application/json"},
                       {"Authorization", "Bearer " + token.toUtf8()}};
    request.timeoutSeconds = timeoutSeconds;
    request.answerLimit = kAnswerLimit;
    // A proxy set on the application's network manager applies here too.
    if (network_) request.proxy = network_->proxy();
    return request;
}

void Api::exchange(HttpExchange::Request request, RawDone done) {
    auto* exchange = new HttpExchange(
        std::move(request),
        [this, done = std::move(done)](HttpExchange::Answer answer) {
            RawAnswer raw;
            if (answer.failure) {
                raw.transport = std::move(answer.failure);
            } else {
                raw.status = answer.status;
                raw.body = std::move(answer.body);
            }
            const bool reachedIt = raw.status >= 200 && raw.status < 300;
            done(std::move(raw));
            if (reachedIt) Q_EMIT reached();
        },
        this);
    exchange->start();
}

Error Api::transportError(QNetworkReply* reply) {
    const auto code = reply->error();
    QString message = reply->errorString();
    if (code == QNetworkReply::OperationCanceledError || code == QNetworkReply::TimeoutError) {
        message = core::sentences::kTimedOut;
    }
    return Error{QStringLiteral("network"), static_cast<int>(code), message};
}

Result<QJsonObject> Api::read(const RawAnswer& answer) {
    if (answer.noToken) return fail(401, core::sentences::kSignInFirst);
    if (answer.notAKey) return fail(401, core::sentences::kNotAKey);
    if (answer.transport) return std::unexpected(*answer.transport);
    const auto object = core::json::parseObject(answer.body);
    if (!object) return QJsonObject{};
    const QJsonValue error = object->value("error");
    // A server that echoes the token back does not get it shown or logged.
    if (error.isString()) {
        return fail(answer.status, core::console::withoutSecret(error.toString(), answer.sentWith));
    }
    return *object;
}

Needs Needs::filing() {
    return {QStringLiteral("the filing's id"),
            {{"id", QJsonValue::Undefined}, {"result", QJsonValue::Undefined}}};
}

Needs Needs::notesTaken() {
    return {QStringLiteral("the count of notes it took"),
            {{"created", QJsonValue::Double},
             {"updated", QJsonValue::Double},
             {"unchanged", QJsonValue::Double}}};
}

Needs Needs::insights() {
    return one(QStringLiteral("the insights"), QStringLiteral("insights"), QJsonValue::Array);
}

bool Api::isRefusalStatus(int status) {
    return status == 401 || status == 403 || (status >= 500 && status <= 599);
}

Result<QJsonObject> Api::readFor(const RawAnswer& answer, const Needs& needs) {
    Result<QJsonObject> object = read(answer);
    if (!object) return object;
    if (needs.anyOf.isEmpty()) {
        // A gateway in front of the functions answers for them when they are down or the token
        // is refused: an HTML page, or an object of only these members.
        static const QStringList gateway{"code", "message", "msg"};
        const auto parsed = core::json::parseObject(answer.body);
        const bool backends = parsed && std::ranges::any_of(parsed->keys(), [](const QString& key) {
                                  return !gateway.contains(key);
                              });
        if (isRefusalStatus(answer.status) && !backends) {
            return fail(answer.status, core::sentences::pelixDidNotSayDone(answer.status));
        }
        return object;
    }
    for (const Needs::Member& member : needs.anyOf) {
        const QJsonValue value = object->value(member.name);
        const bool any = member.type == QJsonValue::Undefined;
        if (any ? !value.isUndefined() && !value.isNull() : value.type() == member.type) {
            return object;
        }
    }
    return fail(answer.status, core::sentences::pelixAnsweredWithout(answer.status, needs.what));
}

QJsonObject Api::context(const QString& input, std::optional<double> seconds) const {
    const QDateTime now = clock_->now();
    const QTime time = now.time();
    QJsonObject context{
        {"recorded_at", core::json::isoDate(now)},
        {"tz", QString::fromUtf8(now.timeZone().id())},
        {"tz_offset_min", now.offsetFromUtc() / 60},
        {"hour", time.hour()},
        {"minute", time.minute()},
        // Sunday is 1 and Saturday 7, as the backend counts.
        {"weekday", now.date().dayOfWeek() % 7 + 1},
        {"platform", "linux"},
        {"locale", QLocale::system().name()},
        {"input", input},
    };
    if (seconds) context.insert("duration_s", static_cast<qint64>(std::llround(*seconds)));
    return context;
}

void Api::tell(const QString& text, const QString& input, double timeoutSeconds,
               std::function<void(Result<Filed>)> done) {
    const QJsonObject body{{"text", text}, {"context", context(input)}};
    call("organize", body, std::nullopt, timeoutSeconds, Needs::nothing(),
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(Filed{titles(answer->value("tasks")), titles(answer->value("notes")),
                        titles(answer->value("projects"))});
         });
}

void Api::ask(const QJsonArray& messages, std::function<void(Result<QString>)> done) {
    call("chat", QJsonObject{{"messages", messages}}, std::nullopt, 60,
         Needs::one(QStringLiteral("a reply"), QStringLiteral("reply"), QJsonValue::String),
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(answer->value("reply").toString());
         });
}

void Api::insights(const QJsonObject& body, double timeoutSeconds,
                   std::function<void(Result<QList<Insight>>)> done) {
    call("insights", body, std::nullopt, timeoutSeconds, Needs::insights(),
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             QList<Insight> list;
             for (const QJsonValue& entry : answer->value("insights").toArray()) {
                 const QJsonObject o = entry.toObject();
                 list.push_back(Insight{o.value("title").toString(),
                                        o.value("kind").toString("connection"),
                                        o.value("body").toString(), o.value("seen_at").toString()});
             }
             done(list);
         });
}

void Api::keep(const QString& text, double timeoutSeconds, std::function<void(Status)> done) {
    const QJsonObject body{{"text", text}, {"context", context("live")}};
    call("dictate", body, std::nullopt, timeoutSeconds, Needs::nothing(),
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done({});
         });
}

}  // namespace pelix::service
