#pragma once

#include <QIcon>
#include <QImage>
#include <QString>

class QPalette;

namespace pelix::ui {

// The tray icon: a microphone outline when idle, a filled red dot with the outline while
// recording, and a struck-through outline while nobody is signed in.
enum class TrayLook { idle, recording, signedOut };

// The colour of the panel the icon sits on, as far as Pelix can tell: the idle and signed-out
// outlines are drawn dark on a light panel and light on a dark one.
enum class PanelShade { light, dark };

// The shade of the desktop's own palette (taken before Pelix gives its windows their look).
PanelShade panelShade(const QPalette& desktop);

// The tray icon of a look, drawn here for `shade`. When the package has installed the look's icon
// into the icon theme, the icon carries its name, so that a tray that loads icons by name (a
// StatusNotifierItem host) uses the installed one: for the idle and signed-out looks a symbolic
// icon, which the panel recolours to suit itself. Those two are masks; recording stays red.
QIcon trayIcon(TrayLook look, PanelShade shade = PanelShade::dark);

// The name of a look's icon in the icon theme: "pelix-idle-symbolic", "pelix-recording",
// "pelix-signed-out-symbolic".
QString trayIconName(TrayLook look);
// Whether a look's icon is a symbolic one: drawn in one colour that the desktop replaces.
bool isSymbolic(TrayLook look);
// The name of a look's picture in one shade: "pelix-idle" (light, for dark panels) and
// "pelix-idle-dark" (for light ones); recording is "pelix-recording" in both.
QString trayFallbackName(TrayLook look, PanelShade shade);

// The installed icons, made from the same drawing: each tray look in each shade and the
// application's icon (the microphone on a dark rounded tile), as square pictures and as SVG;
// and the symbolic SVG of the symbolic looks, filled shapes in the "currentColor" of the
// ColorScheme-Text class, which icon loaders set to the panel's text colour.
QImage trayImage(TrayLook look, int size, PanelShade shade = PanelShade::dark);
QString traySvg(TrayLook look, PanelShade shade = PanelShade::dark);
QString traySymbolicSvg(TrayLook look);
QImage appImage(int size);
QString appSvg();

}  // namespace pelix::ui
