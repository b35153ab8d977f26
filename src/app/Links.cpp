#include "app/Links.h"

#include <QUrlQuery>

namespace pelix::app {

std::optional<Link> readLink(const QUrl& url) {
    if (url.scheme().compare(QLatin1String(kLinkScheme), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QString host = url.host().toLower();
    Link link{Link::Kind::connect, {}, url};
    if (host == "connect") {
        link.token = QUrlQuery(url).queryItemValue("token", QUrl::FullyDecoded);
    } else if (host == "editor") {
        link.kind = Link::Kind::editor;
    } else if (host == "update") {
        link.kind = Link::Kind::update;
    } else if (host == "voice-memos") {
        link.kind = Link::Kind::voiceMemos;
    } else if (host == "auth-callback") {
        link.kind = Link::Kind::authCallback;
    } else {
        return std::nullopt;
    }
    return link;
}

}  // namespace pelix::app
