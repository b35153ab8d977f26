#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "transcribe/StableId.h"

#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextCursor>

#include <condition_variable>
#include <mutex>

namespace pelix::transcribe {
namespace {

using testing::waitUntil;

TEST(TranscriptWindow, HearsTheFileThenSortsAndSavesWhatTheUserLeft) {
    QTemporaryDir folder;
    // The first two make one paragraph, the third starts another.
    std::vector<testing::Sentence> sentences{{"Please bring the report and a cup of coffee.", 0.5},
                                             {"The weather is nice today.", 1.0},
                                             {"We can walk to the park after lunch.", 2.5}};
    const QString talk = testing::TestMedia(folder.path()).speech("talk.mp4", sentences, 2.0);
    fakes::BackendRig rig;
    speech::SpeechEngines engines;
    engines.add(std::make_unique<speech::PocketSphinxEngine>(
        speech::PocketSphinxEngine::systemModelFolder(), QString()));
    core::Worker worker(nullptr);
    QTemporaryDir temp;  // where the sound is taken out to, and removed from
    const QByteArray savedTmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", temp.path().toUtf8());
    TranscriptWindow window(engines, worker, rig.api, rig.prefs, rig.clock, talk);
    TranscriptModel& model = window.model();
    // The text as it grows while the file is heard (each stretch as it becomes final, on this
    // thread), and as it stood when the final text came.
    QString live, liveAtTheEnd;
    QStringList statuses;
    QList<Spoken> heard;
    QObject::connect(&model, &TranscriptModel::cleared, [&] { live.clear(); });
    QObject::connect(&model, &TranscriptModel::appended, [&](const QString& piece, Spoken s) {
        EXPECT_EQ(QThread::currentThread(), window.thread());
        live += piece;
        heard << s;
    });
    QObject::connect(&model, &TranscriptModel::replaced, [&] { liveAtTheEnd = live; });
    QObject::connect(&model, &TranscriptModel::statusChanged,
                     [&](const QString& line) { statuses << line; });
    window.show();
    window.start();
    EXPECT_EQ(window.windowTitle(), "talk.mp4 — Transcript");
    EXPECT_EQ(window.language()->currentData().toString(), "en-US");
    ASSERT_TRUE(waitUntil([&] { return !model.listening(); }, 120000));

    EXPECT_EQ(statuses.first(), "Getting ready…");
    QList<int> percents;
    static const QRegularExpression percent("^Listening… (\\d+)%$");
    for (const QString& line : statuses) {
        if (const auto match = percent.match(line); match.hasMatch()) {
            percents << match.captured(1).toInt();
        }
    }
    ASSERT_EQ(percents.size(), 3);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_LT(percents.last(), 100) << "the file goes on after the last sentence";

    const QString text = window.text()->toPlainText();
    EXPECT_EQ(liveAtTheEnd, text);
    EXPECT_EQ(text.count("\n\n"), 1) << "the long pause starts a paragraph";
    // Pieces are written as sentences: each paragraph opens with a capital and ends in a stop.
    for (const QString& paragraph : text.split("\n\n")) {
        EXPECT_TRUE(paragraph.front().isUpper() && paragraph.endsWith('.')) << text.toStdString();
    }
    QStringList want, words;
    for (const auto& s : sentences) want += testing::spokenWords(s.text);
    EXPECT_LE(testing::wordErrorRate(want, testing::spokenWords(text)), 0.2) << text.toStdString();
    // Each sentence a stretch, its words in order where they were said.
    EXPECT_EQ(heard, model.pieces());
    ASSERT_EQ(heard.size(), 3);
    double previous = 0;
    for (qsizetype i = 0; i < heard.size(); ++i) {
        ASSERT_FALSE(heard[i].words.isEmpty());
        EXPECT_NEAR(heard[i].words.first().start, sentences[size_t(i)].placedAt, 0.3) << i;
        for (const core::Word& word : heard[i].words) {
            EXPECT_LE(previous, word.start);
            EXPECT_LT(word.start, word.end);
            previous = word.end;
            words << word.text;
        }
    }
    EXPECT_LE(previous, VideoTranscriber::duration(talk).value_or(0));
    EXPECT_LE(testing::wordErrorRate(want, words), 0.15) << words.join(' ').toStdString();
    EXPECT_EQ(QDir(temp.path()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList());
    qputenv("TMPDIR", savedTmp);
    EXPECT_EQ(window.status()->text(),
              QString("%1 words from 0:%2. Change anything you like, then save it.")
                  .arg(text.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts).size())
                  .arg(int(VideoTranscriber::duration(talk).value_or(0)), 2, 10, QChar('0')));

    // The user writes their own text; a selection is sorted on its own, within the limit.
    window.text()->setPlainText(QString(12001, 'a'));
    QTextCursor cursor = window.text()->textCursor();
    cursor.select(QTextCursor::Document);
    window.text()->setTextCursor(cursor);
    window.sortButton()->click();
    EXPECT_EQ(window.status()->text(), core::sentences::kTooMuchToSort);
    cursor.setPosition(1);
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    window.text()->setTextCursor(cursor);
    window.sortButton()->click();
    ASSERT_TRUE(rig.backend.waitFor("organize", 1));
    ASSERT_TRUE(waitUntil([&] { return window.status()->text() == "In Pelix"; }));
    EXPECT_EQ(rig.backend.requests("organize").at(0).json.value("text").toString().size(), 12000);

    // Saved as one note under the file's own identifier, again after a refusal.
    EXPECT_EQ(window.saveButton()->text(), "Save to Pelix");
    rig.backend.answer("import-notes", fakes::Reply::json({{"created", 1}}));
    window.saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.saveButton()->text() == "Save again"; }));
    EXPECT_EQ(window.status()->text(), "Saved to Pelix, in Videos.");
    rig.backend.answer("import-notes", fakes::Reply::json({{"error", "The notes are full."}}, 507));
    window.saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.status()->text() == "The notes are full."; }));
    for (const fakes::Recorded& sent : rig.backend.requests("import-notes")) {
        const QJsonObject note = sent.json.value("notes").toArray().at(0).toObject();
        EXPECT_EQ(QStringList({sent.json.value("source").toString(),
                               sent.json.value("done").toBool() ? "done" : "more",
                               note.value("external_id").toString(), note.value("title").toString(),
                               note.value("folder").toString()}),
                  QStringList({"video", "done", stableId(talk), "talk", "Videos"}));
        EXPECT_EQ(note.value("body"), window.text()->toPlainText());
        EXPECT_TRUE(note.contains("updated_at"));
    }
}

