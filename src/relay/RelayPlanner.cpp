#include "relay/RelayPlanner.h"

#include "core/Sentences.h"

#include <QJsonValue>

#include <string_view>

namespace pelix::relay {

QUrl RelayPlaces::claudeAppNewChat() const {
    return QUrl(claudeScheme + QStringLiteral("://") + claudeHost + QStringLiteral("/new"),
                QUrl::StrictMode);
}

std::optional<RelayPrompt> RelayPrompt::fromJson(const QJsonObject& object) {
    const QJsonValue id = object.value(QStringLiteral("id"));
    if (!id.isString()) return std::nullopt;
    RelayPrompt prompt;
    prompt.id = id.toString();
    if (const QJsonValue target = object.value(QStringLiteral("target")); target.isString()) {
        prompt.target = target.toString();
    }
    prompt.prompt = object.value(QStringLiteral("prompt")).toString();
    if (const QJsonValue link = object.value(QStringLiteral("link")); link.isString()) {
        prompt.link = link.toString();
    }
    if (const QJsonValue place = object.value(QStringLiteral("place")); place.isString()) {
        prompt.place = place.toString();
    }
    return prompt;
}

namespace RelayPlanner {
namespace {

// The scheme as written, before the parser lower-cases it.
QStringView writtenScheme(const QString& link) {
    const qsizetype colon = link.indexOf(u':');
    return colon < 0 ? QStringView() : QStringView(link).left(colon);
}

std::optional<RelayPlan> followLink(const QString& link, const std::optional<QString>& place,
                                    bool hasClaudeApp, const RelayPlaces& places) {
    const QUrl url(link, QUrl::StrictMode);
    const bool parsed = url.isValid() && !url.isRelative();
    const QString host = url.host().toLower();

    // A local session of the Claude desktop app exists only in the app.
    if (parsed && writtenScheme(link) == places.claudeScheme && host == places.claudeHost &&
        url.path().startsWith(QStringLiteral("/epitaxy/local_"))) {
        if (!hasClaudeApp) return std::nullopt;
        return RelayPlan{url, true, RelayApp::claude,
                         place.value_or(core::sentences::kTheClaudeSession)};
    }

    if (!parsed || writtenScheme(link) != QStringLiteral("https") || host.isEmpty()) {
        return std::nullopt;
    }
    const QString label = place.value_or(core::sentences::kTheConversation);
    if (host == places.claudeHost) {
        const QString path = url.path(QUrl::FullyEncoded);
        if (!path.startsWith(QStringLiteral("/chat/")) || path.size() <= 6) return std::nullopt;
        if (hasClaudeApp) {
            const QUrl inApp(places.claudeScheme + QStringLiteral("://") + places.claudeHost + path,
                             QUrl::StrictMode);
            if (inApp.isValid()) return RelayPlan{inApp, true, RelayApp::claude, label};
        }
        return RelayPlan{url, true, RelayApp::browser, label};
    }
    for (const QString& chatGpt : places.chatGptHosts) {
        if (host == chatGpt.toLower()) return RelayPlan{url, true, RelayApp::browser, label};
    }
    return std::nullopt;
}

}  // namespace

std::optional<qsizetype> queryEncodedLength(const QString& text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            ++i;
        } else if (c.isSurrogate()) {
            return std::nullopt;
        }
    }
    static constexpr std::string_view kKept = "-._~!$&'()*+,;=:@/?";
    qsizetype length = 0;
    for (const char byte : text.toUtf8()) {
        const auto b = static_cast<unsigned char>(byte);
        const bool kept = (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') ||
                          (b >= '0' && b <= '9') || kKept.find(char(b)) != std::string_view::npos;
        length += kept ? 1 : 3;
    }
    return length;
}

std::optional<RelayPlan> plan(const RelayPrompt& prompt, bool hasClaudeApp,
                              const RelayPlaces& places) {
    const QString text = prompt.prompt.trimmed();
    if (text.isEmpty()) return std::nullopt;
    if (prompt.link) return followLink(*prompt.link, prompt.place, hasClaudeApp, places);

    if (prompt.target == QStringLiteral("chatgpt")) {
        return RelayPlan{places.chatGptAddress, true, RelayApp::browser,
                         core::sentences::kNewChatInChatGpt};
    }
    if (prompt.target != QStringLiteral("claude")) return std::nullopt;
    const QString label = core::sentences::kNewChatInClaude;
    if (!hasClaudeApp) return RelayPlan{places.claudeNewChatPage, true, RelayApp::browser, label};

    QUrl url = places.claudeAppNewChat();
    bool paste = true;
    if (const std::optional<qsizetype> encoded = queryEncodedLength(text);
        encoded && *encoded <= kMostInLink) {
        // Everything but the unreserved characters is encoded, so "&", "=", "+" and "#" in the
        // text stay inside the one value.
        url.setQuery(QStringLiteral("q=") + QString::fromLatin1(QUrl::toPercentEncoding(text)),
                     QUrl::StrictMode);
        paste = false;
    }
    if (!url.isValid()) return std::nullopt;
    return RelayPlan{url, paste, RelayApp::claude, label};
}

}  // namespace RelayPlanner
}  // namespace pelix::relay
