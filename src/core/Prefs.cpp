#include "core/Prefs.h"

#include "core/Paths.h"

namespace pelix::core {

QString Prefs::defaultFile() {
    return paths::configDir() + "/Pelix.conf";
}

Prefs::Prefs(QString file) : file_(std::move(file)) {}

std::unique_ptr<QSettings> Prefs::open() const {
    return std::make_unique<QSettings>(file_, QSettings::IniFormat);
}

bool Prefs::contains(const QString& key) const {
    return open()->contains(key);
}

QVariant Prefs::value(const QString& key, const QVariant& fallback) const {
    return open()->value(key, fallback);
}

std::optional<QString> Prefs::string(const QString& key) const {
    auto settings = open();
    if (!settings->contains(key)) return std::nullopt;
    return settings->value(key).toString();
}

void Prefs::setValue(const QString& key, const QVariant& value) {
    auto settings = open();
    settings->setValue(key, value);
    settings->sync();
}

void Prefs::remove(const QString& key) {
    auto settings = open();
    settings->remove(key);
    settings->sync();
}

bool Prefs::relay() const {
    return value("relay.enabled", true).toBool();
}
void Prefs::setRelay(bool on) {
    setValue("relay.enabled", on);
}

bool Prefs::insertIntoApp() const {
    return value("insert.enabled", true).toBool();
}
void Prefs::setInsertIntoApp(bool on) {
    setValue("insert.enabled", on);
}

bool Prefs::sentenceText() const {
    return value("dictation.sentences", true).toBool();
}
void Prefs::setSentenceText(bool on) {
    setValue("dictation.sentences", on);
}

bool Prefs::keysPromptShown() const {
    auto settings = open();
    for (const char* key : {"keys.promptShown", "ax.asked"}) {
        if (settings->contains(key)) return settings->value(key).toBool();
    }
    return settings->value("login.asked", false).toBool();
}
void Prefs::setKeysPromptShown(bool shown) {
    setValue("keys.promptShown", shown);
}

bool Prefs::loginAsked() const {
    return value("login.asked", false).toBool();
}
void Prefs::setLoginAsked(bool asked) {
    setValue("login.asked", asked);
}

}  // namespace pelix::core
