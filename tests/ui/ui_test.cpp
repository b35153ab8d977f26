// The status line, through a window or a desktop's overlay; the badge, where a click is a click
// and a drag moves it and is remembered; and the key dialog, which hides the key until the eye
// shows it.
#include "core/Prefs.h"
#include "platform/Overlay.h"
#include "support/TestSupport.h"
#include "ui/BadgeWindow.h"
#include "ui/Dialogs.h"
#include "ui/Hud.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

namespace pelix::ui {
namespace {

// An overlay that keeps what it was given.
class FakeOverlay final : public platform::Overlay {
public:
    void show(const QImage& picture, int top) override {
        pictures << picture;
        tops << top;
        on = true;
    }
    void hide() override { on = false; }
    bool shown() const override { return on; }
    QList<QImage> pictures;
    QList<int> tops;
    bool on = false;
};

// The status line shows the latest line for its time, counted anew from each line, then hides;
// through an overlay it sends a drawn picture of the line instead of showing a window.
TEST(Hud, TheLatestLineStaysForItsTimeThenHides) {
    FakeOverlay overlay;
    for (platform::Overlay* through :
         {static_cast<platform::Overlay*>(nullptr), static_cast<platform::Overlay*>(&overlay)}) {
        SCOPED_TRACE(through ? "overlay" : "window");
        // A shorter time than a person's, with the same margins around it.
        constexpr int showMs = 1200;
        Hud hud(showMs);
        hud.setOverlay(through);
        EXPECT_EQ(hud.visibleLine(), "");
        hud.show("Recording…");
        hud.show("In Pelix");
        EXPECT_EQ(hud.visibleLine(), "In Pelix");
        testing::pause(showMs - 500);
        hud.show("Dropped that one.");
        testing::pause(800);
        EXPECT_EQ(hud.visibleLine(), "Dropped that one.");
        EXPECT_TRUE(testing::waitUntil([&] { return hud.visibleLine().isEmpty(); }, showMs));
    }
    ASSERT_EQ(overlay.pictures.size(), 3);
    EXPECT_FALSE(overlay.on);
    EXPECT_EQ(overlay.tops, (QList<int>{48, 48, 48}));
    // Each line is drawn: a longer line makes a wider picture.
    EXPECT_FALSE(overlay.pictures[2].isNull());
    EXPECT_GT(overlay.pictures[2].width(), overlay.pictures[1].width());
}

// A press at `from`, a move to `to` and a release there, in screen coordinates.
void drag(QWidget& widget, QPoint from, QPoint to) {
    for (const auto& [type, at] : {std::pair{QEvent::MouseButtonPress, from},
                                   {QEvent::MouseMove, to},
                                   {QEvent::MouseButtonRelease, to}}) {
        QMouseEvent event(type, widget.mapFromGlobal(QPointF(at)), QPointF(at), Qt::LeftButton,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(&widget, &event);
    }
}

TEST(Badge, AClickIsAClickAndADragMovesItAndIsRemembered) {
    QTemporaryDir dir;
    core::Prefs prefs{dir.filePath("Pelix.conf")};
    BadgeWindow badge(&prefs);
    badge.place();
    const QPoint start = badge.pos();
    int clicks = 0;
    QObject::connect(&badge, &BadgeWindow::clicked, [&] { ++clicks; });

    // A wobble under the drag distance is still a click.
    const QPoint at = start + QPoint(20, 20);
    drag(badge, at, at + QPoint(2, 1));
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(badge.pos(), start);
    EXPECT_FALSE(prefs.contains("badge.x"));

    drag(badge, at, at - QPoint(100, 60));
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(badge.pos(), start - QPoint(100, 60));
    // Another badge (the next start) comes back where this one was left.
    BadgeWindow next(&prefs);
    next.place();
    EXPECT_EQ(next.pos(), badge.pos());
}

TEST(Badge, OnlyLocalFilesAreTakenFromADrop) {
    const QList<QUrl> urls{QUrl::fromLocalFile("/tmp/a memo.m4a"),
                           QUrl("https://example.com/b.mp3"), QUrl::fromLocalFile("/tmp/c.wav")};
    EXPECT_EQ(droppedFiles(urls), (QStringList{"/tmp/a memo.m4a", "/tmp/c.wav"}));
}

// The button the line edit draws for `action`, which a person clicks.
QToolButton* buttonOf(QLineEdit* field, QAction* action) {
    for (auto* button : field->findChildren<QToolButton*>()) {
        if (button->defaultAction() == action) return button;
    }
    return nullptr;
}

TEST(SecretDialog, TheKeyIsHiddenUntilTheEyeShowsItAndReturnConfirms) {
    SecretDialog dialog("Paste the key:", "Connect");
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

}  // namespace
}  // namespace pelix::ui
