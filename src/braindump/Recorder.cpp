#include "braindump/Recorder.h"

#include "core/Log.h"
#include "media/AacWriter.h"
#include "platform/Microphone.h"

#include <QDir>
#include <QFile>

#include <span>
#include <vector>

namespace pelix::braindump {

QString recordingPath(const QString& folder, const QDateTime& now) {
    qint64 seconds = now.toSecsSinceEpoch();
    QString path;
    do {
        path = QDir(folder).filePath(QStringLiteral("pelix-%1.m4a").arg(seconds++));
    } while (QFile::exists(path));
    return path;
}

qint64 missingSamples(qint64 delivered, double elapsed, int rate) {
    const auto due = static_cast<qint64>(elapsed * rate);
    return due - delivered > rate / 10 ? due - delivered : 0;
}

MicRecorder::MicRecorder(platform::Microphone& microphone, const core::Clock& clock, QString folder)
    : microphone_(microphone), clock_(clock), folder_(std::move(folder)) {}

MicRecorder::~MicRecorder() {
    cancel();
}

Status MicRecorder::start() {
    if (writer_) return {};
    const QString path = recordingPath(folder_, clock_.now());
    auto writer = media::AacWriter::open(path, kRate, 1);
    if (!writer) return std::unexpected(writer.error());
    writer_ = std::move(*writer);
    writeError_.reset();
    written_ = 0;
    const Status started = microphone_.start(kRate, [this](const QByteArray& pcm) {
        const auto count = static_cast<qint64>(pcm.size() / 2);
        write(missingSamples(written_ + count, clock_.uptime() - startedAt_, kRate), nullptr);
        write(count, reinterpret_cast<const int16_t*>(pcm.constData()));
    });
    if (!started) {
        writer_.reset();  // removes what it wrote
        return started;
    }
    path_ = path;
    startedAt_ = clock_.uptime();
    return {};
}

void MicRecorder::write(qint64 count, const int16_t* samples) {
    if (!writer_ || writeError_ || count <= 0) return;
    std::vector<int16_t> silence;
    if (!samples) {
        silence.assign(static_cast<size_t>(count), 0);
        samples = silence.data();
    }
    const Status written = writer_->write(std::span(samples, static_cast<size_t>(count)));
    if (!written) writeError_ = written.error();
    written_ += count;
}

std::optional<Recording> MicRecorder::stop() {
    if (!writer_) return std::nullopt;
    microphone_.stop();
    const double seconds = clock_.uptime() - startedAt_;
    write(missingSamples(written_, seconds, kRate), nullptr);
    auto writer = std::move(writer_);
    if (writeError_) {
        core::logLine("recorder", "the recording could not be written: " + writeError_->message);
        return std::nullopt;
    }
    if (Status done = writer->finish(); !done) {
        core::logLine("recorder", "the recording could not be finished: " + done.error().message);
        return std::nullopt;
    }
    return Recording{path_, seconds};
}

void MicRecorder::cancel() {
    if (!writer_) return;
    microphone_.stop();
    writer_.reset();
    QFile::remove(path_);
}

}  // namespace pelix::braindump
