#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

namespace pelix::core {

// The user's switches, in an INI file under $XDG_CONFIG_HOME/Pelix/, keys spelled with dots
// ("relay.enabled"). Every call reads the file anew, so several processes may share it.
class Prefs {
public:
    // The preferences file of the user.
    static QString defaultFile();

    explicit Prefs(QString file = defaultFile());

    // "relay.enabled", on when never written.
    bool relay() const;
    void setRelay(bool on);
    // "insert.enabled", on when never written.
    bool insertIntoApp() const;
    void setInsertIntoApp(bool on);
    // "dictation.sentences": dictation and transcript pieces written as sentences (capitals,
    // "I", a full stop); on when never written.
    bool sentenceText() const;
    void setSentenceText(bool on);
    // Whether the keys report was shown at start-up: "keys.promptShown", else the key older
    // versions wrote ("ax.asked"), else "login.asked".
    bool keysPromptShown() const;
    void setKeysPromptShown(bool shown);
    // "login.asked", off when never written.
    bool loginAsked() const;
    void setLoginAsked(bool asked);

    bool contains(const QString& key) const;
    QVariant value(const QString& key, const QVariant& fallback = {}) const;
    std::optional<QString> string(const QString& key) const;
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);

    const QString& file() const { return file_; }

private:
    std::unique_ptr<QSettings> open() const;

    QString file_;
};

}  // namespace pelix::core
