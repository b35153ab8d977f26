// Live dictation end to end: a real `pelix`, Ctrl held through XTest while flite speech plays
// into the virtual microphone, typing into a Qt window.
#include "core/Prefs.h"
#include "fakes/FakeTranscriptionServer.h"
#include "media/TestMedia.h"
#include "service/TokenStore.h"
#include "support/DesktopSession.h"

namespace pelix::dictation {
namespace {

using testing::pause;

const QString kSentence = "The weather is nice today and we will go for a walk in the park.";
const QString kCorrected = "The weather is nice today, and we'll go for a walk in the park.";

class DictationEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_TRUE(keys.ok()) << "XTest can't open the display.";
        speech = testing::TestMedia(home.path()).said("speech.wav", kSentence);
        env.insert("PELIX_API_BASE", "http://127.0.0.1:9");
        service::TokenStore(home.dataDir()).write("pelix_test");
        ASSERT_TRUE(target.ready()) << "The target window never got the focus.";
    }

    // Plays the speech in real time, a moment after the microphone opened.
    void speak() {
        pause(300);
        testing::playIntoMicrophone(speech);
    }
    void launchAndHoldCtrl() {
        pelix = std::make_unique<testing::PelixProcess>(env);
        ASSERT_TRUE(pelix->saw("tray: ready")) << pelix->err().constData();
        ASSERT_TRUE(target.focus());
        keys.key(XK_Control_L, true);
        ASSERT_TRUE(pelix->saw("dictation: typing into typing-target", 3000))
            << pelix->err().constData();
    }
    // Holds Ctrl over the speech until the typing has caught up with the sentence, as a person
    // watching the text does (a busy machine decodes more slowly than it hears); keys pressed
    // while Pelix types would be taken for its own.
    void holdCtrlOverTheSpeech() {
        ASSERT_NO_FATAL_FAILURE(launchAndHoldCtrl());
        speak();
        ASSERT_TRUE(testing::waitUntil([&] { return !target.text().isEmpty(); }, 8000))
            << pelix->err().constData();
        const qint64 spoken = target.elapsed() + 5500;
        ASSERT_TRUE(testing::waitUntil(
            [&] {
                return target.elapsed() >= spoken &&
                       target.elapsed() - target.history().back().ms > 1000;
            },
            20000));
    }
    QString dictate() {
        holdCtrlOverTheSpeech();
        keys.key(XK_Control_L, false);
        EXPECT_TRUE(pelix->saw("dictation: done", 4000)) << pelix->err().constData();
        pause(300);
        return target.text();
    }

    testing::IsolatedHome home;
    std::unique_ptr<testing::PelixProcess> pelix;
    testing::Keyboard keys;
    QString speech;
    QProcessEnvironment env;
    testing::TargetWindow target{PELIX_TYPING_TARGET};
};

// Nothing is typed, and with a server set nothing is sent to it.
TEST_F(DictationEndToEnd, EscapeDuringDictationLeavesTheWindowEmpty) {
    fakes::FakeTranscriptionServer server;
    core::Prefs(home.configDir() + "/Pelix.conf").setValue("speech.server", server.base());
    ASSERT_NO_FATAL_FAILURE(holdCtrlOverTheSpeech());
    keys.tap(XK_Escape);
    EXPECT_TRUE(pelix->saw("hud: Dropped that one.")) << pelix->err().constData();
    keys.key(XK_Control_L, false);
    pause(3000);
    EXPECT_EQ(target.text(), "");
    EXPECT_TRUE(server.calls().isEmpty());
}

// Holding Ctrl types the sentence while it is spoken. A server answers the whole hold
// `delayMs` after the release: in time its sentence stands; too late, or without a server, the
// local text does, written as sentences unless the preference says otherwise, and one late
// answer is not worth a word. Either way the window ends with the final text and one space.
TEST_F(DictationEndToEnd, TheServersSentenceStandsOnlyWhenItAnswersInTime) {
    const std::pair<std::optional<int>, bool> cases[] = {
        {300, true}, {3000, true}, {std::nullopt, false}};
    for (const auto& [delayMs, sentences] : cases) {
        SCOPED_TRACE(
            QString("%1 ms, sentences %2").arg(delayMs.value_or(-1)).arg(sentences).toStdString());
        fakes::FakeTranscriptionServer server;
        server.answer(kCorrected, fakes::Shape::segmentTokens, delayMs.value_or(0));
        core::Prefs prefs(home.configDir() + "/Pelix.conf");
        delayMs ? prefs.setValue("speech.server", server.base()) : prefs.remove("speech.server");
        prefs.setSentenceText(sentences);
        target.clear();
        const QString typed = dictate();
        ASSERT_FALSE(HasFatalFailure());
        const QList<fakes::TranscriptionCall> calls = server.calls();
        ASSERT_EQ(calls.size(), delayMs ? 1 : 0);
        if (delayMs) {
            EXPECT_TRUE(calls[0].problems.isEmpty()) << calls[0].problems.join("; ").toStdString();
            EXPECT_GT(calls[0].seconds(), 3.0);  // the whole hold went
            EXPECT_EQ(calls[0].field("language"), "en");
        }
        EXPECT_GE(target.history().size(), 3u);
        if (delayMs && *delayMs < 1000) {
            EXPECT_EQ(typed, kCorrected + " ");
            // Ctrl let go ended the session: more speech types nothing.
            speak();
            pause(2000);
            EXPECT_EQ(target.text(), typed);
        } else {
            ASSERT_FALSE(typed.isEmpty()) << pelix->err().constData();
            EXPECT_EQ(typed[0].isUpper(), sentences) << typed.toStdString();
            EXPECT_EQ(typed.endsWith(". "), sentences) << typed.toStdString();
            EXPECT_TRUE(typed.endsWith(' ') && !typed.endsWith("  ")) << typed.toStdString();
            EXPECT_LE(testing::wordErrorRate(testing::spokenWords(kSentence),
                                             testing::spokenWords(typed)),
                      0.2)
                << typed.toStdString();
        }
        EXPECT_FALSE(pelix->err().contains("hud: Couldn")) << pelix->err().constData();
        pelix.reset();
    }
}

}  // namespace
}  // namespace pelix::dictation
