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

// The key field is bordered (its edge drawn in another colour than its inside) and masked.
TEST(SecretDialog, TheKeyIsHiddenUntilTheEyeShowsItAndReturnConfirms) {
    SecretDialog dialog("Paste the key:", "Connect");
    dialog.setStyleSheet(theme::styleSheet());
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    QSignalSpy entered(&dialog, &SecretDialog::entered);
    QLineEdit* field = dialog.field();
    const QImage look = field->grab().toImage();
    EXPECT_NE(look.pixelColor(0, look.height() / 2), theme::kSurface);
    EXPECT_EQ(look.pixelColor(look.width() / 2, look.height() / 2), theme::kSurface);

    // Nothing typed: Return does nothing.
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(entered.count(), 0);
    EXPECT_FALSE(dialog.confirmButton()->isEnabled());

    const QString key = "pelix_0123456789abcdef";
    QTest::keyClicks(field, key);
    EXPECT_FALSE(field->displayText().contains("pelix_")) << "the key shows in clear";
    QToolButton* eye = buttonOf(field, dialog.showAction());
    ASSERT_TRUE(eye && eye->isVisible());
    for (const bool shown : {true, false}) {
        QTest::mouseClick(eye, Qt::LeftButton);
        EXPECT_EQ(field->displayText() == key, shown);
        EXPECT_EQ(dialog.showAction()->toolTip(), shown ? "Hide the key" : "Show the key");
    }

    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(entered, QList<QVariantList>{{key}});
    EXPECT_FALSE(dialog.isVisible());
}

TEST(MessageDialog, EveryWayOutGivesOneAnswer) {
    // The button clicked, or -1 for Escape, which answers -1.
    for (const int exit : {0, 1, 2, -1}) {
        SCOPED_TRACE(exit);
        MessageDialog dialog("Sign in to Pelix", "Your browser opens Pelix.",
                             {"Sign in", "Later", "Paste a key instead…"});
        dialog.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
        QSignalSpy answered(&dialog, &MessageDialog::answered);
        EXPECT_TRUE(dialog.button(0)->isDefault());
        if (exit < 0) {
            QTest::keyClick(&dialog, Qt::Key_Escape);
        } else {
            QTest::mouseClick(dialog.button(exit), Qt::LeftButton);
        }
        EXPECT_EQ(answered.count(), 1);
        dialog.close();
        EXPECT_EQ(answered, QList<QVariantList>{{exit}});
    }
}

}  // namespace
}  // namespace pelix::ui
