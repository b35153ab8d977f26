#include "render/RenderModule.h"

#include "core/Sentences.h"

#include <QFileInfo>
#include <QLibrary>

#include <mutex>

namespace pelix::render {
namespace {

constexpr auto kModule = "pelix-render.so";

QStringList candidates() {
    if (const QString set = qEnvironmentVariable("PELIX_RENDER_MODULE"); !set.isEmpty()) {
        return {set};
    }
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    QStringList places{QFileInfo(program).absolutePath() + '/' + kModule,
                       QStringLiteral(PELIX_RENDER_MODULE_DIR "/") + kModule};
    // The build folder, for test programs built beside the module; a package names none.
    if (const QString build = QStringLiteral(PELIX_RENDER_BUILD_DIR); !build.isEmpty()) {
        places << build + '/' + kModule;
    }
    return places;
}

Result<const RenderModuleEntry*> load() {
    QString why;
    for (const QString& path : candidates()) {
        if (!QFileInfo::exists(path)) continue;
        // Never unloaded: renderers and their pictures outlive any one caller.
        auto* library = new QLibrary(path);
        library->setLoadHints(QLibrary::PreventUnloadHint);
        using Entry = const RenderModuleEntry* (*)();
        const auto entry = reinterpret_cast<Entry>(library->resolve("pelix_render_module"));
        if (!entry) {
            why = library->errorString();
            delete library;
            continue;
        }
        const RenderModuleEntry* found = entry();
        if (found && found->version == RenderModuleEntry::kVersion) return found;
        why = core::sentences::ofAnotherVersion(path);
    }
    return fail(kRenderFailed, core::sentences::couldntLoadRenderer(kModule, why));
}

// Pictures and a renderer whose every call says why the real renderer could not be loaded.
class MissingFrames final : public FrameSource {
public:
    explicit MissingFrames(Error why) : why_(std::move(why)) {}
    Result<QImage> at(double) override { return std::unexpected(why_); }
    void setProject(const editor::EditProject&, double) override {}

private:
    Error why_;
};

class MissingRenderer final : public Renderer {
public:
    explicit MissingRenderer(Error why) : why_(std::move(why)) {}
    Status exportVideo(const editor::EditProject&, const QString&, const RenderOptions&) override {
        return std::unexpected(why_);
    }
    Result<QImage> frame(const editor::EditProject&, double, double) override {
        return std::unexpected(why_);
    }
    std::unique_ptr<FrameSource> frames(const editor::EditProject&, double) override {
        return std::make_unique<MissingFrames>(why_);
    }

private:
    Error why_;
};

}  // namespace

Result<const RenderModuleEntry*> renderModule() {
    static std::once_flag once;
    static Result<const RenderModuleEntry*> module = nullptr;
    std::call_once(once, [] { module = load(); });
    return module;
}

std::unique_ptr<Renderer> makeRenderer() {
    const auto module = renderModule();
    if (!module) return std::make_unique<MissingRenderer>(module.error());
    return (*module)->makeRenderer();
}

Result<QImage> framedPicture(const QString& file, double t, QSize size,
                             const ClipFraming& framing) {
    const auto module = renderModule();
    if (!module) return std::unexpected(module.error());
    return (*module)->framedPicture(file, t, size, framing);
}

Result<FaceFinding> findFace(const QString& file, int samples) {
    const auto module = renderModule();
    if (!module) return std::unexpected(module.error());
    return (*module)->findFace(file, samples);
}

}  // namespace pelix::render
