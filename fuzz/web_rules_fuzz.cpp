// The web window's rules for any address, page and message: a navigation that does not come from
// the web app's main frame never reaches the application's or the desktop's handlers, nothing
// off the web app's and the backend's hosts stays in the window, and a relay message is read only
// from the web app's https main frame and only with a user and a Pelix key.
#include "FuzzSupport.h"
#include "relay/RelayAccounts.h"
#include "service/TokenStore.h"
#include "web/WebRules.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace pelix;
using namespace pelix::web;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const bool mainFrame = data[0] & 1;
    // The address asked for, the page asking, and a message, one a line.
    const QList<QByteArray> parts = fuzzing::bytes(data + 1, size - 1).split('\n');
    const QUrl url(QString::fromUtf8(parts.value(0)));
    const QUrl page(QString::fromUtf8(parts.value(1)));
    WebPlaces places;
    places.base = QUrl("https://app.pelix.test/");
    places.backendDomain = "pelix-api.test";

    const bool fromWebApp = acceptsRelayMessage(page, mainFrame, places);
    if (fromWebApp && (!mainFrame || page.scheme().toLower() != "https" ||
                       page.host().toLower() != places.host())) {
        fuzzing::broken("a page that is not the web app's main frame counted as the web app",
                        page.toString());
    }
    const Navigation decided = navigation(url, fromWebApp, places);
    if (!fromWebApp && (decided == Navigation::macLink || decided == Navigation::desktop)) {
        fuzzing::broken("a link from outside the web app reached a handler", url.toString());
    }
    const QString scheme = url.scheme().toLower();
    const QString host = url.host().toLower();
    const bool ours = host == places.host() || host == places.backendDomain ||
                      host.endsWith('.' + places.backendDomain);
    if (decided == Navigation::allow && (scheme == "http" || scheme == "https") && !ours) {
        fuzzing::broken("another site stayed in the window", url.toString());
    }

    const QByteArray message = parts.mid(2).join('\n');
    const QJsonDocument doc = QJsonDocument::fromJson("[" + message + "]");
    if (const auto read = relayAccountMessage(doc.array().at(0))) {
        if (!relay::RelayAccounts::isUser(read->user) ||
            (read->token && !service::isPelixKey(*read->token))) {
            fuzzing::broken("a relay message was read with a user or key it may not carry");
        }
    }
    return 0;
}
