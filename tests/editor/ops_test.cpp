#include "EditorTestSupport.h"
#include "editor/EditOps.h"

namespace pelix::editor {
namespace {

using testing::clipOf;
using testing::projectOf;

QJsonArray ops(const char* json) {
    return QJsonDocument::fromJson(json).array();
}

// Ten one-sentence lines in two clips of 6 and 4 lines; line n says "line n", and line 4 says
// "so the big idea is this".
EditProject tenLines() {
    SourceClip a = clipOf({}, 30, 0);
    SourceClip b = clipOf({}, 0, 1);
    for (int n = 1; n <= 10; ++n) {
        SourceClip& clip = n <= 6 ? a : b;
        const double t = 2.0 * double(clip.words.size());
        const QString text = n == 4 ? "so the big idea is this." : QString("line %1.").arg(n);
        clip.words.push_back(core::Word{t, t + 1, text});
    }
    return projectOf({a, b});
}

QString idOf(int n) {
    return n <= 6 ? QString("1F0C7A2B:%1").arg(n - 1) : QString("1F0C7A2C:%1").arg(n - 7);
}

TextSet ids(std::initializer_list<int> numbers) {
    TextSet result;
    for (int n : numbers) result.insert(idOf(n));
    return result;
}

TEST(Numbered, NumbersFromOneOnClipsLaidEndToEnd) {
    EditProject project = tenLines();
    project.clips[0].words[1].start = 2.04;  // 2.04 → 2.0
    project.clips[1].words[2].start = 4.25;  // 4.25 → 4.3 (half away from zero)
    const auto n = numbered(project);
    ASSERT_EQ(n.size(), 10u);
    EXPECT_EQ(n[6].line.id, idOf(7));
    EXPECT_EQ(std::pair(n[6].at, n[8].at), std::pair(30.0, 34.25));

    project.fixes[idOf(2)] = "Line two.";
    project.cut = ids({3});
    project.keywords[idOf(4)] = "big idea";
    const auto compact = [](const QJsonValue& v) {
        return QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact).toStdString();
    };
    EXPECT_EQ(compact(linePayload(project, false)),
              R"([[{"id":1,"t":0,"text":"line 1."},{"id":2,"t":2,"text":"Line two."},)"
              R"({"id":3,"t":4,"text":"line 3."},{"id":4,"t":6,"text":"so the big idea is this."},)"
              R"({"id":5,"t":8,"text":"line 5."},{"id":6,"t":10,"text":"line 6."},)"
              R"({"id":7,"t":30,"text":"line 7."},{"id":8,"t":32,"text":"line 8."},)"
              R"({"id":9,"t":34.3,"text":"line 9."},{"id":10,"t":36,"text":"line 10."}]])");
    const QJsonArray state = linePayload(project, true);
    EXPECT_EQ(
        compact(state.at(0)) + compact(state.at(2)) + compact(state.at(3)),
        R"([{"id":1,"kept":true,"t":0,"text":"line 1."}])"
        R"([{"id":3,"kept":false,"t":4,"text":"line 3."}])"
        R"([{"id":4,"kept":true,"keyword":"big idea","t":6,"text":"so the big idea is this."}])");
}

TEST(ApplyOps, LineOperations) {
    const struct {
        const char* ops;
        TextSet cutBefore;
        TextSet cutAfter;
        int skipped;
    } cases[] = {
        // Any JSON number names a line; numbers of no line are ignored, an operation naming
        // none is skipped, and so are ids that are not numbers.
        {R"([{"op":"cut","ids":[3,99]}])", ids({}), ids({3}), 0},
        {R"([{"op":"cut","ids":[2.0,5.7]}])", ids({}), ids({2, 5}), 0},
        {R"([{"op":"cut","ids":[0,-1]}])", ids({}), {}, 1},
        {R"([{"op":"cut","ids":["3"]},{"op":"cut","ids":3}])", ids({}), {}, 2},
        {R"([{"op":"restore","ids":[3,4]}])", ids({3, 5}), ids({5}), 0},
        {R"([{"op":"keep_only","ids":[2,5]}])", ids({2}), ids({1, 3, 4, 6, 7, 8, 9, 10}), 0},
        {R"([{"op":"keep_only","ids":[99]}])", ids({1}), ids({1}), 1},
        // Later operations see earlier ones; unknown ones only count.
        {R"([{"op":"cut","ids":[1,2]},{"op":"restore","ids":[1]}])", ids({}), ids({2}), 0},
        {R"([{"op":"zoom"},{"op":7},{},"cut",{"op":"fix","id":99,"text":"x"}])", ids({4}), ids({4}),
         5},
    };
    for (const auto& c : cases) {
        EditProject project = tenLines();
        project.cut = c.cutBefore;
        const Applied applied = applyOps(ops(c.ops), project);
        EXPECT_EQ(applied.project.cut, c.cutAfter) << c.ops;
        EXPECT_EQ(applied.skipped, c.skipped) << c.ops;
    }
}

TEST(ApplyOps, Keywords) {
    const struct {
        const char* op;
        std::optional<QString> stored;
        int skipped;
    } cases[] = {
        // A phrase the line says is kept as written; an empty one removes the entry.
        {R"({"op":"keyword","id":4,"phrase":" Big Idea! "})", "Big Idea!", 0},
        {R"({"op":"keyword","id":4,"phrase":"  "})", std::nullopt, 0},
        // Skipped: words the line does not say (a correction's included), punctuation alone, an
        // unknown line, a phrase that is no text.
        {R"({"op":"keyword","id":4,"phrase":"small idea"})", "old", 1},
        {R"({"op":"keyword","id":4,"phrase":"grand plan"})", "old", 1},
        {R"({"op":"keyword","id":4,"phrase":"!!"})", "old", 1},
        {R"({"op":"keyword","id":11,"phrase":"big"})", "old", 1},
        {R"({"op":"keyword","id":4,"phrase":5})", "old", 1},
    };
    for (const auto& c : cases) {
        EditProject project = tenLines();
        project.keywords[idOf(4)] = "old";
        project.fixes[idOf(4)] = "So the grand plan is this.";
        const Applied applied =
            applyOps(QJsonArray{QJsonDocument::fromJson(c.op).object()}, project);
        const auto found = applied.project.keywords.find(idOf(4));
        const std::optional<QString> stored =
            found == applied.project.keywords.end() ? std::nullopt : std::optional(found->second);
        EXPECT_EQ(stored, c.stored) << c.op;
        EXPECT_EQ(applied.skipped, c.skipped) << c.op;
    }
}

TEST(ApplyOps, HookFixAndRules) {
    EditProject project = tenLines();
    project.translations["fr"] = {{"hook", "Regardez"}, {idOf(1), "Ligne un."}};
    project.fixes[idOf(2)] = "Line two.";
    const Applied applied = applyOps(ops(R"([
        {"op":"hook","text":"  Watch this\n"},
        {"op":"fix","id":1,"text":" Line one! "},
        {"op":"fix","id":2,"text":"   "},
        {"op":"remember","rule":" Keep it short "},
        {"op":"remember","rule":"  "},
        {"op":"forget","rule":"No jokes"},
        {"op":"forget"}])"),
                                     project);
    EXPECT_EQ(applied.project.hook, "Watch this");
    // The hook's translation goes so that it is translated anew; the lines' stay.
    EXPECT_EQ(applied.project.translations.at("fr"), (TextMap{{idOf(1), "Ligne un."}}));
    EXPECT_EQ(applied.project.fixes, (TextMap{{idOf(1), "Line one!"}}));
    EXPECT_EQ(applied.remember, QStringList{"Keep it short"});
    EXPECT_EQ(applied.forget, QStringList{"No jokes"});
    EXPECT_EQ(applied.skipped, 1);
}

