#include "editor/Emphasis.h"
#include "EditorTestSupport.h"

namespace pelix::editor {
namespace {

using testing::evenClip;
using testing::projectOf;

// The pop-ups shown: "line text start-end", to nine digits.
QStringList popUpsOf(const EditProject& project) {
    QStringList shown;
    for (const PopUp& p : popUps(project, Timeline(segments(project)))) {
        shown << QString("%1 %2 %3-%4")
                     .arg(p.line, p.text, QString::number(p.start, 'g', 9),
                          QString::number(p.end, 'g', 9));
    }
    return shown;
}

TEST(PopUps, APhraseSitsOnTheWordsThatSpellIt) {
    // One segment from 0.91; "BIG idea," is spoken from 1.5 to 1.95.
    EditProject project =
        projectOf({evenClip({"So", "the", "BIG", "idea,", "is", "this."}, 0.2, 0.05, 1.0)});
    const QString line = "1F0C7A2B:0";
    project.keywords[line] = "Big Idea!";
    EXPECT_EQ(popUpsOf(project), QStringList{"1F0C7A2B:0 Big Idea! 0.59-1.04"});
    // Words the line does not spell in a row: over the whole line.
    project.keywords[line] = "idea this";
    EXPECT_EQ(popUpsOf(project), QStringList{"1F0C7A2B:0 idea this 0-1.63"});
    project.cut = {line};
    EXPECT_EQ(popUpsOf(project), QStringList{});
}

}  // namespace
}  // namespace pelix::editor
