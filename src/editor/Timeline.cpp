#include "editor/Timeline.h"

#include "editor/EditText.h"

#include <algorithm>
#include <limits>

namespace pelix::editor {
namespace {

constexpr double kSliver = 0.05;
constexpr double kTolerance = 0.001;

struct PaceRule {
    double lead;
    double tail;
    double gapLimit;
};

PaceRule rule(Pace pace) {
    switch (pace) {
        case Pace::natural:
            return {-0.15, 0.15, 0.7};
        case Pace::tight:
            return {-0.09, 0.09, 0.35};
        case Pace::snappy:
            return {-0.05, 0.05, 0.15};
    }
    return {-0.09, 0.09, 0.35};
}

// Answers "does any word of the clip lie across (from, to)": a word whose end is after `from`
// and whose start is before `to`. The words are taken in start order with the running maximum
// of their ends, so each question is one binary search.
class WordsAcross {
public:
    explicit WordsAcross(const std::vector<core::Word>& words) {
        std::vector<const core::Word*> order;
        order.reserve(words.size());
        for (const core::Word& w : words) order.push_back(&w);
        const auto byStart = [](const core::Word* a, const core::Word* b) {
            return a->start < b->start;
        };
        if (!std::is_sorted(order.begin(), order.end(), byStart)) {
            std::stable_sort(order.begin(), order.end(), byStart);
        }
        starts_.reserve(order.size());
        maxEnds_.reserve(order.size());
        double maxEnd = -std::numeric_limits<double>::infinity();
        for (const core::Word* w : order) {
            maxEnd = std::max(maxEnd, w->end);
            starts_.push_back(w->start);
            maxEnds_.push_back(maxEnd);
        }
    }

    bool any(double from, double to) const {
        const auto before = std::lower_bound(starts_.begin(), starts_.end(), to) - starts_.begin();
        return before > 0 && maxEnds_[size_t(before - 1)] > from;
    }

private:
    std::vector<double> starts_;
    std::vector<double> maxEnds_;
};

QString joinedText(const std::vector<core::Word>& words, int first, int last) {
    qsizetype length = last - first;
    for (int i = first; i <= last; ++i) length += words[size_t(i)].text.size();
    QString text(length, Qt::Uninitialized);
    QChar* out = text.data();
    for (int i = first; i <= last; ++i) {
        if (i > first) *out++ = u' ';
        const QString& part = words[size_t(i)].text;
        out = std::copy(part.cbegin(), part.cend(), out);
    }
    return text;
}

}  // namespace

std::vector<Line> lines(const std::vector<SourceClip>& clips, double pause, int maxWords) {
    std::vector<Line> result;
    for (size_t c = 0; c < clips.size(); ++c) {
        const std::vector<core::Word>& words = clips[c].words;
        const QString prefix = upperUuid(clips[c].id).left(8) + u':';
        int first = 0;
        int number = 0;
        const int count = int(words.size());
        for (int j = 0; j < count; ++j) {
            const core::Word& word = words[size_t(j)];
            const bool ends = j == count - 1 || edittext::endsSentence(word.text) ||
                              words[size_t(j) + 1].start - word.end > pause ||
                              j - first + 1 >= maxWords;
            if (!ends) continue;
            result.push_back(Line{prefix + QString::number(number++), int(c), first, j,
                                  words[size_t(first)].start, word.end,
                                  joinedText(words, first, j)});
            first = j + 1;
        }
    }
    return result;
}

std::vector<int> keptWords(const Line& line, const SourceClip& clip, bool dropFillers) {
    std::vector<int> kept;
    kept.reserve(size_t(std::max(0, line.lastWord - line.firstWord + 1)));
    for (int i = line.firstWord; i <= line.lastWord; ++i) {
        if (dropFillers && edittext::isFiller(clip.words[size_t(i)].text)) continue;
        kept.push_back(i);
    }
    return kept;
}

LineIndex::LineIndex(const std::vector<Line>& lines) : lines_(lines.size()) {
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i == 0 || lines[i].clip != lines[i - 1].clip) {
            const QString& id = lines[i].id;
            clips_.push_back(Clip{id.left(id.lastIndexOf(u':') + 1), i, 0});
        }
        ++clips_.back().count;
    }
}

