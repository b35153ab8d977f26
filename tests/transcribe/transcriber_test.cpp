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
    const std::tuple<bool, QString, QList<Spoken>> cases[] = {
        // with sentences, the text, heard
        {true, "", {}},
        // 1.5 s apart: one paragraph; 1.6 s: two.
        {false, "One. Two.", {piece(0, 2, "One."), piece(3.5, 4, "Two.")}},
        {false, "One.\n\nTwo.", {piece(0, 2, "One."), piece(3.6, 4, "Two.")}},
        // Blank stretches are skipped and do not move the end, nor add a separator when first.
        {true, "One.\n\nTwo.", {piece(0, 2, "One."), piece(3, 10, "  \n"), piece(3.7, 4, "Two.")}},
        {false, "One.", {piece(0, 1, " "), piece(5, 6, " One. ")}},
        // The clean-up applies to the whole.
        {false, "It was fine.", {piece(0, 1, "It was actually fine.")}},
        // As heard without sentences; else each piece a sentence, its own punctuation kept.
        {false, "the fox ran i think", {piece(0, 1, "the fox ran"), piece(1.5, 2, "i think")}},
        {true,
         "The fox ran. I think so.\n\nAnd then.",
         {piece(0, 1, " the fox ran "), piece(1.5, 2, "i think so"), piece(5, 6, "and then")}},
        {true,
         "Is it. Is it? Wait, no!",
         {piece(0, 1, "is it"), piece(1.5, 2, "is it?"), piece(2.5, 3, "wait, no!")}},
        // The clean-up comes first, so the capital goes to the word after.
        {true,
         "It was fine. So it was.",
         {piece(0, 1, "actually it was fine"), piece(1.5, 2, "so it was")}},
    };
    for (const auto& [sentences, text, spoken] : cases) {
        EXPECT_EQ(VT::paragraphs(spoken, 1.5, sentences), text);
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
    const std::pair<std::optional<double>, QByteArray> cases[] = {
        {std::nullopt, "0.0"},
        {1700000000.0, "1700000000.0"},
        {1700000000.25, "1700000000.25"},
        {1732184321.123, "1732184321.123"},
        {0.1, "0.1"},
        {1e16, "1e+16"},
    };
    for (const auto& [created, written] : cases) {
        const QByteArray hash = QCryptographicHash::hash("Talk \xc3\xa9.mov|12345|" + written,
                                                         QCryptographicHash::Sha256);
        EXPECT_EQ(stableId("Talk é.mov", 12345, created),
                  "video:" + QString::fromLatin1(hash.toHex().left(32)))
            << written.toStdString();
    }
}

// Runs against a flite recording, with a temporary folder of its own so that files left behind
// can be seen.
class Transcribe : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        std::vector<testing::Sentence> sentences{
            {"The quick brown fox jumps over the lazy dog.", 1.0},
            {"Please bring the report and a cup of coffee.", 2.0}};
        talk_ = testing::TestMedia(folder_->path()).speech("talk.mp4", sentences);
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
    static inline QString talk_;
    QTemporaryDir temp_;
    QByteArray savedTmp_;
    speech::SpeechEngines engines_;
    QStringList statuses_;
    QList<Spoken> heard_;
};

TEST_F(Transcribe, FailuresBeforeListeningSayWhyAndMakeNothing) {
    QTemporaryDir empty;
    speech::SpeechEngines noModel;
    noModel.add(std::make_unique<speech::PocketSphinxEngine>(empty.path(), empty.path()));
    const std::tuple<const speech::SpeechEngines*, QString, int, QString> cases[] = {
        {&engines_, "fr-FR", VT::kUnsupportedLocale,
         "This computer can't transcribe " + speech::localeDisplayName("fr-FR") +
             ". Pick another language."},
        {&noModel, "en-US", VT::kNoModel,
         "Transcribing needs a speech model: install pocketsphinx-en-us."},
    };
    for (const auto& [engines, locale, code, message] : cases) {
        const auto result = VT::transcribe(*engines, talk_, locale, {},
                                           [&](const QString& s) { statuses_ << s; }, {});
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, code);
        EXPECT_EQ(result.error().message, message);
    }
    EXPECT_EQ(statuses_, QStringList());
    EXPECT_EQ(leftInTemp(), QStringList());
}

TEST_F(Transcribe, CancellingStopsTheRunAndRemovesTheSound) {
    // At "Listening…", then after the first stretch.
    for (const bool atListening : {true, false}) {
        std::stop_source stop;
        heard_.clear();
        const auto result = VT::transcribe(
            engines_, talk_, "en-US", {},
            [&](const QString& s) {
                if (atListening && s == "Listening…") stop.request_stop();
            },
            [&](const Spoken& s) {
                heard_ << s;
                stop.request_stop();
            },
            stop.get_token());
        SCOPED_TRACE(atListening);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().code, VT::kCancelled);
        EXPECT_EQ(heard_.size(), atListening ? 0 : 1);
        EXPECT_EQ(leftInTemp(), QStringList());
    }
}

}  // namespace
}  // namespace pelix::transcribe
