// The badge: a click is a click, a drag moves it and is remembered, and it comes back on screen.
#include "core/Prefs.h"
#include "support/TestSupport.h"
#include "ui/BadgeWindow.h"

#include <QApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QUrl>

namespace pelix::ui {
namespace {

class Badge : public ::testing::Test {
protected:
    // A press at `from`, a move to `to` and a release there, in screen coordinates.
    static void drag(QWidget& widget, QPoint from, QPoint to) {
        for (const auto& [type, at] : {std::pair{QEvent::MouseButtonPress, from},
                                       {QEvent::MouseMove, to},
                                       {QEvent::MouseButtonRelease, to}}) {
            QMouseEvent event(type, widget.mapFromGlobal(QPointF(at)), QPointF(at), Qt::LeftButton,
                              type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                              Qt::NoModifier);
            QApplication::sendEvent(&widget, &event);
        }
    }
    QTemporaryDir dir;
    core::Prefs prefs{dir.filePath("Pelix.conf")};
};

TEST_F(Badge, AClickIsAClickAndADragMovesItAndIsRemembered) {
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

TEST_F(Badge, APlaceOffTheScreenIsBroughtBackOntoIt) {
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const int last = BadgeWindow::kSize - 1;
    const struct {
        QPoint kept, placed;
    } cases[] = {
        {{-500, -500}, area.topLeft()},
        {area.bottomRight() + QPoint(900, 900), area.bottomRight() - QPoint(last, last)},
    };
    for (const auto& c : cases) {
        prefs.setValue("badge.x", c.kept.x());
        prefs.setValue("badge.y", c.kept.y());
        BadgeWindow badge(&prefs);
        badge.place();
        EXPECT_EQ(badge.pos(), c.placed) << c.kept.x() << "," << c.kept.y();
    }
}

TEST_F(Badge, OnlyLocalFilesAreTakenFromADrop) {
    const QList<QUrl> urls{QUrl::fromLocalFile("/tmp/a memo.m4a"),
                           QUrl("https://example.com/b.mp3"), QUrl::fromLocalFile("/tmp/c.wav")};
    EXPECT_EQ(droppedFiles(urls), (QStringList{"/tmp/a memo.m4a", "/tmp/c.wav"}));
}

}  // namespace
}  // namespace pelix::ui
