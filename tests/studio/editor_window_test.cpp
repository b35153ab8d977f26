#include "core/Dates.h"
#include "core/Sentences.h"
#include "editor/EditorTestSupport.h"
#include "fakes/TextFakes.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QMouseEvent>
#include <QPushButton>

#include <functional>

namespace pelix::studio {
namespace {

using testing::threeLines;

void click(QListWidget& list, int row) {
    const QPoint at = list.visualItemRect(list.item(row)).center();
    QWidget* viewport = list.viewport();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, viewport->mapToGlobal(at), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                          Qt::NoModifier);
        QApplication::sendEvent(viewport, &event);
    }
}

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

TEST_F(EditorWindowTest, AClickOnALineCutsItAndTheTotalsFollow) {
    const QString before = window.totals()->text();
    EXPECT_TRUE(before.startsWith("3 of 3 lines kept")) << before.toStdString();
    click(*window.transcript(), 1);
    EXPECT_TRUE(model.isCut(1));
    EXPECT_TRUE(window.totals()->text().startsWith("2 of 3 lines kept"));
    click(*window.transcript(), 1);
    EXPECT_FALSE(model.isCut(1));
    EXPECT_EQ(window.totals()->text(), before);
}

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

TEST_F(EditorWindowTest, SettingsFollowTheModelBothWays) {
    auto* language = window.findChild<QComboBox*>("captionLanguage");
    ASSERT_NE(language, nullptr);
    EXPECT_EQ(language->currentText(), "As spoken");
    language->setCurrentIndex(int(editor::CaptionLanguage::fr));
    EXPECT_EQ(model.project().settings.captionLanguage, editor::CaptionLanguage::fr);
    model.undo();
    EXPECT_EQ(language->currentText(), "As spoken");
    EXPECT_FALSE(model.canUndo()) << "showing the settings must not count as an edit";
}

TEST_F(EditorWindowTest, SavedVideosSayWhenTheirMediaIsMissing) {
    const QDateTime modified(QDate(2026, 11, 2), QTime(8, 5), Qt::UTC);
    window.showVideos({{.modified = modified, .name = "Old talk", .mediaMissing = true},
                       {.file = "x.json", .error = "Not a project."}});
    auto* list = window.findChild<QListWidget*>("videos");
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(0)->text(),
              "Old talk\n" + core::dates::shortDateTime(modified) + " · media missing");
    EXPECT_TRUE(list->item(1)->text().startsWith("x.json"));
}

// Clips come in through a file chooser as well as by a drop: the button and Ctrl+O open it, and
// what is chosen goes where a drop goes (here a window without speech recognition says so).
TEST_F(EditorWindowTest, AddClipsOpensAChooserWhoseFilesGoWhereADropGoes) {
    const QString clip = testing::writeFile(dir.path(), "clip.mp4");
    auto* add = window.findChild<QPushButton*>("addClips");
    ASSERT_NE(add, nullptr);
    QAction* open = nullptr;
    for (QAction* action : window.actions()) {
        if (action->shortcut() == QKeySequence(QKeySequence::Open)) open = action;
    }
    ASSERT_NE(open, nullptr) << "no Ctrl+O action";
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"the button", [&] { add->click(); }}, {"Ctrl+O", [&] { open->trigger(); }}};
    for (const auto& [how, ask] : ways) {
        SCOPED_TRACE(how);
        window.status()->clear();
        ASSERT_EQ(window.findChild<QFileDialog*>("clipChooser"), nullptr);
        ask();
        auto* chooser = window.findChild<QFileDialog*>("clipChooser");
        ASSERT_NE(chooser, nullptr);
        EXPECT_TRUE(chooser->isVisible());
        EXPECT_EQ(chooser->fileMode(), QFileDialog::ExistingFiles);
        chooser->selectFile(clip);
        QMetaObject::invokeMethod(chooser, "accept");
        QApplication::processEvents();
        EXPECT_EQ(window.status()->text(), core::sentences::kNoClipsWithoutRecognition);
        ASSERT_TRUE(testing::waitUntil(
            [&] { return window.findChild<QFileDialog*>("clipChooser") == nullptr; }));
    }
}

// While files are over the window it is outlined; anything else, or leaving, shows nothing.
TEST_F(EditorWindowTest, DraggedFilesOutlineTheWindowUntilTheyLeaveOrDrop) {
    QWidget* outline = window.dropHighlight();
    ASSERT_NE(outline, nullptr);
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(testing::writeFile(dir.path(), "clip.mp4"))});
    QMimeData text;
    text.setText("just words");
    const auto enter = [&](QMimeData& data) {
        QDragEnterEvent event(QPoint(300, 300), Qt::CopyAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(&window, &event);
        return event.isAccepted();
    };
    EXPECT_FALSE(enter(text));
    EXPECT_FALSE(outline->isVisible());
    EXPECT_TRUE(enter(files));
    EXPECT_TRUE(outline->isVisible());
    EXPECT_EQ(outline->geometry(), window.rect());
    QDragLeaveEvent leave;
    QApplication::sendEvent(&window, &leave);
    EXPECT_FALSE(outline->isVisible());
    EXPECT_TRUE(enter(files));
    QDropEvent drop(QPointF(300, 300), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    EXPECT_FALSE(outline->isVisible());
    EXPECT_EQ(window.status()->text(), core::sentences::kNoClipsWithoutRecognition);
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
