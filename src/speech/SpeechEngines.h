#pragma once

#include "speech/SpeechEngine.h"

#include <memory>
#include <optional>
#include <vector>

namespace pelix {

// The speech engines of the process, in order of preference. Callers ask it for the engine of a
// locale, so another engine can sit beside PocketSphinx without any caller changing.
class SpeechEngines {
public:
    SpeechEngines() = default;
    SpeechEngines(SpeechEngines&&) = default;
    SpeechEngines& operator=(SpeechEngines&&) = default;

    // The engines this machine has: PocketSphinx with the system model and the user's models.
    static SpeechEngines standard();

    void add(std::unique_ptr<SpeechEngine> engine);

    struct Choice {
        QString locale;
        SpeechEngine* engine = nullptr;
    };
    // The first engine, in order, with a locale equivalent to `requested`.
    std::optional<Choice> resolve(const QString& requested) const;
    // The supported locales of every engine in order (duplicates left in).
    QStringList locales() const;

    const std::vector<std::unique_ptr<SpeechEngine>>& engines() const { return engines_; }

private:
    std::vector<std::unique_ptr<SpeechEngine>> engines_;
};

// "en_us", "EN-us" → "en-US": the spelling locales are compared in.
QString normalizedLocale(const QString& identifier);

// The name of a locale for people, in the user's language ("English (United States)"); the
// identifier itself when there is no such name.
QString localeDisplayName(const QString& identifier);

}  // namespace pelix
