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
    project.clips[1].words[2].start = 4.25;  // 4.25 → 4.3 (half away from zero)
    const auto n = numbered(project);
    ASSERT_EQ(n.size(), 10u);
    EXPECT_EQ(std::pair(n[6].at, n[8].at), std::pair(30.0, 34.25));

    project.fixes[idOf(2)] = "Line two.";
    project.cut = ids({3});
    project.keywords[idOf(4)] = "big idea";
    const auto compact = [](const QJsonValue& v) {
        return QJsonDocument(QJsonArray{v}).toJson(QJsonDocument::Compact).toStdString();
    };
    // What the assistant is shown: corrections, not the words heard; the cut and the pop-ups.
    const QJsonArray state = linePayload(project, true);
    EXPECT_EQ(
        compact(state.at(1)) + compact(state.at(2)) + compact(state.at(3)) + compact(state.at(8)),
        R"([{"id":2,"kept":true,"t":2,"text":"Line two."}])"
        R"([{"id":3,"kept":false,"t":4,"text":"line 3."}])"
        R"([{"id":4,"kept":true,"keyword":"big idea","t":6,"text":"so the big idea is this."}])"
        R"([{"id":9,"kept":true,"t":34.3,"text":"line 9."}])");
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
    } cases[] = {{"captionSize", " 1.25 ", changed}, {"captionSize", 1.0, unchanged},
                 {"captionSize", "big", rejected},   {"pace", "fast", rejected},
                 {"targetSeconds", "45", changed},   {"spokenLanguage", "fr", rejected}};
    for (const auto& c : cases) {
        EditSettings settings;
        EXPECT_EQ(setField(c.field, c.value, settings), c.outcome)
            << c.field << " " << QJsonDocument(QJsonArray{c.value}).toJson().toStdString();
    }
    // A size is clamped into its range; no positive target is no target.
    EditSettings s;
    s.targetSeconds = 30;
    setField("captionSize", 3, s);
    EXPECT_EQ(setField("targetSeconds", -3, s), changed);
    EXPECT_EQ(s.captionSize, 1.6);
    EXPECT_FALSE(s.targetSeconds);
}

}  // namespace
}  // namespace pelix::editor
