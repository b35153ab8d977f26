#include "web/SignIn.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QUrlQuery>

#include <array>

namespace pelix::web {

namespace {

QString systemRandom() {
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    const QByteArray bytes(reinterpret_cast<const char*>(words.data()),
                           static_cast<qsizetype>(words.size() * sizeof(quint32)));
    return QString::fromLatin1(
        bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

}  // namespace

SignIn::SignIn(std::function<QString()> random)
    : random_(random ? std::move(random) : systemRandom) {}

QUrl SignIn::start(const WebPlaces& places) {
    state_ = random_();
    QUrl url = places.at(QString::fromLatin1(kStartPath));
    QUrlQuery query;
    query.addQueryItem("client", "linux");
    query.addQueryItem("state", *state_);
    url.setQuery(query);
    return url;
}

std::optional<QUrl> SignIn::finish(const QUrl& callback, const WebPlaces& places) {
    if (!state_ || callback.scheme().toLower() != "pelix-mac" ||
        callback.host().toLower() != "auth-callback")
        return std::nullopt;
    const QList<QPair<QString, QString>> items = QUrlQuery(callback).queryItems(QUrl::FullyDecoded);
    int matching = 0;
    for (const auto& [key, value] : items) {
        if (key != "state") continue;
        if (value != *state_) return std::nullopt;
        ++matching;
    }
    if (matching != 1) return std::nullopt;
    state_.reset();
    QUrl target = places.at(QString::fromLatin1(kCallbackPath));
    target.setQuery(callback.query(QUrl::FullyEncoded));
    if (callback.hasFragment()) target.setFragment(callback.fragment(QUrl::FullyEncoded));
    return target;
}

}  // namespace pelix::web
