#pragma once

// Two rules of the plan that are easy to break. Schemes are compared as written: the URL parser
// lower-cases them, so the text before the first ":" is what is compared. The "q" value of a link
// is encoded with everything but the unreserved characters escaped, so "&", "=", "+" and "#" in a
// prompt stay inside the one value, while kMostInLink counts the encoding of a query's allowed
// set (queryEncodedLength); a prompt that cannot be encoded (a lone surrogate) is pasted.

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace pelix::relay {

// The outside services the relay delivers to: their addresses, the Claude desktop app's link
// scheme, and how their applications are recognised on this desktop. One place for all of them;
// the defaults are the public ones.
struct RelayPlaces {
    // The Claude web host; the Claude app's links use it as their host too.
    QString claudeHost = QStringLiteral("claude.ai");
    // The Claude web app's new-chat page.
    QUrl claudeNewChatPage = QUrl(QStringLiteral("https://claude.ai/new"));
    // The Claude desktop app's own link scheme; its new chat is <scheme>://<claudeHost>/new.
    QString claudeScheme = QStringLiteral("claude");
    // ChatGPT's web address: its root page, a new chat.
    QUrl chatGptAddress = QUrl(QStringLiteral("https://chatgpt.com/"));
    // ChatGPT's two web hosts, the current and the older one.
    QStringList chatGptHosts = {QStringLiteral("chatgpt.com"), QStringLiteral("chat.openai.com")};

    // The applications, by desktop entry (with or without ".desktop") or window class, compared
    // without regard to case. The handler of the app's own link counts as the Claude app too.
    QStringList claudeApps = {QStringLiteral("claude-desktop"), QStringLiteral("claude")};
    QStringList chatGptApps = {QStringLiteral("chatgpt")};

    // The Claude app's new-chat link.
    QUrl claudeAppNewChat() const;
};

// One prompt spoken on the phone and held by the backend.
struct RelayPrompt {
    QString id;
    // "claude" or "chatgpt".
    QString target = QStringLiteral("claude");
    QString prompt;
    // An existing conversation to continue.
    std::optional<QString> link;
    // The backend's words for where the text goes.
    std::optional<QString> place;

    // The prompt object of a "next" reply; none without a text "id".
    static std::optional<RelayPrompt> fromJson(const QJsonObject& object);
    bool operator==(const RelayPrompt&) const = default;
};

enum class RelayApp { claude, browser };

// What to open, with which application, whether the text must still be pasted afterwards, and
// how messages name the destination.
struct RelayPlan {
    QUrl url;
    bool paste = true;
    RelayApp app = RelayApp::browser;
    QString label;

    bool operator==(const RelayPlan&) const = default;
};

namespace RelayPlanner {

// Longest percent-encoded prompt carried inside a new Claude chat's link.
inline constexpr qsizetype kMostInLink = 5000;

// The plan for `prompt`, or none when it cannot be delivered here. `hasClaudeApp`: the desktop
// names an application for the Claude app's new-chat link.
std::optional<RelayPlan> plan(const RelayPrompt& prompt, bool hasClaudeApp,
                              const RelayPlaces& places = {});

// The length of `text` percent-encoded for a link's query (everything but letters, digits and
// -._~!$&'()*+,;=:@/? is encoded, byte by byte in UTF-8); none when the text is not valid
// Unicode (a lone surrogate).
std::optional<qsizetype> queryEncodedLength(const QString& text);

}  // namespace RelayPlanner

}  // namespace pelix::relay
