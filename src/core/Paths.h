#pragma once

#include <QString>

namespace pelix::core::paths {

// The XDG base folders themselves ($XDG_CONFIG_HOME, else ~/.config; relative values are
// ignored, as the XDG rules say).
QString xdgConfigHome();
QString xdgDataHome();
QString xdgCacheHome();

// $XDG_CONFIG_HOME/Pelix: where the preferences file lives.
QString configDir();
// $XDG_DATA_HOME/Pelix: token, window key, editor projects, speech models.
QString dataDir();
// $XDG_CACHE_HOME/Pelix.
QString cacheDir();
// The user's videos folder ($XDG_VIDEOS_DIR from user-dirs.dirs, else ~/Videos).
QString videosDir();
// The system's temporary folder.
QString tempDir();

}  // namespace pelix::core::paths