TEST(SetField, Table) {
    using enum SetOutcome;
    const struct {
        const char* field;
        QJsonValue value;
        SetOutcome outcome;
    } cases[] = {{"captionSize", 3, changed},
                 {"captionSize", " 1.25 ", changed},
                 {"captionSize", 1.0, unchanged},
                 {"captionSize", "big", rejected},
                 {"captionSize", true, rejected},
                 {"pace", "fast", rejected},
                 {"pace", "Snappy", rejected},
                 {"pace", "tight", unchanged},
                 {"format", "youtubeShort", changed},
                 {"captionStyle", 1, rejected},
                 {"captions", "yes", rejected},
                 {"visuals", 1, rejected},
                 {"targetSeconds", "45", changed},
                 {"targetSeconds", 0, unchanged},
                 {"targetSeconds", "soon", rejected},
                 {"spokenLanguage", "fr", rejected},
                 {"volume", 3, rejected}};
    for (const auto& c : cases) {
        EditSettings settings;
        EXPECT_EQ(setField(c.field, c.value, settings), c.outcome)
            << c.field << " " << QJsonDocument(QJsonArray{c.value}).toJson().toStdString();
    }
}

TEST(SetField, ValuesAsStored) {
    EditSettings s;
    setField("captionSize", 3, s);
    EXPECT_EQ(s.captionSize, 1.6);
    setField("captionSize", "0.2", s);
    EXPECT_EQ(s.captionSize, 0.6);
    setField("progressBar", "TRUE", s);
    EXPECT_TRUE(s.progressBar);
    setField("targetSeconds", 45.5, s);
    EXPECT_EQ(s.targetSeconds, 45.5);
    // No positive target is no target.
    EXPECT_EQ(setField("targetSeconds", -3, s), SetOutcome::changed);
    EXPECT_FALSE(s.targetSeconds);

    const Applied applied = applyOps(
        ops(R"([{"op":"set","field":"pace","value":"fast"},{"op":"set","field":"pace","value":"snappy"},
                         {"op":"set","field":"pace"}])"),
        tenLines());
    EXPECT_EQ(applied.project.settings.pace, Pace::snappy);
    EXPECT_EQ(applied.skipped, 2);
}

}  // namespace
}  // namespace pelix::editor
