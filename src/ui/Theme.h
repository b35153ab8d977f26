#pragma once

// The font is Inter (Debian's fonts-inter, SIL Open Font License, fonts/OFL.txt) in Regular and
// SemiBold, cut down to Latin and punctuation without hinting and renamed "Pelix Sans" by
// scripts/make-font, so that an Inter installed on the machine never stands in for it; it is
// compiled in as a Qt resource (about 48 KB a weight). Text outside it falls back to the machine's
// fonts. With this font and no hinting, snapshot pictures are the same bytes from machine to
// machine on the same Debian release.

#include <QColor>
#include <QFont>
#include <QString>

class QApplication;
class QWidget;

namespace pelix::ui::theme {

// The one look of Pelix's windows, the same on every desktop: a dark palette, the bundled font
// "Pelix Sans" (Inter, Regular and SemiBold), sizes in pixels so that no screen's DPI setting
// changes a layout, and a spacing scale in steps of 4 pixels.

// Colours.
inline constexpr QColor kBackground{0x16, 0x16, 0x1b};  // window background
inline constexpr QColor kSurface{0x20, 0x20, 0x27};     // cards, fields, Pelix's bubbles
inline constexpr QColor kRaised{0x2a, 0x2a, 0x33};      // hovered and pressed controls
inline constexpr QColor kBorder{0x33, 0x33, 0x3d};
inline constexpr QColor kText{0xf1, 0xf1, 0xf4};
inline constexpr QColor kMuted{0x9a, 0x9a, 0xa8};   // secondary text
inline constexpr QColor kFaint{0x6b, 0x6b, 0x78};   // placeholders, footers
inline constexpr QColor kAccent{0x7b, 0x7f, 0xf6};  // the user's bubbles, primary buttons
inline constexpr QColor kAccentHover{0x8d, 0x91, 0xf8};
inline constexpr QColor kOnAccent{0xff, 0xff, 0xff};
inline constexpr QColor kRecording{0xe5, 0x48, 0x4d};
inline constexpr QColor kLive{0x2f, 0xb8, 0x8a};  // live dictation
inline constexpr QColor kAmber{0xf2, 0xb2, 0x4c};
inline constexpr QColor kViolet{0xb3, 0x8b, 0xfa};
inline constexpr QColor kTeal{0x3c, 0xc6, 0xc0};
inline constexpr QColor kBlue{0x5f, 0xa8, 0xf5};

// Spacing and corner radii, in pixels.
inline constexpr int kSpace1 = 4;
inline constexpr int kSpace2 = 8;
inline constexpr int kSpace3 = 12;
inline constexpr int kSpace4 = 16;
inline constexpr int kSpace5 = 20;
inline constexpr int kSpace6 = 24;
inline constexpr int kRadiusSmall = 6;
inline constexpr int kRadius = 10;
inline constexpr int kRadiusLarge = 14;

inline constexpr auto kFamily = "Pelix Sans";

// Text styles.
enum class Type {
    caption,  // 11 px: footers, hints
    small,    // 12 px: card bodies, chips
    body,     // 13 px: bubbles, fields, buttons
    title,    // 15 px semibold: window headers
    heading,  // 10.5 px semibold capitals with wide tracking: section headings
    display,  // 20 px semibold
};
QFont font(Type type);

// Loads the bundled font; true once it is usable. Safe to call again.
bool loadFonts();

// The style sheet every window shares. Widgets pick a variant with the dynamic property
// "role": QPushButton "primary", "ghost", "icon" or "chip"; QLabel "muted", "faint" or
// "heading"; QFrame "card" or "field"; QLineEdit "field" (one that stands alone, with a border).
QString styleSheet();

// Sets a widget's "role" and lets the style sheet see the change.
void setRole(QWidget* widget, const char* role);

// Gives the whole application the look: the font, the Fusion style, the palette and the style
// sheet. Call once, after the application object is made.
void apply(QApplication& app);

}  // namespace pelix::ui::theme
