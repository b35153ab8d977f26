#include "transcribe/TranscriptModel.h"

#include "fakes/BackendRig.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "transcribe/StableId.h"

#include <QRegularExpression>

namespace pelix::transcribe {
namespace {

using testing::waitUntil;

// One model over a file, with the text a window would show kept by the model's signals.
class TranscriptTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        testing::TestMedia media(folder_->path());
        // The first two make one paragraph, the third starts another.
        sentences_ = {{"Please bring the report and a cup of coffee.", 0.5},
                      {"The weather is nice today.", 1.0},
                      {"We can walk to the park after lunch.", 2.5}};
        talk_ = media.speech("talk.mp4", sentences_, 2.0);
        silence_ = media.silence("silence.m4a", 4);
    }
    static void TearDownTestSuite() { delete folder_; }

    void SetUp() override {
        engines.add(std::make_unique<speech::PocketSphinxEngine>(
            speech::PocketSphinxEngine::systemModelFolder(), QString()));
    }

    std::unique_ptr<TranscriptModel> open(const QString& file) {
        auto model = std::make_unique<TranscriptModel>(engines, worker, api, prefs, clock, file);
        QObject::connect(model.get(), &TranscriptModel::cleared, [this] { text.clear(); });
        QObject::connect(model.get(), &TranscriptModel::appended,
                         [this](const QString& piece) { text += piece; });
        QObject::connect(model.get(), &TranscriptModel::replaced, [this](const QString& whole) {
            liveAtTheEnd = text;
            text = whole;
        });
        QObject::connect(model.get(), &TranscriptModel::statusChanged,
                         [this](const QString& line) { statuses << line; });
        return model;
    }
    // Runs the file through to its end.
    void hear(TranscriptModel& model) {
        model.start();
        ASSERT_TRUE(waitUntil([&] { return !model.listening(); }, 120000));
    }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline std::vector<testing::Sentence> sentences_;
    static inline QString talk_;
    static inline QString silence_;

    speech::SpeechEngines engines;
    core::Worker worker{nullptr};
    QString text;
    QString liveAtTheEnd;
    QStringList statuses;
};

TEST_F(TranscriptTest, TheLiveTextIsTheFinalTextAndTheStatusCountsItsWords) {
    auto model = open(talk_);
    hear(*model);

    EXPECT_EQ(model->language(), "en-US");
    EXPECT_EQ(statuses.first(), "Getting ready…");
    EXPECT_TRUE(statuses.contains("Listening…"));
    QList<int> percents;
    static const QRegularExpression percent("^Listening… (\\d+)%$");
    for (const QString& line : statuses) {
        if (const auto match = percent.match(line); match.hasMatch()) {
            percents << match.captured(1).toInt();
        }
    }
    ASSERT_EQ(percents.size(), 3);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_LT(percents.last(), 100) << "the file goes on after the last sentence";

    EXPECT_EQ(liveAtTheEnd, text);
    EXPECT_EQ(text.count("\n\n"), 1) << "the long pause starts a paragraph";
    // Pieces are written as sentences: each paragraph opens with a capital and ends in a stop.
    for (const QString& paragraph : text.split("\n\n")) {
        EXPECT_TRUE(paragraph.front().isUpper() && paragraph.endsWith('.')) << text.toStdString();
    }
    const QStringList heard = testing::spokenWords(text);
    QStringList want;
    for (const auto& s : sentences_) want += testing::spokenWords(s.text);
    EXPECT_LE(testing::wordErrorRate(want, heard), 0.2) << text.toStdString();

    const double seconds = VideoTranscriber::duration(talk_).value_or(0);
    EXPECT_EQ(model->status(),
              QString("%1 words from 0:%2. Change anything you like, then save it.")
                  .arg(text.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts).size())
                  .arg(static_cast<int>(seconds), 2, 10, QChar('0')));
}

TEST_F(TranscriptTest, ClosingStopsTheRun) {
    auto model = open(talk_);
    model->start();
    ASSERT_TRUE(waitUntil([&] { return statuses.contains("Listening…"); }, 60000));
    const qsizetype shown = statuses.size();
    model.reset();
    // Nothing reaches the closed window, and the run does not hold up the next one.
    QEventLoop().processEvents();
    EXPECT_EQ(statuses.size(), shown);
    auto again = open(silence_);
    hear(*again);
}

TEST_F(TranscriptTest, SavingTwiceFilesTheSameNote) {
    auto model = open(talk_);
    EXPECT_EQ(model->saveTitle(), "Save to Pelix");
    int savedSignals = 0;
    QObject::connect(model.get(), &TranscriptModel::savedToPelix, [&] { ++savedSignals; });
    backend.answer("import-notes", fakes::Reply::json({{"created", 1}}));
    model->save("First words.");
    ASSERT_TRUE(backend.waitFor("import-notes", 1));
    ASSERT_TRUE(waitUntil([&] { return model->saved(); }));
    EXPECT_EQ(model->status(), "Saved to Pelix, in Videos.");
    EXPECT_EQ(model->saveTitle(), "Save again");
    model->save("First words, changed.");
    ASSERT_TRUE(backend.waitFor("import-notes", 2));
    ASSERT_TRUE(waitUntil([&] { return savedSignals == 2; }));

    const QList<fakes::Recorded> saves = backend.requests("import-notes");
    const QJsonObject first = saves.at(0).json;
    EXPECT_EQ(first.value("source"), "video");
    EXPECT_EQ(first.value("done"), true);
    const QJsonObject note = first.value("notes").toArray().at(0).toObject();
    EXPECT_EQ(note.value("external_id"), stableId(talk_));
    EXPECT_EQ(note.value("title"), "talk");
    EXPECT_EQ(note.value("body"), "First words.");
    EXPECT_EQ(note.value("folder"), "Videos");
    EXPECT_TRUE(note.contains("updated_at"));
    const QJsonObject second = saves.at(1).json.value("notes").toArray().at(0).toObject();
    EXPECT_EQ(second.value("external_id"), note.value("external_id"));
    EXPECT_EQ(second.value("body"), "First words, changed.");

    backend.answer("import-notes", fakes::Reply::json({{"error", "The notes are full."}}, 507));
    model->save("Third.");
    ASSERT_TRUE(waitUntil([&] { return model->status() == "The notes are full."; }));
}

TEST(TranscriptClock, WholeSecondsMinutesAndHours) {
    EXPECT_EQ(TranscriptModel::clock(0), "0:00");
    EXPECT_EQ(TranscriptModel::clock(12.9), "0:12");
    EXPECT_EQ(TranscriptModel::clock(75), "1:15");
    EXPECT_EQ(TranscriptModel::clock(3599.99), "59:59");
    EXPECT_EQ(TranscriptModel::clock(95 * 60), "1:35:00");
    EXPECT_EQ(TranscriptModel::wordCount("  one\ttwo\n\nthree "), 3);
    EXPECT_EQ(TranscriptModel::wordCount(" \n"), 0);
}

}  // namespace
}  // namespace pelix::transcribe