template <class F>
void LineIndex::find(QStringView id, F&& found) const {
    const qsizetype colon = id.lastIndexOf(u':');
    const QStringView digits = id.sliced(colon + 1);
    // Only the number as lines are numbered: digits, no leading zero.
    if (colon < 0 || digits.isEmpty() || digits.size() > 9 ||
        (digits[0] == u'0' && digits.size() > 1) ||
        !std::all_of(digits.begin(), digits.end(),
                     [](QChar c) { return c.isDigit() && c.unicode() < 0x80; })) {
        return;
    }
    const size_t number = size_t(digits.toULong());
    const QStringView prefix = id.first(colon + 1);
    for (const Clip& clip : clips_) {
        if (number < clip.count && clip.prefix == prefix) found(clip.first + number);
    }
}

std::vector<char> LineIndex::marked(const TextSet& ids) const {
    std::vector<char> marks(lines_, 0);
    for (const QString& id : ids) find(id, [&](size_t line) { marks[line] = 1; });
    return marks;
}

std::vector<const QString*> LineIndex::texts(const TextMap& texts) const {
    std::vector<const QString*> found(lines_, nullptr);
    for (const auto& [id, text] : texts) find(id, [&](size_t line) { found[line] = &text; });
    return found;
}

std::vector<Segment> segments(const EditProject& project) {
    return segments(project, lines(project.clips));
}

std::vector<Segment> segments(const EditProject& project, const std::vector<Line>& allLines) {
    const PaceRule pace = rule(project.settings.pace);
    std::vector<Segment> out;
    // Built for a clip the first time two of its lines might be joined.
    std::vector<std::optional<WordsAcross>> across(project.clips.size());
    const std::vector<char> cut = LineIndex(allLines).marked(project.cut);

    for (size_t l = 0; l < allLines.size(); ++l) {
        const Line& line = allLines[l];
        if (cut[l]) continue;
        const SourceClip& clip = project.clips[size_t(line.clip)];
        const std::vector<int> kept = keptWords(line, clip, project.settings.removeFillers);
        if (kept.empty()) continue;
        const double limit =
            clip.duration > 0 ? clip.duration : std::numeric_limits<double>::infinity();

        const auto append = [&](double start, double end) {
            double s = std::max(start, 0.0);
            const double e = std::min(end, limit);
            if (!out.empty() && out.back().clip == line.clip) {
                Segment& last = out.back();
                if (s < last.end) {
                    s = last.end;
                } else if (last.line != line.id && s - last.end <= pace.gapLimit) {
                    auto& words = across[size_t(line.clip)];
                    if (!words) words.emplace(clip.words);
                    if (!words->any(last.end, s)) last.end = std::min(s, limit);
                }
            }
            if (e - s > kSliver) out.push_back(Segment{line.clip, s, e, line.id});
        };

        const auto word = [&](int index) -> const core::Word& { return clip.words[size_t(index)]; };
        double rangeStart = std::max(word(kept[0]).start + pace.lead, 0.0);
        double runningEnd = word(kept[0]).end + pace.tail;
        for (size_t k = 1; k < kept.size(); ++k) {
            const int w = kept[k];
            const double gapStart = word(w).start + pace.lead;
            const bool fillerBefore = kept[k - 1] != w - 1;
            if (gapStart - runningEnd > pace.gapLimit || (fillerBefore && runningEnd < gapStart)) {
                append(rangeStart, runningEnd);
                rangeStart = gapStart;
            }
            runningEnd = word(w).end + pace.tail;
        }
        append(rangeStart, runningEnd);
    }
    return out;
}

Timeline::Timeline(std::vector<Segment> segments) : segments_(std::move(segments)) {
    starts_.reserve(segments_.size());
    linePositions_.reserve(segments_.size());
    positionInClip_.resize(segments_.size(), -1);
    byLine_.reserve(qsizetype(segments_.size()));
    LineSegments* line = nullptr;
    for (size_t i = 0; i < segments_.size(); ++i) {
        const Segment& s = segments_[i];
        starts_.push_back(total_);
        total_ += s.end - s.start;

        if (s.clip >= 0) {
            if (size_t(s.clip) >= byClip_.size()) byClip_.resize(size_t(s.clip) + 1);
            ClipSegments& clip = byClip_[size_t(s.clip)];
            if (!clip.indices.empty()) {
                const Segment& before = segments_[size_t(clip.indices.back())];
                if (s.start < before.start || s.end < before.end) clip.ordered = false;
            }
            positionInClip_[i] = int(clip.indices.size());
            clip.indices.push_back(int(i));
            clip.ends.push_back(s.end);
        }

        // The segments of a line mostly follow one another: only a new line is looked up.
        if (i == 0 || segments_[i - 1].line != s.line) {
            line = &byLine_[s.line];
            if (line->first < 0) {
                *line = {int(i), int(i), int(byLine_.size()) - 1};
            } else {
                linesTogether_ = false;
            }
        }
        line->last = int(i);
        linePositions_.push_back(line->position);
    }
}

