// Live dictation with a finishing pass that fails or comes late: the local text stands.
#include "dictation/FinishingRecognizer.h"
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"

namespace pelix::dictation {
namespace {

class FinishingPass : public ::testing::Test {
protected:
    // The pass as the test drives it: its answer comes when the test says.
    struct Pass {
        FinishingRecognizer::Heard done;
        int abandoned = 0;
    };

    fakes::FakeRecognizer local;
    fakes::FakeMicrophone microphone;
    fakes::FakeTypist typist;
    fakes::ManualClock clock;
    fakes::ManualTimers time{clock};
    QList<std::shared_ptr<Pass>> passes;
    FinishingRecognizer finishing{local, [] { return true; },
                                  [this](const QByteArray&, FinishingRecognizer::Heard done) {
                                      auto pass = std::make_shared<Pass>(Pass{done, 0});
                                      passes << pass;
                                      return [pass] { ++pass->abandoned; };
                                  }};
    LiveDictation live{finishing, microphone, typist, time};
    QStringList finals, trouble;

    void SetUp() override {
        finishing.onTrouble = [this](const QString& sentence) { trouble << sentence; };
    }

    // Holds the key over speech the local recogniser hears as "hello word", then lets go.
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
}

}  // namespace
}  // namespace pelix::dictation
