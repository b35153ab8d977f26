#pragma once

#include "core/Error.h"
#include "web/WebSurface.h"

#include <memory>

namespace pelix {

// Loads the web engine module (once per process; it stays loaded) and makes a surface. The
// module is `$PELIX_WEB_ENGINE` when set, else "pelix-web-engine.so" beside the program, else in
// the installed library folder.
Result<std::unique_ptr<WebSurface>> makeWebSurface(const WebSurfaceSetup& setup);

}  // namespace pelix
