#include "app/AppFeatures.h"

#include "fakes/AppFakes.h"
#include "fakes/BackendRig.h"
#include "fakes/MemoFakes.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoWatcher.h"
#include "speech/SpeechEngines.h"

namespace pelix::app {
namespace {

using fakes::Reply;
using testing::waitUntil;
using testing::writeFile;

class FeaturesTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    void SetUp() override {
        // Far enough ahead that every file written by the test has settled.
        clock.setNow(QDateTime::currentDateTimeUtc().addSecs(600));
        prefs.setValue("voiceMemos.folder", folder.path());
        prefs.setValue("voiceMemos.since", 0.0);
        backend.answerWith("braindump", [](const fakes::Recorded& request) {
            if (request.json.value("transcribe_only").toBool()) {
                return Reply::json({{"text", "remember the milk"}});
            }
            return Reply::json({{"id", "filing-1"}});
        });
    }

    QStringList filed() const {
        QStringList names;
        for (const QJsonObject& body : sent("braindump")) {
            if (!body.value("transcribe_only").toBool()) names << body.value("filename").toString();
        }
        return names;
    }
    bool settled() {
        return waitUntil([&] { return !watcher.busy(); });
    }

    QTemporaryDir folder;
    fakes::HandTicker ticker;
    fakes::ManualTimers timers{clock};
    fakes::FakeShell shell;
    fakes::FakeMemoTools tools;
    memos::MemoSender sender{api, prefs, clock, tools.tools()};
    memos::VoiceMemoWatcher watcher{sender, prefs, clock, ticker};
    speech::SpeechEngines engines;
    FeatureParts parts{prefs, api, clock, timers, shell, sender, watcher, engines, nullptr};
    AppFeatures features{parts};
};

TEST_F(FeaturesTest, TheSwitchStartsAndStopsTheWatcher) {
    writeFile(folder.path(), "first.m4a");
    features.start();
    EXPECT_FALSE(ticker.running()) << "off by default: nothing watches";
    features.toggleVoiceMemos();
    EXPECT_TRUE(ticker.running());
    ASSERT_TRUE(waitUntil([&] { return filed() == QStringList{"first.m4a"}; }));
    ASSERT_TRUE(settled());
    features.toggleVoiceMemos();
    EXPECT_FALSE(ticker.running());

    // A start-up that finds the switch on starts watching: the waiting memo goes at once.
    writeFile(folder.path(), "second.m4a");
    prefs.setValue("voiceMemos.on", true);
    AppFeatures later{parts};
    later.start();
    EXPECT_TRUE(ticker.running());
    ASSERT_TRUE(waitUntil([&] { return filed().size() == 2; }));
    EXPECT_EQ(filed().last(), "second.m4a");
    ASSERT_TRUE(settled());
}

// Only a folder that is there, or was chosen, and cannot be read is warned about; a fresh user's
// default folder is made the first time it is used.
TEST_F(FeaturesTest, TheMenuWarnsOnlyAboutARecordingsFolderThatCannotBeRead) {
    const QString music = QDir::homePath() + "/Music", byDefault = music + "/Recordings";
    const struct {
        const char* name;
        std::optional<QString> chosen;  // none: the default
        bool defaultIsAFile;
        bool readable;     // no warning in the menu
        bool defaultMade;  // on first use
    } cases[] = {
        {"a fresh user", std::nullopt, false, true, true},
        {"chosen", folder.path(), false, true, false},
        {"chosen and gone", folder.path() + "/gone", false, false, false},
        {"the default is a file", std::nullopt, true, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(music).removeRecursively();
        if (c.chosen) {
            prefs.setValue("voiceMemos.folder", *c.chosen);
        } else {
            prefs.remove("voiceMemos.folder");
        }
        if (c.defaultIsAFile) writeFile(music, "Recordings");
        AppFeatures features{parts};
        EXPECT_EQ(features.recordingsReadable(), c.readable);
        EXPECT_FALSE(QFileInfo(byDefault).isDir()) << "nothing is made just by looking at the menu";

        features.allowRecordings();  // the chooser
        EXPECT_EQ(QFileInfo(byDefault).isDir(), c.defaultMade);
        EXPECT_EQ(features.recordingsReadable(), c.readable);

        // Whatever it was, a readable folder chosen now is the one, at once.
        QTemporaryDir other;
        shell.choose(other.path());
        EXPECT_EQ(prefs.value("voiceMemos.folder").toString(), other.path());
        EXPECT_TRUE(features.recordingsReadable());
    }
}

TEST_F(FeaturesTest, NotesComeOverOnceAtATimeWithProgressAndAFinalLine) {
    QTemporaryDir exported;
    const QString file = writeFile(exported.path(), "notes.json",
                                   R"([{"id":"n1","name":"Milk","body":"<p>Buy milk</p>",
                                    "folder":"Notes","created":null,"modified":null}])");
    backend.answer("import-notes", Reply::json({{"created", 1}, {"unchanged", 0}}, 200));

    // Without a notes app on this machine, the notes come from an exported file.
    features.importNotes();
    std::exchange(shell.choose, nullptr)(file);
    EXPECT_TRUE(features.importing());
    features.importNotes();
    EXPECT_EQ(shell.lines.last(), "Already bringing them over…");
    ASSERT_TRUE(waitUntil([&] { return !features.importing(); }));
    EXPECT_EQ(shell.lines.last(), "Brought over 1 pearl: 1 new.");
    EXPECT_TRUE(shell.lines.contains("Reading the notes in notes.json…")) << "what is really read";
    ASSERT_EQ(backend.requests("import-notes").size(), 1);

    // With a command to read the notes from, the user is asked first, and may say no.
    prefs.setValue("notes.command", "cat " + file);
    features.importNotes();
    ASSERT_EQ(shell.prompts.size(), 1u);
    shell.answerPrompt(PromptAnswer::reject);
    EXPECT_FALSE(features.importing());
    features.importNotes();
    shell.answerPrompt(PromptAnswer::accept);
    EXPECT_TRUE(features.importing());
    ASSERT_TRUE(waitUntil([&] { return !features.importing(); }));
    EXPECT_EQ(backend.requests("import-notes").size(), 2);
    EXPECT_TRUE(shell.lines.contains("Running the notes command…"));
}

TEST_F(FeaturesTest, OnlySoundFilesDroppedOnTheBadgeAreSent) {
    QTemporaryDir dropped;
    const QString a = writeFile(dropped.path(), "a.mp3"), b = writeFile(dropped.path(), "b.WAV");
    features.sendDropped({a, writeFile(dropped.path(), "notes.txt"), b});
    ASSERT_TRUE(waitUntil([&] { return shell.lines.contains("Complete: both are in Pelix"); }));
    EXPECT_EQ(filed(), (QStringList{"a.mp3", "b.WAV"}));
}

}  // namespace
}  // namespace pelix::app
