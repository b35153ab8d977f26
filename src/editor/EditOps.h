#pragma once

#include "editor/EditProject.h"
#include "editor/Timeline.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QStringList>

#include <vector>

namespace pelix::editor {

// A line as the service sees it: its 1-based number in the whole project and its start on a
// time axis that lays the clips end to end.
struct NumberedLine {
    int n = 0;
    Line line;
    double at = 0;
    bool operator==(const NumberedLine&) const = default;
};

// The longest texts, in user-perceived characters, that the service's answers put into a
// project: what a vertical video can show (a hook or title over the first seconds, a pop-up
// phrase, one line's caption), and a style rule or reply a person reads. Longer ones are cut
// short (edittext::bounded); at most kRules style rules are taken from one answer.
namespace longest {
inline constexpr qsizetype kHook = 150;
inline constexpr qsizetype kTitle = 150;
inline constexpr qsizetype kPopUp = 60;
inline constexpr qsizetype kLine = 600;
inline constexpr qsizetype kRule = 300;
inline constexpr qsizetype kReply = 2000;
inline constexpr qsizetype kRules = 100;
}  // namespace longest

// Every line, numbered from 1 in project order; cut lines keep their numbers. A clip of
// unknown length (0 or less) adds nothing to the offset of the clips after it.
std::vector<NumberedLine> numbered(const EditProject& project);

// One object per numbered line: "id" (the number), "t" (`at` to one decimal), "text" (the
// corrected text when there is one); with `state` also "kept" and, when set, "keyword".
QJsonArray linePayload(const EditProject& project, bool state);

// The outcome of a list of operations.
struct Applied {
    EditProject project;
    QStringList remember;  // style rules to keep for future videos
    QStringList forget;    // style rules to drop
    int skipped = 0;       // operations that could not be applied
    bool operator==(const Applied&) const = default;
};

// Applies the service's operations in order to a copy of `project`. Line numbers refer to the
// lines of `project` as given. An operation that is not understood, lacks a key, has a value of
// the wrong type or names no known line counts as skipped and changes nothing. "fix" with
// empty text removes the line's correction. Texts are bounded as `longest` says.
Applied applyOps(const QJsonArray& ops, const EditProject& project);

enum class SetOutcome { rejected, unchanged, changed };

// Sets one setting from a JSON value. Choices take their raw value; "captionSize" a number
// (or text holding one) clamped to 0.6…1.6; "targetSeconds" a number up to kLongestTime, where
// 0 or less clears it; switches true/false or the texts "true"/"false" in any case. Anything else
// is rejected.
SetOutcome setField(const QString& field, const QJsonValue& value, EditSettings& settings);

}  // namespace pelix::editor
