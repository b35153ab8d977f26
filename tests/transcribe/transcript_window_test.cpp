#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"
#include "transcribe/StableId.h"

#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextCursor>

#include <condition_variable>
#include <mutex>

namespace pelix::transcribe {
namespace {

using testing::waitUntil;

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

    // As heard, without capitals or stops. The second follows the first within the pause of a
    // paragraph, the third does not.
    inline static const QList<Spoken> kPieces{{0.5, 3.0, "good morning, this is a test", {}},
                                              {4.0, 6.25, "actually, bring the report", {}},
                                              {68.5, 71.0, "the weather is nice", {}}};
    QTemporaryDir folder;
    QString media = testing::TestMedia(folder.path()).silence("talk.m4a", 2);
    fakes::BackendRig rig;
    speech::SpeechEngines engines;
    core::Worker worker{nullptr};
};

// The text grows on the window's thread as pieces are heard, written as sentences with a
// paragraph at the long pause; a selection is sorted on its own, within the limit; the text the
// user left is saved as one note under the file's own identifier, again after a refusal.
TEST_F(TranscriptWindowPieces, HearsTheFileThenSortsAndSavesWhatTheUserLeft) {
    const auto window = open();
    TranscriptModel& model = window->model();
    QString live, liveAtTheEnd;
    QObject::connect(&model, &TranscriptModel::appended, [&](const QString& piece) {
        EXPECT_EQ(QThread::currentThread(), window->thread());
        live += piece;
    });
    QObject::connect(&model, &TranscriptModel::replaced, [&] { liveAtTheEnd = live; });
    ASSERT_TRUE(waitUntil([&] { return !model.listening(); }));
    const QString text = window->text()->toPlainText();
    EXPECT_EQ(text, "Good morning, this is a test. Bring the report.\n\nThe weather is nice.");
    EXPECT_EQ(liveAtTheEnd, text);
    EXPECT_EQ(window->status()->text(),
              "13 words from 0:02. Change anything you like, then save it.");

    window->text()->setPlainText(QString(12001, 'a'));
    QTextCursor cursor = window->text()->textCursor();
    cursor.select(QTextCursor::Document);
    window->text()->setTextCursor(cursor);
    window->sortButton()->click();
    EXPECT_EQ(window->status()->text(), core::sentences::kTooMuchToSort);
    cursor.setPosition(1);
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    window->text()->setTextCursor(cursor);
    window->sortButton()->click();
    ASSERT_TRUE(rig.backend.waitFor("organize", 1));
    ASSERT_TRUE(waitUntil([&] { return window->status()->text() == "In Pelix"; }));
    EXPECT_EQ(rig.backend.requests("organize").at(0).json.value("text").toString().size(), 12000);

    rig.backend.answer("import-notes", fakes::Reply::json({{"created", 1}}));
    window->saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window->saveButton()->text() == "Save again"; }));
    EXPECT_EQ(window->status()->text(), "Saved to Pelix, in Videos.");
    rig.backend.answer("import-notes", fakes::Reply::json({{"error", "The notes are full."}}, 507));
    window->saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window->status()->text() == "The notes are full."; }));
    for (const fakes::Recorded& sent : rig.backend.requests("import-notes")) {
        const QJsonObject note = sent.json.value("notes").toArray().at(0).toObject();
        EXPECT_EQ(QStringList({sent.json.value("source").toString(),
                               sent.json.value("done").toBool() ? "done" : "more",
                               note.value("external_id").toString(), note.value("title").toString(),
                               note.value("folder").toString()}),
                  QStringList({"video", "done", stableId(media), "talk", "Videos"}));
        EXPECT_EQ(note.value("body"), window->text()->toPlainText());
        EXPECT_TRUE(note.contains("updated_at"));
    }
}

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
        // The extension the user typed wins over the kind left chosen.
        {"Text (*.txt)", "late.vtt", "late.vtt",
         "WEBVTT\n\n00:00:00.500 --> 00:00:03.000\nGood morning, this is a test.\n\n"
         "00:00:04.000 --> 00:00:06.250\nBring the report.\n\n"
         "00:01:08.500 --> 00:01:11.000\nThe weather is nice.\n\n"},
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
        EXPECT_EQ(testing::readFile(written).toStdString(), c.bytes.toStdString());
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
