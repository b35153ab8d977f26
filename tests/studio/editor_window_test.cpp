#include "editor/EditorTestSupport.h"
#include "fakes/ManualTime.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>

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

}  // namespace
}  // namespace pelix::studio
