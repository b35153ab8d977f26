#include "relay/RelayAccounts.h"

namespace pelix::relay::RelayAccounts {

QStringList keys(const std::optional<QString>& main, const std::optional<QString>& mainUser,
                 const std::optional<service::WindowKeyStore::Key>& window) {
    QStringList keys;
    if (main) keys.append(*main);
    if (window && !(main && mainUser && *mainUser == window->user)) keys.append(window->token);
    return keys;
}

bool isUser(const QString& text) {
    if (text.size() != 36) return false;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool hex = (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
        if (!hex && u != '-') return false;
    }
    return true;
}

WindowAccountStep windowAccount(bool relayOn, const QString& user,
                                const std::optional<QString>& token,
                                const std::optional<QString>& main,
                                const std::optional<QString>& mainUser,
                                const std::optional<service::WindowKeyStore::Key>& window) {
    const QString have = QStringLiteral("have");
    if (!relayOn) return {.reply = QStringLiteral("off")};
    if (token && main && *token == *main) {
        return {.reply = have, .learnMain = true, .clear = window && window->user == user};
    }
    if (main && mainUser && *mainUser == user) return {.reply = have};
    if (window && window->user == user) {
        return {.reply = have, .store = token && *token != window->token};
    }
    if (!token) return {.reply = QStringLiteral("need")};
    return {.reply = have, .store = true, .forgetOld = window.has_value()};
}

}  // namespace pelix::relay::RelayAccounts
