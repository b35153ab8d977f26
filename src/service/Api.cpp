#include "service/Api.h"

#include "core/Json.h"
#include "core/Prefs.h"

#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>
#include <QTimeZone>

#include <cmath>
#include <memory>

namespace pelix {
namespace {

QStringList titles(const QJsonValue& list) {
    QStringList out;
    for (const QJsonValue& entry : list.toArray()) {
        const QString title = entry.toObject().value("title").toString();
        if (!title.isEmpty()) out << title;
    }
    return out;
}

}  // namespace

QUrl Api::configuredBase(const Prefs& prefs) {
    const QString env = qEnvironmentVariable("PELIX_API_BASE");
    if (!env.isEmpty()) return QUrl(env);
    if (auto stored = prefs.string("api.base"); stored && !stored->isEmpty()) return QUrl(*stored);
    return QUrl(kDefaultBase);
}

Api::Api(QUrl base, TokenStore tokens, QNetworkAccessManager* network, const Clock* clock,
         QObject* parent)
    : QObject(parent), tokens_(std::move(tokens)), network_(network), clock_(clock) {
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
    post(name, json::compact(body), std::move(token), timeoutSeconds,
         [done = std::move(done)](RawAnswer answer) { done(read(answer)); });
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
    if (!token || token->isEmpty()) token = tokens_.read();
    if (!token) {
        // The answer still comes later, as every answer does.
        RawAnswer unsent;
        unsent.noToken = true;
        QMetaObject::invokeMethod(
            this, [done = std::move(done), unsent] { done(unsent); }, Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(functionUrl(name));
    request.setTransferTimeout(static_cast<int>(std::lround(timeoutSeconds * 1000)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
    request.setRawHeader("Authorization", "Bearer " + token->toUtf8());

    QNetworkReply* reply = network_->post(request, body);
    connect(reply, &QNetworkReply::finished, this, [reply, done = std::move(done)] {
        reply->deleteLater();
        RawAnswer answer;
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            answer.transport = transportError(reply);
        } else {
            answer.status = status.toInt();
            answer.body = reply->readAll();
        }
        done(std::move(answer));
    });
}

Error Api::transportError(QNetworkReply* reply) {
    const auto code = reply->error();
    QString message = reply->errorString();
    if (code == QNetworkReply::OperationCanceledError || code == QNetworkReply::TimeoutError) {
        message = QStringLiteral("The request timed out.");
    }
    return Error{QStringLiteral("network"), static_cast<int>(code), message};
}

Result<QJsonObject> Api::read(const RawAnswer& answer) {
    if (answer.noToken) return fail(401, kNoToken);
    if (answer.transport) return std::unexpected(*answer.transport);
    const auto object = json::parseObject(answer.body);
    if (!object) return QJsonObject{};
    const QJsonValue error = object->value("error");
    if (error.isString()) return fail(answer.status, error.toString());
    return *object;
}

QJsonObject Api::context(const QString& input, std::optional<double> seconds) const {
    const QDateTime now = clock_->now();
    const QTime time = now.time();
    QJsonObject context{
        {"recorded_at", json::isoDate(now)},
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
    call("organize", body, std::nullopt, timeoutSeconds,
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(Filed{titles(answer->value("tasks")), titles(answer->value("notes")),
                        titles(answer->value("projects"))});
         });
}

void Api::ask(const QJsonArray& messages, std::function<void(Result<QString>)> done) {
    call("chat", QJsonObject{{"messages", messages}}, std::nullopt, 60,
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(answer->value("reply").toString());
         });
}

void Api::insights(const QJsonObject& body, double timeoutSeconds,
                   std::function<void(Result<QList<Insight>>)> done) {
    call("insights", body, std::nullopt, timeoutSeconds,
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
    call("dictate", body, std::nullopt, timeoutSeconds,
         [done = std::move(done)](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done({});
         });
}

}  // namespace pelix
