// Live dictation's rules over fake recognition, microphone and keyboard.
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"
#include "text/CleanUp.h"

namespace pelix::dictation {
namespace {

class LiveDictationTest : public ::testing::Test {
protected:
    fakes::FakeRecognizer recognizer;
    fakes::FakeMicrophone microphone;
    fakes::FakeTypist typist;
    fakes::ManualClock clock;
    fakes::ManualTimers time{clock};
    LiveDictation live{recognizer, microphone, typist, time};
    QStringList finals;

    void startTyping() { ASSERT_TRUE(live.start(true)); }
    void stop() {
        live.stop([this](const QString& text) { finals << text; });
    }
    // Starts again with an empty key log and nothing handed over, for the next case.
    void restart() {
        typist.log.clear();
        finals.clear();
        startTyping();
    }
};

TEST_F(LiveDictationTest, ABurstOfPartialsTypesOnceAfterTheLast) {
    startTyping();
    recognizer.partial("I");
    time.advance(0.1);
    recognizer.partial("I went");
    time.advance(0.1);
    recognizer.partial("I went to the");
    EXPECT_TRUE(typist.log.isEmpty());
    time.advance(0.15);
    EXPECT_EQ(typist.log, QStringList({"type I went to the", "pause 6000"}));

    // A revision erases back to where the texts part and types the rest, after a pause.
    recognizer.partial("I want to the store");
    time.advance(0.15);
    EXPECT_EQ(typist.log.mid(2),
              QStringList({"backspace 10", "pause 15000", "type ant to the store", "pause 6000"}));
    EXPECT_EQ(typist.screen(), "I want to the store");
    EXPECT_EQ(live.typed(), "I want to the store");
}

// The wait restarts only for a text that reads differently: the same words again, or words the
// clean-up turns into the same text, leave the typing where it was due.
TEST_F(LiveDictationTest, APartialThatReadsTheSameDoesNotRestartTheWait) {
    struct Case {
        const char* what;
        QString again;
        QString typedAtFirstDue;  // just after the first partial's 0.15 s
    };
    const Case cases[] = {
        {"the same words", "I went", "I went"},
        {"the same after the clean-up", "actually I went", "I went"},
        {"another text", "I want", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        restart();
        recognizer.partial("I went");
        time.advance(0.1);
        recognizer.partial(c.again);
        time.advance(0.06);
        EXPECT_EQ(typist.screen(), c.typedAtFirstDue);
        time.advance(0.1);
        EXPECT_EQ(typist.screen(), text::withoutActually(c.again));
    }
}

// The most characters erased at once in `log`.
int mostErased(const QStringList& log) {
    int most = 0;
    for (const QString& line : log) {
        if (line.startsWith("backspace")) {
            most = std::max(most, line == "backspace" ? 1 : line.mid(10).toInt());
        }
    }
    return most;
}

// From the last partial text to the end: the live text stands at once when the sound has ended,
// written as sentences when asked, and the final text changes only what differs, never the whole
// dictation for a capital.
TEST_F(LiveDictationTest, TheLiveTextStandsAtOnceAndTheFinalOneChangesOnlyWhatDiffers) {
    struct Case {
        bool sentences;
        QString partial, standing, final;
        QString afterStanding;  // the window before any time passes
        QString screen;         // and at the end
        int mostErased;
    } cases[] = {
        // It hears more: the full stop goes, the rest is typed after it.
        {true, "hello there", "hello there", "hello there friend", "Hello there.",
         "Hello there friend. ", 1},
        // A server's punctuated text in another case: the first letter stays as typed.
        {true, "so i went", "so i went", "so, I went home.", "So I went.", "So, I went home. ", 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.final.toStdString());
        live.sentences = c.sentences;
        restart();
        recognizer.partial(c.partial);
        time.advance(0.2);
        stop();
        recognizer.partial(c.standing);  // a late partial still waits for the debounce
        recognizer.standing(c.standing);
        EXPECT_EQ(typist.screen(), c.afterStanding);
        recognizer.final(c.final);
        time.advance(3);
        EXPECT_EQ(typist.screen(), c.screen);
        EXPECT_EQ(mostErased(typist.log), c.mostErased) << typist.log.join(" | ").toStdString();
    }
}

// A stop ends the audio and completes once: with the final text, or with the last partial one
// when no final text comes within the bound.
TEST_F(LiveDictationTest, StopEndsTheAudioAndCompletesOnce) {
    startTyping();
    recognizer.partial("one two");
    stop();
    stop();  // ignored while the first waits
    EXPECT_EQ(recognizer.ended, 1);
    EXPECT_FALSE(microphone.running);
    EXPECT_EQ(recognizer.audio, "tail");  // what the microphone still held went in first
    recognizer.final("one two three");
    time.advance(3);  // the bound finds the session ended
    recognizer.final("late");
    EXPECT_EQ(finals, QStringList{"one two three"});
    EXPECT_EQ(typist.screen(), "one two three ");

    restart();
    const int cancelled = recognizer.cancelled;
    recognizer.partial("almost there");
    stop();
    time.advance(2.4);
    EXPECT_TRUE(finals.isEmpty());
    time.advance(0.2);
    EXPECT_EQ(finals, QStringList{"almost there"});
    EXPECT_EQ(typist.screen(), "almost there ");
    EXPECT_EQ(recognizer.cancelled, cancelled + 1);
}

}  // namespace
}  // namespace pelix::dictation
