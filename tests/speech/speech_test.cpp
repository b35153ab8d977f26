#include "fakes/FakeEngine.h"
#include "media/AudioDecoder.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "speech/SpeechEngines.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <cstdlib>

namespace pelix::speech {
namespace {

void touch(const QString& path) {
    testing::writeFile(QFileInfo(path).absolutePath(), QFileInfo(path).fileName());
}

class PocketSphinxLocales : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(user_.isValid());
        // A complete French model (the files only need to be there to count) and a German
        // folder that lacks its dictionary.
        touch(user_.filePath("fr_FR/acoustic/mdef"));
        touch(user_.filePath("fr_FR/fr.lm.bin"));
        touch(user_.filePath("fr_FR/fr.dict"));
        touch(user_.filePath("de-DE/acoustic/mdef"));
        touch(user_.filePath("de-DE/de.lm.bin"));
    }
    QTemporaryDir user_;
    PocketSphinxEngine engine_{PocketSphinxEngine::systemModelFolder(), user_.path()};
};

TEST_F(PocketSphinxLocales, SystemModelAndUserFolders) {
    EXPECT_EQ(engine_.supportedLocales(), (QStringList{"en-US", "de-DE", "fr-FR"}));
    const std::pair<QString, std::optional<QString>> cases[] = {
        {"en-US", "en-US"}, {"en_us", "en-US"}, {"EN", "en-US"},         {"en-GB", "en-US"},
        {"fr", "fr-FR"},    {"de-AT", "de-DE"}, {"es-ES", std::nullopt}, {"", std::nullopt},
    };
    for (const auto& [requested, expected] : cases) {
        EXPECT_EQ(engine_.supportedLocale(requested), expected) << requested.toStdString();
    }
    EXPECT_TRUE(engine_.installed("en-US")) << "scripts/setup installs pocketsphinx-en-us";
    EXPECT_TRUE(engine_.installed("fr-FR"));
    EXPECT_FALSE(engine_.installed("de-DE"));
    EXPECT_TRUE(engine_.installHint("de-DE").contains(user_.filePath("de-DE")));
}

TEST(PocketSphinxEngine, MissingModelNamesThePackage) {
    QTemporaryDir empty;
    PocketSphinxEngine engine(empty.path(), empty.path());
    EXPECT_FALSE(engine.installed("en-US"));
    const auto session = engine.start("en-US", {}, {});
    ASSERT_FALSE(session);
    EXPECT_EQ(session.error().code, kSpeechNoModel);
    EXPECT_EQ(session.error().message,
              "Transcribing needs a speech model: install pocketsphinx-en-us.");
}

TEST(SpeechEngines, FirstEngineWithTheLocaleServesIt) {
    SpeechEngines engines;
    engines.add(std::make_unique<testing::FakeEngine>("a", QStringList{"en-US"}));
    engines.add(std::make_unique<testing::FakeEngine>("b", QStringList{"en-US", "nl-NL"}));
    EXPECT_EQ(engines.resolve("en-US")->engine->name(), "a");
    EXPECT_EQ(engines.resolve("nl-NL")->engine->name(), "b");
    EXPECT_FALSE(engines.resolve("sv-SE"));
    EXPECT_EQ(engines.locales(), (QStringList{"en-US", "en-US", "nl-NL"}));
}

// A live session fed with flite speech in tenth-second blocks, as the microphone does.
class LiveSession : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        sentences_ = {{"The quick brown fox jumps over the lazy dog.", 0.8},
                      {"Please bring the report and a cup of coffee.", 1.5}};
        const testing::TestMedia media(folder_->path());
        const QString file = media.speech("live.wav", sentences_);
        auto pcm = media::decodeAll(file, kSpeechSampleRate);
        if (!pcm) throw std::runtime_error(pcm.error().message.toStdString());
        samples_ = *pcm;
    }
    static void TearDownTestSuite() { delete folder_; }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline std::vector<testing::Sentence> sentences_;
    static inline std::vector<int16_t> samples_;
    PocketSphinxEngine engine_{PocketSphinxEngine::systemModelFolder(), QString()};
};

