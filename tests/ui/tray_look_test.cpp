// The tray icon reads on the panel it sits on.
#include "support/TestSupport.h"
#include "ui/TrayLook.h"

#include <QPainter>
#include <QPalette>

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
    // The palest grey and the lightest dark grey panels come with, the hardest of each shade.
    const Panel panels[] = {{"light grey panel", QColor("#f6f5f4"), PanelShade::light},
                            {"dark panel", QColor("#1e1e1e"), PanelShade::dark}};
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

}  // namespace
}  // namespace pelix::ui
