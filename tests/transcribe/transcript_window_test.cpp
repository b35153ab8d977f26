#include "transcribe/TranscriptWindow.h"

#include "core/Prefs.h"
#include "core/Sentences.h"
#include "fakes/LoopbackBackend.h"
#include "fakes/ManualTime.h"
#include "media/TestMedia.h"
#include "service/Api.h"
#include "speech/PocketSphinxEngine.h"
#include "support/TestSupport.h"

#include <QComboBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextCursor>

#include <gtest/gtest.h>

namespace pelix {
namespace {

using testing::waitUntil;

TEST(TranscriptWindow, HearsTheFileThenSortsAndSavesWhatTheUserLeft) {
    QTemporaryDir folder;
    const QString silence = folder.path() + "/quiet.m4a";
    testing::runTool("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-t", "3", "-i",
                                "anullsrc=r=16000:cl=mono", "-c:a", "aac", silence});
    testing::IsolatedHome home;
    fakes::LoopbackBackend backend;
    fakes::ManualClock clock;
    QNetworkAccessManager network;
    TokenStore tokens{home.dataDir()};
    tokens.write("pelix_window_token");
    Prefs prefs{home.configDir() + "/Pelix.conf"};
    Api api{backend.base(), tokens, &network, &clock};
    SpeechEngines engines;
    engines.add(
        std::make_unique<PocketSphinxEngine>(PocketSphinxEngine::systemModelFolder(), QString()));

    Worker worker(nullptr);
    TranscriptWindow window(engines, worker, api, prefs, clock, silence);
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
    ASSERT_TRUE(backend.waitFor("organize", 1));
    ASSERT_TRUE(waitUntil([&] { return window.status()->text() == "In Pelix"; }));
    EXPECT_EQ(backend.requests("organize").at(0).json.value("text").toString().size(), 12000);

    window.saveButton()->click();
    ASSERT_TRUE(waitUntil([&] { return window.saveButton()->text() == "Save again"; }));
    EXPECT_EQ(window.status()->text(), "Saved to Pelix, in Videos.");

    window.close();
    EXPECT_FALSE(window.model().listening());
}

}  // namespace
}  // namespace pelix
