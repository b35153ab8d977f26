// The relay's pure rules: plans and the focus check.
#include "relay/Relay.h"
#include "relay/RelayPlanner.h"
#include "support/TestSupport.h"

namespace pelix::relay {

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
    const QString longText =
        QString(2498, 'a') + " " + QString(2499, 'a');  // 5,000 encoded characters
    struct Case {
        const char* what;
        RelayPrompt prompt;
        bool hasClaudeApp;
        std::optional<RelayPlan> want;
    } cases[] = {
        {"blank text", prompt(" \n\t "), true, std::nullopt},
        {"new Claude chat in the app carries the trimmed text", prompt("  a+b & c=d #1?\n"), true,
         plan("claude://claude.ai/new?q=a%2Bb%20%26%20c%3Dd%20%231%3F", false, claude,
              "a new chat in Claude")},
        {"over 5,000 encoded characters are pasted", prompt("a" + longText), true,
         plan("claude://claude.ai/new", true, claude, "a new chat in Claude")},
        {"local Claude session, named",
         prompt("hi", "claude", "claude://Claude.AI/epitaxy/local_9", "Refactor"), true,
         plan("claude://claude.ai/epitaxy/local_9", true, claude, "Refactor")},
        {"Claude conversation in the app", prompt("hi", "chatgpt", "https://claude.ai/chat/abc"),
         true, plan("claude://claude.ai/chat/abc", true, claude, "the conversation")},
        {"plain http", prompt("hi", "claude", "http://chatgpt.com/c/1"), true, std::nullopt},
        {"another host", prompt("hi", "claude", "https://example.com/chat/1"), true, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RelayPlanner::plan(c.prompt, c.hasClaudeApp), c.want) << c.what;
    }
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
        {"address bar by placeholder", element(ElementRole::textField, "Search or enter address"),
         false},
        {"address bar by id", element(ElementRole::comboBox, {}, {}, {}, "urlbar-input"), false},
        {"search box by GTK placeholder", element(ElementRole::textField, {}, {}, "SEARCH"), false},
        {"chat input", element(ElementRole::textField, "Reply to Claude", "Message"), true},
        {"bare field", element(ElementRole::textField), true},
        {"text area that mentions search", element(ElementRole::other, "Search anything"), true},
    };
    for (const Case& c : cases) EXPECT_EQ(Relay::safeToType(c.focused), c.safe) << c.what;
}

}  // namespace
}  // namespace pelix::relay
