#include "editor/EditText.h"
#include "editor/EditorEngine.h"

#include "EditorTestSupport.h"
#include "fakes/BackendRig.h"

namespace pelix::editor {
namespace {

using fakes::Reply;
using testing::evenClip;
using testing::projectOf;

// Ten one-word sentences: ten lines, numbered 1 to 10.
EditProject tenWordLines() {
    QStringList words;
    for (int i = 1; i <= 10; ++i) words << QStringLiteral("Word%1.").arg(i);
    EditProject project = projectOf({evenClip(words, 0.3, 0.2)});
    project.name = "a/b";
    return project;
}

QString lineId(int n) {
    return QStringLiteral("1F0C7A2B:%1").arg(n - 1);
}

class Engine : public ::testing::Test, protected fakes::BackendRig {
protected:
    // Runs one engine operation and waits for its answer.
    template <class T, class Start>
    T run(Start start) {
        return testing::awaited<T>(start).value_or(T(std::unexpected(Error::pelix(-1, "none"))));
    }
    Result<EditorEngine::FirstPass> plan(const EditProject& project,
                                         const QStringList& style = {}) {
        return run<Result<EditorEngine::FirstPass>>(
            [&](auto done) { EditorEngine::plan(api, project, style, done); });
    }
    Result<EditorEngine::Revision> revise(const EditProject& project) {
        return run<Result<EditorEngine::Revision>>(
            [&](auto done) { EditorEngine::revise(api, "do it", {}, project, done); });
    }
    Result<EditProject> translate(const EditProject& project) {
        return run<Result<EditProject>>(
            [&](auto done) { EditorEngine::translate(api, project, done); });
    }
    void answer(const QJsonObject& json) {
        backend.answer(EditorEngine::kFunction, Reply::json(json));
    }
    void answer(const char* json) { answer(QJsonDocument::fromJson(json).object()); }
    QByteArray sentFirst() const {
        return QJsonDocument(BackendRig::sent(EditorEngine::kFunction).value(0))
            .toJson(QJsonDocument::Compact);
    }
};

TEST_F(Engine, TranslationAsksOnlyForWhatIsMissing) {
    EditProject project = tenWordLines();
    project.settings.captionLanguage = CaptionLanguage::fr;
    project.hook = "Ten words";
    // Line 3 and the hook are missing (EditRoad checks that nothing is asked when all is there).
    for (int n = 1; n <= 10; ++n) project.translations["fr"][lineId(n)] = "Mot.";
    project.translations["fr"].erase(lineId(3));
    project.cut = {lineId(4)};
    project.translations["fr"].erase(lineId(4));  // cut: not asked for
    project.fixes[lineId(3)] = "Word three.";     // the correction is what is translated
    // Ids that were not asked for are no translations.
    answer(
        R"({"items":[{"id":"1F0C7A2B:2","text":"FR Word3."},{"id":"hook","text":"FR Ten words"},)"
        R"({"id":"../../etc","text":"Stray"},{"id":"","text":"Stray"},)"
        R"({"id":"1F0C7A2B:3","text":"Stray"},{"id":"1F0C7A2B:4","text":"Stray"}]})");
    const auto done = translate(project);
    EXPECT_EQ(sentFirst(),
              R"({"action":"translate","items":[{"id":"1F0C7A2B:2","text":"Word three."},)"
              R"({"id":"hook","text":"Ten words"}],"target":"fr"})");
    EditProject want = project;
    want.translations["fr"][lineId(3)] = "FR Word3.";
    want.translations["fr"]["hook"] = "FR Ten words";
    EXPECT_EQ(done, want);
}

// Whatever the service answers, a project holds texts a vertical video can show: a 4 MB hook
// once made an export take minutes and gigabytes.
TEST_F(Engine, TextsFromTheServiceAreCutToWhatAVideoShows) {
    const QString huge(4 << 20, u'h');
    const QString family = QString::fromUtf8("\U0001F468\u200D\U0001F469\u200D\U0001F467");
    EditProject project = tenWordLines();
    answer({{"cut", QJsonArray{}},
            {"hook", huge},
            {"title", family.repeated(400)},
            {"keywords", QJsonArray{QJsonObject{{"id", 1}, {"phrase", huge}}}},
            {"reply", huge}});
    const auto pass = plan(project);
    ASSERT_TRUE(pass);
    EXPECT_EQ(pass->project.hook, QString(longest::kHook - 1, u'h') + u'…');
    // Cut between whole characters: a family of three is never split.
    EXPECT_EQ(pass->project.title, family.repeated(longest::kTitle - 1) + u'…');
    EXPECT_EQ(pass->project.keywords.at(lineId(1)).size(), longest::kPopUp);
    EXPECT_EQ(pass->reply.size(), longest::kReply);
    EXPECT_EQ(edittext::bounded(u"  short  ", 5), "short");

    const QString long_(4000, u'l');
    QJsonArray ops{QJsonObject{{"op", "hook"}, {"text", huge}},
                   QJsonObject{{"op", "fix"}, {"id", 2}, {"text", huge}}};
    for (int i = 0; i < longest::kRules + 50; ++i)
        ops.append(QJsonObject{{"op", "remember"}, {"rule", QString::number(i) + long_}});
    answer({{"ops", ops}});
    const auto revised = revise(project);
    ASSERT_TRUE(revised);
    const Applied& applied = revised->applied;
    EXPECT_EQ(applied.project.hook.size(), longest::kHook);
    EXPECT_EQ(applied.project.fixes.at(lineId(2)).size(), longest::kLine);
    EXPECT_EQ(applied.remember.size(), longest::kRules);
    EXPECT_EQ(applied.skipped, 50);
    EXPECT_EQ(applied.remember.front().size(), longest::kRule);

    project.settings.captionLanguage = CaptionLanguage::fr;
    answer({{"items", QJsonArray{QJsonObject{{"id", lineId(1)}, {"text", huge}}}}});
    const auto translated = translate(project);
    ASSERT_TRUE(translated);
    EXPECT_EQ(translated->translations.at("fr").at(lineId(1)).size(), longest::kLine);

    QJsonArray rules{3};  // a rule that is no text is left out
    for (int i = 0; i < longest::kRules + 5; ++i) rules.append(long_);
    answer({{"rules", rules}});
    const auto loaded =
        run<Result<QStringList>>([&](auto done) { EditorEngine::loadRules(api, done); });
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->size(), longest::kRules);
    EXPECT_EQ(loaded->front().size(), longest::kRule);
}

TEST(EditorEngineRules, MergedRulesKeepTheSavedOrderAndExactText) {
    EXPECT_EQ(EditorEngine::mergedRules({"A", "B", "C"}, {"D", "B"}, {"A", "Z"}),
              (QStringList{"B", "C", "D"}));
    EXPECT_EQ(EditorEngine::mergedRules({"A"}, {}, {"a"}), QStringList{"A"});
    EXPECT_EQ(EditorEngine::mergedRules({"A", "A"}, {"A"}, {}), QStringList{"A"});
    // Ten times the rules take about ten times as long (merging once compared every pair).
    const auto time = [](int n) {
        QStringList saved, remember, forget;
        for (int i = 0; i < n; ++i) {
            saved << QString("saved %1").arg(i);
            remember << QString("new %1").arg(i);
        }
        forget = saved.mid(0, n / 2);
        return testing::leastCpuSeconds([&] {
            EXPECT_EQ(EditorEngine::mergedRules(saved, remember, forget).size(), n + n / 2);
        });
    };
    const double one = time(5000), ten = time(50000);
    EXPECT_LT(ten, testing::kTenfoldInputLimit * std::max(one, 1e-3)) << one << " s, then " << ten;
}

}  // namespace
}  // namespace pelix::editor