std::optional<int> Timeline::segmentHolding(int clip, double t, int near) const {
    if (clip < 0 || size_t(clip) >= byClip_.size()) return std::nullopt;
    const ClipSegments& c = byClip_[size_t(clip)];
    const auto holds = [&](int i) {
        const Segment& s = segments_[size_t(i)];
        return s.start - kTolerance <= t && t <= s.end + kTolerance;
    };
    if (!c.ordered) {
        const auto it = std::find_if(c.indices.begin(), c.indices.end(), holds);
        return it == c.indices.end() ? std::nullopt : std::optional<int>(*it);
    }
    // The first segment that does not end before t is the only one that can hold it.
    const auto endsBefore = [&](size_t p) { return c.ends[p] + kTolerance < t; };
    const auto firstNotBefore = [&](size_t p) {
        return p < c.ends.size() && !endsBefore(p) && (p == 0 || endsBefore(p - 1));
    };
    size_t at = c.ends.size();
    const size_t hint =
        near >= 0 && size_t(near) < segments_.size() && segments_[size_t(near)].clip == clip
            ? size_t(positionInClip_[size_t(near)])
            : c.ends.size();
    if (firstNotBefore(hint)) {
        at = hint;
    } else if (firstNotBefore(hint + 1)) {
        at = hint + 1;
    } else {
        at = size_t(std::partition_point(c.ends.begin(), c.ends.end(),
                                         [&](double end) { return end + kTolerance < t; }) -
                    c.ends.begin());
    }
    if (at == c.ends.size() || !holds(c.indices[at])) return std::nullopt;
    return c.indices[at];
}

double Timeline::outputIn(int i, double t) const {
    const Segment& s = segments_[size_t(i)];
    return starts_[size_t(i)] + std::clamp(t - s.start, 0.0, std::max(0.0, s.end - s.start));
}

std::optional<double> Timeline::output(int clip, double t) const {
    const auto i = segmentHolding(clip, t);
    if (!i) return std::nullopt;
    return outputIn(*i, t);
}

std::optional<int> Timeline::linePosition(const QString& lineId) const {
    const auto found = byLine_.constFind(lineId);
    if (found == byLine_.cend()) return std::nullopt;
    return found->position;
}

std::optional<int> Timeline::segment(double t) const {
    if (segments_.empty()) return std::nullopt;
    if (segments_.size() == 1) return 0;
    const auto after = std::upper_bound(starts_.begin(), starts_.end(), t);
    return int(std::max<std::ptrdiff_t>(0, after - starts_.begin() - 1));
}

std::optional<std::pair<double, double>> Timeline::span(const QString& lineId) const {
    const auto found = byLine_.constFind(lineId);
    if (found == byLine_.cend()) return std::nullopt;
    const Segment& last = segments_[size_t(found->last)];
    return std::pair{starts_[size_t(found->first)],
                     starts_[size_t(found->last)] + (last.end - last.start)};
}

std::optional<std::pair<double, double>> Timeline::span(const QString& lineId, size_t& next) const {
    if (!linesTogether_ || next >= segments_.size() || segments_[next].line != lineId) {
        const auto found = span(lineId);
        if (found) next = size_t(byLine_.value(lineId).last) + 1;
        return found;
    }
    // The line's segments start here and, being together, end where the next line's begin.
    const size_t first = next;
    while (next < segments_.size() && segments_[next].line == lineId) ++next;
    const Segment& last = segments_[next - 1];
    return std::pair{starts_[first], starts_[next - 1] + (last.end - last.start)};
}

std::optional<OutputTime> wordOutput(const Timeline& timeline, int clip, const core::Word& word,
                                     int* near) {
    const auto i = timeline.segmentHolding(clip, word.start, near ? *near : -1);
    if (!i) return std::nullopt;
    if (near) *near = *i;
    const double start = timeline.outputIn(*i, word.start);
    const auto j = timeline.segmentHolding(clip, word.end, *i);
    return OutputTime{start, j ? timeline.outputIn(*j, word.end) : start + (word.end - word.start)};
}

}  // namespace pelix::editor
