#include "editor/Captions.h"
#include "EditorTestSupport.h"

namespace pelix::editor {
namespace {

using testing::clipOf;
using testing::evenClip;
using testing::projectOf;

// The cues' words, cues apart by " | ".
QString wordsOf(const std::vector<CaptionCue>& cues) {
    QStringList words;
    for (const CaptionCue& cue : cues) words << cue.words.join(' ');
    return words.join(" | ");
}

std::vector<CaptionCue> captionsOf(const EditProject& project) {
    return captions(project, Timeline(segments(project)));
}

TEST(Captions, CuesFollowTheSpokenWords) {
    const struct {
        const char* name;
        SourceClip clip;
        const char* want;
        CaptionStyle style = CaptionStyle::bold;
    } cases[] = {
        {"a comma closes a bold cue", evenClip({"So,", "here's", "the", "thing."}, 0.25, 0.05),
         "So, | here's the thing."},
        {"but not a clean one", evenClip({"So,", "here's", "the", "thing."}, 0.25, 0.05),
         "So, here's the thing.", CaptionStyle::clean},
        {"five quick words make cues of 3 and 2 under bold",
         evenClip({"one", "two", "three", "four", "five"}, 0.2, 0.05), "one two three | four five"},
        {"fillers are not shown", evenClip({"we", "um", "go"}, 0.2, 0.05), "we go"},
        {"a pause over 0.6 s starts a new cue",
         clipOf({{0, 0.3, "wait"}, {1.0, 1.2, "for"}, {1.25, 1.4, "it"}}), "wait | for it"},
    };
    for (const auto& c : cases) {
        EditProject project = projectOf({c.clip});
        project.settings.pace = Pace::natural;
        project.settings.captionStyle = c.style;
        EXPECT_EQ(wordsOf(captionsOf(project)), c.want) << c.name;
    }
}

TEST(Captions, OnlyTheKeptPartOfALineIsCaptioned) {
    const EditProject project =
        projectOf({clipOf({{0, 0.5, "a"}, {0.6, 1, "b"}, {1.1, 1.5, "c"}, {1.6, 2, "d"}})});
    const Timeline half({{0, 1.05, 2.1, "1F0C7A2B:0"}});
    EXPECT_EQ(wordsOf(captions(project, half)), "c d");

    EditProject cut = project;
    cut.cut = {"1F0C7A2B:0"};
    EXPECT_TRUE(captionsOf(cut).empty());
}

TEST(Captions, ShortGapsBetweenCuesAreClosed) {
    const EditProject project = projectOf({clipOf({{1, 2, "One."}, {5, 6, "Two."}})});
    for (const auto& [firstEnd, closed] : {std::pair{2.3, true}, std::pair{2.5, false}}) {
        // "One." ends at output 1.1; "Two." starts where its segment does.
        const Timeline t({{0, 0.9, firstEnd, "1F0C7A2B:0"}, {0, 5, 6, "1F0C7A2B:1"}});
        const auto cues = captions(project, t);
        ASSERT_EQ(cues.size(), 2u);
        EXPECT_NEAR(cues[0].end, closed ? cues[1].start : 1.1, 1e-9) << firstEnd;
    }
}

TEST(Captions, TranslationThenCorrectionThenSpokenWords) {
    EditProject project = projectOf({evenClip({"so", "the", "big", "idea"}, 0.2, 0.05, 1.0)});
    const QString line = "1F0C7A2B:0";
    project.settings.captionLanguage = CaptionLanguage::fr;
    project.translations["fr"][line] = "donc la grande idée";
    project.translations["de"][line] = "also die große Idee";
    project.fixes[line] = "so the bigger idea";

    auto cues = captionsOf(project);
    EXPECT_EQ(wordsOf(cues), "donc la grande | idée");
    EXPECT_FALSE(cues[0].times);
    // Time is shared by length: "donclagrande" is 12 characters, "idée" 4.
    const double length = cues[1].end - cues[0].start;
    EXPECT_NEAR(cues[0].end - cues[0].start, length * 12 / 16, 1e-9);

    // Only the spoken words carry their own times.
    project.translations.erase("fr");
    EXPECT_EQ(wordsOf(captionsOf(project)), "so the bigger | idea");
    EXPECT_FALSE(captionsOf(project)[0].times);
    project.fixes.clear();
    EXPECT_TRUE(captionsOf(project)[0].times);
    EXPECT_EQ(wordsOf(captionsOf(project)), "so the big | idea");
}

// Chunks written as text: pieces apart by spaces, chunks by " | ".
TEST(Chunk, Table) {
    const struct {
        const char* text;
        bool unspaced;
        int pieces, chars;
        const char* want;
    } cases[] = {
        // Unspaced text counts characters, its white space dropped; a break mark ends a chunk of
        // four or more.
        {"一二三四五六七八九十一二三四五六七八九十", true, 3, 8,
         "一 二 三 四 五 六 七 八 | 九 十 一 二 三 四 五 六 | 七 八 九 十"},
        {"我 们\n好", true, 3, 8, "我 们 好"},
        {"我们今天，很好", true, 3, 8, "我 们 今 天 ， | 很 好"},
        {"你好，世界", true, 3, 8, "你 好 ， 世 界"},
        // Spaced text by pieces and by characters with the spaces counted; a word longer than the
        // limit stays whole.
        {"one two three four five", false, 3, 18, "one two three | four five"},
        {"extraordinary wonderful", false, 9, 18, "extraordinary | wonderful"},
        {"supercalifragilistic", false, 3, 8, "supercalifragilistic"},
        // A break mark ends a spaced chunk of two or more; a dash or lone punctuation never starts
        // one.
        {"Hello, world. Again", false, 9, 44, "Hello, world. | Again"},
        {"Hello, world. — next", false, 9, 44, "Hello, world. — | next"},
        {"one two three !", false, 3, 18, "one two three !"},
        {"", false, 3, 18, ""},
        {"  \n ", true, 3, 8, ""},
    };
    for (const auto& c : cases) {
        QStringList chunks;
        for (const QStringList& pieces :
             chunk(QString::fromUtf8(c.text), c.unspaced, c.pieces, c.chars)) {
            chunks << pieces.join(' ');
        }
        EXPECT_EQ(chunks.join(" | "), QString::fromUtf8(c.want)) << c.text;
        EXPECT_FALSE(chunks.contains("")) << c.text;
    }
}

TEST(Untranslated, LinesWithoutATranslationAndTheHook) {
    EditProject project =
        projectOf({clipOf({{0, 1, "One."}, {1, 2, "Two."}, {2, 3, "Three."}, {3, 4, "Four."}})});
    project.hook = " Watch this ";
    project.cut = {"1F0C7A2B:1"};
    project.fixes["1F0C7A2B:0"] = "Won.";
    project.translations["es"]["1F0C7A2B:2"] = "Tres.";
    EXPECT_TRUE(untranslated(project).empty());  // captions as spoken

    project.settings.captionLanguage = CaptionLanguage::es;
    using Items = std::vector<std::pair<QString, QString>>;
    EXPECT_EQ(untranslated(project),
              (Items{{"1F0C7A2B:0", "Won."}, {"1F0C7A2B:3", "Four."}, {"hook", "Watch this"}}));
    project.translations["es"]["hook"] = "Mira esto";
    project.translations["es"]["1F0C7A2B:0"] = "Ganó.";
    EXPECT_EQ(untranslated(project), (Items{{"1F0C7A2B:3", "Four."}}));
}

TEST(Subtitles, SubRipAndWebVtt) {
    const std::vector<CaptionCue> cues{{0.05, 1.5, {"So,", "here"}, std::nullopt, false},
                                       {3661.2, 3662.0004, {"好", "的"}, std::nullopt, true}};
    EXPECT_EQ(subtitles(cues, SubtitleFormat::srt),
              "1\n00:00:00,050 --> 00:00:01,500\nSo, here\n\n"
              "2\n01:01:01,200 --> 01:01:02,000\n好的\n\n");
    EXPECT_EQ(subtitles(cues, SubtitleFormat::vtt),
              "WEBVTT\n\n00:00:00.050 --> 00:00:01.500\nSo, here\n\n"
              "01:01:01.200 --> 01:01:02.000\n好的\n\n");
}

}  // namespace
}  // namespace pelix::editor
