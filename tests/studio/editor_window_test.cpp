#include "editor/EditorTestSupport.h"
#include "fakes/TextFakes.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

namespace pelix::studio {
namespace {

class EditorWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        qputenv("PELIX_EDITOR_DIR", dir.path().toUtf8());
        model.open(testing::threeLines());
        window.show();
        QApplication::processEvents();
        ASSERT_EQ(window.transcript()->count(), 3);
    }
    void TearDown() override { qunsetenv("PELIX_EDITOR_DIR"); }

    QTemporaryDir dir;
    fakes::ManualClock clock;
    fakes::ManualTimers timers{clock};
    EditorModel model{timers, nullptr};
    EditorWindow window{model};
};

TEST_F(EditorWindowTest, EditingALineStoresAFix) {
    QListWidget& list = *window.transcript();
    list.setCurrentRow(2);
    list.editItem(list.item(2));
    auto* editor = list.viewport()->findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->text(), "Bye now.");
    editor->setText("Goodbye now.");
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(editor, &enter);
    QApplication::processEvents();
    EXPECT_EQ(model.lineText(2), "Goodbye now.");
    EXPECT_EQ(list.item(2)->text(), "Goodbye now.");
    model.undo();
    EXPECT_EQ(list.item(2)->text(), "Bye now.");
}

// The microphone fills the instruction field as the words are heard and types nowhere else.
TEST(EditorWindowMicrophone, DictationFillsTheFieldOnly) {
    QTemporaryDir dir;
    qputenv("PELIX_EDITOR_DIR", dir.path().toUtf8());
    fakes::ManualClock clock;
    fakes::ManualTimers timers{clock};
    fakes::FakeRecognizer recognizer;
    fakes::FakeMicrophone microphone;
    fakes::FakeTypist typist;
    typist.front = platform::FrontWindow{};
    dictation::LiveDictation dictation(recognizer, microphone, typist, timers);
    EditorModel model{timers, nullptr};
    model.open(testing::threeLines());
    EditorWindow window{model, EditorTools{nullptr, nullptr, &dictation, dir.path(), {}}};
    auto* mic = window.findChild<QPushButton*>("microphone");
    ASSERT_NE(mic, nullptr);

    mic->click();
    ASSERT_TRUE(microphone.running);
    recognizer.partial("make it");
    timers.advance(dictation::LiveDictation::kDebounceSeconds);
    EXPECT_EQ(window.instruction()->text(), "make it");
    mic->click();
    EXPECT_FALSE(microphone.running);
    recognizer.final("make it snappier");
    QApplication::processEvents();
    EXPECT_EQ(window.instruction()->text(), "make it snappier");
    EXPECT_FALSE(mic->isChecked());
    EXPECT_TRUE(typist.log.isEmpty()) << typist.log.join(", ").toStdString();
    qunsetenv("PELIX_EDITOR_DIR");
}

}  // namespace
}  // namespace pelix::studio
