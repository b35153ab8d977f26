#include "media/Media.h"
#include "media/AacWriter.h"
#include "media/TestMedia.h"
#include "support/TestSupport.h"

#include <cmath>
#include <numbers>

namespace pelix::media {
namespace {

class MediaTest : public ::testing::Test {
protected:
    QStringList left() const {
        return QDir(work_.path()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir work_;
    testing::TestMedia media_{work_.path()};
};

TEST_F(MediaTest, WriterMakesAacLcMono44kAt64kOnlyWhenFinished) {
    // Two seconds of a 16 kHz tone, handed over in uneven blocks as a microphone would.
    std::vector<int16_t> tone(32000);
    for (size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<int16_t>(8000 * std::sin(2 * std::numbers::pi * 440 * i / 16000.0));
    }
    const QString target = media_.path("note.m4a");
    auto writer = AacWriter::open(target, 16000, 1);
    ASSERT_TRUE(writer) << writer.error().message.toStdString();
    for (size_t at = 0; at < tone.size();) {
        const size_t n = std::min<size_t>(tone.size() - at, 700 + at % 1300);
        ASSERT_TRUE((*writer)->write(std::span(tone).subspan(at, n)));
        at += n;
    }
    EXPECT_FALSE(QFile::exists(target)) << "the file appears only when finished";
    ASSERT_TRUE((*writer)->finish());
    const auto probe = media_.probeAudio(target);
    EXPECT_EQ(QStringList(
                  {probe["codec_name"], probe["profile"], probe["sample_rate"], probe["channels"]}),
              QStringList({"aac", "LC", "44100", "1"}));
    EXPECT_NEAR(probe["bit_rate"].toDouble(), 64000, 12000);
    EXPECT_NEAR(duration(target).value_or(0), 2.0, 0.001);

    // One dropped before it finishes leaves nothing.
    auto dropped = AacWriter::open(media_.path("dropped.m4a"));
    ASSERT_TRUE(dropped);
    ASSERT_TRUE((*dropped)->write(std::vector<int16_t>(44100, 1000)));
    dropped->reset();
    EXPECT_EQ(left(), QStringList{"note.m4a"});
}

TEST_F(MediaTest, CutsAreExactToTheSampleAndOutsideTheSoundFail) {
    const QString source = media_.tone("long.wav", 5.0);
    const std::pair<double, double> good[] = {{1.25, 3.5}, {4.0, 4.01}, {3.0, 9.0}};
    for (const auto& [start, end] : good) {
        const QString target = media_.path(QString("cut-%1.m4a").arg(start));
        const Status made = cut(source, start, end, target);
        ASSERT_TRUE(made) << made.error().message.toStdString();
        // Past the end: up to the end.
        EXPECT_NEAR(duration(target).value_or(0), std::min(end, 5.0) - start, 0.5 / 44100) << start;
        QFile::remove(target);
    }
    for (const auto& [start, end] : {std::pair{6.0, 7.0}, {0.5, 0.5}, {-1.0, 0.5}}) {
        const Status made = cut(source, start, end, media_.path("out.m4a"));
        ASSERT_FALSE(made) << start;
        EXPECT_EQ(made.error().code, kBadRange);
    }
    EXPECT_EQ(left(), QStringList{"long.wav"});
}

}  // namespace
}  // namespace pelix::media
