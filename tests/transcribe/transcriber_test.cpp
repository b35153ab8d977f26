#include "fakes/FakeEngine.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "support/TestSupport.h"
#include "transcribe/StableId.h"
#include "transcribe/VideoTranscriber.h"

#include <QCryptographicHash>

namespace pelix::transcribe {
namespace {

namespace VT = VideoTranscriber;

Spoken piece(double start, double end, QString text) {
    return Spoken{start, end, text, {}};
}

TEST(Paragraphs, PausesLongerThanTheGapStartAParagraph) {
    struct Case {
        const char* what;
        QList<Spoken> spoken;
        bool sentences;
        QString text;
    };
    const Case cases[] = {
        {"nothing", {}, true, ""},
        {"1.5 s apart: one paragraph",
         {piece(0, 2, "One."), piece(3.5, 4, "Two.")},
         false,
         "One. Two."},
        {"1.6 s apart: two", {piece(0, 2, "One."), piece(3.6, 4, "Two.")}, false, "One.\n\nTwo."},
        {"blank stretches are skipped and do not move the end",
         {piece(0, 2, "One."), piece(3, 10, "  \n"), piece(3.7, 4, "Two.")},
         true,
         "One.\n\nTwo."},
        {"a first blank stretch adds no separator",
         {piece(0, 1, " "), piece(5, 6, " One. ")},
         false,
         "One."},
        {"the clean-up applies to the whole",
         {piece(0, 1, "It was actually fine.")},
         false,
         "It was fine."},
        {"as heard without sentences",
         {piece(0, 1, "the fox ran"), piece(1.5, 2, "i think")},
         false,
         "the fox ran i think"},
        {"each piece a sentence",
         {piece(0, 1, " the fox ran "), piece(1.5, 2, "i think so"), piece(5, 6, "and then")},
         true,
         "The fox ran. I think so.\n\nAnd then."},
        {"a piece's own punctuation stays",
         {piece(0, 1, "is it"), piece(1.5, 2, "is it?"), piece(2.5, 3, "wait, no!")},
         true,
         "Is it. Is it? Wait, no!"},
        {"the clean-up comes first, so the capital goes to the word after",
         {piece(0, 1, "actually it was fine"), piece(1.5, 2, "so it was")},
         true,
         "It was fine. So it was."},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(VT::paragraphs(c.spoken, 1.5, c.sentences), c.text) << c.what;
    }
}

TEST(Languages, OncePerIdentifierSortedByName) {
    speech::SpeechEngines engines;
    engines.add(std::make_unique<testing::FakeEngine>("a", QStringList{"fr-FR", "en-US"}));
    engines.add(std::make_unique<testing::FakeEngine>("b", QStringList{"en-US", "de-DE"}));
    // English (United States), French (France), German (Germany).
    EXPECT_EQ(VT::languages(engines), (QStringList{"en-US", "fr-FR", "de-DE"}));
}

TEST(StableId, HashesNameSizeAndCreationTime) {
    auto expected = [](const QByteArray& text) {
        return "video:" +
               QString::fromLatin1(
                   QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex().left(32));
    };
    struct Case {
        std::optional<double> created;
        QByteArray written;
    };
    const Case cases[] = {
        {std::nullopt, "0.0"},
        {1700000000.0, "1700000000.0"},
        {1700000000.25, "1700000000.25"},
        {1732184321.123, "1732184321.123"},
        {0.1, "0.1"},
        {1e16, "1e+16"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(stableId("Talk é.mov", 12345, c.created),
                  expected("Talk \xc3\xa9.mov|12345|" + c.written))
            << c.written.toStdString();
    }
}

// Runs against a flite recording of known sentences at known places, with a temporary folder of
// its own so that files left behind can be seen.
class Transcribe : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        sentences_ = {{"The quick brown fox jumps over the lazy dog.", 1.0},
                      {"Please bring the report and a cup of coffee.", 2.0},
                      {"The weather is nice today.", 2.5}};
        talk_ = testing::TestMedia(folder_->path()).speech("talk.mp4", sentences_);
    }
    static void TearDownTestSuite() { delete folder_; }

    void SetUp() override {
        savedTmp_ = qgetenv("TMPDIR");
        qputenv("TMPDIR", temp_.path().toUtf8());
        engines_.add(std::make_unique<speech::PocketSphinxEngine>(
            speech::PocketSphinxEngine::systemModelFolder(), QString()));
    }
    void TearDown() override { qputenv("TMPDIR", savedTmp_); }

