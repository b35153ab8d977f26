#include "speech/SpeechEngines.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "speech/PocketSphinxEngine.h"
#include "speech/TranscriptionServerEngine.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <span>

namespace pelix::speech {

SpeechEngines SpeechEngines::standard(Kind kind) {
    SpeechEngines engines;
    if (kind != Kind::local) {
        engines.add(std::make_unique<TranscriptionServerEngine>(
            core::Prefs(), SpeechKeyStore(core::paths::dataDir())));
    }
    if (kind != Kind::server) {
        engines.add(std::make_unique<PocketSphinxEngine>(PocketSphinxEngine::systemModelFolder(),
                                                         core::paths::dataDir() + "/models"));
    }
    return engines;
}

void SpeechEngines::add(std::unique_ptr<SpeechEngine> engine) {
    engines_.push_back(std::move(engine));
}

std::optional<SpeechEngines::Choice> SpeechEngines::resolve(const QString& requested) const {
    for (const auto& engine : engines_) {
        if (std::optional<QString> locale = engine->supportedLocale(requested)) {
            return Choice{*locale, engine.get()};
        }
    }
    return std::nullopt;
}

std::optional<SpeechEngines::Choice> SpeechEngines::forFiles(const QString& requested) const {
    const auto ready = [&](const std::unique_ptr<SpeechEngine>& engine) {
        const std::optional<QString> locale = engine->supportedLocale(requested);
        return locale && engine->installed(*locale) ? locale : std::nullopt;
    };
    for (auto at = engines_.begin(); at != engines_.end(); ++at) {
        const std::optional<QString> locale = ready(*at);
        if (!locale) continue;
        if ((*at)->reachable()) return Choice{*locale, at->get()};
        const bool another = std::any_of(std::next(at), engines_.end(),
                                         [&](const auto& next) { return ready(next).has_value(); });
        core::logLine("speech", "the " + (*at)->name() + " doesn't answer" +
                                    (another ? "; trying the next engine"
                                             : ", and no other engine hears " + requested));
    }
    return resolve(requested);
}

std::optional<SpeechEngines::Choice> SpeechEngines::forDictation(const QString& requested) const {
    for (const auto& engine : engines_) {
        if (!engine->live()) continue;
        if (std::optional<QString> locale = engine->supportedLocale(requested)) {
            return Choice{*locale, engine.get()};
        }
    }
    return std::nullopt;
}

QStringList SpeechEngines::locales() const {
    QStringList all;
    for (const auto& engine : engines_) all += engine->supportedLocales();
    return all;
}

std::function<void()> hearInBackground(core::Worker& worker, std::unique_ptr<SpeechSession> session,
                                       QByteArray pcm, std::function<void(Result<QString>)> done) {
    std::shared_ptr<SpeechSession> hearing = std::move(session);
    auto stopped = std::make_shared<bool>(false);  // the owner's thread only
    std::stop_source stop = worker.run(
        [hearing, pcm = std::move(pcm)](std::stop_token stop) -> Result<QString> {
            // A stop cancels the session, which then ends the call it is in.
            const std::stop_callback cancel(stop, [&hearing] { hearing->cancel(); });
            const std::span samples(reinterpret_cast<const int16_t*>(pcm.constData()),
                                    static_cast<size_t>(pcm.size()) / 2);
            if (Status fed = hearing->feed(samples); !fed) return std::unexpected(fed.error());
            return hearing->finish();
        },
        [stopped, done = std::move(done)](Result<QString> text) {
            if (!*stopped) done(text);
        });
    return [stopped, stop]() mutable {
        *stopped = true;
        stop.request_stop();
    };
}

QString normalizedLocale(const QString& identifier) {
    QStringList parts =
        QString(identifier.trimmed()).replace('_', '-').split('-', Qt::SkipEmptyParts);
    if (parts.isEmpty()) return {};
    parts[0] = parts[0].toLower();
    for (qsizetype i = 1; i < parts.size(); ++i) {
        QString& part = parts[i];
        if (part.size() == 4) {
            part = part.left(1).toUpper() + part.mid(1).toLower();  // script: "Hant"
        } else if (part.size() <= 3) {
            part = part.toUpper();  // region: "US", "419"
        } else {
            part = part.toLower();  // variant
        }
    }
    return parts.join('-');
}

QString localeDisplayName(const QString& identifier) {
    const QString normal = normalizedLocale(identifier);
    const icu::Locale locale(QString(normal).replace('-', '_').toUtf8().constData());
    icu::UnicodeString language;
    locale.getDisplayLanguage(icu::Locale::getDefault(), language);
    // ICU answers with the code itself for a language it has no name for.
    if (locale.isBogus() || language.isEmpty() ||
        language == icu::UnicodeString::fromUTF8(locale.getLanguage())) {
        return identifier;
    }
    icu::UnicodeString name;
    locale.getDisplayName(icu::Locale::getDefault(), name);
    std::string utf8;
    name.toUTF8String(utf8);
    return QString::fromStdString(utf8);
}

}  // namespace pelix::speech
