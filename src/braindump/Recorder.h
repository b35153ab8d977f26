#pragma once

#include "core/Clock.h"
#include "core/Error.h"

#include <QString>

#include <memory>
#include <optional>

namespace pelix::platform {
class Microphone;
}  // namespace pelix::platform
namespace pelix::media {
class AacWriter;
}  // namespace pelix::media

namespace pelix::braindump {

// A finished recording: its file and its length in seconds.
struct Recording {
    QString path;
    double seconds = 0;
};

// Records the microphone into a file in the temporary folder.
class Recorder {
public:
    virtual ~Recorder() = default;
    // Starts a recording; on failure nothing is left behind.
    virtual Status start() = 0;
    // Stops and returns the file and its length; none when nothing was recording or the file
    // could not be completed.
    virtual std::optional<Recording> stop() = 0;
    // Stops and deletes the file.
    virtual void cancel() = 0;
};

// "pelix-" + whole seconds since 1970 + ".m4a" in `folder`. When that name is taken (two
// recordings within one second) the next free second is used.
QString recordingPath(const QString& folder, const QDateTime& now);

// How many samples of silence stand in for sound the device did not deliver: when, `elapsed`
// seconds into a recording, `delivered` samples are all there is and more than a tenth of a
// second is missing, the difference; else none. Sound servers start late and some sources
// deliver nothing while idle; the file still spans the time that was recorded.
qint64 missingSamples(qint64 delivered, double elapsed, int rate);

// The microphone, 44.1 kHz mono, through the AAC/M4A writer: AAC-LC at 64 kbit/s.
class MicRecorder final : public Recorder {
public:
    MicRecorder(platform::Microphone& microphone, const core::Clock& clock, QString folder);
    ~MicRecorder() override;

    Status start() override;
    std::optional<Recording> stop() override;
    void cancel() override;

private:
    static constexpr int kRate = 44100;
    // Writes `count` samples, or silence when `samples` is null.
    void write(qint64 count, const int16_t* samples);

    platform::Microphone& microphone_;
    const core::Clock& clock_;
    QString folder_;
    QString path_;
    double startedAt_ = 0;
    qint64 written_ = 0;
    std::unique_ptr<media::AacWriter> writer_;
    std::optional<Error> writeError_;
};

}  // namespace pelix::braindump
