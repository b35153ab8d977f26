#include "support/TestSupport.h"
#include "web/SignIn.h"
#include "web/WebRules.h"

#include <QUrlQuery>

namespace pelix::web {
namespace {

WebPlaces places() {
    WebPlaces p;
    p.base = QUrl("https://app.pelix.test");
    p.backendDomain = "pelix-api.test";
    return p;
}

// Where a navigation goes depends on its scheme and host, and for the application's own links
// and the desktop's handlers, on who asked: only the web app's main frame reaches them. (The
// fuzz target holds these rules over any input; here each decision is seen once.)
TEST(WebRules, NavigationFollowsTheSchemeTheHostAndWhoAsked) {
    struct Row {
        const char* url;
        bool fromWebApp;
        Navigation want;
    };
    const Row rows[] = {
        {"pelix-mac://editor", true, Navigation::macLink},
        {"pelix-mac://connect?token=pelix_other", false, Navigation::refuse},
        {"mailto:me@example.com", true, Navigation::desktop},
        {"mailto:me@example.com", false, Navigation::refuse},
        {"https://accounts.google.com/o/oauth2/v2/auth?x=1", false, Navigation::signIn},
        {"https://eu.pelix-api.test/auth/v1/authorize?provider=google&x=y", false,
         Navigation::signIn},
        // A host that merely ends with the domain's letters is another site.
        {"https://evilpelix-api.test/", true, Navigation::browser},
        {"about:blank", true, Navigation::allow},
        {"", true, Navigation::allow},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(navigation(QUrl(row.url), row.fromWebApp, places()), row.want)
            << row.url << (row.fromWebApp ? " from the web app" : " from elsewhere");
    }
}

TEST(WebRules, ARelayMessageNeedsAUserIdentifierAndAtMostATextKey) {
    const QString user = "0123abcd-4567-89ef-ABCD-0123456789ab";
    const auto read = [](const char* json) {
        return relayAccountMessage(QJsonDocument::fromJson(QByteArray("[") + json + "]")[0]);
    };
    EXPECT_EQ(read(R"({"user":"0123abcd-4567-89ef-ABCD-0123456789ab","token":"pelix_k1"})"),
              (RelayAccountMessage{user, "pelix_k1"}));
    for (const char* none : {R"({"user":"0123abcd-4567-89ef-ABCD-0123456789ab"})",
                             R"({"user":"0123abcd-4567-89ef-ABCD-0123456789ab","token":""})"}) {
        EXPECT_EQ(read(none), (RelayAccountMessage{user, std::nullopt})) << none;
    }
    for (const char* bad : {
             R"({"user":"0123abcd-4567-89ef-ABCD-0123456789a"})",  // 35 characters
             R"({"user":"0123abcd-4567-89ef-ABCD-0123456789ab","token":7})",
             R"({"user":"0123abcd-4567-89ef-ABCD-0123456789ab","token":"not a key"})",
             R"("0123abcd-4567-89ef-ABCD-0123456789ab")",
         }) {
        EXPECT_EQ(read(bad), std::nullopt) << bad;
    }
}

TEST(WebRules, TheOfflinePageEscapesTheFailedAddress) {
    const QString page = offlinePage(QUrl("https://app.pelix.test/a?b=1&c=<2>\"x"));
    EXPECT_TRUE(page.contains("href=\"https://app.pelix.test/a?b=1&amp;c=%3C2%3E%22x\""))
        << page.toStdString();
}

TEST(SignInTest, OnlyTheCallbackCarryingTheStateGivenOutLoadsTheCallbackPageOnce) {
    int made = 0;
    SignIn signIn([&made] { return QStringLiteral("state%1").arg(++made); });
    const QUrl callback("pelix-mac://auth-callback?code=abc&state=state1#access_token=t&x=1");
    // Nothing runs yet: even the right-looking link loads nothing.
    EXPECT_EQ(signIn.finish(callback, places()), std::nullopt);

    EXPECT_EQ(signIn.start(places()),
              QUrl("https://app.pelix.test/mac-sign-in?client=linux&state=state1"));
    for (const char* wrong : {
             "pelix-mac://auth-callback?state=state1&state=state2",
             "pelix-mac://connect?code=abc&state=state1",
         }) {
        EXPECT_EQ(signIn.finish(QUrl(wrong), places()), std::nullopt) << wrong;
    }
    EXPECT_TRUE(signIn.running());
    EXPECT_EQ(signIn.finish(callback, places()),
              QUrl("https://app.pelix.test/auth-callback?code=abc&state=state1"
                   "#access_token=t&x=1"));
    EXPECT_FALSE(signIn.running());
    EXPECT_EQ(signIn.finish(callback, places()), std::nullopt);

    // A new start gives a new state; the old one is worth nothing.
    signIn.start(places());
    EXPECT_EQ(signIn.finish(callback, places()), std::nullopt);
}

TEST(SignInTest, StatesFromTheSystemAreLongAndDifferent) {
    SignIn a, b;
    const QString sa = QUrlQuery(a.start(places())).queryItemValue("state");
    const QString sb = QUrlQuery(b.start(places())).queryItemValue("state");
    EXPECT_GE(sa.size(), 40);
    EXPECT_NE(sa, sb);
}

}  // namespace
}  // namespace pelix::web