TEST(TranscriptClock, WholeSecondsMinutesAndHours) {
    QStringList clocks;
    for (const double t : {0.0, 12.9, 75.0, 3599.99, 95 * 60.0})
        clocks << TranscriptModel::clock(t);
    EXPECT_EQ(clocks, QStringList({"0:00", "0:12", "1:15", "59:59", "1:35:00"}));
    EXPECT_EQ(TranscriptModel::wordCount("  one\ttwo\n\nthree "), 3);
    EXPECT_EQ(TranscriptModel::wordCount(" \n"), 0);
}

// An engine that hears the same pieces in any file, whole; with `holdAfter`, it then waits until
// it is stopped, as a long file would keep it busy.
class ScriptedEngine final : public speech::SpeechEngine {
public:
    ScriptedEngine(QList<Spoken> pieces, int holdAfter) : pieces_(pieces), holdAfter_(holdAfter) {}

    QString name() const override { return "scripted"; }
    QStringList supportedLocales() const override { return {"en-US"}; }
    std::optional<QString> supportedLocale(const QString&) const override { return "en-US"; }
    bool installed(const QString&) const override { return true; }
    QString installHint(const QString&) const override { return {}; }
    bool live() const override { return false; }
    Result<std::unique_ptr<speech::SpeechSession>> start(const QString&,
                                                         const speech::SessionOptions&,
                                                         speech::SessionEvents) override {
        return fail(speech::kSpeechEngineFailed, "Files only.");
    }
    std::optional<Result<QList<Spoken>>> hearFile(const QString&, double, const QString&,
                                                  const speech::SessionOptions&,
                                                  const speech::SessionEvents& events,
                                                  std::stop_token stop) override {
        QList<Spoken> heard;
        for (const Spoken& piece : pieces_) {
            if (heard.size() == holdAfter_) {
                std::mutex mutex;
                std::unique_lock lock(mutex);
                ++holding;
                std::condition_variable_any().wait(lock, stop, [] { return false; });
                --holding;
                return fail(speech::kSpeechCancelled, "Stopped.");
            }
            heard << piece;
            events.final(piece);
        }
        return heard;
    }

    static inline std::atomic_int holding = 0;  // runs waiting to be stopped

private:
    QList<Spoken> pieces_;
    int holdAfter_;
};

class TranscriptWindowPieces : public ::testing::Test {
protected:
    std::unique_ptr<TranscriptWindow> open(int holdAfter = -1) {
        engines.add(std::make_unique<ScriptedEngine>(kPieces, holdAfter));
        auto window = std::make_unique<TranscriptWindow>(engines, worker, rig.api, rig.prefs,
                                                         rig.clock, media);
        window->show();
        window->start();
        return window;
    }
    static QStringList pieceLines(const TranscriptWindow& window) {
        QStringList lines;
        for (int i = 0; i < window.pieces()->count(); ++i)
            lines << window.pieces()->item(i)->text();
        return lines;
    }

