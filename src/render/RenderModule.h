#pragma once

// The renderer's module, pelix-render.so: what needs FFmpeg's filters and OpenCV (export,
// preview pictures, framed pictures, face finding). Those libraries cost the tray application
// about 20 MB and a good part of its start-up, so it maps them only when a video is first
// rendered or framed. `makeRenderer`, `framedPicture` and `findFace` load the module; the
// module is `$PELIX_RENDER_MODULE` when set, else "pelix-render.so" beside the program, else in
// the installed library folder, else in the build tree.
//
// The module links its own copies of the static libraries it uses with --exclude-libs,ALL, so
// nothing in it binds to the program's copies. The one piece of process-wide state among them,
// the temporary files removed on signals (core/TempFiles), chains: the module's handler removes
// its files (an export's partial file) and then hands the signal to the one that was there.
#include "core/Error.h"
#include "render/FaceFinder.h"
#include "render/Renderer.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

namespace pelix::render {

struct RenderModuleEntry {
    static constexpr int kVersion = 1;
    int version = kVersion;
    std::unique_ptr<Renderer> (*makeRenderer)();
    Result<QImage> (*framedPicture)(const QString& file, double t, QSize size,
                                    const ClipFraming& framing);
    Result<FaceFinding> (*findFace)(const QString& file, int samples);
};

// The module, loaded on the first call; an error when it cannot be loaded.
Result<const RenderModuleEntry*> renderModule();

// The implementations inside the module.
namespace loaded {
std::unique_ptr<Renderer> makeRenderer();
Result<QImage> framedPicture(const QString& file, double t, QSize size, const ClipFraming& framing);
Result<FaceFinding> findFace(const QString& file, int samples);
}  // namespace loaded

}  // namespace pelix::render

// The module's one exported symbol.
extern "C" const pelix::render::RenderModuleEntry* pelix_render_module();
