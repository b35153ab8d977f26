#include "transcribe/TranscribeCli.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Sentences.h"
#include "core/Worker.h"
#include "transcribe/StableId.h"
#include "transcribe/VideoTranscriber.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>

namespace pelix::transcribe {
namespace {

constexpr double kParagraphGap = 1.5;
constexpr double kSaveTimeLimit = 90;

// The note "import-notes" files for a transcribed file.
QJsonObject noteBody(const QString& file, const QString& text, const QDateTime& now) {
    const QFileInfo info(file);
    const QDateTime created = madeOn(file).value_or(now);
    QJsonObject note{{"external_id", stableId(file)},
                     {"title", info.completeBaseName()},
                     {"body", text},
                     {"folder", "Videos"},
                     {"updated_at", core::json::isoDate(now)},
                     {"created_at", core::json::isoDate(created)}};
    return QJsonObject{{"source", "video"}, {"notes", QJsonArray{note}}};
}

// The engines `--engine` asks for: "local", "server", or (without it) both, the server first.
Result<speech::SpeechEngines> chosenEngines(const core::Args& args) {
    speech::SpeechEngines::Kind kind = speech::SpeechEngines::Kind::all;
    if (const std::optional<QString> engine = args.value("--engine")) {
        if (*engine == "local") {
            kind = speech::SpeechEngines::Kind::local;
        } else if (*engine == "server") {
            kind = speech::SpeechEngines::Kind::server;
        } else {
            return fail(2, core::sentences::kEngineLocalOrServer);
        }
    }
    speech::SpeechEngines engines = speech::SpeechEngines::standard(kind);
    if (kind == speech::SpeechEngines::Kind::server && !engines.engines().front()->installed({})) {
        return fail(2, engines.engines().front()->installHint({}));
    }
    return engines;
}

}  // namespace

int runTranscribeCli(const core::Args& args, service::ServiceContext& context) {
    const QString file = *args.value("--transcribe");
    Result<speech::SpeechEngines> chosen = chosenEngines(args);
    if (!chosen) {
        core::console::err(chosen.error().message);
        return 1;
    }
    const speech::SpeechEngines& engines = *chosen;
    const QString locale = args.value("--lang").value_or(VideoTranscriber::defaultLocale(engines));

    QElapsedTimer clock;
    clock.start();
    QString text;
    const bool sentences = context.prefs().sentenceText();
    QObject owner;
    core::Worker worker(&owner);
    const int heard = core::console::runUntilAnswered([&](core::console::Answer done) {
        VideoTranscriber::start(
            worker, engines, file, locale, {}, &owner,
            [](const QString& status) { core::console::err(status); },
            [sentences](const transcribe::Spoken& piece) {
                core::console::out(
                    QString::asprintf("  [%6.1fs] ", piece.start) +
                    (sentences ? VideoTranscriber::pieceText(piece.text, true) : piece.text));
            },
            [&, done = std::move(done)](Result<QList<Spoken>> spoken) {
                if (!spoken) return done(std::unexpected(spoken.error()));
                text = VideoTranscriber::paragraphs(*spoken, kParagraphGap, sentences);
                const QString summary =
                    core::sentences::piecesIn(static_cast<int>(spoken->size()),
                                              static_cast<double>(clock.elapsed()) / 1000.0);
                if (text.trimmed().isEmpty()) {
                    // Said as the transcript window says it, rather than a blank line.
                    core::console::err(core::sentences::kNoSpeech);
                    return done(summary);
                }
                done(text + '\n' + summary);
            });
    });
    if (heard != 0 || !args.has("--save")) return heard;
    if (text.trimmed().isEmpty()) {
        core::console::err(core::sentences::kNothingSaved);
        return 0;
    }

    return core::console::runUntilAnswered([&](core::console::Answer done) {
        context.api().call(
            "import-notes", noteBody(file, text, context.clock().now()), std::nullopt,
            kSaveTimeLimit, service::Needs::notesTaken(),
            [done = std::move(done)](Result<QJsonObject> answer) {
                if (!answer) {
                    return done(std::unexpected(service::Api::asShown(answer.error())));
                }
                done(core::sentences::kSavedInVideos);
            });
    });
}

}  // namespace pelix::transcribe
