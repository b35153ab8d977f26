#include "media/AudioDecoder.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "speech/SpeechEngines.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <cstdlib>

namespace pelix::speech {
namespace {

// A session fed with flite speech in blocks, as the microphone hands it over.
class LiveSession : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        sentences_ = {{"The quick brown fox jumps over the lazy dog.", 0.8},
                      {"Please bring the report and a cup of coffee.", 1.5}};
        const testing::TestMedia media(folder_->path());
        auto pcm = media::decodeAll(media.speech("live.wav", sentences_), kSpeechSampleRate);
        if (!pcm) throw std::runtime_error(pcm.error().message.toStdString());
        samples_ = *pcm;
    }
    static void TearDownTestSuite() { delete folder_; }

    // Feeds the first `count` samples in blocks of `block`, calling `fed` after each.
    static Status feedAll(SpeechSession& session, size_t block,
                          const std::function<void(size_t)>& fed = {}, size_t count = SIZE_MAX) {
        const std::span<const int16_t> samples =
            std::span(samples_).first(std::min(count, samples_.size()));
        for (size_t at = 0; at < samples.size(); at += block) {
            if (Status s = session.feed(samples.subspan(at, std::min(block, samples.size() - at)));
                !s) {
                return s;
            }
            if (fed) fed(at + block);
        }
        return {};
    }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline std::vector<testing::Sentence> sentences_;
    static inline std::vector<int16_t> samples_;
    PocketSphinxEngine engine_{PocketSphinxEngine::systemModelFolder(), QString()};
};

// Dictation's configuration: a partial text while the first sentence is still being spoken, the
// text as heard live once the sound ends, then the accurate passes' text of the whole stream.
TEST_F(LiveSession, LiveSessionsReportEarlyAndFinishWithTheAccuratePasses) {
    struct Partial {
        QString text;
        double at;  // seconds of sound fed when it came
    };
    std::vector<Partial> partials;
    QStringList heard;
    double fedSeconds = 0;
    SessionEvents events;
    events.partial = [&](const QString& t) { partials.push_back({t, fedSeconds}); };
    events.heard = [&](const QString& t) { heard << t; };
    auto session = engine_.start("en-US", {.partials = true, .live = true}, events);
    ASSERT_TRUE(session) << session.error().message.toStdString();
    ASSERT_TRUE(
        feedAll(**session, 160, [&](size_t fed) { fedSeconds = double(fed) / kSpeechSampleRate; }));
    const Result<QString> text = (*session)->finish();
    ASSERT_TRUE(text) << text.error().message.toStdString();

    ASSERT_FALSE(partials.empty());
    EXPECT_LT(partials.front().at, sentences_[1].placedAt)
        << "the first words are reported while the first sentence is spoken";
    // Counted in sound, not on the clock: the voice detector's 50 ms, then the search keeping up
    // with what it was given rather than running behind it.
    const auto loud = std::ranges::find_if(samples_, [](int16_t s) { return std::abs(s) >= 600; });
    const double onset = double(loud - samples_.begin()) / kSpeechSampleRate;
    EXPECT_LT(partials.front().at - onset, 0.1)
        << "the first partial text comes within a tenth of a second of the first word";
    ASSERT_EQ(heard.size(), 1);
    EXPECT_EQ(heard[0], partials.back().text) << "the live text is the last partial one";
    const QStringList spoken = testing::spokenWords(sentences_[0].text + " " + sentences_[1].text);
    EXPECT_LE(testing::wordErrorRate(spoken, testing::spokenWords(*text)), 0.25)
        << text->toStdString();
    EXPECT_LE(testing::wordErrorRate(spoken, testing::spokenWords(heard[0])), 0.4)
        << heard[0].toStdString();
}

}  // namespace
}  // namespace pelix::speech
