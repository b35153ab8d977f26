// The relay's pure rules: plans, prompts read from the backend, account keys, the focus check
// and the matching of the application in front.
#include "relay/Relay.h"
#include "relay/RelayAccounts.h"
#include "relay/RelayPlanner.h"
#include "support/TestSupport.h"

#include <QUrlQuery>

namespace pelix::relay {

void PrintTo(const RelayPlan& plan, std::ostream* out) {
    *out << plan.url.toString().toStdString() << (plan.paste ? " paste " : " in link ")
         << (plan.app == RelayApp::claude ? "claude " : "browser ") << plan.label.toStdString();
}

namespace {

using platform::ElementRole;

RelayPrompt prompt(QString text, QString target = "claude", std::optional<QString> link = {},
                   std::optional<QString> place = {}) {
    return RelayPrompt{"p1", target, text, link, place};
}

RelayPlan plan(QString url, bool paste, RelayApp app, QString label) {
    return RelayPlan{QUrl(url), paste, app, label};
}

TEST(RelayPlanner, PlansEveryKindOfPrompt) {
    using enum RelayApp;
    const QString longText = QString(2498, 'a') + " " + QString(2499, 'a');  // 5,000 encoded
    struct Case {
        const char* what;
        RelayPrompt prompt;
        bool hasClaudeApp;
        std::optional<RelayPlan> want;
    } cases[] = {
        {"blank text", prompt(" \n\t "), true, std::nullopt},
        {"blank text with a link", prompt("\n", "chatgpt", "https://chatgpt.com/c/1"), true,
         std::nullopt},
        {"an unknown assistant: ChatGPT capitalised", prompt("hi", "ChatGPT"), true, std::nullopt},
        {"new ChatGPT chat ignores the place", prompt("hi", "chatgpt", {}, "Ideas"), true,
         plan("https://chatgpt.com/", true, browser, "a new chat in ChatGPT")},
        {"new Claude chat without the app", prompt("hi"), false,
         plan("https://claude.ai/new", true, browser, "a new chat in Claude")},
        {"new Claude chat in the app carries the trimmed text", prompt("  a+b & c=d #1?\n"), true,
         plan("claude://claude.ai/new?q=a%2Bb%20%26%20c%3Dd%20%231%3F", false, claude,
              "a new chat in Claude")},
        {"5,000 encoded characters go in the link", prompt(longText), true,
         plan("claude://claude.ai/new?q=" + QUrl::toPercentEncoding(longText), false, claude,
              "a new chat in Claude")},
        {"5,001 are pasted", prompt("a" + longText), true,
         plan("claude://claude.ai/new", true, claude, "a new chat in Claude")},
        {"text that can't be encoded is pasted", prompt(QString("hi ") + QChar(0xd800)), true,
         plan("claude://claude.ai/new", true, claude, "a new chat in Claude")},
        {"local Claude session", prompt("hi", "chatgpt", "claude://claude.ai/epitaxy/local_9"),
         true, plan("claude://claude.ai/epitaxy/local_9", true, claude, "the Claude session")},
        {"local Claude session, named",
         prompt("hi", "claude", "claude://Claude.AI/epitaxy/local_9", "Refactor"), true,
         plan("claude://claude.ai/epitaxy/local_9", true, claude, "Refactor")},
        {"local Claude session without the app",
         prompt("hi", "claude", "claude://claude.ai/epitaxy/local_9"), false, std::nullopt},
        {"the app's scheme is compared exactly",
         prompt("hi", "claude", "Claude://claude.ai/epitaxy/local_9"), true, std::nullopt},
        {"Claude conversation in the app", prompt("hi", "chatgpt", "https://claude.ai/chat/abc"),
         true, plan("claude://claude.ai/chat/abc", true, claude, "the conversation")},
        {"Claude conversation in the browser", prompt("hi", "claude", "https://claude.ai/chat/abc"),
         false, plan("https://claude.ai/chat/abc", true, browser, "the conversation")},
        {"Claude chat without a conversation", prompt("hi", "claude", "https://claude.ai/chat/"),
         true, std::nullopt},
        {"Claude page that is no conversation",
         prompt("hi", "claude", "https://claude.ai/projects"), true, std::nullopt},
        {"ChatGPT conversation on the older host",
         prompt("hi", "claude", "https://chat.openai.com/c/1", "Trip plans"), false,
         plan("https://chat.openai.com/c/1", true, browser, "Trip plans")},
        {"ChatGPT host in capitals", prompt("hi", "claude", "https://CHATGPT.COM/c/2"), true,
         plan("https://chatgpt.com/c/2", true, browser, "the conversation")},
        {"plain http", prompt("hi", "claude", "http://chatgpt.com/c/1"), true, std::nullopt},
        {"https in capitals", prompt("hi", "claude", "HTTPS://chatgpt.com/c/1"), true,
         std::nullopt},
        {"another host", prompt("hi", "claude", "https://example.com/chat/1"), true, std::nullopt},
        {"no address at all", prompt("hi", "claude", "not a link"), true, std::nullopt},
        {"no host", prompt("hi", "claude", "https:///chat/abc"), true, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RelayPlanner::plan(c.prompt, c.hasClaudeApp), c.want) << c.what;
    }
}

TEST(RelayPlanner, TheLinkGivesTheAppBackTheTrimmedTextExactly) {
    const QString text = "Plan a trip: Paris → Rome, 3 days & 100% fun + \"quotes\" #tags 😀";
    const auto planned = RelayPlanner::plan(prompt("\n " + text + " \n"), true);
    ASSERT_TRUE(planned);
    EXPECT_EQ(QUrlQuery(planned->url).queryItemValue("q", QUrl::FullyDecoded), text);
}

TEST(RelayPrompt, IsReadFromTheBackendsObject) {
    const auto read = [](const char* json) {
        return RelayPrompt::fromJson(QJsonDocument::fromJson(json).object());
    };
    EXPECT_FALSE(read(R"({"target":"claude","prompt":"hi"})"));
    EXPECT_FALSE(read(R"({"id":7,"prompt":"hi"})"));
    EXPECT_EQ(read(R"({"id":"a","prompt":"hi"})"), (RelayPrompt{"a", "claude", "hi", {}, {}}));
    EXPECT_EQ(read(R"({"id":"a","target":3,"prompt":"hi","link":null,"place":"Chat"})"),
              (RelayPrompt{"a", "claude", "hi", {}, "Chat"}));
    EXPECT_EQ(read(R"({"id":"a","target":"chatgpt","prompt":"hi","link":"https://x"})"),
              (RelayPrompt{"a", "chatgpt", "hi", "https://x", {}}));
}

TEST(RelayAccounts, AsksEachAccountOnce) {
    const service::WindowKeyStore::Key window{"u-window", "pelix_window"};
    struct Case {
        std::optional<QString> main, mainUser;
        std::optional<service::WindowKeyStore::Key> window;
        QStringList want;
    } cases[] = {
        {{}, {}, {}, {}},
        {"pelix_main", {}, {}, {"pelix_main"}},
        {{}, {}, window, {"pelix_window"}},
        {{}, "u-window", window, {"pelix_window"}},
        {"pelix_main", {}, window, {"pelix_main", "pelix_window"}},
        {"pelix_main", "u-other", window, {"pelix_main", "pelix_window"}},
        {"pelix_main", "u-window", window, {"pelix_main"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RelayAccounts::keys(c.main, c.mainUser, c.window), c.want)
            << c.main.value_or("-").toStdString() << " " << c.mainUser.value_or("-").toStdString();
    }
    EXPECT_TRUE(RelayAccounts::isUser("0f8fad5b-d9cb-469f-a165-70867728950e"));
    EXPECT_TRUE(RelayAccounts::isUser("0F8FAD5B-D9CB-469F-A165-70867728950E"));
    EXPECT_FALSE(RelayAccounts::isUser("0f8fad5b-d9cb-469f-a165-70867728950"));
    EXPECT_FALSE(RelayAccounts::isUser("0f8fad5b-d9cb-469f-a165-70867728950g"));
    EXPECT_FALSE(RelayAccounts::isUser("pelix_0f8fad5bd9cb469fa16570867728950e"));
}

TEST(RelayFocusCheck, TypesOnlyWhereAChatInputCanBe) {
    auto element = [](ElementRole role, QString description = {}, QString name = {},
                      QString placeholder = {}, QString identifier = {}) {
        return platform::FocusedElement{role, name, description, placeholder, identifier};
    };
    struct Case {
        const char* what;
        std::optional<platform::FocusedElement> focused;
        bool safe;
    } cases[] = {
        {"nothing found", std::nullopt, true},
        {"button", element(ElementRole::button), false},
        {"tab named like a chat input", element(ElementRole::pageTab, "Reply to Claude"), false},
        {"address bar by placeholder", element(ElementRole::textField, "Search or enter address"),
         false},
        {"address bar by name", element(ElementRole::textField, {}, "Address and search bar"),
         false},
        {"address bar by id", element(ElementRole::comboBox, {}, {}, {}, "urlbar-input"), false},
        {"search box by GTK placeholder", element(ElementRole::textField, {}, {}, "SEARCH"), false},
        {"chat input", element(ElementRole::textField, "Reply to Claude", "Message"), true},
        {"bare field", element(ElementRole::textField), true},
        {"text area that mentions search", element(ElementRole::other, "Search anything"), true},
    };
    for (const Case& c : cases) EXPECT_EQ(Relay::safeToType(c.focused), c.safe) << c.what;
}

TEST(RelayFrontApp, IsKnownByDesktopEntryOrWindowClass) {
    const QStringList expected{"claude-desktop", "Chromium.desktop", ""};
    EXPECT_TRUE(Relay::isOneOf({"Claude", 1, "claude-desktop.desktop"}, expected));
    EXPECT_TRUE(Relay::isOneOf({"chromium", 1, ""}, expected));
    EXPECT_TRUE(Relay::isOneOf({"Navigator", 1, "CHROMIUM.desktop"}, expected));
    EXPECT_FALSE(Relay::isOneOf({"claude-desktop-helper", 1, "other.desktop"}, expected));
    EXPECT_FALSE(Relay::isOneOf({"", 0, ""}, expected));
}

}  // namespace
}  // namespace pelix::relay
