#pragma once

#include <QIcon>

namespace pelix::ui {

// The tray icon: a microphone outline when idle, a filled red dot with the outline while
// recording, and a struck-through outline while nobody is signed in.
enum class TrayLook { idle, recording, signedOut };

QIcon trayIcon(TrayLook look);

}  // namespace pelix::ui
