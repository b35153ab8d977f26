#include "studio/PreviewSound.h"

#include "core/Log.h"
#include "render/PlanSound.h"
#include "render/RenderPlan.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSink>
#include <QIODevice>
#include <QMediaDevices>

#include <algorithm>
#include <cstring>
#include <functional>

namespace pelix::studio {

namespace {

constexpr int kChannels = 2;
constexpr int kBytesPerSample = int(sizeof(float)) * kChannels;
// Samples decoded at a time.
constexpr int kBlock = 2048;
// The plan's pictures are not drawn here; a small scale keeps its making quick.
constexpr double kPlanScale = 0.1;

QAudioFormat soundFormat() {
    QAudioFormat format;
    format.setSampleRate(render::kSampleRate);
    format.setChannelCount(kChannels);
    format.setSampleFormat(QAudioFormat::Float);
    return format;
}

}  // namespace

// What the worker has decoded and the output has not yet taken, interleaved floats. The output
// reads on the owner's thread and the worker writes on its own; both only copy under the lock.
class PreviewSound::Feed final : public QIODevice {
public:
    explicit Feed(std::function<void()> drained) : drained_(std::move(drained)) {
        open(QIODevice::ReadOnly);
    }

    // Empties the buffer; from now on only writes of `generation` count.
    void restart(quint64 generation) {
        std::lock_guard lock(mutex_);
        generation_ = generation;
        bytes_.clear();
        read_ = 0;
    }
    // False when `generation` is over.
    bool push(quint64 generation, const char* data, qsizetype size) {
        std::lock_guard lock(mutex_);
        if (generation != generation_) return false;
        if (read_ > 0 && read_ * 2 >= bytes_.size()) {
            bytes_.remove(0, read_);
            read_ = 0;
        }
        bytes_.append(data, size);
        return true;
    }
    qsizetype buffered() const {
        std::lock_guard lock(mutex_);
        return bytes_.size() - read_;
    }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return buffered() + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char* data, qint64 most) override {
        qint64 n = 0;
        {
            std::lock_guard lock(mutex_);
            n = std::min<qint64>(most, bytes_.size() - read_) / kBytesPerSample * kBytesPerSample;
            std::memcpy(data, bytes_.constData() + read_, size_t(n));
            read_ += n;
        }
        if (n > 0) drained_();
        return n;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    std::function<void()> drained_;
    mutable std::mutex mutex_;
    quint64 generation_ = 0;
    QByteArray bytes_;
    qsizetype read_ = 0;
};

PreviewSound::PreviewSound(QObject* parent)
    : QObject(parent),
      feed_(std::make_unique<Feed>([this] {
          { std::lock_guard lock(mutex_); }  // the worker is waiting or sees the room
          wake_.notify_one();
      })),
      worker_(this, 1) {
    worker_.run([this](std::stop_token stop) { fill(stop); });
}

PreviewSound::~PreviewSound() {
    stop();
    worker_.stop();
}

void PreviewSound::setProject(std::shared_ptr<const editor::EditProject> project) {
    project_ = std::move(project);
    if (active_) start(*position());
}

bool PreviewSound::start(double t) {
    stop();
    if (!project_) return false;
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (device.isNull() || !device.isFormatSupported(soundFormat())) return false;
    quint64 generation = 0;
    {
        std::lock_guard lock(mutex_);
        generation = ++wanted_.generation;
        wanted_.project = project_;
        wanted_.from = render::sampleAt(std::max(0.0, t));
        wanted_.active = true;
        feed_->restart(generation);
    }
    wake_.notify_one();
    active_ = true;
    startedAt_ = std::max(0.0, t);
    return true;
}

void PreviewSound::primed(quint64 generation) {
    {
        std::lock_guard lock(mutex_);
        if (!wanted_.active || generation != wanted_.generation || sink_) return;
    }
    sink_ = new QAudioSink(QMediaDevices::defaultAudioOutput(), soundFormat(), this);
    // Room for a tenth of a second: the sound handed over is heard soon after.
    sink_->setBufferSize(render::kSampleRate / 10 * kBytesPerSample);
    sink_->start(feed_.get());
    if (sink_->error() != QAudio::NoError) {
        core::debugLine("preview", QStringLiteral("the sound output did not start"));
    }
}

void PreviewSound::stop() {
    if (sink_) {
        sink_->stop();
        delete sink_;
        sink_ = nullptr;
    }
    active_ = false;
    {
        std::lock_guard lock(mutex_);
        wanted_.active = false;
        feed_->restart(++wanted_.generation);
    }
}

std::optional<double> PreviewSound::position() const {
    if (!active_) return std::nullopt;
    if (!sink_) return startedAt_;
    return startedAt_ + double(sink_->processedUSecs()) / 1e6;
}

void PreviewSound::fill(std::stop_token stop) {
    const qsizetype ahead = qsizetype(kAhead * render::kSampleRate) * kBytesPerSample;
    render::PlanSound sound;
    quint64 playing = 0;
    int64_t at = 0;
    bool primed = false;
    std::vector<float> left(kBlock), right(kBlock);
    QByteArray block(kBlock * kBytesPerSample, Qt::Uninitialized);
    while (!stop.stop_requested()) {
        Wanted job;
        {
            std::unique_lock lock(mutex_);
            const bool woken = wake_.wait(lock, stop, [&] {
                return wanted_.active &&
                       (wanted_.generation != playing || feed_->buffered() < ahead);
            });
            if (!woken) return;
            job = wanted_;
        }
        if (job.generation != playing) {
            sound.setPlan(render::makePlan(*job.project, kPlanScale));
            playing = job.generation;
            at = job.from;
            primed = false;
        }
        if (Status read = sound.read(at, kBlock, left.data(), right.data()); !read) {
            core::debugLine("preview", read.error().message);
            std::ranges::fill(left, 0.0f);
            std::ranges::fill(right, 0.0f);
        }
        auto* out = reinterpret_cast<float*>(block.data());
        for (int i = 0; i < kBlock; ++i) {
            out[2 * i] = left[size_t(i)];
            out[2 * i + 1] = right[size_t(i)];
        }
        if (!feed_->push(playing, block.constData(), block.size())) continue;
        at += kBlock;
        if (!primed && feed_->buffered() >= ahead) {
            primed = true;
            worker_.post([this, generation = playing] { this->primed(generation); });
        }
    }
}

}  // namespace pelix::studio
