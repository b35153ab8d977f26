#include "core/Paths.h"

#include <QDir>
#include <QStandardPaths>

namespace pelix::core::paths {
namespace {

QString xdg(const char* variable, const QString& fallbackUnderHome) {
    const QString value = qEnvironmentVariable(variable);
    // The XDG base directory rules ignore relative values.
    if (!value.isEmpty() && QDir::isAbsolutePath(value)) return value;
    return QDir::home().filePath(fallbackUnderHome);
}

}  // namespace

QString xdgConfigHome() {
    return xdg("XDG_CONFIG_HOME", ".config");
}
QString xdgDataHome() {
    return xdg("XDG_DATA_HOME", ".local/share");
}
QString xdgCacheHome() {
    return xdg("XDG_CACHE_HOME", ".cache");
}

QString configDir() {
    return xdgConfigHome() + "/Pelix";
}
QString dataDir() {
    return xdgDataHome() + "/Pelix";
}
QString cacheDir() {
    return xdgCacheHome() + "/Pelix";
}

QString videosDir() {
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    return dir.isEmpty() ? QDir::home().filePath("Videos") : dir;
}

QString tempDir() {
    return QDir::tempPath();
}

}  // namespace pelix::core::paths
