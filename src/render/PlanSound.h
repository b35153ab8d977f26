#pragma once

#include "core/Error.h"
#include "render/RenderPlan.h"

#include <QString>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace pelix::render {

class AudioReader;

// The sound of a plan as the export writes it (kSampleRate stereo, cut on exact samples, faded
// at the cuts), read by output sample: what the preview plays. Clip readers are opened on first
// use and kept across a new plan that still uses their file. One thread at a time; reading
// decodes, so it belongs on a worker.
class PlanSound {
public:
    PlanSound();
    explicit PlanSound(const RenderPlan& plan);
    ~PlanSound();
    PlanSound(const PlanSound&) = delete;
    PlanSound& operator=(const PlanSound&) = delete;

    void setPlan(const RenderPlan& plan);
    // Output samples [from, from + count) into `left` and `right`; silence before the start,
    // after the end and where a clip has no sound.
    Status read(int64_t from, int count, float* left, float* right);
    // Output samples in all.
    int64_t length() const;

private:
    std::vector<SoundPiece> pieces_;
    std::vector<QString> paths_;                               // by clip
    std::map<QString, std::unique_ptr<AudioReader>> readers_;  // null: the file has no sound
    std::vector<float> left_, right_;
};

}  // namespace pelix::render
