#pragma once

#include "core/Worker.h"
#include "editor/EditProject.h"

#include <QObject>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

class QAudioSink;

namespace pelix::studio {

// The sound of the edit for the preview, played from an output time: a worker of its own decodes
// it (render::PlanSound, so it is the export's sound) up to kAhead seconds ahead into a buffer,
// which the default audio output drains through Qt Multimedia. The sound handed to the output is
// the preview's clock while it plays, so the pictures follow what is heard.
class PreviewSound final : public QObject {
    Q_OBJECT

public:
    // Seconds decoded ahead of the output.
    static constexpr double kAhead = 0.4;

    explicit PreviewSound(QObject* parent = nullptr);
    ~PreviewSound() override;

    // The edit to play; while playing it goes on from the same output time.
    void setProject(std::shared_ptr<const editor::EditProject> project);
    // Plays from output time `t`. False when there is no audio output; the caller keeps time
    // itself then.
    bool start(double t);
    void stop();
    bool playing() const { return active_; }
    // The output time of the sound handed to the output so far (where it started until the
    // output begins); none unless playing.
    std::optional<double> position() const;

    class Feed;

private:
    void fill(std::stop_token stop);
    // The buffer holds enough to begin: the output starts.
    void primed(quint64 generation);

    std::shared_ptr<const editor::EditProject> project_;
    std::unique_ptr<Feed> feed_;
    QAudioSink* sink_ = nullptr;  // made once the buffer is primed
    bool active_ = false;
    double startedAt_ = 0;

    struct Wanted {
        quint64 generation = 0;
        std::shared_ptr<const editor::EditProject> project;
        int64_t from = 0;  // output sample
        bool active = false;
    };
    std::mutex mutex_;
    std::condition_variable_any wake_;
    Wanted wanted_;
    core::Worker worker_;  // last: stopped and waited for first
};

}  // namespace pelix::studio
