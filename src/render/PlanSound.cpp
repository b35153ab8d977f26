#include "render/PlanSound.h"

#include "render/Decoding.h"

#include <algorithm>

namespace pelix::render {

PlanSound::PlanSound() = default;
PlanSound::PlanSound(const RenderPlan& plan) {
    setPlan(plan);
}
PlanSound::~PlanSound() = default;

void PlanSound::setPlan(const RenderPlan& plan) {
    pieces_ = soundPieces(plan);
    paths_.clear();
    for (const ClipSource& clip : plan.clips) paths_.push_back(clip.path);
    std::erase_if(readers_, [this](const auto& entry) {
        return std::ranges::find(paths_, entry.first) == paths_.end();
    });
}

int64_t PlanSound::length() const {
    return pieces_.empty() ? 0 : pieces_.back().outputStart + pieces_.back().length;
}

Status PlanSound::read(int64_t from, int count, float* left, float* right) {
    std::fill_n(left, count, 0.0f);
    std::fill_n(right, count, 0.0f);
    const int64_t to = from + count;
    // The first piece that ends after `from`.
    auto piece = std::ranges::lower_bound(
        pieces_, from, {}, [](const SoundPiece& p) { return p.outputStart + p.length - 1; });
    for (; piece != pieces_.end() && piece->outputStart < to; ++piece) {
        const int64_t begin = std::max(from, piece->outputStart);
        const int64_t end = std::min(to, piece->outputStart + piece->length);
        if (end <= begin) continue;
        const QString& path = paths_[size_t(piece->clip)];
        auto reader = readers_.find(path);
        if (reader == readers_.end()) {
            auto opened = AudioReader::open(path);
            if (!opened) return std::unexpected(opened.error());
            reader = readers_.emplace(path, std::move(*opened)).first;
        }
        if (!reader->second) continue;  // sound alone is silent here
        const int n = int(end - begin);
        left_.resize(size_t(n));
        right_.resize(size_t(n));
        const int64_t within = begin - piece->outputStart;
        if (Status s =
                reader->second->read(piece->sourceStart + within, n, left_.data(), right_.data());
            !s) {
            return s;
        }
        const int64_t at = begin - from;
        for (int i = 0; i < n; ++i) {
            const float gain = piece->gain(within + i);
            left[at + i] = left_[size_t(i)] * gain;
            right[at + i] = right_[size_t(i)] * gain;
        }
    }
    return {};
}

}  // namespace pelix::render
