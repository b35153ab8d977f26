#include "editor/Timeline.h"
#include "EditorTestSupport.h"

namespace pelix::editor {
namespace {

using testing::clipOf;
using testing::evenClip;
using testing::projectOf;

// The lines' texts, apart by " | ", white space simplified.
QString linesOf(const std::vector<SourceClip>& clips) {
    QStringList texts;
    for (const Line& l : lines(clips)) texts << l.text.simplified();
    return texts.join(" | ");
}

// A pause over 0.9 s, a sentence's end or a 28th word ends a line.
TEST(Lines, WhereLinesEnd) {
    const std::pair<SourceClip, const char*> cases[] = {
        {clipOf({{0, 0.3, "Hello."}, {0.31, 0.5, "Um,"}, {0.51, 0.7, "so"}}), "Hello. | Um, so"},
        {clipOf({{0, 1, "why?"}, {1, 2, "好。"}, {2, 3, "真的！"}, {3, 4, "x"}}),
         "why? | 好。 | 真的！ | x"},
        {clipOf({{0, 1, "a"}, {1.9, 2, "b"}}), "a b"},
        {clipOf({{0, 1, "a"}, {1.91, 2, "b"}}), "a | b"},
        // A mark inside a longer grapheme cluster is no sentence end.
        {clipOf({{0, 1, "a\u0600."}, {1, 2, "b"}}), "a\u0600. b"},
        {clipOf({{0, 1, "a.\u0301"}, {1, 2, "b"}}), "a.\u0301 b"},
    };
    for (const auto& [clip, want] : cases) EXPECT_EQ(linesOf({clip}), QString::fromUtf8(want));
    const QString line = QStringList(28, "word").join(' ');
    EXPECT_EQ(linesOf({evenClip(QStringList(60, "word"))}),
              line + " | " + line + " | word word word word");
}

// The segments' source ranges, "start-end" apart by spaces, to nine digits.
QString rangesOf(const EditProject& project) {
    QStringList ranges;
    for (const Segment& s : segments(project)) {
        ranges << QString::number(s.start, 'g', 9) + "-" + QString::number(s.end, 'g', 9);
    }
    return ranges.join(' ');
}

TEST(Segments, RangesClampingAndJoining) {
    using enum Pace;
    const struct {
        SourceClip clip;
        Pace pace;
        const char* want;
        TextSet cut = {};
    } cases[] = {
        // Kept words 0.5 s apart: (1.9 - 0.09) - (1.4 + 0.09) = 0.32, under the 0.35 limit.
        {clipOf({{1, 1.4, "a"}, {1.9, 2.2, "b"}}), tight, "0.91-2.29"},
        {clipOf({{1, 1.4, "a"}, {2.0, 2.2, "b"}}), tight, "0.91-1.49 1.91-2.29"},
        // A dropped filler opens a cut of its own, unless the words' tails overlap across it.
        {clipOf({{1, 1.4, "a"}, {1.5, 1.8, "um"}, {1.9, 2.2, "b"}}), tight, "0.91-1.49 1.81-2.29"},
        {clipOf({{1, 1.4, "a"}, {1.45, 1.5, "um"}, {1.55, 2.0, "b"}}), tight, "0.91-2.09"},
        // Ranges stay inside the clip; a sliver is no segment.
        {clipOf({{0.05, 0.4, "a"}}), natural, "0-0.55"},
        {clipOf({{1, 1.95, "a"}}, 2.0), natural, "0.85-2"},
        // Lines of one clip play back to back across short silence, but not across a dropped
        // filler or a cut line.
        {clipOf({{1, 2, "One."}, {2.3, 3, "Two."}}), tight, "0.91-2.21 2.21-3.09"},
        {clipOf({{1, 2, "One."}, {2.1, 2.4, "Um."}, {2.5, 3, "Two."}}), tight,
         "0.91-2.09 2.41-3.09"},
        {clipOf({{1, 2, "One."}, {2.2, 3, "Two."}, {5, 6, "Three."}}),
         tight,
         "0.91-2.09 4.91-6.09",
         {"1F0C7A2B:1"}},
    };
    for (const auto& c : cases) {
        EditProject project = projectOf({c.clip});
        project.settings.pace = c.pace;
        project.cut = c.cut;
        EXPECT_EQ(rangesOf(project), c.want) << c.clip.words.size() << " words, " << c.want;
    }
}

TEST(Timeline, SegmentsOutOfSourceOrderAreStillFoundFirstInPlayingOrder) {
    const Timeline t({{0, 5, 6, "A:1"}, {0, 1, 3, "A:0"}, {0, 2, 5.5, "A:2"}});
    EXPECT_EQ(t.output(0, 2.5), 2.5);  // the second segment, not the third
    EXPECT_NEAR(t.output(0, 5.2).value_or(-1), 0.2, 1e-9);
    EXPECT_EQ(t.output(0, 4), 5);
}

}  // namespace
}  // namespace pelix::editor
