#include "editor/Emphasis.h"
#include "EditorTestSupport.h"

namespace pelix::editor {
namespace {

using testing::clipOf;
using testing::evenClip;
using testing::projectOf;

// Three lines far apart, each one segment.
EditProject threeLines() {
    return projectOf({clipOf({{1, 2, "One."}, {4, 5, "Two."}, {7, 8, "Three."}})});
}

TEST(Zooms, PunchInsAlternateLineByLine) {
    EditProject project = threeLines();
    const auto zoomsOf = [](const EditProject& p) { return zooms(p, Timeline(segments(p))); };
    EXPECT_EQ(zoomsOf(project), (std::vector<double>{1.0, 1.1, 1.0}));

    project.keywords["1F0C7A2B:2"] = "Three";
    EXPECT_EQ(zoomsOf(project), (std::vector<double>{1.0, 1.1, 1.18}));
    project.settings.punchIns = false;
    EXPECT_EQ(zoomsOf(project), (std::vector<double>{1.0, 1.0, 1.0}));

    // Segments of one line share its factor: positions count lines, not segments.
    const Timeline t({{0, 0, 1, "A:0"}, {0, 2, 3, "A:1"}, {0, 4, 5, "A:1"}, {0, 6, 7, "A:2"}});
    EXPECT_EQ(zooms(projectOf({}), t), (std::vector<double>{1.0, 1.1, 1.1, 1.0}));
}

TEST(Hook, WhichHookIsShown) {
    using enum CaptionLanguage;
    const struct {
        const char* hook;
        CaptionLanguage language;
        std::optional<QString> want;
    } cases[] = {
        {"  Stop scrolling\n", original, "Stop scrolling"},
        {"Stop scrolling", fr, "Arrêtez de défiler"},
        {"Stop scrolling", de, "Stop scrolling"},  // not translated into German
        {"   ", original, std::nullopt},
    };
    for (const auto& c : cases) {
        EditProject project = projectOf({});
        project.hook = QString::fromUtf8(c.hook);
        project.translations["fr"]["hook"] = " Arrêtez de défiler ";
        project.settings.captionLanguage = c.language;
        EXPECT_EQ(hookText(project), c.want) << c.hook << " " << int(c.language);
    }
}

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
