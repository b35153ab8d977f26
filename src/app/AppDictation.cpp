#include "app/AppDictation.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "core/Prefs.h"
#include "core/Sentences.h"
#include "dictation/Insert.h"

#include <QCoreApplication>
#include <QLocale>

namespace pelix::app {

std::optional<speech::SpeechEngines::Choice> dictationEngine(const speech::SpeechEngines& engines) {
    if (auto mine = engines.forDictation(QLocale::system().name())) return mine;
    return engines.forDictation(QStringLiteral("en-US"));
}

bool dictationReady(const speech::SpeechEngines& engines) {
    const auto choice = dictationEngine(engines);
    return choice && choice->engine->installed(choice->locale);
}

AppDictation::AppDictation(core::Timers& timers, Shell& shell, platform::Microphone& microphone,
                           platform::Typist& typist, platform::Clipboard& clipboard)
    : shell_(shell),
      engines_(speech::SpeechEngines::standard(speech::SpeechEngines::Kind::local)),
      server_(core::Prefs(), speech::SpeechKeyStore(core::paths::dataDir())),
      recognizer_([this] { return dictationEngine(engines_); }),
      finishing_(
          recognizer_, [this] { return server_.settings().has_value(); },
          [this](const QByteArray& pcm, dictation::FinishingRecognizer::Heard done) {
              return finishOnServer(pcm, std::move(done));
          }),
      typist_(typist),
      clipboard_(clipboard),
      live_(finishing_, microphone, typist_, timers),
      serverWork_(&live_) {
    finishing_.onTrouble = [this](const QString& sentence) { shell_.show(sentence); };
    // The model is loaded now, off the main thread, rather than when the first hold begins.
    recognizer_.prepare();
}

AppDictation::~AppDictation() = default;

std::function<void()> AppDictation::finishOnServer(const QByteArray& pcm,
                                                   dictation::FinishingRecognizer::Heard done) {
    // The user's language when the server knows it, else the one heard here.
    QString locale = QLocale::system().name();
    if (!server_.supportedLocale(locale)) {
        const std::optional<speech::SpeechEngines::Choice> local = dictationEngine(engines_);
        locale = local ? local->locale : QStringLiteral("en-US");
    }
    auto session = server_.start(locale, {}, {});
    if (!session) {
        done(std::unexpected(session.error()));
        return [] {};
    }
    return speech::hearInBackground(serverWork_, std::move(*session), pcm, std::move(done));
}

Status AppDictation::start(bool typeIntoApp) {
    const std::optional<platform::FrontWindow> target =
        dictation::Insert::target(typist_, QCoreApplication::applicationName());
    typing_ = typeIntoApp && target.has_value();
    toClipboard_ = typeIntoApp && !typist_.canType();
    if (typing_) {
        live_.onText = nullptr;
    } else {
        live_.onText = [this](const QString& text) {
            if (!text.isEmpty()) shell_.show(text);
        };
    }
    live_.sentences = core::Prefs().sentenceText();
    Status started = live_.start(typing_);
    if (started) {
        core::logLine("dictation",
                      typing_ ? "typing into " + target->appId : QStringLiteral("listening"));
    } else if (const auto choice = dictationEngine(engines_);
               choice && !choice->engine->installed(choice->locale)) {
        core::logLine("dictation", choice->engine->installHint(choice->locale));
    } else {
        core::logLine("dictation", started.error().message);
    }
    return started;
}

void AppDictation::finish() {
    live_.stop([this](const QString& text) {
        core::logLine("dictation", QStringLiteral("done (%1 characters)").arg(text.size()));
        if (toClipboard_ && !text.trimmed().isEmpty()) {
            clipboard_.setText(text);
            shell_.show(core::sentences::kOnClipboard);
        }
    });
}

void AppDictation::cancel() {
    live_.cancel(true);
}

}  // namespace pelix::app
