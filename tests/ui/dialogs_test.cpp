// Pelix's own dialogs: the key is hidden until the eye shows it, and every way out of an alert
// gives exactly one answer.
#include "ui/Dialogs.h"
#include "support/TestSupport.h"
#include "ui/Theme.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

namespace pelix::ui {
namespace {

// The button the line edit draws for `action`, which a person clicks.
QToolButton* buttonOf(QLineEdit* field, QAction* action) {
    for (auto* button : field->findChildren<QToolButton*>()) {
        if (button->defaultAction() == action) return button;
    }
    return nullptr;
}

TEST(SecretDialog, TheKeyIsHiddenUntilTheEyeShowsItAndReturnConfirms) {
    SecretDialog dialog("Paste the key:", "Connect");
    dialog.setStyleSheet(theme::styleSheet());
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy entered(&dialog, &SecretDialog::entered);
    QLineEdit* field = dialog.field();

    // Nothing typed: Return does nothing.
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(entered.count(), 0);
    EXPECT_FALSE(dialog.confirmButton()->isEnabled());

    const QString key = "pelix_0123456789abcdef";
    QTest::keyClicks(field, key);
    EXPECT_EQ(field->text(), key);
    EXPECT_FALSE(field->displayText().contains("pelix_")) << "the key shows in clear";

    QToolButton* eye = buttonOf(field, dialog.showAction());
    ASSERT_TRUE(eye);
    EXPECT_TRUE(eye->isVisible());
    // Shown, then hidden again, each by a click on the eye.
    for (const bool shown : {true, false}) {
        QTest::mouseClick(eye, Qt::LeftButton);
        EXPECT_EQ(dialog.shown(), shown);
        EXPECT_EQ(field->displayText() == key, shown);
        EXPECT_EQ(dialog.showAction()->toolTip(), shown ? "Hide the key" : "Show the key");
    }

    QTest::keyClick(field, Qt::Key_Return);
    ASSERT_EQ(entered.count(), 1);
    EXPECT_EQ(entered.at(0).at(0).toString(), key);
    EXPECT_FALSE(dialog.isVisible());
}

// The field stands out from the dialog: its edge is drawn in the border colour.
TEST(SecretDialog, TheFieldHasAVisibleBorder) {
    SecretDialog dialog("Paste the key:", "Connect");
    dialog.setStyleSheet(theme::styleSheet());
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    const QImage field = dialog.field()->grab().toImage();
    const QColor edge = field.pixelColor(0, field.height() / 2);
    const QColor inside = field.pixelColor(field.width() / 2, field.height() / 2);
    EXPECT_NE(edge, inside);
    EXPECT_EQ(inside, theme::kSurface);
}

struct Exit {
    const char* name;
    int button;  // -1: Escape
    int answer;
};

TEST(MessageDialog, EveryWayOutGivesOneAnswer) {
    const Exit exits[] = {{"Sign in", 0, 0}, {"Later", 1, 1}, {"Paste", 2, 2}, {"Escape", -1, -1}};
    for (const Exit& exit : exits) {
        MessageDialog dialog("Sign in to Pelix", "Your browser opens Pelix.",
                             {"Sign in", "Later", "Paste a key instead…"});
        dialog.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
        QSignalSpy answered(&dialog, &MessageDialog::answered);
        EXPECT_TRUE(dialog.button(0)->isDefault()) << exit.name;
        if (exit.button < 0) {
            QTest::keyClick(&dialog, Qt::Key_Escape);
        } else {
            QTest::mouseClick(dialog.button(exit.button), Qt::LeftButton);
        }
        ASSERT_EQ(answered.count(), 1) << exit.name;
        EXPECT_EQ(answered.at(0).at(0).toInt(), exit.answer) << exit.name;
        dialog.close();
        EXPECT_EQ(answered.count(), 1) << exit.name;
    }
}

}  // namespace
}  // namespace pelix::ui
