#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextCursor>

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

    window.saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.saveButton()->text() == "Save again"; }));
    EXPECT_EQ(window.status()->text(), "Saved to Pelix, in Videos.");

    window.close();
    EXPECT_FALSE(window.model().listening());
}

}  // namespace
}  // namespace pelix::transcribe
