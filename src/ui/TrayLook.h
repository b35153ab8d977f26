#pragma once

#include <QIcon>
#include <QImage>
#include <QString>

namespace pelix::ui {

// The tray icon: a microphone outline when idle, a filled red dot with the outline while
// recording, and a struck-through outline while nobody is signed in.
enum class TrayLook { idle, recording, signedOut };

// The tray icon of a look: the icon theme's when it has one (the package installs them), else
// drawn here.
QIcon trayIcon(TrayLook look);

// The name of a look's icon in the icon theme: "pelix-idle", "pelix-recording",
// "pelix-signed-out".
QString trayIconName(TrayLook look);

// The installed icons, made from the same drawing: each tray look and the application's icon
// (the microphone on a dark rounded tile), as square pictures and as SVG.
QImage trayImage(TrayLook look, int size);
QString traySvg(TrayLook look);
QImage appImage(int size);
QString appSvg();

}  // namespace pelix::ui
