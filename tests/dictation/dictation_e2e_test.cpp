// Live dictation end to end: a real `pelix` in the test session, Ctrl held through XTest while
// flite speech plays into the PulseAudio virtual microphone, typing into a Qt window.
// Qt's headers before Xlib's macros.
#include "core/Prefs.h"
#include "fakes/FakeTranscriptionServer.h"

#include "TargetWindow.h"
#include "app/DesktopSession.h"
#include "service/TokenStore.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <memory>
#include <vector>

namespace pelix {
namespace {

using testing::pause;

const QString kSentence = "The weather is nice today and we will go for a walk in the park.";
// What a better recogniser makes of it.
const QString kCorrected = "The weather is nice today, and we'll go for a walk in the park.";

// Word error rate of what was heard against the sentence spoken.
double wordErrorRate(const QString& reference, const QString& heard) {
    return testing::wordErrorRate(testing::spokenWords(reference), testing::spokenWords(heard));
}

class DictationEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("PELIX_BIN"))
            << "PELIX_BIN is not set: run by ctest.";
        ASSERT_TRUE(keys.ok()) << "XTest can't open the display.";
        ASSERT_EQ(QProcess::execute("flite", {"-voice", "slt", "-t", kSentence, "-o", speech()}), 0)
            << "flite could not make speech";
        // The home folders come from IsolatedHome; the backend is never reached.
        env.insert("PELIX_API_BASE", "http://127.0.0.1:9");
        TokenStore(home.dataDir()).write("pelix_test");
        ASSERT_TRUE(target.ready()) << "The target window never got the focus.";
    }

    QString speech() const { return home.path() + "/speech.wav"; }
    // Starts the speech into the virtual microphone (it plays in real time), a moment after the
    // microphone opened, as a person starts talking once the hold has taken.
    void speak() {
        pause(300);
        QProcess::startDetached("paplay", {"-d", "vsink", speech()});
    }

    // Starts `pelix` and gives the focus back to the target window.
    void launch() {
        pelix = std::make_unique<testing::PelixProcess>(env);
        ASSERT_TRUE(pelix->saw("tray: ready")) << pelix->err().constData();
        ASSERT_TRUE(target.focus());
    }
    // Holds Ctrl down until live dictation has taken the target window.
    void holdCtrl() {
        keys.key(XK_Control_L, true);
        ASSERT_TRUE(pelix->saw("dictation: typing into typing-target", 3000))
            << pelix->err().constData();
    }

    testing::IsolatedHome home;
    std::unique_ptr<testing::PelixProcess> pelix;
    testing::Keyboard keys;
    QProcessEnvironment env;
    testing::TargetWindow target{PELIX_TYPING_TARGET};
};

TEST_F(DictationEndToEnd, HoldingCtrlTypesTheSentenceWhileItIsSpoken) {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_NO_FATAL_FAILURE(holdCtrl());
    speak();
    // Text stands in the window before the hold ends.
    EXPECT_TRUE(testing::waitUntil([&] { return !target.text().isEmpty(); }, 8000))
        << pelix->err().constData();
    pause(5500);
    const QString whileHeld = target.text();
    keys.key(XK_Control_L, false);
    ASSERT_TRUE(pelix->saw("dictation: done", 4000)) << pelix->err().constData();
    pause(300);

    const QString typed = target.text();
    EXPECT_FALSE(whileHeld.isEmpty());
    EXPECT_TRUE(typed.endsWith(' ') && !typed.endsWith("  ")) << typed.toStdString();
    EXPECT_LE(wordErrorRate(kSentence, typed), 0.2) << typed.toStdString();
    // The window saw the text grow (and be corrected) rather than arrive at the end.
    EXPECT_GE(target.history().size(), 3u);

    // Ctrl let go ended the session: more speech types nothing.
    speak();
    pause(2000);
    EXPECT_EQ(target.text(), typed);
    EXPECT_FALSE(pelix->err().contains("hud: Couldn't")) << pelix->err().constData();
}

