#include "studio/PreviewPlayer.h"

#include "render/RenderPlan.h"
#include "render/Renderer.h"

#include <algorithm>

namespace pelix::studio {

PreviewPlayer::PreviewPlayer(render::Renderer* renderer, QSize box, QObject* parent)
    : QObject(parent), renderer_(renderer), box_(box), worker_(this, 1) {
    ticker_.setInterval(1000 / kPlayRate);
    connect(&ticker_, &QTimer::timeout, this, &PreviewPlayer::tick);
    // One loop for the player's life; the wait in it ends when the worker stops it.
    if (renderer_) worker_.run([this](std::stop_token stop) { work(stop); });
}

PreviewPlayer::~PreviewPlayer() = default;

void PreviewPlayer::setProject(const editor::EditProject& project, double duration) {
    project_ = std::make_shared<const editor::EditProject>(project);
    ++generation_;
    const QSize size = render::formatSize(
        project.settings.format,
        project.clips.empty() ? QSize()
                              : QSize(project.clips.front().width, project.clips.front().height));
    scale_ = std::min(double(box_.width()) / size.width(), double(box_.height()) / size.height());
    if (duration != duration_) {
        duration_ = duration;
        Q_EMIT durationChanged();
    }
    if (position_ > duration_) {
        position_ = duration_;
        playedFrom_ = position_;
        clock_.restart();
        Q_EMIT positionChanged();
    }
    sound_.setProject(project_);
    request();
}

void PreviewPlayer::showPicture(QImage picture) {
    picture_ = std::move(picture);
    problem_.clear();
    shownGeneration_ = generation_;
    Q_EMIT pictureChanged();
}

void PreviewPlayer::seek(double t) {
    position_ = std::clamp(t, 0.0, duration_);
    playedFrom_ = position_;
    clock_.restart();
    if (playing_) sound_.start(position_);
    Q_EMIT positionChanged();
    request();
}

void PreviewPlayer::play() {
    if (playing_ || duration_ <= 0) return;
    if (position_ >= duration_ - 1.0 / kPlayRate) position_ = 0;
    playing_ = true;
    playedFrom_ = position_;
    clock_.restart();
    sound_.start(position_);
    ticker_.start();
    Q_EMIT playingChanged();
}

void PreviewPlayer::pause() {
    if (!playing_) return;
    playing_ = false;
    ticker_.stop();
    sound_.stop();
    Q_EMIT playingChanged();
}

void PreviewPlayer::tick() {
    const std::optional<double> heard = sound_.position();
    position_ = std::min(duration_, heard ? *heard : playedFrom_ + clock_.elapsed() / 1000.0);
    Q_EMIT positionChanged();
    request();
    if (position_ >= duration_) pause();
}

void PreviewPlayer::request() {
    if (!renderer_ || !project_) return;
    // The last picture of the output starts a frame before its end.
    const double t = std::max(0.0, std::min(position_, duration_ - 1.0 / render::kFrameRate));
    {
        std::lock_guard lock(mutex_);
        next_ = Job{generation_, project_, scale_, t};
    }
    wake_.notify_one();
}

void PreviewPlayer::work(std::stop_token stop) {
    std::unique_ptr<render::FrameSource> frames;
    quint64 framesOf = 0;
    while (!stop.stop_requested()) {
        Job job;
        {
            std::unique_lock lock(mutex_);
            if (!wake_.wait(lock, stop, [this] { return next_.has_value(); })) return;
            job = std::move(*next_);
            next_.reset();
        }
        if (!frames) {
            frames = renderer_->frames(*job.project, job.scale);
        } else if (framesOf != job.generation) {
            frames->setProject(*job.project, job.scale);
        }
        framesOf = job.generation;
        auto picture = frames->at(job.t);
        worker_.post([this, generation = job.generation, picture = std::move(picture)]() mutable {
            if (generation != generation_) return;  // the project changed meanwhile
            shownGeneration_ = generation;
            if (picture) {
                picture_ = std::move(*picture);
                problem_.clear();
            } else {
                problem_ = picture.error().message;
            }
            Q_EMIT pictureChanged();
        });
    }
}

}  // namespace pelix::studio
