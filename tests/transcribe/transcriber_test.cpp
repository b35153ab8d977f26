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

TEST(StableId, HashesNameSizeAndCreationTime) {
    const std::pair<std::optional<double>, QByteArray> cases[] = {
        {std::nullopt, "0.0"},
        {1732184321.123, "1732184321.123"},
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

// A run stopped after the first stretch of a flite recording ends as cancelled, and the sound
// it took out of the file is gone.
TEST(Transcribe, CancellingStopsTheRunAndRemovesTheSound) {
    QTemporaryDir folder, temp;
    std::vector<testing::Sentence> sentences{{"The quick brown fox jumps over the dog.", 1.0},
                                             {"Please bring the report.", 2.0}};
    const QString talk = testing::TestMedia(folder.path()).speech("talk.mp4", sentences);
    speech::SpeechEngines engines;
    engines.add(std::make_unique<speech::PocketSphinxEngine>(
        speech::PocketSphinxEngine::systemModelFolder(), QString()));
    const QByteArray savedTmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", temp.path().toUtf8());
    std::stop_source stop;
    int heard = 0;
    const auto result = VT::transcribe(
        engines, talk, "en-US", {}, {},
        [&](const Spoken&) {
            ++heard;
            stop.request_stop();
        },
        stop.get_token());
    qputenv("TMPDIR", savedTmp);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, VT::kCancelled);
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(QDir(temp.path()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList());
}

}  // namespace
}  // namespace pelix::transcribe
