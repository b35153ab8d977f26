// The microphone recorder with a scripted microphone and the real AAC/M4A writer.
#include "braindump/Recorder.h"
#include "fakes/AppFakes.h"
#include "media/Media.h"
#include "platform/Microphone.h"
#include "support/TestSupport.h"

namespace pelix::braindump {
namespace {

class ScriptedMicrophone final : public platform::Microphone {
public:
    Status start(int rate, Samples s) override {
        if (failWith) return std::unexpected(*failWith);
        sampleRate = rate;
        samples = std::move(s);
        return {};
    }
    void stop() override { samples = nullptr; }
    // Delivers `seconds` of a tone.
    void deliver(double seconds) {
        QByteArray pcm(static_cast<int>(seconds * sampleRate) * 2, '\0');
        auto* out = reinterpret_cast<qint16*>(pcm.data());
        for (int i = 0; i < pcm.size() / 2; ++i) out[i] = qint16((i % 100) * 200 - 10000);
        samples(pcm);
    }

    std::optional<Error> failWith;
    int sampleRate = 0;
    Samples samples;
};

class RecorderTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    fakes::ManualClock clock;
    ScriptedMicrophone microphone;
    MicRecorder recorder{microphone, clock, dir.path()};
    QStringList files() const { return QDir(dir.path()).entryList(QDir::Files | QDir::Hidden); }
};

// The virtual microphone starts late: the file still lasts as long as the time recorded, and is
// named for the second the recording started.
TEST_F(RecorderTest, WritesTheRecordedTimeSpanEvenWhenTheDeviceStartsLate) {
    const QString taken = dir.path() + QString("/pelix-%1.m4a").arg(clock.now().toSecsSinceEpoch());
    QFile(taken).open(QIODevice::WriteOnly);
    ASSERT_TRUE(recorder.start());
    clock.set(clock.uptime() + 1.0);
    microphone.deliver(0.5);
    clock.set(clock.uptime() + 1.0);
    microphone.deliver(1.0);
    const std::optional<Recording> made = recorder.stop();
    ASSERT_TRUE(made);
    EXPECT_DOUBLE_EQ(made->seconds, 2.0);
    // That second's name is taken, so it is the next.
    EXPECT_EQ(QFileInfo(made->path).fileName(),
              QString("pelix-%1.m4a").arg(clock.now().addSecs(-2).toSecsSinceEpoch() + 1));
    const Result<double> length = media::duration(made->path);
    ASSERT_TRUE(length) << length.error().message.toStdString();
    EXPECT_NEAR(*length, 2.0, 0.1);
}

TEST_F(RecorderTest, CancelAndFailedStartsLeaveNoFile) {
    ASSERT_TRUE(recorder.start());
    microphone.deliver(0.3);
    recorder.cancel();
    EXPECT_EQ(files(), QStringList{});
    EXPECT_FALSE(recorder.stop());

    microphone.failWith = Error::pelix(2, "The input device could not be opened.");
    ASSERT_FALSE(recorder.start());
    EXPECT_EQ(files(), QStringList{});
    EXPECT_FALSE(recorder.stop());
}

}  // namespace
}  // namespace pelix::braindump
