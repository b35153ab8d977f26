#include "transcribe/VideoTranscriber.h"

#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "media/AudioDecoder.h"
#include "media/Media.h"
#include "text/CleanUp.h"
#include "text/SentenceText.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>
#include <QSet>

#include <algorithm>

namespace pelix::transcribe::VideoTranscriber {
namespace {

Error cancelled() {
    return Error::pelix(kCancelled, core::sentences::kTranscribingCancelled);
}

// Removes the temporary sound file when the run ends, however it ends.
struct RemoveOnExit {
    QString path;
    ~RemoveOnExit() {
        if (!path.isEmpty()) core::tempfiles::remove(path);
    }
};

QString minutesAndSeconds(double seconds) {
    const auto whole = static_cast<qint64>(seconds);
    return QString::asprintf("%lld:%02lld", whole / 60, whole % 60);
}

}  // namespace

QString defaultLocale(const speech::SpeechEngines& engines) {
    const QString system = QLocale::system().name();
    if (system != "C" && engines.resolve(system)) return speech::normalizedLocale(system);
    return QStringLiteral("en-US");
}

std::optional<speech::SpeechEngines::Choice> resolve(const speech::SpeechEngines& engines,
                                                     const QString& locale) {
    return engines.forFiles(locale);
}

QStringList languages(const speech::SpeechEngines& engines) {
    QStringList unique;
    QSet<QString> seen;
    for (const QString& locale : engines.locales()) {
        if (seen.contains(locale)) continue;
        seen.insert(locale);
        unique << locale;
    }
    QList<std::pair<QString, QString>> named;  // display name, identifier
    named.reserve(unique.size());
    for (const QString& locale : unique) named.append({speech::localeDisplayName(locale), locale});
    std::ranges::stable_sort(named, {}, &std::pair<QString, QString>::first);
    QStringList sorted;
    for (const auto& [name, locale] : named) sorted << locale;
    return sorted;
}

Result<QList<transcribe::Spoken>> transcribe(const speech::SpeechEngines& engines,
                                             const QString& file, const QString& locale,
                                             const QStringList& words, const StatusCallback& status,
                                             const HeardCallback& heard, std::stop_token stop) {
    const std::optional<speech::SpeechEngines::Choice> choice = resolve(engines, locale);
    if (!choice) {
        return fail(kUnsupportedLocale,
                    core::sentences::cantTranscribe(speech::localeDisplayName(locale)));
    }
    // There is no model download here: a missing model is named, and nothing else happens.
    if (!choice->engine->installed(choice->locale)) {
        return fail(kNoModel, choice->engine->installHint(choice->locale));
    }

    if (status) status(core::sentences::kGettingTheSoundOut);
    // How long the file says its sound is, to tell a file that ends early (cut off while it was
    // copied, say) from a whole one.
    double stated = 0;
    if (auto source = media::AudioDecoder::open(file, speech::kSpeechSampleRate)) {
        stated = (*source)->duration();
    }
    Result<QString> sound = media::extractAudio(file);
    if (!sound) return std::unexpected(sound.error());
    const RemoveOnExit removal{*sound};

    if (stop.stop_requested()) return std::unexpected(cancelled());
    QList<transcribe::Spoken> spoken;
    speech::SessionEvents events;
    events.final = [&](const transcribe::Spoken& piece) {
        spoken.append(piece);
        if (heard) heard(piece);
    };
    speech::SessionOptions options;
    options.words = words;
    if (status) status(core::sentences::kListening);
    // An engine that takes the sound file as it is (a server) hears it whole when it can.
    if (const Result<double> seconds = media::duration(*sound)) {
        if (auto whole =
                choice->engine->hearFile(*sound, *seconds, choice->locale, options, events, stop)) {
            if (stop.stop_requested()) return std::unexpected(cancelled());
            if (!*whole) return std::unexpected(whole->error());
            return spoken;
        }
    }
    auto session = choice->engine->start(choice->locale, options, std::move(events));
    if (!session) return std::unexpected(session.error());

    if (stop.stop_requested()) return std::unexpected(cancelled());
    auto decoder = media::AudioDecoder::open(*sound, speech::kSpeechSampleRate);
    if (!decoder) {
        return fail(kUnreadable, core::sentences::couldntReadSoundFrom(QFileInfo(file).fileName()));
    }
    std::vector<int16_t> block;
    qint64 samples = 0;
    for (;;) {
        if (stop.stop_requested()) {
            (*session)->cancel();
            return std::unexpected(cancelled());
        }
        Result<bool> more = (*decoder)->read(block);
        if (!more) return std::unexpected(more.error());
        if (!*more) break;
        samples += static_cast<qint64>(block.size());
        if (Status fed = (*session)->feed(block); !fed) return std::unexpected(fed.error());
    }
    if (Result<QString> done = (*session)->finish(); !done) return std::unexpected(done.error());
    const double read = static_cast<double>(samples) / speech::kSpeechSampleRate;
    if (status && stated - read > std::max(1.0, 0.02 * stated)) {
        status(core::sentences::endsEarly(QFileInfo(file).fileName(), minutesAndSeconds(read),
                                          minutesAndSeconds(stated)));
    }
    return spoken;
}

std::stop_source start(core::Worker& worker, const speech::SpeechEngines& engines,
                       const QString& file, const QString& locale, const QStringList& words,
                       QObject* context, StatusCallback status, HeardCallback heard,
                       std::function<void(Result<QList<transcribe::Spoken>>)> done) {
    // Looked at on the owner's thread only, where `context` lives.
    const QPointer<QObject> owner(context);
    return worker.run(
        [=, &worker, &engines](std::stop_token stop) {
            return transcribe(
                engines, file, locale, words,
                [&](const QString& text) {
                    if (!status) return;
                    worker.post([owner, status, text] {
                        if (owner) status(text);
                    });
                },
                [&](const Spoken& piece) {
                    if (!heard) return;
                    worker.post([owner, heard, piece] {
                        if (owner) heard(piece);
                    });
                },
                stop);
        },
        [owner, done](const Result<QList<Spoken>>& result) {
            if (owner && done) done(result);
        });
}

QString pieceText(const QString& heard, bool sentences) {
    const QString cleaned = text::withoutActually(heard).trimmed();
    return sentences ? text::asSentences(cleaned, true) : cleaned;
}

QString paragraphs(const QList<transcribe::Spoken>& spoken, double gap, bool sentences) {
    QString text;
    double previousEnd = 0.0;
    bool first = true;
    for (const transcribe::Spoken& piece : spoken) {
        const QString trimmed = sentences ? pieceText(piece.text, true) : piece.text.trimmed();
        if (trimmed.isEmpty()) continue;
        if (!first)
            text += gap < piece.start - previousEnd ? QStringLiteral("\n\n") : QStringLiteral(" ");
        text += trimmed;
        previousEnd = piece.end;
        first = false;
    }
    return text::withoutActually(text);
}

Result<double> duration(const QString& file) {
    return media::duration(file);
}

}  // namespace pelix::transcribe::VideoTranscriber
