#include "platform/linux/XdgAutostart.h"

#include "core/Paths.h"
#include "core/PrivateFile.h"
#include "core/Sentences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace pelix::platform {

QString XdgAutostart::file() {
    return core::paths::xdgConfigHome() + "/autostart/pelix.desktop";
}

bool XdgAutostart::enabled() const {
    if (!QFile::exists(file())) return false;
    QSettings entry(file(), QSettings::IniFormat);
    return !entry.value("Desktop Entry/Hidden", false).toBool();
}

Status XdgAutostart::enable(const QString& program) {
    QString path = program;
    path.replace('\\', "\\\\");
    QString quoted = path;
    quoted.replace('"', "\\\"");
    // TryExec: once the program is removed (the package uninstalled), the desktop skips the entry.
    const QByteArray text =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Pelix\n"
        "Comment=" +
        QByteArray(core::sentences::kAutostartComment) +
        "\n"
        "Exec=\"" +
        quoted.toUtf8() +
        "\"\n"
        "TryExec=" +
        path.toUtf8() +
        "\n"
        "Icon=pelix\n"
        "X-GNOME-Autostart-enabled=true\n";
    QDir().mkpath(QFileInfo(file()).absolutePath());
    return core::writeFileAtomically(file(), text);
}

Status XdgAutostart::disable() {
    if (QFile::exists(file()) && !QFile::remove(file())) {
        return fail(1, core::sentences::couldntRemoveFile(file()));
    }
    return {};
}

}  // namespace pelix::platform
