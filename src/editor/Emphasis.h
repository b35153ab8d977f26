#pragma once

#include "editor/EditProject.h"
#include "editor/Timeline.h"

#include <optional>
#include <vector>

namespace pelix::editor {

// A line's pop-up phrase and when it is on screen, in output seconds.
struct PopUp {
    double start = 0;
    double end = 0;
    QString text;
    QString line;  // the id of the line it belongs to
    bool operator==(const PopUp&) const = default;
};

// The hook shown at the start, in the caption language when it has been translated.
std::optional<QString> hookText(const EditProject& project);

// The zoom factor of each segment of the timeline: punch-ins alternate line by line, and lines
// with a pop-up phrase get a stronger one.
std::vector<double> zooms(const EditProject& project, const Timeline& timeline);

// The pop-ups in output order (none while visuals or keyword pops are off), one per line that is
// not cut, has a phrase and is on the timeline. A phrase sits on the first run of the line's kept
// words that spells it (case and punctuation around words ignored), from the first word's output
// start to the last word's output end; a phrase the words do not spell sits over the line's whole
// span.
std::vector<PopUp> popUps(const EditProject& project, const Timeline& timeline);
std::vector<PopUp> popUps(const EditProject& project, const Timeline& timeline,
                          const std::vector<Line>& lines);

}  // namespace pelix::editor
