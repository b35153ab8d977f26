#include "transcribe/TranscribeCli.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Worker.h"
#include "transcribe/StableId.h"
#include "transcribe/VideoTranscriber.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>

namespace pelix {
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
                     {"updated_at", json::isoDate(now)},
                     {"created_at", json::isoDate(created)}};
    return QJsonObject{{"source", "video"}, {"notes", QJsonArray{note}}};
}

// The engines `--engine` asks for: "local", "server", or (without it) both, the server first.
Result<SpeechEngines> chosenEngines(const Args& args) {
    SpeechEngines::Kind kind = SpeechEngines::Kind::all;
    if (const std::optional<QString> engine = args.value("--engine")) {
        if (*engine == "local") {
            kind = SpeechEngines::Kind::local;
        } else if (*engine == "server") {
            kind = SpeechEngines::Kind::server;
        } else {
            return fail(2, "Couldn't transcribe: --engine is local or server.");
        }
    }
    SpeechEngines engines = SpeechEngines::standard(kind);
    if (kind == SpeechEngines::Kind::server && !engines.engines().front()->installed({})) {
        return fail(2, engines.engines().front()->installHint({}));
    }
    return engines;
}

}  // namespace

int runTranscribeCli(const Args& args, ServiceContext& context) {
    const QString file = *args.value("--transcribe");
    Result<SpeechEngines> chosen = chosenEngines(args);
    if (!chosen) {
        console::err(chosen.error().message);
        return 1;
    }
    const SpeechEngines& engines = *chosen;
    const QString locale = args.value("--lang").value_or(VideoTranscriber::defaultLocale(engines));

    QElapsedTimer clock;
    clock.start();
    QString text;
    QObject owner;
    Worker worker(&owner);
    const int heard = console::runUntilAnswered([&](console::Answer done) {
        VideoTranscriber::start(
            worker, engines, file, locale, {}, &owner,
            [](const QString& status) { console::err(status); },
            [](const Spoken& piece) {
                console::out(QString::asprintf("  [%6.1fs] ", piece.start) + piece.text);
            },
            [&, done = std::move(done)](Result<QList<Spoken>> spoken) {
                if (!spoken) return done(std::unexpected(spoken.error()));
                text = VideoTranscriber::paragraphs(*spoken, kParagraphGap);
                const QString summary =
                    QString::asprintf("%d pieces in %.1fs", static_cast<int>(spoken->size()),
                                      static_cast<double>(clock.elapsed()) / 1000.0);
                if (text.trimmed().isEmpty()) {
                    // Said as the transcript window says it, rather than a blank line.
                    console::err(VideoTranscriber::kNoSpeech);
                    return done(summary);
                }
                done(text + '\n' + summary);
            });
    });
    if (heard != 0 || !args.has("--save")) return heard;
    if (text.trimmed().isEmpty()) {
        console::err("Nothing was saved to Pelix.");
        return 0;
    }

    return console::runUntilAnswered([&](console::Answer done) {
        context.api().call("import-notes", noteBody(file, text, context.clock().now()),
                           std::nullopt, kSaveTimeLimit,
                           [done = std::move(done)](Result<QJsonObject> answer) {
                               if (!answer) {
                                   return done(std::unexpected(Api::asShown(answer.error())));
                               }
                               done(QStringLiteral("Saved to Pelix, in Videos."));
                           });
    });
}

}  // namespace pelix
