#include "service/TokenStore.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/PrivateFile.h"

#include <QFile>
#include <QJsonObject>

namespace pelix {

std::optional<QString> Keychain::read() const {
    if (!store_) return std::nullopt;
    auto secret = store_->read(kService, kAccount);
    if (secret) *secret = secret->trimmed();
    if (!secret || secret->isEmpty()) return std::nullopt;
    return secret;
}

void Keychain::remove() const {
    if (store_) store_->remove(kService, kAccount);
}

QString TokenStore::file(const QString& name) const {
    return folder_ + "/" + name;
}

std::optional<QString> TokenStore::read() const {
    QFile f(file("token"));
    if (f.open(QIODevice::ReadOnly)) {
        const QString token = QString::fromUtf8(f.readAll()).trimmed();
        if (!token.isEmpty()) return token;
    }
    if (auto old = keychain_.read()) {
        write(*old);
        keychain_.remove();
        logLine("token", "moved the token from the keychain into its file");
        return old;
    }
    return std::nullopt;
}

void TokenStore::write(const QString& token) const {
    if (auto saved = writePrivateFile(file("token"), token.toUtf8()); !saved) {
        logLine("token", saved.error().message);
    }
}

QString WindowKeyStore::path() const {
    return folder_ + "/window-key";
}

std::optional<WindowKeyStore::Key> WindowKeyStore::read() const {
    QFile f(path());
    if (!f.open(QIODevice::ReadOnly)) return std::nullopt;
    const auto object = json::parseObject(f.readAll());
    if (!object) return std::nullopt;
    const QJsonValue user = object->value("user"), token = object->value("token");
    if (!user.isString() || !token.isString()) return std::nullopt;
    return Key{user.toString(), token.toString()};
}

void WindowKeyStore::write(const QString& user, const QString& token) const {
    const QJsonObject object{{"user", user}, {"token", token}};
    if (auto saved = writePrivateFile(path(), json::compact(object)); !saved) {
        logLine("window key", saved.error().message);
    }
}

void WindowKeyStore::clear() const {
    QFile::remove(path());
}

}  // namespace pelix
