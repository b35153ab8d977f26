// Live dictation with a finishing pass: the local recogniser types while the key is held, and
// the pass's text, when it comes within the stop bound, is what the window ends with.
#include "dictation/FinishingRecognizer.h"
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"

namespace pelix::dictation {
namespace {

class FinishingPass : public ::testing::Test {
protected:
    // The pass as the test drives it: what it was given, and its answer when the test says.
    struct Pass {
        QByteArray sound;
        FinishingRecognizer::Heard done;
        int abandoned = 0;
    };

    fakes::FakeRecognizer local;
    fakes::FakeMicrophone microphone;
    fakes::FakeTypist typist;
    fakes::ManualClock clock;
    fakes::ManualTimers time{clock};
    bool serverSet = true;
    QList<std::shared_ptr<Pass>> passes;
    FinishingRecognizer finishing{local, [this] { return serverSet; },
                                  [this](const QByteArray& pcm, FinishingRecognizer::Heard done) {
                                      auto pass = std::make_shared<Pass>(Pass{pcm, done, 0});
                                      passes << pass;
                                      return [pass] { ++pass->abandoned; };
                                  }};
    LiveDictation live{finishing, microphone, typist, time};
    QStringList finals, trouble;

    void SetUp() override {
        finishing.onTrouble = [this](const QString& sentence) { trouble << sentence; };
    }

    // Holds the key over some speech the local recogniser hears as "hello word", then lets go,
    // on an empty window.
    void dictate() {
        typist.log.clear();
        ASSERT_TRUE(live.start(true));
        microphone.samples("abcd");
        local.partial("hello word");
        time.advance(0.2);
        live.stop([this](const QString& text) { finals << text; });
    }
    void answer(Result<QString> text) { passes.last()->done(std::move(text)); }
    void fail() {
        answer(std::unexpected(
            Error{"pelix", 2101, "Couldn't reach the transcription server: Connection refused."}));
    }
    // The window, and the text last handed over.
    QString ended() const { return typist.screen() + "| " + finals.value(finals.size() - 1); }
};

TEST_F(FinishingPass, ThePassesTextIsWhatTheWindowEndsWith) {
    live.sentences = true;  // as the application types by default
    // The pass answers before the local recogniser ends.
    dictate();
    ASSERT_EQ(passes.size(), 1);
    EXPECT_EQ(passes[0]->sound, "abcdtail");  // everything the microphone gave
    answer(QString(" Hello, world. "));
    EXPECT_EQ(ended(), "Hello, world. | Hello, world.");
    EXPECT_EQ(local.cancelled, 1);

    // The local end comes first: its text is typed at once while the pass is out, then
    // corrected.
    dictate();
    local.final("hello world");
    EXPECT_EQ(typist.screen(), "Hello world.");
    EXPECT_EQ(finals.size(), 1);
    answer(QString("Hello, world!"));
    EXPECT_EQ(ended(), "Hello, world! | Hello, world!");
    EXPECT_TRUE(trouble.isEmpty());
}

TEST_F(FinishingPass, TheLocalTextStandsWhenThePassFailsOrIsLate) {
    // Fails after the local end: the local text is final at once.
    dictate();
    local.final("hello world");
    fail();
    EXPECT_EQ(ended(), "hello world | hello world");
    // Fails before the local end: the local end, when it comes, is final.
    dictate();
    fail();
    EXPECT_EQ(finals.size(), 1);
    local.final("hello there");
    EXPECT_EQ(ended(), "hello there | hello there");
    EXPECT_TRUE(trouble.isEmpty());  // two failures are kept quiet

    // No answer within the stop bound: the local text stands and the pass is abandoned; that is
    // the third failure in a row, which is said once.
    dictate();
    local.final("hello again");
    time.advance(LiveDictation::kStopBoundSeconds);
    EXPECT_EQ(ended(), "hello again | hello again");
    EXPECT_EQ(passes.last()->abandoned, 1);
    ASSERT_EQ(trouble.size(), 1);
    EXPECT_TRUE(trouble[0].startsWith("Couldn't")) << trouble[0].toStdString();
    dictate();
    fail();
    EXPECT_EQ(trouble.size(), 1);

    // A pass that works ends the run of failures; one that hears nothing leaves the local text.
    dictate();
    answer(QString("Fine."));
    for (int i = 0; i < 2; ++i) {
        dictate();
        fail();
    }
    dictate();
    answer(QString(""));
    local.final("hmm");
    EXPECT_EQ(finals.last(), "hmm");
    EXPECT_EQ(trouble.size(), 1);
}

}  // namespace
}  // namespace pelix::dictation