TEST_F(DictationEndToEnd, EscapeDuringDictationLeavesTheWindowEmpty) {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_NO_FATAL_FAILURE(holdCtrl());
    speak();
    ASSERT_TRUE(testing::waitUntil([&] { return target.text().size() > 10; }, 8000))
        << pelix->err().constData();
    // Escape once the typing has paused (the speech is over, Ctrl still held): key presses
    // made while Pelix types are taken for its own.
    ASSERT_TRUE(testing::waitUntil(
        [&] {
            const auto& seen = target.history();
            return !seen.empty() && target.elapsed() - seen.back().ms > 1500;
        },
        15000));
    keys.tap(XK_Escape);
    EXPECT_TRUE(pelix->saw("hud: Dropped that one.")) << pelix->err().constData();
    keys.key(XK_Control_L, false);
    pause(3000);
    EXPECT_EQ(target.text(), "");
}

TEST_F(DictationEndToEnd, AltTapWithCtrlRecordsAndTypesOnStop) {
    ASSERT_NO_FATAL_FAILURE(launch());
    keys.key(XK_Control_L, true);
    keys.tap(XK_Alt_L);
    keys.key(XK_Control_L, false);
    ASSERT_TRUE(pelix->saw("dictation: typing into typing-target", 3000))
        << pelix->err().constData();
    speak();
    pause(5500);
    keys.tap(XK_Alt_L);
    ASSERT_TRUE(pelix->saw("dictation: done", 4000)) << pelix->err().constData();
    pause(300);
    EXPECT_LE(wordErrorRate(kSentence, target.text()), 0.2) << target.text().toStdString();
    EXPECT_TRUE(target.text().endsWith(' '));
}

// Dictation with a transcription server: the key is held and let go as above, and the server
// answers the whole hold `delayMs` after the release.
class DictationWithServer : public DictationEndToEnd {
protected:
    QString dictate(int delayMs) {
        server.answer(kCorrected, fakes::Shape::segmentTokens, delayMs);
        Prefs(home.configDir() + "/Pelix.conf").setValue("speech.server", server.base());
        launch();
        holdCtrl();
        speak();
        EXPECT_TRUE(testing::waitUntil([&] { return !target.text().isEmpty(); }, 8000))
            << pelix->err().constData();
        pause(5500);
        keys.key(XK_Control_L, false);
        EXPECT_TRUE(pelix->saw("dictation: done", 4000)) << pelix->err().constData();
        pause(300);
        const QList<fakes::TranscriptionCall> calls = server.calls();
        EXPECT_EQ(calls.size(), 1);
        if (!calls.isEmpty()) {
            EXPECT_TRUE(calls[0].problems.isEmpty()) << calls[0].problems.join("; ").toStdString();
            EXPECT_GT(calls[0].seconds(), 3.0);  // the whole hold went
            EXPECT_EQ(calls[0].field("language"), "en");
        }
        return target.text();
    }

    fakes::FakeTranscriptionServer server;
};

TEST_F(DictationWithServer, TheServersSentenceStandsWhenItAnswersInTime) {
    const QString typed = dictate(300);
    EXPECT_EQ(typed, kCorrected + " ");
    EXPECT_FALSE(pelix->err().contains("hud: Couldn")) << pelix->err().constData();
}

TEST_F(DictationWithServer, TheLocalTextStandsWhenTheServerIsTooSlow) {
    const QString typed = dictate(3000);
    EXPECT_NE(typed, kCorrected + " ");
    EXPECT_TRUE(typed.endsWith(' ') && !typed.endsWith("  ")) << typed.toStdString();
    EXPECT_LE(wordErrorRate(kSentence, typed), 0.2) << typed.toStdString();
    // One late answer is not worth a word.
    EXPECT_FALSE(pelix->err().contains("hud: Couldn")) << pelix->err().constData();
}

}  // namespace
}  // namespace pelix
