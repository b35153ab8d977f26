#include "editor/EditorTestSupport.h"
#include "editor/ProjectStore.h"
#include "fakes/ManualTime.h"
#include "studio/EditorModel.h"
#include "support/TestSupport.h"

namespace pelix::studio {
namespace {

// An assistant whose answers the test gives by hand.
class FakeAssistant final : public EditAssistant {
public:
    void plan(const editor::EditProject&, const QStringList&,
              std::function<void(Result<FirstPass>)>) override {}
    void revise(const QString& instruction, const QStringList& style, const editor::EditProject&,
                std::function<void(Result<Revision>)> done) override {
        instructions.push_back(instruction);
        styles.push_back(style);
        reviseDone = std::move(done);
    }
    void translate(const editor::EditProject& project,
                   std::function<void(Result<editor::EditProject>)> done) override {
        translations.push_back(project);
        translateDone = std::move(done);
    }
    void saveRules(const QStringList& rules) override { savedRules.push_back(rules); }

    QStringList instructions;
    std::vector<QStringList> styles;
    std::vector<editor::EditProject> translations;
    std::vector<QStringList> savedRules;
    std::function<void(Result<Revision>)> reviseDone;
    std::function<void(Result<editor::EditProject>)> translateDone;
};

class EditorModelTest : public ::testing::Test {
protected:
    void SetUp() override {
        qputenv("PELIX_EDITOR_DIR", dir.path().toUtf8());
        model.open(testing::threeLines());
    }
    void TearDown() override { qunsetenv("PELIX_EDITOR_DIR"); }

    static void settle() { QCoreApplication::processEvents(); }

    QStringList files() const { return QDir(dir.path()).entryList(QDir::Files | QDir::Hidden); }

