#pragma once

#include "core/Clock.h"
#include "core/Error.h"
#include "service/TokenStore.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace pelix {

class Prefs;

// What the backend answered to one request, before the answer rules are applied: the status
// code (0 when there was none) and the body, or the transport's error.
struct RawAnswer {
    int status = 0;
    QByteArray body;
    std::optional<Error> transport;
    // Nothing was sent: no token was passed and none is stored.
    bool noToken = false;
};

// Titles of what "organize" filed.
struct Filed {
    QStringList tasks, notes, projects;
};

struct Insight {
    QString title, kind, body, seenAt;
};

// The one client of the backend: named functions under one base address, each a POST of a
// compact JSON object with the user's token. Lives on the thread that made it (the main
// thread); calls may start on any thread, and every `done` runs on the Api's thread exactly
// once. No request is retried here.
class Api : public QObject {
    Q_OBJECT
public:
    static constexpr auto kDefaultBase = "https://api.pelix.app";
    static constexpr auto kNoToken = "Sign in first: tray icon → Sign in…";

    // The backend's base address: $PELIX_API_BASE, else the preference "api.base", else the
    // built-in one.
    static QUrl configuredBase(const Prefs& prefs);

    Api(QUrl base, TokenStore tokens, QNetworkAccessManager* network, const Clock* clock,
        QObject* parent = nullptr);

    using Done = std::function<void(Result<QJsonObject>)>;
    using RawDone = std::function<void(RawAnswer)>;

    // Calls one function with `token`, else the stored token, read afresh for every request.
    // Without either, `done` gets a 401 error ("Sign in first…") and nothing is sent.
    void call(const QString& name, const QJsonObject& body, std::optional<QString> token,
              double timeoutSeconds, Done done);

    // Sends one function request with the common frame and hands over the raw answer, for the
    // callers that read the status code themselves. The token is found as for `call`; without
    // one the answer is marked `noToken` and nothing is sent.
    void post(const QString& name, const QByteArray& body, std::optional<QString> token,
              double timeoutSeconds, RawDone done);

    // Turns a raw answer into the result of `call`.
    static Result<QJsonObject> read(const RawAnswer& answer);
    // The error of a reply that got no HTTP answer at all: the transport's, in the domain
    // "network", a time-out as "The request timed out.". Shared with the other HTTP clients.
    static Error transportError(QNetworkReply* reply);

    // The capture context every filing carries.
    QJsonObject context(const QString& input, std::optional<double> seconds = std::nullopt) const;

    void tell(const QString& text, const QString& input, double timeoutSeconds,
              std::function<void(Result<Filed>)> done);
    void ask(const QJsonArray& messages, std::function<void(Result<QString>)> done);
    void insights(const QJsonObject& body, double timeoutSeconds,
                  std::function<void(Result<QList<Insight>>)> done);
    void keep(const QString& text, double timeoutSeconds, std::function<void(Status)> done);

    const QUrl& functionsBase() const { return functions_; }
    QUrl functionUrl(const QString& name) const;
    const TokenStore& tokens() const { return tokens_; }

private:
    QUrl functions_;
    TokenStore tokens_;
    QNetworkAccessManager* network_;
    const Clock* clock_;
};

}  // namespace pelix