    // The second follows the first within the pause of a paragraph, the third does not.
    inline static const QList<Spoken> kPieces{{0.5, 3.0, "Good morning, this is a test.", {}},
                                              {4.0, 6.25, "Actually, bring the report.", {}},
                                              {68.5, 71.0, "The weather is nice.", {}}};
    QTemporaryDir folder;
    QString media = testing::TestMedia(folder.path()).silence("talk.m4a", 2);
    fakes::BackendRig rig;
    speech::SpeechEngines engines;
    core::Worker worker{nullptr};
};

// Each piece shows where it starts; "Save as…" writes the text as it stands, or the pieces as
// subtitles, by the kind chosen in its dialog or named by the file's extension.
TEST_F(TranscriptWindowPieces, ShowsStartTimesAndSavesTextOrSubtitles) {
    const auto window = open();
    ASSERT_TRUE(waitUntil([&] { return !window->model().listening(); }));
    EXPECT_EQ(pieceLines(*window),
              (QStringList{"0:00  Good morning, this is a test.", "0:04  Bring the report.",
                           "1:08  The weather is nice."}));
    EXPECT_TRUE(window->stopButton()->isHidden());
    window->text()->appendPlainText("My own line.");

    const struct {
        QString filter;
        QString typed;
        QString written;  // the file that comes out
        QByteArray bytes;
    } cases[] = {
        {"Text (*.txt)", "notes.txt", "notes.txt",
         "Good morning, this is a test. Bring the report.\n\nThe weather is nice.\nMy own "
         "line.\n"},
        {"SubRip subtitles (*.srt)", "talk", "talk.srt",
         "1\n00:00:00,500 --> 00:00:03,000\nGood morning, this is a test.\n\n"
         "2\n00:00:04,000 --> 00:00:06,250\nBring the report.\n\n"
         "3\n00:01:08,500 --> 00:01:11,000\nThe weather is nice.\n\n"},
        {"WebVTT subtitles (*.vtt)", "captions.vtt", "captions.vtt",
         "WEBVTT\n\n00:00:00.500 --> 00:00:03.000\nGood morning, this is a test.\n\n"
         "00:00:04.000 --> 00:00:06.250\nBring the report.\n\n"
         "00:01:08.500 --> 00:01:11.000\nThe weather is nice.\n\n"},
        // The extension the user typed wins over the kind left chosen.
        {"Text (*.txt)", "late.vtt", "late.vtt", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed.toStdString());
        window->saveAsButton()->click();
        QFileDialog* dialog = nullptr;
        ASSERT_TRUE(waitUntil([&] { return (dialog = window->findChild<QFileDialog*>()); }));
        EXPECT_EQ(dialog->selectedFiles().value(0), folder.filePath("talk.txt"));
        dialog->selectNameFilter(c.filter);
        dialog->selectFile(folder.filePath(c.typed));
        static_cast<QDialog*>(dialog)->accept();  // the dialog's own accept, through QDialog's
        const QString written = folder.filePath(c.written);
        ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(written); }));
        const QByteArray bytes = testing::readFile(written);
        if (c.bytes.isEmpty()) {
            EXPECT_TRUE(bytes.startsWith("WEBVTT\n"));
        } else {
            EXPECT_EQ(bytes.toStdString(), c.bytes.toStdString());
        }
        EXPECT_EQ(window->status()->text(), "Saved as " + c.written + ".");
        ASSERT_TRUE(waitUntil([&] { return !window->findChild<QFileDialog*>(); }));
    }
}

// "Stop" is there only while the file is heard; what was heard until then stays. Closing the
// window stops its run as well.
TEST_F(TranscriptWindowPieces, StopOrClosingEndsHearingAndKeepsWhatWasHeard) {
    auto window = open(1);
    ASSERT_TRUE(waitUntil([&] { return window->pieces()->count() == 1; }));
    EXPECT_TRUE(window->model().listening());
    ASSERT_TRUE(window->stopButton()->isVisible());
    window->stopButton()->click();
    EXPECT_FALSE(window->model().listening());
    EXPECT_TRUE(window->stopButton()->isHidden());
    EXPECT_EQ(window->status()->text(), core::sentences::kStoppedListening);
    EXPECT_EQ(window->text()->toPlainText(), "Good morning, this is a test.");
    EXPECT_EQ(pieceLines(*window), QStringList{"0:00  Good morning, this is a test."});
    EXPECT_TRUE(waitUntil([&] { return ScriptedEngine::holding == 0; }));

    window = open(1);
    ASSERT_TRUE(waitUntil([&] { return ScriptedEngine::holding == 1; }));
    window.reset();
    EXPECT_TRUE(waitUntil([&] { return ScriptedEngine::holding == 0; }));
}

}  // namespace
}  // namespace pelix::transcribe
