#pragma once

#include "core/Worker.h"
#include "editor/EditProject.h"
#include "studio/PreviewSound.h"

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QTimer>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

namespace pelix::render {
class Renderer;
}  // namespace pelix::render

namespace pelix::studio {

// Plays the edit as it will be exported, small: pictures come from the renderer on a worker of
// the player's own, one at a time and only where the playhead is. A request waiting there is
// replaced by a newer one, and pictures of a project that has changed since are dropped, so a
// change shows as soon as one picture is drawn. Positions are on the output time axis. While it
// plays, the edit's sound plays too (PreviewSound) and the playhead is where the sound is; without
// an audio output it follows the clock.
class PreviewPlayer final : public QObject {
    Q_OBJECT

public:
    // Pictures while playing, per second at most.
    static constexpr int kPlayRate = 15;

    // Pictures fit in `box`. Without a renderer nothing is drawn.
    PreviewPlayer(render::Renderer* renderer, QSize box, QObject* parent = nullptr);
    ~PreviewPlayer() override;

    // The project to show and its length; the playhead stays where it was, within the length.
    void setProject(const editor::EditProject& project, double duration);
    void seek(double t);
    void play();
    void pause();
    bool playing() const { return playing_; }
    // Whether the sound plays along (false without an audio output).
    bool sounding() const { return sound_.playing(); }
    double position() const { return position_; }
    double duration() const { return duration_; }

    // The last picture drawn for the current project (null before the first), and why the
    // last one could not be drawn (empty when it was).
    const QImage& picture() const { return picture_; }
    const QString& problem() const { return problem_; }
    // Bumped by every change of project; `picture` belongs to `shownGeneration`.
    quint64 generation() const { return generation_; }
    // Shows a picture drawn elsewhere until the renderer draws the next.
    void showPicture(QImage picture);
    quint64 shownGeneration() const { return shownGeneration_; }

Q_SIGNALS:
    void pictureChanged();
    void positionChanged();
    void durationChanged();
    void playingChanged();

private:
    struct Job {
        quint64 generation = 0;
        std::shared_ptr<const editor::EditProject> project;
        double scale = 1;
        double t = 0;
    };
    void request();
    void tick();
    void work(std::stop_token stop);

    render::Renderer* renderer_;
    QSize box_;
    std::shared_ptr<const editor::EditProject> project_;
    double scale_ = 1;
    double duration_ = 0;
    double position_ = 0;
    bool playing_ = false;
    QElapsedTimer clock_;
    double playedFrom_ = 0;
    QTimer ticker_;
    PreviewSound sound_;
    QImage picture_;
    QString problem_;
    quint64 generation_ = 0;
    quint64 shownGeneration_ = 0;

    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::optional<Job> next_;
    core::Worker worker_;  // last: stopped and waited for first
};

}  // namespace pelix::studio
