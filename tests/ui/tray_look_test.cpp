// The tray icon reads on the panel it sits on, and a tray that loads icons by name gets the
// installed symbolic one, which it recolours itself.
#include "support/TestSupport.h"
#include "ui/TrayLook.h"

#include <QPainter>
#include <QPalette>
#include <QScopeGuard>

#include <cmath>

namespace pelix::ui {
namespace {

double luminance(const QColor& c) {
    const auto channel = [](double v) {
        return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

// The contrast ratio (1 to 21) between the icon's strongest ink and the panel behind it.
double contrastOn(const QImage& icon, const QColor& panel) {
    QImage shown(icon.size(), QImage::Format_ARGB32);
    shown.fill(panel);
    QPainter(&shown).drawImage(0, 0, icon);
    const double back = luminance(panel);
    double best = 1;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const double ink = luminance(shown.pixelColor(x, y));
            best = std::max(best, (std::max(ink, back) + 0.05) / (std::min(ink, back) + 0.05));
        }
    }
    return best;
}

struct Panel {
    const char* name;
    QColor colour;
    PanelShade shade;
};

TEST(TrayLook, EveryLookReadsOnLightAndDarkPanels) {
    const Panel panels[] = {{"light grey panel", QColor("#f6f5f4"), PanelShade::light},
                            {"white panel", QColor("#ffffff"), PanelShade::light},
                            {"dark panel", QColor("#1e1e1e"), PanelShade::dark},
                            {"black panel", QColor("#000000"), PanelShade::dark}};
    for (const Panel& panel : panels) {
        QPalette desktop;
        desktop.setColor(QPalette::Window, panel.colour);
        ASSERT_EQ(panelShade(desktop), panel.shade) << panel.name;
        for (const TrayLook look : {TrayLook::idle, TrayLook::recording, TrayLook::signedOut}) {
            for (const int size : {16, 22}) {
                const QImage icon = trayIcon(look, panel.shade).pixmap(size).toImage();
                EXPECT_GE(contrastOn(icon, panel.colour), 3.0)
                    << panel.name << ", look " << int(look) << ", " << size << " px";
            }
        }
    }
}

TEST(TrayLook, AnInstalledSymbolicIconIsNamedAndAMask) {
    testing::IsolatedHome home;
    // An icon installed on this machine does not count here.
    const QByteArray dataDirs = qgetenv("XDG_DATA_DIRS");
    qputenv("XDG_DATA_DIRS", (home.path() + "/nothing").toUtf8());
    const auto restore = qScopeGuard([&] { qputenv("XDG_DATA_DIRS", dataDirs); });
    for (const TrayLook look : {TrayLook::idle, TrayLook::recording, TrayLook::signedOut}) {
        EXPECT_TRUE(trayIcon(look).name().isEmpty()) << "nothing installed: pictures only";
        EXPECT_EQ(trayIcon(look).isMask(), isSymbolic(look));
    }

    const QString status = home.path() + "/data/icons/hicolor/scalable/status";
    ASSERT_TRUE(QDir().mkpath(status));
    for (const TrayLook look : {TrayLook::idle, TrayLook::signedOut}) {
        const QString svg = traySymbolicSvg(look);
        // Desktops recolour the fills of a symbolic icon, not its strokes.
        EXPECT_FALSE(svg.contains("stroke")) << svg.toStdString();
        EXPECT_TRUE(svg.contains("fill=\"currentColor\"")) << svg.toStdString();
        testing::writeFile(status, trayIconName(look) + ".svg", svg.toUtf8());
    }
    EXPECT_EQ(trayIcon(TrayLook::idle).name(), "pelix-idle-symbolic");
    EXPECT_EQ(trayIcon(TrayLook::signedOut).name(), "pelix-signed-out-symbolic");
    EXPECT_TRUE(trayIcon(TrayLook::recording).name().isEmpty()) << "not installed here";
    // The pictures stay for trays that take pictures.
    EXPECT_FALSE(trayIcon(TrayLook::idle).pixmap(22).isNull());
}

}  // namespace
}  // namespace pelix::ui
