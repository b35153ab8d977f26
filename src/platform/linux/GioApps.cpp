#include "platform/linux/GioApps.h"

#include "core/Sentences.h"

#include <QFile>
#include <QFileInfo>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

namespace pelix::platform {
namespace {

// The desktop entry GIO wrote into the environment of a process it started itself.
QString launchedEntry(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/environ").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) return {};
    QString entry;
    qint64 launchedPid = 0;
    for (const QByteArray& variable : file.readAll().split('\0')) {
        if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE=")) {
            entry = QFileInfo(QString::fromLocal8Bit(variable.mid(26))).fileName();
        } else if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE_PID=")) {
            launchedPid = variable.mid(30).toLongLong();
        }
    }
    // A program started from a launched one (a terminal's shell) inherits the variables.
    return launchedPid == pid ? entry : QString();
}

QString idOf(GAppInfo* info) {
    const char* id = info ? g_app_info_get_id(info) : nullptr;
    return id ? QString::fromUtf8(id) : QString();
}

}  // namespace

std::optional<FrontApp> GioApps::front() const {
    const std::optional<FrontWindow> window = typist_.frontWindow();
    if (!window) return std::nullopt;
    FrontApp app{window->appId, window->pid, {}};
    if (app.pid > 0) app.desktopId = launchedEntry(app.pid);
    if (app.desktopId.isEmpty() && !app.windowClass.isEmpty()) {
        app.desktopId = entryForClass(app.windowClass);
    }
    return app;
}

QString GioApps::entryForClass(const QString& windowClass) const {
    if (const auto known = byClass_.constFind(windowClass); known != byClass_.cend()) {
        return *known;
    }
    QString byWmClass, byName, byProgram;
    GList* all = g_app_info_get_all();
    for (GList* item = all; item; item = item->next) {
        auto* info = G_APP_INFO(item->data);
        const QString id = idOf(info);
        QString name = id;
        if (name.endsWith(QStringLiteral(".desktop"))) name.chop(8);
        if (G_IS_DESKTOP_APP_INFO(info) && byWmClass.isEmpty()) {
            const char* wmClass = g_desktop_app_info_get_startup_wm_class(G_DESKTOP_APP_INFO(info));
            if (wmClass &&
                windowClass.compare(QString::fromUtf8(wmClass), Qt::CaseInsensitive) == 0) {
                byWmClass = id;
            }
        }
        if (byName.isEmpty() && windowClass.compare(name, Qt::CaseInsensitive) == 0) byName = id;
        if (const char* program = g_app_info_get_executable(info); byProgram.isEmpty() && program) {
            if (windowClass.compare(QFileInfo(QString::fromLocal8Bit(program)).fileName(),
                                    Qt::CaseInsensitive) == 0) {
                byProgram = id;
            }
        }
    }
    g_list_free_full(all, g_object_unref);
    const QString entry = !byWmClass.isEmpty() ? byWmClass : !byName.isEmpty() ? byName : byProgram;
    byClass_.insert(windowClass, entry);
    return entry;
}

QString GioApps::handlerFor(const QUrl& url) const {
    const QByteArray scheme = url.scheme().toUtf8();
    if (scheme.isEmpty()) return {};
    GAppInfo* info = g_app_info_get_default_for_uri_scheme(scheme.constData());
    const QString id = idOf(info);
    if (info) g_object_unref(info);
    return id;
}

Status GioApps::open(const QUrl& url) {
    GError* error = nullptr;
    if (g_app_info_launch_default_for_uri(url.toEncoded().constData(), nullptr, &error)) {
        return {};
    }
    const QString reason = error ? QString::fromUtf8(error->message) : QString();
    g_clear_error(&error);
    return fail(1, core::sentences::couldntOpenLink(reason));
}

}  // namespace pelix::platform
