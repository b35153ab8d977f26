// Writes Pelix's icons into an icon theme folder: the application's icon and the tray's looks in
// both shades, as PNG pictures in the theme's sizes and as SVG, and the symbolic SVG of the looks
// that the panel recolours. Usage: pelix-make-icons FOLDER
#include "ui/TrayLook.h"

#include <QDir>
#include <QImage>
#include <QSaveFile>

#include <cstdio>
#include <functional>

namespace {

using pelix::ui::PanelShade;
using pelix::ui::TrayLook;

bool writeText(const QString& path, const QString& text) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(text.toUtf8()) == text.toUtf8().size() && file.commit();
}

// One icon: PNG in each size under SIZExSIZE/CONTEXT/, SVG under scalable/CONTEXT/.
bool writeIcon(const QDir& theme, const QString& context, const QString& name,
               std::initializer_list<int> sizes, const std::function<QImage(int)>& image,
               const QString& svg) {
    for (const int size : sizes) {
        const QString folder = QStringLiteral("%1x%1/%2").arg(size).arg(context);
        if (!theme.mkpath(folder) ||
            !image(size).save(theme.filePath(folder + '/' + name + ".png")))
            return false;
    }
    const QString folder = "scalable/" + context;
    return theme.mkpath(folder) && writeText(theme.filePath(folder + '/' + name + ".svg"), svg);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: pelix-make-icons FOLDER\n", stderr);
        return 2;
    }
    const QDir theme(QString::fromLocal8Bit(argv[1]));
    bool ok = writeIcon(theme, "apps", "pelix", {16, 22, 24, 32, 48, 64, 128, 256},
                        pelix::ui::appImage, pelix::ui::appSvg());
    for (const TrayLook look : {TrayLook::idle, TrayLook::recording, TrayLook::signedOut}) {
        for (const PanelShade shade : {PanelShade::dark, PanelShade::light}) {
            ok =
                ok &&
                writeIcon(
                    theme, "status", pelix::ui::trayFallbackName(look, shade), {16, 22, 24, 32, 48},
                    [look, shade](int size) { return pelix::ui::trayImage(look, size, shade); },
                    pelix::ui::traySvg(look, shade));
        }
        // Symbolic icons are SVG only: a desktop recolours them at any size.
        if (pelix::ui::isSymbolic(look)) {
            ok = ok && theme.mkpath("scalable/status") &&
                 writeText(
                     theme.filePath("scalable/status/" + pelix::ui::trayIconName(look) + ".svg"),
                     pelix::ui::traySymbolicSvg(look));
        }
    }
    if (!ok) {
        std::fprintf(stderr, "pelix-make-icons: couldn't write the icons into %s\n", argv[1]);
        return 1;
    }
    return 0;
}
