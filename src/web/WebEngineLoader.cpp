#include "web/WebEngineLoader.h"

#include "core/Log.h"
#include "core/Sentences.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLibrary>

namespace pelix::web {

namespace {

constexpr auto kModule = "pelix-web-engine.so";

QString modulePath() {
    if (const QString set = qEnvironmentVariable("PELIX_WEB_ENGINE"); !set.isEmpty()) return set;
    const QString beside = QCoreApplication::applicationDirPath() + '/' + kModule;
    if (QFileInfo::exists(beside)) return beside;
    return QStringLiteral(PELIX_WEB_ENGINE_DIR "/") + kModule;
}

}  // namespace

Result<std::unique_ptr<WebSurface>> makeWebSurface(const WebSurfaceSetup& setup) {
    // Never unloaded: the engine keeps threads and a helper process for the process's life.
    static QLibrary* module = nullptr;
    if (!module) {
        auto* library = new QLibrary(modulePath());
        if (!library->load()) {
            const QString reason = library->errorString();
            delete library;
            return std::unexpected(Error::pelix(1, core::sentences::couldntLoadWebEngine(reason)));
        }
        module = library;
        core::logLine("web", "engine loaded from " + module->fileName());
    }
    auto make = reinterpret_cast<MakeWebSurface>(module->resolve(kMakeWebSurface));
    if (!make) {
        return std::unexpected(
            Error::pelix(1, core::sentences::couldntLoadWebEngine(module->errorString())));
    }
    return std::unique_ptr<WebSurface>(make(&setup));
}

}  // namespace pelix::web
