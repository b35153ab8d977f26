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

namespace {

// A value of a desktop entry: a backslash, a line break, a tab and a carriage return in their
// escaped forms, a leading space as "\s".
QString entryValue(const QString& text) {
    QString value;
    for (const QChar c : text) {
        if (c == '\\') {
            value += QStringLiteral("\\\\");
        } else if (c == '\n') {
            value += QStringLiteral("\\n");
        } else if (c == '\t') {
            value += QStringLiteral("\\t");
        } else if (c == '\r') {
            value += QStringLiteral("\\r");
        } else if (c == ' ' && value.isEmpty()) {
            value += QStringLiteral("\\s");
        } else {
            value += c;
        }
    }
    return value;
}

}  // namespace

QString XdgAutostart::execValue(const QString& program) {
    // One argument in double quotes, inside which '"', '`', '$' and '\' take a backslash; '%'
    // is doubled so that it is not a field code; then escaped as every value is.
    QString quoted;
    for (const QChar c : program) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
        quoted += c;
        if (c == '%') quoted += '%';
    }
    return entryValue('"' + quoted + '"');
}

Status XdgAutostart::enable(const QString& program) {
    // The other control characters have no written form in an entry.
    for (const QChar c : program) {
        if (c.category() == QChar::Other_Control && c != '\n' && c != '\t' && c != '\r')
            return fail(1, core::sentences::kProgramPathUnwritable);
    }
    // TryExec: once the program is removed (the package uninstalled), the desktop skips the entry.
    const QByteArray text =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Pelix\n"
        "Comment=" +
        QByteArray(core::sentences::kAutostartComment) + "\nExec=" + execValue(program).toUtf8() +
        "\nTryExec=" + entryValue(program).toUtf8() +
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
