#include "transcribe/TranscribeCli.h"

#include "core/Console.h"
#include "core/Json.h"
#include "transcribe/StableId.h"
#include "transcribe/VideoTranscriber.h"

#include <QElapsedTimer>
#include <QEventLoop>
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

}  // namespace

int runTranscribeCli(const Args& args, Backend& backend) {
    const QString file = *args.value("--transcribe");
    const SpeechEngines engines = SpeechEngines::standard();
    const QString locale = args.value("--lang").value_or(VideoTranscriber::defaultLocale(engines));

    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    std::optional<Result<QList<Spoken>>> outcome;
    QObject context;
    VideoTranscriber::start(
        engines, file, locale, {}, &context, [](const QString& status) { console::err(status); },
        [](const Spoken& piece) {
            console::out(QString::asprintf("  [%6.1fs] ", piece.start) + piece.text);
        },
        [&](Result<QList<Spoken>> result) {
            outcome = std::move(result);
            loop.quit();
        });
    if (!outcome) loop.exec();

    if (!*outcome) {
        console::err(outcome->error().message);
        return 1;
    }
    const QList<Spoken>& spoken = **outcome;
    const QString text = VideoTranscriber::paragraphs(spoken, kParagraphGap);
    console::out(text);
    console::out(QString::asprintf("%d pieces in %.1fs", static_cast<int>(spoken.size()),
                                   static_cast<double>(clock.elapsed()) / 1000.0));
    if (!args.has("--save")) return 0;

    std::optional<Result<QJsonObject>> saved;
    backend.api().call("import-notes", noteBody(file, text, backend.clock().now()), std::nullopt,
                       kSaveTimeLimit, [&](Result<QJsonObject> answer) {
                           saved = std::move(answer);
                           loop.quit();
                       });
    if (!saved) loop.exec();
    if (!*saved) {
        console::err(saved->error().message);
        return 1;
    }
    console::out("Saved to Pelix, in Videos.");
    return 0;
}

}  // namespace pelix
