#include "app/AppDictation.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "text/Insert.h"

#include <QCoreApplication>
#include <QLocale>

namespace pelix {

std::optional<SpeechEngines::Choice> dictationEngine(const SpeechEngines& engines) {
    if (auto mine = engines.resolve(QLocale::system().name())) return mine;
    return engines.resolve(QStringLiteral("en-US"));
}

AppDictation::AppDictation(const Clock& clock, Timers& timers, Shell& shell,
                           platform::Microphone& microphone, platform::KeySource& keys)
    : shell_(shell),
      engines_(SpeechEngines::standard()),
      recognizer_([this] { return dictationEngine(engines_); }),
      typist_(paths::cacheDir() + "/borrowed-keys"),
      live_(recognizer_, microphone, typist_, timers) {
    // The key source must not read the typing as the user's keys: they would end the hold.
    // X server times are whole milliseconds and read back rounded: a little margin covers the
    // last of the typing's own events.
    typist_.setInjected([&clock, &keys] { keys.ignoreUntil(clock.uptime() + 0.005); });
}

AppDictation::~AppDictation() = default;

Status AppDictation::start(bool typeIntoApp) {
    const std::optional<platform::FrontWindow> target =
        Insert::target(typist_, QCoreApplication::applicationName());
    typing_ = typeIntoApp && target.has_value();
    if (typing_) {
        live_.onText = nullptr;
    } else {
        live_.onText = [this](const QString& text) {
            if (!text.isEmpty()) shell_.show(text);
        };
    }
    Status started = live_.start(typing_);
    if (started) {
        logLine("dictation",
                typing_ ? "typing into " + target->appId : QStringLiteral("listening"));
    } else if (const auto choice = dictationEngine(engines_);
               choice && !choice->engine->installed(choice->locale)) {
        logLine("dictation", choice->engine->installHint(choice->locale));
    } else {
        logLine("dictation", started.error().message);
    }
    return started;
}

void AppDictation::finish() {
    live_.stop([](const QString& text) {
        logLine("dictation", QStringLiteral("done (%1 characters)").arg(text.size()));
    });
}

void AppDictation::cancel() {
    live_.cancel(true);
}

}  // namespace pelix