TEST_F(LiveSession, PartialsGrowInOrderAndFinalsCarryAbsoluteTimes) {
    QStringList partials;
    QList<SpeechResult> finals;
    SessionOptions options;
    options.partials = true;
    // One word the dictionary knows, one it cannot: the session starts all the same.
    options.words = {"coffee", "Xzqvrk"};
    auto session = engine_.start(
        "en-US", options,
        {[&](const QString& t) { partials << t; }, [&](const SpeechResult& r) { finals << r; }});
    ASSERT_TRUE(session) << session.error().message.toStdString();
    for (size_t at = 0; at < samples_.size(); at += 1600) {
        ASSERT_TRUE((*session)->feed(
            std::span(samples_).subspan(at, std::min<size_t>(1600, samples_.size() - at))));
    }
    const Result<QString> text = (*session)->finish();
    ASSERT_TRUE(text);

    ASSERT_EQ(finals.size(), 2);
    EXPECT_TRUE(finals[0].text.startsWith("the quick brown fox")) << finals[0].text.toStdString();
    EXPECT_TRUE(finals[1].text.contains("coffee")) << finals[1].text.toStdString();
    EXPECT_EQ(*text, finals[0].text + " " + finals[1].text);
    for (size_t i = 0; i < sentences_.size(); ++i) {
        EXPECT_NEAR(finals[i].start, sentences_[i].placedAt, 0.3) << i;
    }
    ASSERT_GE(partials.size(), 3);
    for (qsizetype i = 1; i < partials.size(); ++i) EXPECT_NE(partials[i], partials[i - 1]);
    EXPECT_EQ(partials.last(), *text);
}

TEST_F(LiveSession, CancelStopsEverything) {
    int finals = 0, partialsAfter = 0;
    std::unique_ptr<SpeechSession> session;
    SessionOptions options;
    options.partials = true;
    auto started = engine_.start("en-US", options,
                                 {[&](const QString&) { partialsAfter += finals; },
                                  [&](const SpeechResult&) {
                                      ++finals;
                                      session->cancel();
                                  }});
    ASSERT_TRUE(started);
    session = std::move(*started);
    Status fed;
    for (size_t at = 0; at < samples_.size() && fed; at += 1600) {
        fed = session->feed(
            std::span(samples_).subspan(at, std::min<size_t>(1600, samples_.size() - at)));
    }
    ASSERT_FALSE(fed);
    EXPECT_EQ(fed.error().code, kSpeechCancelled);
    EXPECT_EQ(finals, 1) << "nothing is reported after the cancel";
    EXPECT_EQ(partialsAfter, 0);
    const Result<QString> text = session->finish();
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error().code, kSpeechCancelled);
}

// Feeds the whole recording in blocks of `block` samples.
Status feedAll(SpeechSession& session, std::span<const int16_t> samples, size_t block,
               const std::function<void(size_t)>& fed = {}) {
    for (size_t at = 0; at < samples.size(); at += block) {
        if (Status s = session.feed(samples.subspan(at, std::min(block, samples.size() - at)));
            !s) {
            return s;
        }
        if (fed) fed(at + block);
    }
    return {};
}

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
    SessionOptions options;
    options.partials = true;
    options.live = true;
    SessionEvents events;
    events.partial = [&](const QString& t) { partials.push_back({t, fedSeconds}); };
    events.heard = [&](const QString& t) { heard << t; };
    auto session = engine_.start("en-US", options, events);
    ASSERT_TRUE(session) << session.error().message.toStdString();
    // Ten-millisecond blocks, as the microphone hands them over.
    ASSERT_TRUE(feedAll(**session, samples_, 160,
                        [&](size_t fed) { fedSeconds = double(fed) / kSpeechSampleRate; }));
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

// The live decoder is kept between sessions: the next session hears as the first did, with the
// same word times, whatever the sessions before it heard or left unfinished.
TEST_F(LiveSession, AKeptDecoderHearsTheNextStreamFromItsStart) {
    SessionOptions options;
    options.live = true;
    const auto hear = [&](bool finishIt) {
        QList<core::Word> words;
        auto session = engine_.start("en-US", options,
                                     {nullptr, [&](const SpeechResult& r) { words << r.words; }});
        EXPECT_TRUE(session);
        if (!session) return words;
        const size_t half = samples_.size() / 2;
        EXPECT_TRUE(
            feedAll(**session, std::span(samples_).first(finishIt ? samples_.size() : half), 320));
        if (finishIt) {
            EXPECT_TRUE((*session)->finish());
        }
        return words;
    };
    const QList<core::Word> first = hear(true);
    hear(false);  // dropped halfway through a sentence
    engine_.prepare("en-US", options);
    const QList<core::Word> again = hear(true);
    ASSERT_GE(first.size(), 10);
    ASSERT_GE(again.size(), 10);
    // The decoder has adapted to the voice meanwhile, so a word may differ; the times stay where
    // the first session put them.
    EXPECT_NEAR(again.first().start, first.first().start, 0.3);
    EXPECT_NEAR(again.last().end, first.last().end, 0.3);
    const auto text = [](const QList<core::Word>& words) {
        QStringList texts;
        for (const core::Word& w : words) texts << w.text;
        return texts.join(' ');
    };
    EXPECT_LE(testing::wordErrorRate(testing::spokenWords(text(first)),
                                     testing::spokenWords(text(again))),
              0.25)
        << text(again).toStdString();
}

}  // namespace
}  // namespace pelix::speech
