#pragma once

#include "core/Clock.h"
#include "core/Error.h"
#include "service/HttpExchange.h"
#include "service/TokenStore.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class QIODevice;
class QNetworkAccessManager;
class QNetworkReply;

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::service {

// What the backend answered to one request, before the answer rules are applied: the status
// code (0 when there was none) and the body, or the transport's error.
struct RawAnswer {
    int status = 0;
    QByteArray body;
    std::optional<Error> transport;
    // Nothing was sent: no token was passed and none is stored.
    bool noToken = false;
    // Nothing was sent: the token passed is not a Pelix key.
    bool notAKey = false;
    // The token the request carried, which `read` blanks out of the backend's error text.
    QString sentWith;
};

// What a caller needs of an answer before it marks, counts, clears or replaces anything on it:
// one of `anyOf` present with a value of its kind (`QJsonValue::Undefined`: any value but null).
// With none listed the caller needs no member, and then only the status and body can say it was
// done (`Api::readFor`).
struct Needs {
    struct Member {
        QString name;
        QJsonValue::Type type;
    };
    // How the sentence names what was missing: "the edit plan".
    QString what;
    QList<Member> anyOf;

    static Needs nothing() { return {}; }
    static Needs one(QString what, QString name, QJsonValue::Type type) {
        return {std::move(what), {{std::move(name), type}}};
    }
    // The answers the features share. A filing ("braindump"): its id or result.
    static Needs filing();
    // Notes taken in ("import-notes"): the counts of what became of them.
    static Needs notesTaken();
    // What the service has noticed ("insights"), which replaces what the panel shows.
    static Needs insights();
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
    // No answer of the backend comes near this; a longer one is cut off and fails.
    static constexpr qint64 kAnswerLimit = 32 * 1024 * 1024;

    // Error codes of the client's own transport failures (domain "pelix"); Qt's own keep the
    // domain "network".
    enum : int {
        kUnsafeBase = 6001,                   // the base address would send the token in clear
        kTooLarge = HttpExchange::kTooLarge,  // the answer went past kAnswerLimit
        kCutOff = HttpExchange::kCutOff,      // the connection ended before the whole answer
        kNotHttp = HttpExchange::kNotHttp,    // what came back was not HTTP
    };

    // Why requests may not go to `base`: anything but https, except plain http to this computer
    // (a loopback address or "localhost"). None when they may.
    static std::optional<QString> unsafeBase(const QUrl& base);
    // Whether `error` is a transport failure (nothing or not all of an answer came back).
    static bool isTransport(const Error& error);
    // An error as the user reads it: transport failures as "Couldn't reach Pelix: " and their
    // description, every other error as it stands. Every caller that shows a failure of the
    // backend to the user shows it through this.
    static QString describe(const Error& error);
    // The error with its description as `describe` gives it, for callers that pass it on.
    static Error asShown(Error error) {
        error.message = describe(error);
        return error;
    }

    // The backend's base address: $PELIX_API_BASE, else the preference "api.base", else the
    // built-in one.
    static QUrl configuredBase(const core::Prefs& prefs);

    Api(QUrl base, TokenStore tokens, QNetworkAccessManager* network, const core::Clock* clock,
        QObject* parent = nullptr);

    using Done = std::function<void(Result<QJsonObject>)>;
    using RawDone = std::function<void(RawAnswer)>;

    // Calls one function with `token`, else the stored token, read afresh for every request.
    // Without either, `done` gets a 401 error (`core::sentences::kSignInFirst`) and nothing is
    // sent; so it does for a token that is not a Pelix key, and for a base address that is not safe
    // (`unsafeBase`).
    void call(const QString& name, const QJsonObject& body, std::optional<QString> token,
              double timeoutSeconds, Done done);
    // As `call`, for a caller that acts on the answer: `done` gets it as `readFor` reads it.
    void call(const QString& name, const QJsonObject& body, std::optional<QString> token,
              double timeoutSeconds, const Needs& needs, Done done);

    // Sends one function request with the common frame and hands over the raw answer, for the
    // callers that read the status code themselves. The token is found as for `call`; without
    // one the answer is marked `noToken` and nothing is sent.
    void post(const QString& name, const QByteArray& body, std::optional<QString> token,
              double timeoutSeconds, RawDone done);

    // Calls one function with a body too large to hold in memory, read from the device that
    // `body` makes (on the Api's thread) while the request goes out. The device is open,
    // random-access and of a known size. Otherwise as `call`.
    using BodyMaker = std::function<std::unique_ptr<QIODevice>()>;
    void callStreamed(const QString& name, BodyMaker body, std::optional<QString> token,
                      double timeoutSeconds, Done done);

    // Turns a raw answer into the result of `call`.
    static Result<QJsonObject> read(const RawAnswer& answer);
    // The answer as a caller that acts on it reads it: `read`, and then a failure (code: the
    // status) unless the answer carries what the caller `needs`. A caller that needs no member
    // does not take as done a status of 401, 403 or 5xx whose body is not the backend's own JSON
    // object (a gateway's page or refusal). Every caller that marks, counts, clears or replaces
    // something on an answer reads it through this.
    static Result<QJsonObject> readFor(const RawAnswer& answer, const Needs& needs);
    // Whether `status` says a request was refused or failed on the way (401, 403, 5xx).
    static bool isRefusalStatus(int status);
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

Q_SIGNALS:
    // A request got an answer of the 2xx kind: the backend can be reached again. After that
    // request's `done`.
    void reached();

private:
    HttpExchange::Request frame(const QString& name, const QString& token,
                                double timeoutSeconds) const;
    // Finds the token (the stored one when none is passed) and says why nothing may be sent,
    // if so: no token, a token that is not a key, an unsafe base address.
    std::optional<RawAnswer> refusal(std::optional<QString>& token) const;
    // Sends the request on a connection of its own (`HttpExchange`) and hands over its answer.
    void exchange(HttpExchange::Request request, RawDone done);

    // Why the base address may not be used, if so (`unsafeBase`).
    std::optional<QString> unsafe_;
    QUrl functions_;
    TokenStore tokens_;
    QNetworkAccessManager* network_;
    const core::Clock* clock_;
};

}  // namespace pelix::service