    QStringList leftInTemp() const {
        return QDir(temp_.path()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline std::vector<testing::Sentence> sentences_;
    static inline QString talk_;
    QTemporaryDir temp_;
    QByteArray savedTmp_;
    speech::SpeechEngines engines_;
    QStringList statuses_;
    QList<Spoken> heard_;
};

TEST_F(Transcribe, HearsTheSentencesWhereTheyWere) {
    const auto result = VT::transcribe(
        engines_, talk_, "en-US", {}, [&](const QString& s) { statuses_ << s; },
        [&](const Spoken& s) { heard_ << s; });
    ASSERT_TRUE(result) << result.error().message.toStdString();

    EXPECT_EQ(statuses_, (QStringList{"Getting the sound out…", "Listening…"}));
    EXPECT_EQ(heard_, *result) << "each stretch is handed over as it becomes final";
    ASSERT_EQ(result->size(), 3);

    QStringList want, got;
    for (const auto& s : sentences_) {
        want += testing::spokenWords(s.text);
    }
    double previous = 0;
    const double length = VT::duration(talk_).value_or(0);
    for (qsizetype i = 0; i < result->size(); ++i) {
        const Spoken& spoken = result->at(i);
        ASSERT_FALSE(spoken.words.isEmpty());
        EXPECT_NEAR(spoken.words.first().start, sentences_[i].placedAt, 0.3) << i;
        for (const core::Word& word : spoken.words) {
            EXPECT_LE(previous, word.start);
            EXPECT_LT(word.start, word.end);
            previous = word.end;
            got << word.text;
        }
    }
    EXPECT_LE(previous, length);
    EXPECT_LE(testing::wordErrorRate(want, got), 0.15) << got.join(' ').toStdString();
    EXPECT_EQ(leftInTemp(), QStringList());
}

TEST_F(Transcribe, FailuresBeforeListeningSayWhyAndMakeNothing) {
    QTemporaryDir empty;
    speech::SpeechEngines noModel;
    noModel.add(std::make_unique<speech::PocketSphinxEngine>(empty.path(), empty.path()));
    struct Case {
        const speech::SpeechEngines* engines;
        QString locale;
        int code;
        QString message;
    };
    const Case cases[] = {
        {&engines_, "fr-FR", VT::kUnsupportedLocale,
         "This computer can't transcribe " + speech::localeDisplayName("fr-FR") +
             ". Pick another language."},
        {&noModel, "en-US", VT::kNoModel,
         "Transcribing needs a speech model: install pocketsphinx-en-us."},
    };
    for (const Case& c : cases) {
        statuses_.clear();
        const auto result = VT::transcribe(*c.engines, talk_, c.locale, {},
                                           [&](const QString& s) { statuses_ << s; }, {});
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, c.code);
        EXPECT_EQ(result.error().message, c.message);
        EXPECT_EQ(statuses_, QStringList());
    }
    EXPECT_EQ(leftInTemp(), QStringList());
}

TEST_F(Transcribe, CancellingStopsTheRunAndRemovesTheSound) {
    struct Case {
        const char* when;
        bool atListening;
        int heardBefore;
    };
    for (const Case c :
         {Case{"at Listening…", true, 0}, Case{"after the first stretch", false, 1}}) {
        std::stop_source stop;
        heard_.clear();
        const auto result = VT::transcribe(
            engines_, talk_, "en-US", {},
            [&](const QString& s) {
                if (c.atListening && s == "Listening…") stop.request_stop();
            },
            [&](const Spoken& s) {
                heard_ << s;
                stop.request_stop();
            },
            stop.get_token());
        ASSERT_FALSE(result) << c.when;
        EXPECT_EQ(result.error().code, VT::kCancelled) << c.when;
        EXPECT_EQ(heard_.size(), c.heardBefore) << c.when;
        EXPECT_EQ(leftInTemp(), QStringList()) << c.when;
    }
}

TEST_F(Transcribe, StartedRunReportsOnTheCallersThread) {
    QObject context;
    core::Worker worker(&context);
    QStringList order;
    std::optional<Result<QList<Spoken>>> outcome;
    VT::start(
        worker, engines_, talk_, "en-US", {}, &context,
        [&](const QString& s) {
            EXPECT_EQ(QThread::currentThread(), context.thread());
            order << s;
        },
        [&](const Spoken&) { order << "heard"; },
        [&](Result<QList<Spoken>> r) { outcome = std::move(r); });
    ASSERT_TRUE(testing::waitUntil([&] { return outcome.has_value(); }, 60000));
    ASSERT_TRUE(*outcome);
    EXPECT_EQ(order,
              (QStringList{"Getting the sound out…", "Listening…", "heard", "heard", "heard"}));
}

}  // namespace
}  // namespace pelix::transcribe