    QTemporaryDir dir;
    fakes::ManualClock clock;
    fakes::ManualTimers timers{clock};
    FakeAssistant assistant;
    EditorModel model{timers, &assistant};
};

TEST_F(EditorModelTest, CutsFixesAndSettingsUndoAndRedoExactly) {
    std::vector<editor::EditProject> states{model.project()};
    const double whole = model.total();
    const editor::Line middle = model.lines()[1];
    model.toggleCut(1);
    model.toggleCut(7);  // no such line
    model.toggleCut(-1);
    EXPECT_EQ(model.project().cut, editor::TextSet{middle.id});
    EXPECT_LT(model.total(), whole - (middle.end - middle.start) + 0.5);
    states.push_back(model.project());
    model.fixLine(2, "Goodbye now.");
    EXPECT_EQ(model.lineText(2), "Goodbye now.");
    states.push_back(model.project());
    editor::EditSettings settings = model.project().settings;
    settings.pace = editor::Pace::snappy;
    model.setSettings(settings);
    states.push_back(model.project());

    for (size_t i = states.size() - 1; i-- > 0;) {
        model.undo();
        EXPECT_EQ(model.project(), states[i]) << "undo to state " << i;
    }
    EXPECT_FALSE(model.canUndo());
    EXPECT_DOUBLE_EQ(model.total(), whole);
    for (size_t i = 1; i < states.size(); ++i) {
        model.redo();
        EXPECT_EQ(model.project(), states[i]) << "redo to state " << i;
    }
    EXPECT_FALSE(model.canRedo());

    // A new change after an undo drops what could be redone; a change to the same value is none.
    model.undo();
    model.toggleCut(2);
    EXPECT_FALSE(model.canRedo());
    const editor::EditProject now = model.project();
    model.fixLine(0, model.lines()[0].text);
    model.setSettings(model.project().settings);
    EXPECT_EQ(model.project(), now);
    model.undo();
    EXPECT_EQ(model.project(), states[2]);
}

TEST_F(EditorModelTest, SavesAreDebouncedAndAtomic) {
    int saves = 0;
    QObject::connect(&model, &EditorModel::saved, [&] { ++saves; });
    const QString file = editor::ProjectStore::fileFor(model.project().id);

    model.toggleCut(0);
    timers.advance(EditorModel::kSaveDelay / 2);
    model.toggleCut(1);
    timers.advance(EditorModel::kSaveDelay / 2);
    model.fixLine(2, "See you.");
    EXPECT_TRUE(files().isEmpty()) << "saved before the changes settled";
    EXPECT_TRUE(model.savePending());

    timers.advance(EditorModel::kSaveDelay);
    EXPECT_EQ(saves, 1);
    EXPECT_FALSE(model.savePending());
    EXPECT_EQ(files(), QStringList{QFileInfo(file).fileName()}) << "a temporary file was left";
    auto stored = editor::ProjectStore::openFile(file);
    ASSERT_TRUE(stored) << stored.error().message.toStdString();
    EXPECT_EQ(*stored, model.project());

    // Undo is a change like any other, and a change waiting when the model goes is saved then.
    {
        EditorModel second{timers, &assistant};
        second.open(*stored);
        second.undo();
        EXPECT_FALSE(second.canUndo());
        second.toggleCut(2);
        EXPECT_EQ(timers.pending(), 1);
    }
    EXPECT_EQ(timers.pending(), 0);
    EXPECT_TRUE(editor::ProjectStore::openFile(file)->cut.contains(model.lines()[2].id));

    // A save that cannot be made is reported and the project stays as it is.
    qputenv("PELIX_EDITOR_DIR", QDir(dir.path()).filePath(QFileInfo(file).fileName()).toUtf8());
    model.toggleCut(0);
    timers.advance(EditorModel::kSaveDelay);
    EXPECT_FALSE(model.saveError().isEmpty());
    EXPECT_EQ(saves, 1);
}

TEST_F(EditorModelTest, RevisionAppliesOperationsOrLeavesTheProjectAsItWas) {
    const editor::EditProject before = model.project();
    model.revise("  cut the intro  ");
    EXPECT_TRUE(model.busy());
    model.revise("something else");  // refused while one is out
    ASSERT_EQ(assistant.instructions, QStringList{"cut the intro"});
    assistant.reviseDone(
        std::unexpected(Error::pelix(1, "Couldn't reach Pelix: the connection timed out.")));
    settle();
    EXPECT_FALSE(model.busy());
    EXPECT_EQ(model.project(), before);
    EXPECT_FALSE(model.canUndo());
    EXPECT_EQ(model.error(), "Couldn't reach Pelix: the connection timed out.");
    EXPECT_FALSE(timers.pending());

    model.setStyle({"no emojis", "short hooks"});
    model.revise("cut the intro");
    EXPECT_TRUE(model.error().isEmpty());
    EXPECT_EQ(assistant.styles.back(), (QStringList{"no emojis", "short hooks"}));
    editor::Applied applied =
        applyOps(QJsonArray{QJsonObject{{"op", "cut"}, {"ids", QJsonArray{1}}}}, before);
    applied.remember = QStringList{"keep it snappy", "no emojis"};
    applied.forget = QStringList{"short hooks"};
    ASSERT_TRUE(applied.project.cut.contains(model.lines()[0].id));
    assistant.reviseDone(EditAssistant::Revision{applied, "Cut the intro."});
    settle();
    EXPECT_TRUE(model.isCut(0));
    EXPECT_EQ(model.project().chat,
              (std::vector<editor::ChatTurn>{{"cut the intro", true}, {"Cut the intro.", false}}));
    EXPECT_EQ(model.style(), (QStringList{"no emojis", "keep it snappy"}));
    ASSERT_EQ(assistant.savedRules.size(), 1u);
    model.undo();
    EXPECT_EQ(model.project(), before);
}

// Rules that were never read (the backend did not answer with them) are not replaced by the
// ones a revision remembers.
TEST_F(EditorModelTest, UnreadStyleRulesAreNeverReplaced) {
    const editor::EditProject before = model.project();
    model.revise("remember to keep it short");
    editor::Applied applied = applyOps(QJsonArray{}, before);
    applied.remember = QStringList{"keep it short"};
    assistant.reviseDone(EditAssistant::Revision{applied, "I'll remember."});
    settle();
    EXPECT_TRUE(assistant.savedRules.empty());
    EXPECT_TRUE(model.style().isEmpty());
}

TEST_F(EditorModelTest, NewCaptionLanguageAsksOnceAndKeepsChangesMadeMeanwhile) {
    model.toggleCut(1);
    editor::EditProject withFrench = model.project();
    withFrench.translations["fr"][model.lines()[0].id] = "Bonjour.";
    model.open(withFrench);

    editor::EditSettings settings = model.project().settings;
    settings.captionLanguage = editor::CaptionLanguage::fr;
    model.setSettings(settings);
    settings.captionSize = 1.2;
    model.setSettings(settings);  // same language: no second request
    ASSERT_EQ(assistant.translations.size(), 1u);

    editor::EditProject answer = assistant.translations[0];
    answer.translations["fr"][model.lines()[2].id] = "Au revoir.";
    assistant.translateDone(answer);
    settle();
    EXPECT_EQ(model.project().translations.at("fr").size(), 2u);
    EXPECT_EQ(model.project().settings.captionSize, 1.2);  // the change made meanwhile stays
    EXPECT_FALSE(model.translating());
}

// A video just made is saved without waiting for a change: its transcript took minutes.
TEST_F(EditorModelTest, ANewVideoIsSavedWithoutAChange) {
    editor::EditProject made = testing::threeLines();
    made.id = QUuid::createUuid();
    model.start(made);
    timers.advance(EditorModel::kSaveDelay);
    EXPECT_TRUE(QFileInfo::exists(editor::ProjectStore::fileFor(made.id)));
}

}  // namespace
}  // namespace pelix::studio
