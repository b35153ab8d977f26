// The engine recogniser between a speech engine and live dictation: the sessions it asks for,
// and the live text standing at once before the accurate text corrects it.
#include "dictation/EngineRecognizer.h"
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"

#include <atomic>

namespace pelix::dictation {
namespace {

// An engine whose sessions hear "hello world" in any sound, and whose accurate passes make it
// "hello, world".
class ScriptedEngine final : public speech::SpeechEngine {
public:
    std::atomic<int> prepared = 0, liveStarts = 0, otherStarts = 0;

    QString name() const override { return "scripted"; }
    QStringList supportedLocales() const override { return {"en-US"}; }
    std::optional<QString> supportedLocale(const QString&) const override { return "en-US"; }
    bool installed(const QString&) const override { return true; }
    QString installHint(const QString&) const override { return {}; }
    void prepare(const QString&, const speech::SessionOptions& options) override {
        if (options.live && options.partials) ++prepared;
    }
    Result<std::unique_ptr<speech::SpeechSession>> start(const QString&,
                                                         const speech::SessionOptions& options,
                                                         speech::SessionEvents events) override {
        ++(options.live && options.partials ? liveStarts : otherStarts);
        return std::unique_ptr<speech::SpeechSession>(new Session(std::move(events)));
    }

private:
    class Session final : public speech::SpeechSession {
    public:
        explicit Session(speech::SessionEvents events) : events_(std::move(events)) {}
        Status feed(std::span<const int16_t>) override {
            if (events_.partial) events_.partial("hello world");
            return {};
        }
        Result<QString> finish() override {
            if (events_.heard) events_.heard("hello world");
            return QString("hello, world");
        }
        void cancel() override {}

    private:
        speech::SessionEvents events_;
    };
};

TEST(EngineRecognizer, AsksForLiveSessionsAndTheLiveTextStandsBeforeTheAccurateOne) {
    ScriptedEngine engine;
    EngineRecognizer recognizer([&] {
        return std::optional<speech::SpeechEngines::Choice>({"en-US", &engine});
    });
    fakes::FakeMicrophone microphone;
    fakes::FakeTypist typist;
    fakes::ManualClock clock;
    fakes::ManualTimers time{clock};
    LiveDictation live{recognizer, microphone, typist, time};
    live.sentences = true;

    recognizer.prepare();
    ASSERT_TRUE(live.start(true));
    microphone.samples("abcd");
    ASSERT_TRUE(testing::waitUntil([&] { return live.latest() == "Hello world"; }, 5000));
    EXPECT_EQ(
        std::tuple(engine.prepared.load(), engine.liveStarts.load(), engine.otherStarts.load()),
        std::tuple(1, 1, 0));

    // No time passes on the dictation's clock, so neither the debounce nor the stop bound fires:
    // the live text is typed when the sound ends, then corrected to the accurate one.
    EXPECT_TRUE(typist.log.isEmpty());
    live.stop([](const QString&) {});
    ASSERT_TRUE(testing::waitUntil([&] { return live.ended(); }, 5000));
    EXPECT_EQ(typist.log.value(0), "type Hello world.");
    EXPECT_EQ(typist.screen(), "Hello, world. ");
}

}  // namespace
}  // namespace pelix::dictation
