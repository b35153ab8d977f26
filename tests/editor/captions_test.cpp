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
    } cases[] = {
        {"a comma closes a bold cue", evenClip({"So,", "here's", "the", "thing."}, 0.25, 0.05),
         "So, | here's the thing."},
        {"fillers are not shown", evenClip({"we", "um", "umbrella"}, 0.2, 0.05), "we umbrella"},
        {"a pause over 0.6 s starts a new cue",
         clipOf({{0, 0.3, "wait"}, {1.0, 1.2, "for"}, {1.25, 1.4, "it"}}), "wait | for it"},
    };
    for (const auto& c : cases) {
        EditProject project = projectOf({c.clip});
        project.settings.pace = Pace::natural;
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

TEST(Captions, TranslationThenCorrectionThenSpokenWords) {
    EditProject project = projectOf({evenClip({"so", "the", "big", "idea"}, 0.2, 0.05, 1.0)});
    const QString line = "1F0C7A2B:0";
    project.settings.captionLanguage = CaptionLanguage::fr;
    project.translations["fr"][line] = "donc la grande idée";
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
        {"我们今天，很好", true, 3, 8, "我 们 今 天 ， | 很 好"},
        // Spaced text by pieces and by characters with the spaces counted.
        {"one two three four five", false, 3, 18, "one two three | four five"},
        // A break mark ends a spaced chunk of two or more.
        {"Hello, world. Again", false, 9, 44, "Hello, world. | Again"},
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

}  // namespace
}  // namespace pelix::editor
