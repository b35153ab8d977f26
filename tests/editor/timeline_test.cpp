#include "editor/Timeline.h"
#include "EditorTestSupport.h"
#include "editor/EditText.h"

namespace pelix::editor {
namespace {

using testing::clipOf;
using testing::evenClip;
using testing::projectOf;

std::vector<int> lineSizes(const std::vector<Line>& all) {
    std::vector<int> sizes;
    for (const Line& l : all) sizes.push_back(l.lastWord - l.firstWord + 1);
    return sizes;
}

TEST(Lines, WhereLinesEnd) {
    const struct {
        const char* name;
        SourceClip clip;
        std::vector<int> sizes;
    } cases[] = {
        {"28 words at most", evenClip(QStringList(60, "word")), {28, 28, 4}},
        {"sentence end whatever the timing",
         clipOf({{0, 0.3, "Hello."}, {0.31, 0.5, "Um,"}, {0.51, 0.7, "so"}}),
         {1, 2}},
        {"question and CJK marks",
         clipOf({{0, 1, "why?"}, {1, 2, "好。"}, {2, 3, "真的！"}, {3, 4, "x"}}),
         {1, 1, 1, 1}},
        {"a pause of exactly 0.9 s does not end a line", clipOf({{0, 1, "a"}, {1.9, 2, "b"}}), {2}},
        {"a pause over 0.9 s does", clipOf({{0, 1, "a"}, {1.91, 2, "b"}}), {1, 1}},
        {"empty text never ends a sentence", clipOf({{0, 1, ""}, {1, 2, "b"}}), {2}},
        {"a mark inside a longer grapheme cluster is no sentence end",
         clipOf({{0, 1, "a\u0600."}, {1, 2, "b"}}),
         {2}},
        {"a mark followed by a combining accent is no sentence end",
         clipOf({{0, 1, "a.\u0301"}, {1, 2, "b"}}),
         {2}},
        {"no words, no lines", clipOf({}), {}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(lineSizes(lines({c.clip})), c.sizes) << c.name;
    }
}

TEST(Lines, CountAgainFromZeroInEachClip) {
    QStringList ids;
    for (const Line& l : lines({clipOf({{0, 1, "One."}, {1, 2, "Two."}}, 0, 0), clipOf({}, 0, 1),
                                clipOf({{0, 1, "Three."}}, 0, 2)})) {
        ids << QString("%1 in %2 from %3").arg(l.id).arg(l.clip).arg(l.firstWord);
    }
    EXPECT_EQ(ids, (QStringList{"1F0C7A2B:0 in 0 from 0", "1F0C7A2B:1 in 0 from 1",
                                "1F0C7A2D:0 in 2 from 0"}));
}

TEST(Fillers, WhichWordsAreFillers) {
    const struct {
        const char* text;
        bool filler;
    } cases[] = {{"Um,", true},        {"UH.", true},  {"(hmm)", true},  {"ÄHM", true},
                 {"嗯", true},         {"呃，", true}, {"  er  ", true}, {"umbrella", false},
                 {"hmm-kay", false},   {"", false},    {"...", false},   {"ummm", false},
                 {"UMMMMMMMMM", false}};
    for (const auto& c : cases) {
        EXPECT_EQ(edittext::isFiller(QString::fromUtf8(c.text)), c.filler) << c.text;
    }
}

TEST(KeptWords, FillersGoFromKeptWordsButStayInTheLineText) {
    const SourceClip clip = clipOf({{0, 0.3, "Hello."}, {0.4, 0.6, "Um,"}, {0.7, 0.9, "so"}});
    const auto all = lines({clip});
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[1].text, "Um, so");
    EXPECT_EQ(keptWords(all[1], clip, true), std::vector<int>{2});
    EXPECT_EQ(keptWords(all[1], clip, false), (std::vector<int>{1, 2}));
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
    const struct {
        const char* name;
        SourceClip clip;
        Pace pace;
        const char* want;
    } cases[] = {
        // (1.9 - 0.09) - (1.4 + 0.09) = 0.32, under the 0.35 limit.
        {"tight: by the formula kept words 0.5 s apart also stay in one range",
         clipOf({{1, 1.4, "a"}, {1.9, 2.2, "b"}}), Pace::tight, "0.91-2.29"},
        {"tight: 0.6 s apart they are cut", clipOf({{1, 1.4, "a"}, {2.0, 2.2, "b"}}), Pace::tight,
         "0.91-1.49 1.91-2.29"},
        {"natural: 0.9 s apart stay joined", clipOf({{1, 1.4, "a"}, {2.3, 2.5, "b"}}),
         Pace::natural, "0.85-2.65"},
        // The gap of 0.32 s is under the limit; the filler's removal alone opens the cut.
        {"a dropped filler with 0.1 s pauses is still cut out",
         clipOf({{1, 1.4, "a"}, {1.5, 1.8, "um"}, {1.9, 2.2, "b"}}), Pace::tight,
         "0.91-1.49 1.81-2.29"},
        {"when the tails overlap the words around a filler stay joined",
         clipOf({{1, 1.4, "a"}, {1.45, 1.5, "um"}, {1.55, 2.0, "b"}}), Pace::tight, "0.91-2.09"},
        {"natural: a first word at 0.05 s starts its range at 0", clipOf({{0.05, 0.4, "a"}}),
         Pace::natural, "0-0.55"},
        {"an end past the clip's duration is lowered to it", clipOf({{1, 1.95, "a"}}, 2.0),
         Pace::natural, "0.85-2"},
        {"a duration of 0 leaves ends alone", clipOf({{1, 1.95, "a"}}, 0), Pace::natural,
         "0.85-2.1"},
        {"a range of 0.04 s after clamping gives no segment", clipOf({{2.0, 2.2, "a"}}, 1.99),
         Pace::snappy, ""},
        {"a filler-only line gives nothing", clipOf({{1, 1.4, "Um."}}), Pace::tight, ""},
        // Lines of one clip play back to back across short silence.
        {"0.3 s of silence moves the first line's end up to where the second starts",
         clipOf({{1, 2, "One."}, {2.3, 3, "Two."}}), Pace::tight, "0.91-2.21 2.21-3.09"},
        {"1 s of silence keeps the cut", clipOf({{1, 2, "One."}, {3, 4, "Two."}}), Pace::tight,
         "0.91-2.09 2.91-4.09"},
        {"a dropped filler lying across the gap keeps the cut",
         clipOf({{1, 2, "One."}, {2.1, 2.4, "Um."}, {2.5, 3, "Two."}}), Pace::tight,
         "0.91-2.09 2.41-3.09"},
        {"overlapping ranges of two lines never overlap",
         clipOf({{1, 2, "One."}, {2.1, 3, "Two."}}), Pace::tight, "0.91-2.09 2.09-3.09"},
    };
    for (const auto& c : cases) {
        EditProject project = projectOf({c.clip});
        project.settings.pace = c.pace;
        EXPECT_EQ(rangesOf(project), c.want) << c.name;
    }
}

TEST(Segments, CutLinesAreLeftOutAndKeepTheirIdOnTheSegment) {
    EditProject project = projectOf({clipOf({{1, 2, "One."}, {2.2, 3, "Two."}, {5, 6, "Three."}})});
    project.cut = {"1F0C7A2B:1"};
    // No joining across a cut line's words: the first range ends at 2.09.
    EXPECT_EQ(rangesOf(project), "0.91-2.09 4.91-6.09");
    EXPECT_EQ(segments(project).at(1).line, "1F0C7A2B:2");
}

TEST(Timeline, OutputSegmentAndSpan) {
    const Timeline t({{0, 1, 3, "A:0"}, {1, 0, 2, "B:0"}, {0, 5, 6, "A:1"}, {0, 6, 7, "A:1"}});
    EXPECT_EQ(t.starts(), (std::vector<double>{0, 2, 4, 5}));
    EXPECT_EQ(t.total(), 6);

    const struct {
        int clip;
        double source;
        std::optional<double> output;
    } outputs[] = {{0, 1, 0}, {0, 2.5, 1.5}, {0, 0.9995, 0}, {0, 3.0005, 2}, {0, 4, {}},
                   {1, 1, 3}, {0, 6, 5},     {0, 7.5, {}},   {2, 1, {}},     {1, -0.0005, 2}};
    for (const auto& o : outputs) {
        EXPECT_EQ(t.output(o.clip, o.source), o.output) << o.clip << " @ " << o.source;
    }
    const struct {
        double output;
        int index;
    } found[] = {{-1, 0}, {0, 0}, {1.99, 0}, {2, 1}, {4.5, 2}, {5, 3}, {100, 3}};
    for (const auto& f : found) EXPECT_EQ(t.segment(f.output), f.index) << f.output;

    EXPECT_EQ(t.span("A:1"), (std::pair<double, double>{4, 6}));
    EXPECT_EQ(t.span("B:0"), (std::pair<double, double>{2, 4}));
    EXPECT_FALSE(t.span("C:0"));
    EXPECT_FALSE(Timeline().segment(0));
    EXPECT_EQ(Timeline({{0, 1, 2, "A:0"}}).segment(50), 0);
}

TEST(Timeline, SegmentsOutOfSourceOrderAreStillFoundFirstInPlayingOrder) {
    const Timeline t({{0, 5, 6, "A:1"}, {0, 1, 3, "A:0"}, {0, 2, 5.5, "A:2"}});
    EXPECT_EQ(t.output(0, 2.5), 2.5);  // the second segment, not the third
    EXPECT_NEAR(t.output(0, 5.2).value_or(-1), 0.2, 1e-9);
    EXPECT_EQ(t.output(0, 4), 5);
}

TEST(Timeline, SpansAskedInOrderMatchSpansLookedUp) {
    const std::vector<Segment> together{{0, 0, 1, "A:0"}, {0, 2, 3, "A:0"}, {0, 4, 5, "A:2"}};
    const std::vector<Segment> split{{0, 0, 1, "A:0"}, {0, 2, 3, "A:1"}, {0, 4, 5, "A:0"}};
    const std::vector<Segment> reversed{{0, 4, 5, "A:2"}, {0, 2, 3, "A:1"}, {0, 0, 1, "A:0"}};
    for (const auto& segments : {together, split, reversed}) {
        const Timeline t(segments);
        size_t next = 0;
        for (const char* id : {"A:0", "A:1", "A:2", "A:3"}) {
            EXPECT_EQ(t.span(id, next), t.span(id)) << id;
        }
    }
}

}  // namespace
}  // namespace pelix::editor
