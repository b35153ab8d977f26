#pragma once

#include "service/TokenStore.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace pelix::relay::RelayAccounts {

// The account keys to ask for prompts, in order: the main token, then the web window's
// account, unless it is known to be the main token's user (one account is asked once).
QStringList keys(const std::optional<QString>& main, const std::optional<QString>& mainUser,
                 const std::optional<service::WindowKeyStore::Key>& window);

// Whether `text` is an account's user identifier: 36 hexadecimal digits and dashes.
bool isUser(const QString& text);

// What the relay does when the web window says which account it shows (`user`, with its key
// when the page sends one), and the page's answer: "have" (this desktop serves that user's
// prompts), "need" (it holds no key for that user: the page may send one), "later" (the service
// did not answer) or "off" (the relay is switched off).
struct WindowAccountStep {
    QString reply;
    bool learnMain = false;  // the key is the main token: `user` is the main token's user
    bool store = false;      // keep `user` and the key as the window account
    bool forgetOld = false;  // first tell the service to forget the window account held now
    bool clear = false;      // drop the window account held now (it duplicates the main one)
    bool operator==(const WindowAccountStep&) const = default;
};

// The rules, in order: relay off → "off". The key is the main token → learn the main user,
// drop a window account of the same user, "have". The main token's user → "have". The window
// account's user → "have" (a new key for it replaces the old one). Another user with a key →
// the service forgets the window account held now (when there is one), the new one is kept,
// "have" ("later", and nothing changes, when the service does not answer). Another user without
// a key → "need".
WindowAccountStep windowAccount(bool relayOn, const QString& user,
                                const std::optional<QString>& token,
                                const std::optional<QString>& main,
                                const std::optional<QString>& mainUser,
                                const std::optional<service::WindowKeyStore::Key>& window);

}  // namespace pelix::relay::RelayAccounts
