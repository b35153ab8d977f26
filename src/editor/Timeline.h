#pragma once

// Everything here runs on every change of the edit, so the costs matter: `lines`, `keptWords`,
// `segments` and the Timeline are linear (the check for a word lying across a gap is a binary
// search over words in start order with a running maximum of ends, sorted only when the words are
// not in order); `output` is a binary search over one clip's segment ends (a scan only for
// hand-made timelines whose segments go back in time); `span` is a hash lookup; and LineIndex
// matches a project's cuts, fixes, keywords and translations to lines in time linear in their
// size. Two lines' segments joined back to back never reach past the clip's duration.

#include "editor/EditProject.h"

#include <QHash>
#include <QString>

#include <optional>
#include <vector>

namespace pelix::editor {

// A run of words of one clip that the user and the service talk about, by its stable id
// ("1F0C7A2B:3": the clip id's first eight characters, then the line's number in the clip).
struct Line {
    QString id;
    int clip = 0;
    int firstWord = 0;
    int lastWord = 0;  // inclusive
    double start = 0;
    double end = 0;
    QString text;
    bool operator==(const Line&) const = default;
};

// A range of a source clip that plays in the finished video.
struct Segment {
    int clip = 0;
    double start = 0;
    double end = 0;
    QString line;
    bool operator==(const Segment&) const = default;
};

// The lines of kept segments, captions and edit operations: a pause over 0.9 s or 28 words end
// a line.
inline constexpr double kLinePause = 0.9;
inline constexpr int kLineWords = 28;

// The lines of all clips in clip order.
std::vector<Line> lines(const std::vector<SourceClip>& clips, double pause = kLinePause,
                        int maxWords = kLineWords);

// The indices of the line's words that survive, in order; fillers go when `dropFillers`.
std::vector<int> keptWords(const Line& line, const SourceClip& clip, bool dropFillers);

// Finds lines by id without a search: an id names its clip (by the first eight characters of
// its id) and the line's number within the clip.
class LineIndex {
public:
    explicit LineIndex(const std::vector<Line>& lines);

    // For each line, whether its id is in `ids`.
    std::vector<char> marked(const TextSet& ids) const;
    // For each line, the text `texts` holds under its id, or null.
    std::vector<const QString*> texts(const TextMap& texts) const;

private:
    // Calls `found` with the index of every line whose id is `id`.
    template <class F>
    void find(QStringView id, F&& found) const;

    struct Clip {
        QString prefix;  // "1F0C7A2B:"
        size_t first;    // index of its first line
        size_t count;
    };
    std::vector<Clip> clips_;
    size_t lines_ = 0;
};

// The kept segments of the whole project in playing order.
std::vector<Segment> segments(const EditProject& project);
// The same, over lines already computed with the default pause and length.
std::vector<Segment> segments(const EditProject& project, const std::vector<Line>& lines);

// Source times of kept segments mapped onto the output's time axis.
class Timeline {
public:
    Timeline() = default;
    explicit Timeline(std::vector<Segment> segments);

    const std::vector<Segment>& segments() const { return segments_; }
    const std::vector<double>& starts() const { return starts_; }
    double total() const { return total_; }

    // The output time of source time `t` of clip `clip`; none when that moment was cut.
    std::optional<double> output(int clip, double t) const;
    // The index of the first segment of `clip` that holds `t` (0.001 s of tolerance). `near`
    // may name a segment that probably holds it or comes just before, such as the previous
    // word's: then no search is needed.
    std::optional<int> segmentHolding(int clip, double t, int near = -1) const;
    // The output time of source time `t` in segment `i`, clamped to the segment.
    double outputIn(int i, double t) const;
    // The index of the segment playing at output time `t`.
    std::optional<int> segment(double t) const;
    // For each segment, the place of its line in the order lines first occur (0, 1, 2…).
    const std::vector<int>& linePositions() const { return linePositions_; }
    // The place of a line in that order; none when it has no segment.
    std::optional<int> linePosition(const QString& lineId) const;
    // The number of lines with segments.
    int lineCount() const { return int(byLine_.size()); }
    // The output range of a line; none when nothing of it is kept.
    std::optional<std::pair<double, double>> span(const QString& lineId) const;
    // The same for lines asked in playing order: `next` starts at 0 and is moved past the line's
    // segments, so when each line's segments follow one another no lookup is needed.
    std::optional<std::pair<double, double>> span(const QString& lineId, size_t& next) const;

private:
    struct ClipSegments {
        std::vector<int> indices;  // in playing order
        std::vector<double> ends;  // of those segments, for the binary search
        bool ordered = true;       // starts and ends never go back, so a binary search works
    };
    std::vector<Segment> segments_;
    std::vector<double> starts_;
    double total_ = 0;
    std::vector<ClipSegments> byClip_;  // by clip index
    struct LineSegments {
        int first = -1;
        int last = -1;
        int position = -1;
    };
    QHash<QString, LineSegments> byLine_;
    std::vector<int> linePositions_;
    std::vector<int> positionInClip_;  // of each segment, in its clip's `indices`
    bool linesTogether_ = true;        // no line's segments are split by another line's
};

// Where a spoken word plays on the timeline: its output start (in the first kept segment of its
// clip that holds its start, clamped to that segment) and end (the output time of its end, or
// the start plus its own length when that moment was cut). None when its start was cut.
struct OutputTime {
    double start = 0;
    double end = 0;
};
// `near`, when given, is the segment of the word before in the same clip and is updated, so
// words taken in order are placed without a search.
std::optional<OutputTime> wordOutput(const Timeline& timeline, int clip, const core::Word& word,
                                     int* near = nullptr);

}  // namespace pelix::editor
