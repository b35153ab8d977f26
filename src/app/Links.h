#pragma once

#include "service/TokenStore.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace pelix::app {

// A "pelix-mac:" link, read.
struct Link {
    enum class Kind { connect, editor, update, voiceMemos, authCallback };
    Kind kind;
    QString token;  // "connect" only: the query item "token", as it came
    QUrl url;
};

inline constexpr auto kLinkScheme = "pelix-mac";

// The link's action from its host; none for another scheme or an unknown host.
std::optional<Link> readLink(const QUrl& url);

// Whether a "connect" link's token is a Pelix key.
inline bool isPelixToken(const QString& token) {
    return service::isPelixKey(token);
}

}  // namespace pelix::app
