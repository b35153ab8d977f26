// The entry of the renderer's module (see RenderModule.h).
#include "core/TempFiles.h"
#include "media/FFmpeg.h"
#include "render/RenderModule.h"

extern "C" __attribute__((visibility("default"))) const pelix::render::RenderModuleEntry*
pelix_render_module() {
    namespace render = pelix::render;
    // The module keeps its own list of temporary files (an export's partial file); its signal
    // handlers remove them and then hand the signal on to the program's.
    static const bool handled = [] {
        pelix::core::tempfiles::removeOnSignals();
        // Every drawing in here (the overlay's libass, the scalers) logs through FFmpeg.
        pelix::media::ff::quiet();
        return true;
    }();
    (void)handled;
    static const render::RenderModuleEntry entry{
        render::RenderModuleEntry::kVersion,
        &render::loaded::makeRenderer,
        &render::loaded::framedPicture,
        &render::loaded::findFace,
    };
    return &entry;
}
