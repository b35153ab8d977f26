// The badge: a click is a click, a drag moves it and is remembered, and it comes back on screen.
#include "core/Prefs.h"
#include "support/TestSupport.h"
#include "ui/BadgeWindow.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QUrl>

namespace pelix::ui {
namespace {

void mouse(QWidget& widget, QEvent::Type type, QPoint global) {
    const QPointF local = widget.mapFromGlobal(QPointF(global));
    QMouseEvent event(type, local, QPointF(global), Qt::LeftButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

TEST(Badge, AClickIsAClickAndADragMovesItAndIsRemembered) {
    QTemporaryDir dir;
    core::Prefs prefs(dir.filePath("Pelix.conf"));
    BadgeWindow badge(&prefs);
    badge.place();
    const QPoint start = badge.pos();
    int clicks = 0;
    QObject::connect(&badge, &BadgeWindow::clicked, [&] { ++clicks; });

    // A wobble under the drag distance is still a click.
    const QPoint at = start + QPoint(20, 20);
    mouse(badge, QEvent::MouseButtonPress, at);
    mouse(badge, QEvent::MouseMove, at + QPoint(2, 1));
    mouse(badge, QEvent::MouseButtonRelease, at + QPoint(2, 1));
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(badge.pos(), start);
    EXPECT_FALSE(prefs.contains("badge.x"));

    mouse(badge, QEvent::MouseButtonPress, at);
    mouse(badge, QEvent::MouseMove, at - QPoint(100, 60));
    mouse(badge, QEvent::MouseButtonRelease, at - QPoint(100, 60));
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(badge.pos(), start - QPoint(100, 60));
    EXPECT_EQ(prefs.value("badge.x").toInt(), badge.x());
    EXPECT_EQ(prefs.value("badge.y").toInt(), badge.y());

    // Another badge (the next start) comes back where this one was left.
    BadgeWindow next(&prefs);
    next.place();
    EXPECT_EQ(next.pos(), badge.pos());
}

TEST(Badge, APlaceOffTheScreenIsBroughtBackOntoIt) {
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QTemporaryDir dir;
    core::Prefs prefs(dir.filePath("Pelix.conf"));
    const struct {
        QPoint kept, placed;
    } cases[] = {
        {{-500, -500}, area.topLeft()},
        {{area.right() + 900, area.bottom() + 900},
         area.bottomRight() - QPoint(BadgeWindow::kSize - 1, BadgeWindow::kSize - 1)},
        {area.topLeft() + QPoint(40, 50), area.topLeft() + QPoint(40, 50)},
    };
    for (const auto& c : cases) {
        prefs.setValue("badge.x", c.kept.x());
        prefs.setValue("badge.y", c.kept.y());
        BadgeWindow badge(&prefs);
        badge.place();
        EXPECT_EQ(badge.pos(), c.placed) << c.kept.x() << "," << c.kept.y();
    }
}

TEST(Badge, OnlyLocalFilesAreTakenFromADrop) {
    const QList<QUrl> urls{QUrl::fromLocalFile("/tmp/a memo.m4a"),
                           QUrl("https://example.com/b.mp3"), QUrl::fromLocalFile("/tmp/c.wav")};
    EXPECT_EQ(droppedFiles(urls), (QStringList{"/tmp/a memo.m4a", "/tmp/c.wav"}));
}

}  // namespace
}  // namespace pelix::ui
