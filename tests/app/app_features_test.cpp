#include "app/AppFeatures.h"

#include "app/Menu.h"
#include "core/Sentences.h"
#include "fakes/AppFakes.h"
#include "fakes/BackendRig.h"
#include "fakes/MemoFakes.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoWatcher.h"
#include "speech/SpeechEngines.h"

namespace pelix::app {
namespace {

using fakes::Recorded;
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
        backend.answerWith("braindump", [](const Recorded& request) {
            if (request.json.value("transcribe_only").toBool()) {
                return Reply::json({{"text", "remember the milk"}});
            }
            return Reply::json({});
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
    EXPECT_TRUE(prefs.value("voiceMemos.on").toBool());
    EXPECT_TRUE(ticker.running());
    ASSERT_TRUE(waitUntil([&] { return filed() == QStringList{"first.m4a"}; }));
    ASSERT_TRUE(settled());

    features.toggleVoiceMemos();
    EXPECT_FALSE(prefs.value("voiceMemos.on").toBool());
    EXPECT_FALSE(ticker.running());
    writeFile(folder.path(), "second.m4a");
    watcher.look();
    ASSERT_TRUE(settled());
    EXPECT_EQ(filed(), QStringList{"first.m4a"});

    // A start-up that finds the switch on starts watching: the waiting memo goes at once.
    prefs.setValue("voiceMemos.on", true);
    AppFeatures later{parts};
    later.start();
    EXPECT_TRUE(ticker.running());
    ASSERT_TRUE(waitUntil([&] { return filed().size() == 2; }));
    EXPECT_EQ(filed().last(), "second.m4a");
    ASSERT_TRUE(settled());
}

TEST_F(FeaturesTest, TheMenuOffersTheSwitchOrWhatToDoAboutAClosedFolder) {
    const auto memoItems = [this] {
        DesktopFacts facts;
        facts.voiceMemosOn = true;
        facts.recordingsReadable = features.recordingsReadable();
        QList<MenuItem> out;
        for (const MenuItem& item : menuItems(facts)) {
            if (item.action == MenuAction::toggleVoiceMemos ||
                item.action == MenuAction::allowRecordings ||
                item.action == MenuAction::chooseMemos)
                out << item;
        }
        return out;
    };
    QList<MenuItem> items = memoItems();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items.at(0).text, "Send new voice memos to Pelix");
    EXPECT_TRUE(items.at(0).checked);
    EXPECT_EQ(items.at(0).toolTip, core::sentences::kVoiceMemosTip);
    EXPECT_EQ(items.at(1).text, "Send voice memos…");

    prefs.setValue("voiceMemos.folder", folder.path() + "/gone");
    items = memoItems();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items.at(0).text, "⚠ Allow Pelix to read the recordings folder…");

    // The item asks for the folder and remembers it.
    features.allowRecordings();
    EXPECT_EQ(shell.choices.last(), "Choose the folder your recordings are in");
    shell.choose(folder.path());
    EXPECT_EQ(prefs.value("voiceMemos.folder").toString(), folder.path());
    EXPECT_TRUE(features.recordingsReadable());
    EXPECT_EQ(shell.lines.last(), "Pelix reads your recordings from " + folder.path() + " now.");
}

TEST_F(FeaturesTest, NotesComeOverOnceAtATimeWithProgressAndAFinalLine) {
    QTemporaryDir exported;
    const QString file = writeFile(exported.path(), "notes.json",
                                   R"([{"id":"n1","name":"Milk","body":"<p>Buy milk</p>",
                                    "folder":"Notes","created":null,"modified":null}])");
    backend.answer("import-notes", Reply::json({{"created", 1}, {"unchanged", 0}}, 200));

    // Without a notes app on this machine, the notes come from an exported file.
    features.importNotes();
    EXPECT_EQ(shell.choices.last(), "Choose the exported notes to bring over");
    std::exchange(shell.choose, nullptr)(file);
    EXPECT_TRUE(features.importing());
    features.importNotes();
    EXPECT_EQ(shell.lines.last(), "Already bringing them over…");
    ASSERT_TRUE(waitUntil([&] { return !features.importing(); }));
    EXPECT_EQ(shell.lines.last(), "Brought over 1 pearl: 1 new.");
    EXPECT_TRUE(shell.lines.contains("Bringing over 1 of 1…"));
    ASSERT_EQ(backend.requests("import-notes").size(), 1);
    EXPECT_EQ(shell.choices.size(), 1);

    // With a command to read the notes from, the user is asked first, and may say no.
    prefs.setValue("notes.command", "cat " + file);
    features.importNotes();
    ASSERT_EQ(shell.prompts.size(), 1u);
    EXPECT_EQ(shell.prompts.back().title, "Bring Apple Notes into Pelix?");
    EXPECT_EQ(shell.prompts.back().text, core::sentences::kImportNotesTip);
    shell.answerPrompt(PromptAnswer::reject);
    EXPECT_FALSE(features.importing());
    features.importNotes();
    shell.answerPrompt(PromptAnswer::accept);
    EXPECT_TRUE(features.importing());
    ASSERT_TRUE(waitUntil([&] { return !features.importing(); }));
    EXPECT_EQ(backend.requests("import-notes").size(), 2);
}

TEST_F(FeaturesTest, SoundFilesDroppedOnTheBadgeAreSentWithTheirMessagesInTheStatusLine) {
    QTemporaryDir dropped;
    const QString a = writeFile(dropped.path(), "a.mp3"), b = writeFile(dropped.path(), "b.WAV");
    const QString notes = writeFile(dropped.path(), "notes.txt");
    features.sendDropped({notes});
    EXPECT_TRUE(shell.lines.isEmpty());

    features.sendDropped({a, notes, b});
    ASSERT_TRUE(waitUntil([&] { return shell.lines.contains("Complete: both are in Pelix"); }));
    EXPECT_TRUE(shell.lines.contains("Sending 2 of 2…"));
    EXPECT_EQ(filed(), (QStringList{"a.mp3", "b.WAV"}));
    EXPECT_EQ(shell.sounds, std::vector<ui::Sound>{ui::Sound::done});
}

}  // namespace
}  // namespace pelix::app
