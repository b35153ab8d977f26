#pragma once

// The tray application maps no part of the engine until the window is first opened (a test reads
// the tray's /proc/PID/maps). Window modes set Qt::AA_ShareOpenGLContexts before the application
// object exists, since Qt WebEngine 6.4 loaded later without it crashes on the missing shared
// context; the tray's idle memory and start-up do not change measurably with it. Without the
// module the web app opens in the browser.

#include "core/Error.h"
#include "web/WebSurface.h"

#include <memory>

namespace pelix::web {

// Loads the web engine module (once per process; it stays loaded) and makes a surface. The
// module is `$PELIX_WEB_ENGINE` when set, else "pelix-web-engine.so" beside the program, else in
// the installed library folder.
Result<std::unique_ptr<WebSurface>> makeWebSurface(const WebSurfaceSetup& setup);

}  // namespace pelix::web
