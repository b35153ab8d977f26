#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"

#include <QComboBox>
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

TEST(TranscriptWindow, HearsTheFileThenSortsAndSavesWhatTheUserLeft) {
    QTemporaryDir folder;
    const QString silence = testing::TestMedia(folder.path()).silence("quiet.m4a", 3);
    fakes::BackendRig rig;
    speech::SpeechEngines engines;
    engines.add(std::make_unique<speech::PocketSphinxEngine>(
        speech::PocketSphinxEngine::systemModelFolder(), QString()));

    core::Worker worker(nullptr);
    TranscriptWindow window(engines, worker, rig.api, rig.prefs, rig.clock, silence);
    window.show();
    window.start();
    EXPECT_EQ(window.windowTitle(), "quiet.m4a — Transcript");
    EXPECT_EQ(window.language()->currentData().toString(), "en-US");
    ASSERT_TRUE(waitUntil([&] { return !window.model().listening(); }, 60000));
    EXPECT_EQ(window.status()->text(), "No speech in this one.");
    EXPECT_EQ(window.text()->toPlainText(), "");

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

    rig.backend.answer("import-notes", fakes::Reply::json({{"created", 1}}));
    window.saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.saveButton()->text() == "Save again"; }));
    EXPECT_EQ(window.status()->text(), "Saved to Pelix, in Videos.");

    window.close();
    EXPECT_FALSE(window.model().listening());
}

// An engine that hears the same pieces in any file, whole; with `holdAfter`, it then waits until
// it is stopped, as a long file would keep it busy.
class ScriptedEngine final : public speech::SpeechEngine {
public:
    ScriptedEngine(QList<Spoken> pieces, std::optional<int> holdAfter = std::nullopt)
        : pieces_(std::move(pieces)), holdAfter_(holdAfter) {}

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
            if (holdAfter_ && heard.size() == *holdAfter_) {
                std::mutex mutex;
                std::unique_lock lock(mutex);
                std::condition_variable_any().wait(lock, stop, [] { return false; });
                return fail(speech::kSpeechCancelled, "Stopped.");
            }
            heard << piece;
            events.final(piece);
        }
        return heard;
    }

private:
    QList<Spoken> pieces_;
    std::optional<int> holdAfter_;
};

class TranscriptWindowPieces : public ::testing::Test {
protected:
    void open(std::optional<int> holdAfter = std::nullopt) {
        engines.add(std::make_unique<ScriptedEngine>(kPieces, holdAfter));
        window = std::make_unique<TranscriptWindow>(engines, worker, rig.api, rig.prefs, rig.clock,
                                                    media);
        window->show();
        window->start();
    }
    QStringList pieceLines() const {
        QStringList lines;
        for (int i = 0; i < window->pieces()->count(); ++i)
            lines << window->pieces()->item(i)->text();
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
    std::unique_ptr<TranscriptWindow> window;
};

// Each piece shows where it starts; "Save as…" writes the text as it stands, or the pieces as
// subtitles, by the kind chosen in its dialog or named by the file's extension.
TEST_F(TranscriptWindowPieces, ShowsStartTimesAndSavesTextOrSubtitles) {
    open();
    ASSERT_TRUE(waitUntil([&] { return !window->model().listening(); }));
    EXPECT_EQ(pieceLines(), (QStringList{"0:00  Good morning, this is a test.",
                                         "0:04  Bring the report.", "1:08  The weather is nice."}));
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

// "Stop" is there only while the file is heard; what was heard until then stays.
TEST_F(TranscriptWindowPieces, StopEndsHearingAndKeepsWhatWasHeard) {
    open(1);
    ASSERT_TRUE(waitUntil([&] { return window->pieces()->count() == 1; }));
    EXPECT_TRUE(window->model().listening());
    ASSERT_TRUE(window->stopButton()->isVisible());
    window->stopButton()->click();
    EXPECT_FALSE(window->model().listening());
    EXPECT_TRUE(window->stopButton()->isHidden());
    EXPECT_EQ(window->status()->text(), core::sentences::kStoppedListening);
    EXPECT_EQ(window->text()->toPlainText(), "Good morning, this is a test.");
    EXPECT_EQ(pieceLines(), QStringList{"0:00  Good morning, this is a test."});
}

}  // namespace
}  // namespace pelix::transcribe
