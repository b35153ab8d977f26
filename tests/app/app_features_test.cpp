#include "app/AppFeatures.h"

#include "app/Menu.h"
#include "core/Prefs.h"
#include "core/Sentences.h"
#include "fakes/AppFakes.h"
#include "fakes/LoopbackBackend.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoWatcher.h"
#include "speech/SpeechEngines.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <gtest/gtest.h>

namespace pelix {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::waitUntil;

class WallClock final : public Clock {
public:
    double uptime() const override { return 0; }
    // Far enough ahead that every file written by the test has settled.
    QDateTime now() const override { return QDateTime::currentDateTimeUtc().addSecs(600); }
};

class HandTicker final : public Ticker {
public:
    void start(double, std::function<void()> tick) override { tick_ = std::move(tick); }
    void stop() override { tick_ = nullptr; }
    bool running() const { return bool(tick_); }
    void tick() {
        if (tick_) tick_();
    }

private:
    std::function<void()> tick_;
};

MemoTools quickTools() {
    return MemoTools{
        [](const QString&) -> Result<double> { return 20.0; },
        // A piece "cut" to a small file of its own, as the sender removes it after sending.
        [](const QString&, double, double) -> Result<QString> {
            QTemporaryFile piece(QDir::temp().filePath("pelix-test-piece-XXXXXX.m4a"));
            piece.setAutoRemove(false);
            if (!piece.open()) return fail(1, "no room for a piece");
            piece.write("piece");
            return piece.fileName();
        },
        [](const QString&) -> std::optional<QDateTime> { return std::nullopt; },
        [](const QString&, const QString&, const QStringList&) -> Result<QString> {
            return fail(1, "not here");
        },
    };
}

class FeaturesTest : public ::testing::Test {
protected:
    void SetUp() override {
        tokens.write("pelix_features_token");
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
        for (const Recorded& r : backend.requests("braindump")) {
            if (!r.json.value("transcribe_only").toBool()) {
                names << r.json.value("filename").toString();
            }
        }
        return names;
    }
    QString write(const QString& name) {
        const QString path = QDir(folder.path()).filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("audio");
        return path;
    }
    bool settled() {
        return waitUntil([&] { return !watcher.busy(); });
    }

    testing::IsolatedHome home;
    fakes::LoopbackBackend backend;
    QTemporaryDir folder;
    WallClock clock;
    HandTicker ticker;
    fakes::ManualClock manual;
    fakes::ManualTimers timers{manual};
    fakes::FakeShell shell;
    QNetworkAccessManager network;
    TokenStore tokens{home.dataDir()};
    Prefs prefs{home.configDir() + "/Pelix.conf"};
    Api api{backend.base(), tokens, &network, &clock};
    MemoSender sender{api, prefs, clock, quickTools()};
    VoiceMemoWatcher watcher{sender, prefs, clock, ticker};
    SpeechEngines engines;
    AppFeatures features{
        FeatureParts{prefs, api, clock, timers, shell, sender, watcher, engines, nullptr}};
};

TEST_F(FeaturesTest, TheSwitchStartsAndStopsTheWatcher) {
    write("first.m4a");
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
    write("second.m4a");
    watcher.look();
    ASSERT_TRUE(settled());
    EXPECT_EQ(filed(), QStringList{"first.m4a"});

    // A start-up that finds the switch on starts watching: the waiting memo goes at once.
    prefs.setValue("voiceMemos.on", true);
    AppFeatures later{
        FeatureParts{prefs, api, clock, timers, shell, sender, watcher, engines, nullptr}};
    later.start();
    EXPECT_TRUE(ticker.running());
    ASSERT_TRUE(waitUntil([&] { return filed().size() == 2; }));
    EXPECT_EQ(filed().last(), "second.m4a");
    ASSERT_TRUE(settled());
}

TEST_F(FeaturesTest, TheMenuOffersTheSwitchOrWhatToDoAboutAClosedFolder) {
    auto memoItems = [](const DesktopFacts& facts) {
        QList<MenuItem> out;
        for (const MenuItem& item : menuItems(facts)) {
            if (item.action == MenuAction::toggleVoiceMemos ||
                item.action == MenuAction::allowRecordings ||
                item.action == MenuAction::chooseMemos)
                out << item;
        }
        return out;
    };
    DesktopFacts facts;
    facts.voiceMemosOn = true;
    facts.recordingsReadable = features.recordingsReadable();
    QList<MenuItem> items = memoItems(facts);
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items.at(0).text, "Send new voice memos to Pelix");
    EXPECT_TRUE(items.at(0).checked);
    EXPECT_EQ(items.at(0).toolTip, core::sentences::kVoiceMemosTip);
    EXPECT_EQ(items.at(1).text, "Send voice memos…");

    prefs.setValue("voiceMemos.folder", folder.path() + "/gone");
    facts.recordingsReadable = features.recordingsReadable();
    items = memoItems(facts);
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
    const QString file = QDir(exported.path()).filePath("notes.json");
    QFile json(file);
    ASSERT_TRUE(json.open(QIODevice::WriteOnly));
    json.write(R"([{"id":"n1","name":"Milk","body":"<p>Buy milk</p>","folder":"Notes",
                    "created":null,"modified":null}])");
    json.close();
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
    const QString a = QDir(dropped.path()).filePath("a.mp3");
    const QString b = QDir(dropped.path()).filePath("b.WAV");
    for (const QString& path : {a, b}) QFile(path).open(QIODevice::WriteOnly);
    features.sendDropped({QDir(dropped.path()).filePath("notes.txt")});
    EXPECT_TRUE(shell.lines.isEmpty());

    features.sendDropped({a, QDir(dropped.path()).filePath("notes.txt"), b});
    ASSERT_TRUE(waitUntil([&] { return shell.lines.contains("Complete: all 2 are in Pelix"); }));
    EXPECT_TRUE(shell.lines.contains("Sending 2 of 2…"));
    EXPECT_EQ(filed(), (QStringList{"a.mp3", "b.WAV"}));
    EXPECT_EQ(shell.sounds, std::vector<ui::Sound>{ui::Sound::done});
}

TEST(TranscribableFilter, NamesVideoAndSoundFiles) {
    const QString filter = AppFeatures::transcribableFilter();
    for (const char* pattern : {"*.mp4", "*.mov", "*.mkv", "*.m4a", "*.mp3", "*.wav"}) {
        EXPECT_TRUE(filter.contains(QString(" ") + pattern) ||
                    filter.contains(QString("(") + pattern))
            << pattern;
    }
    EXPECT_FALSE(filter.contains("*.txt"));
}

}  // namespace
}  // namespace pelix
