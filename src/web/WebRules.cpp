#include "web/WebRules.h"

#include "core/Prefs.h"
#include "core/Sentences.h"
#include "relay/RelayAccounts.h"
#include "service/TokenStore.h"

#include <QJsonObject>
#include <QUrlQuery>

namespace pelix::web {

namespace {

// The scheme as written: the URL parser lower-cases it.
QString schemeOf(const QUrl& url) {
    return url.scheme().toLower();
}

bool onDomain(const QString& host, const QString& domain) {
    if (domain.isEmpty()) return false;
    const QString d = domain.toLower();
    return host == d || host.endsWith(QLatin1Char('.') + d);
}

QString escaped(const QString& text) {
    return text.toHtmlEscaped();
}

}  // namespace

WebPlaces WebPlaces::from(const core::Prefs& prefs, const QUrl& apiBase) {
    WebPlaces places;
    if (const std::optional<QString> base = prefs.string("web.base"); base && !base->isEmpty())
        places.base = QUrl(*base);
    if (!apiBase.host().isEmpty()) places.backendDomain = apiBase.host().toLower();
    return places;
}

QUrl WebPlaces::at(const QString& path) const {
    QUrl url = base;
    url.setPath(path);
    url.setQuery(QString());
    url.setFragment(QString());
    return url;
}

bool isGoogleSignIn(const QUrl& url, const WebPlaces& places) {
    const QString host = url.host().toLower();
    if (host == places.googleHost.toLower()) return true;
    return onDomain(host, places.backendDomain) && url.path().endsWith("/auth/v1/authorize") &&
           QUrlQuery(url).queryItemValue("provider", QUrl::FullyDecoded) == "google";
}

Navigation navigation(const QUrl& url, bool fromWebApp, const WebPlaces& places) {
    if (url.isEmpty()) return Navigation::allow;
    const QString scheme = schemeOf(url);
    if (scheme == "pelix-mac") return fromWebApp ? Navigation::macLink : Navigation::refuse;
    static const QStringList web{"http", "https", "about", "blob", "data"};
    if (!web.contains(scheme)) return fromWebApp ? Navigation::desktop : Navigation::refuse;
    if (isGoogleSignIn(url, places)) return Navigation::signIn;
    const QString host = url.host().toLower();
    if (host == places.host() || onDomain(host, places.backendDomain)) return Navigation::allow;
    // about:, blob: and data: pages have no host of their own; they stay in the window.
    if (scheme != "http" && scheme != "https") return Navigation::allow;
    return Navigation::browser;
}

bool acceptsRelayMessage(const QUrl& pageUrl, bool mainFrame, const WebPlaces& places) {
    return mainFrame && schemeOf(pageUrl) == "https" && !pageUrl.host().isEmpty() &&
           pageUrl.host().toLower() == places.host();
}

std::optional<RelayAccountMessage> relayAccountMessage(const QJsonValue& body) {
    if (!body.isObject()) return std::nullopt;
    const QJsonObject object = body.toObject();
    const QJsonValue user = object.value("user");
    if (!user.isString() || !relay::RelayAccounts::isUser(user.toString())) return std::nullopt;
    RelayAccountMessage message{user.toString(), std::nullopt};
    const QJsonValue token = object.value("token");
    if (token.isString()) {
        // A key the service client would refuse to send is no key.
        if (!token.toString().isEmpty() && !service::isPelixKey(token.toString()))
            return std::nullopt;
        if (!token.toString().isEmpty()) message.token = token.toString();
    } else if (!token.isUndefined() && !token.isNull()) {
        return std::nullopt;
    }
    return message;
}

QString offlinePage(const QUrl& failed) {
    const QString target = escaped(failed.toString(QUrl::FullyEncoded));
    return QStringLiteral(
               "<!doctype html><html><head><meta charset=\"utf-8\"><title>Pelix</title><style>"
               "html,body{height:100%;margin:0}"
               "body{display:flex;align-items:center;justify-content:center;text-align:center;"
               "background:#fafaf7;color:#16170f;font-family:system-ui,-apple-system,sans-serif}"
               "h1{font-size:22px;font-weight:600;margin:0 0 8px}"
               "p{color:#5b5c52;margin:0 0 20px;font-size:15px}"
               "a{color:#b8730f;font-weight:600;text-decoration:none;font-size:15px}"
               "</style></head><body><main>"
               "<h1>%2</h1>"
               "<p>%3</p>"
               "<a id=\"again\" href=\"%1\">%4</a>"
               "</main></body></html>")
        .arg(target, escaped(core::sentences::kOffline),
             escaped(core::sentences::kCheckTheConnection), escaped(core::sentences::kTryAgain));
}

}  // namespace pelix::web
