#include "ui/Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>

namespace pelix::ui::theme {

bool loadFonts() {
    static const bool loaded = [] {
        bool all = true;
        for (const char* file :
             {":/pelix/fonts/PelixSans-Regular.otf", ":/pelix/fonts/PelixSans-SemiBold.otf"}) {
            all = QFontDatabase::addApplicationFont(QString::fromLatin1(file)) >= 0 && all;
        }
        return all;
    }();
    return loaded;
}

QFont font(Type type) {
    QFont f(QString::fromLatin1(kFamily));
    // Outlines as drawn, never snapped to a grid the machine's font settings choose: the same
    // pixels on every desktop.
    f.setHintingPreference(QFont::PreferNoHinting);
    f.setStyleStrategy(QFont::PreferAntialias);
    f.setWeight(QFont::Normal);
    switch (type) {
        case Type::caption:
            f.setPixelSize(11);
            break;
        case Type::small:
            f.setPixelSize(12);
            break;
        case Type::body:
            f.setPixelSize(13);
            break;
        case Type::title:
            f.setPixelSize(15);
            f.setWeight(QFont::DemiBold);
            break;
        case Type::heading:
            f.setPixelSize(10);
            f.setWeight(QFont::DemiBold);
            f.setCapitalization(QFont::AllUppercase);
            f.setLetterSpacing(QFont::AbsoluteSpacing, 0.9);
            break;
        case Type::display:
            f.setPixelSize(20);
            f.setWeight(QFont::DemiBold);
            break;
    }
    return f;
}

namespace {

QPalette palette() {
    QPalette p;
    const auto set = [&p](QPalette::ColorRole role, const QColor& color) {
        p.setColor(QPalette::All, role, color);
    };
    set(QPalette::Window, kBackground);
    set(QPalette::WindowText, kText);
    set(QPalette::Base, kSurface);
    set(QPalette::AlternateBase, kRaised);
    set(QPalette::Text, kText);
    set(QPalette::Button, kSurface);
    set(QPalette::ButtonText, kText);
    set(QPalette::BrightText, kOnAccent);
    set(QPalette::Highlight, kAccent);
    set(QPalette::HighlightedText, kOnAccent);
    set(QPalette::PlaceholderText, kFaint);
    set(QPalette::ToolTipBase, kRaised);
    set(QPalette::ToolTipText, kText);
    set(QPalette::Link, kAccentHover);
    set(QPalette::Light, kRaised);
    set(QPalette::Midlight, kRaised);
    set(QPalette::Mid, kBorder);
    set(QPalette::Dark, kBackground.darker(130));
    set(QPalette::Shadow, QColor(0, 0, 0));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, kFaint);
    }
    return p;
}

}  // namespace

QString styleSheet() {
    const auto c = [](const QColor& color) { return color.name(); };
    return QStringLiteral(R"(
QToolTip { background: %1; color: %2; border: 1px solid %3; border-radius: 6px; padding: 4px 8px; }
QPushButton { background: %4; color: %2; border: 1px solid %3; border-radius: 8px; padding: 6px 14px; }
QPushButton:hover { background: %1; }
QPushButton:disabled { color: %5; }
QPushButton[role="primary"] { background: %6; color: %7; border: none; }
QPushButton[role="primary"]:hover { background: %8; }
QPushButton[role="primary"]:disabled { background: %1; color: %5; }
QPushButton[role="ghost"] { background: transparent; border: none; color: %9; padding: 4px 8px; }
QPushButton[role="ghost"]:hover { color: %2; }
QPushButton[role="icon"] { background: transparent; border: none; border-radius: 8px; padding: 0; }
QPushButton[role="icon"]:hover { background: %1; }
QPushButton[role="chip"] { background: %1; border: 1px solid %3; border-radius: 11px; padding: 2px 10px; }
QPushButton[role="chip"]:hover { border-color: %9; }
QLabel[role="muted"] { color: %9; }
QLabel[role="faint"] { color: %5; }
QLabel[role="heading"] { color: %9; }
QFrame[role="card"] { background: %4; border: 1px solid %3; border-radius: 10px; }
QFrame[role="field"] { background: %4; border: 1px solid %3; border-radius: 12px; }
QLineEdit { background: transparent; border: none; color: %2; selection-background-color: %6; }
QLineEdit[role="field"] { background: %4; border: 1px solid %3; border-radius: 8px; padding: 6px 8px; }
QLineEdit[role="field"]:focus { border-color: %6; }
QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; border: none; }
QScrollBar:vertical { background: transparent; width: 8px; margin: 2px; }
QScrollBar::handle:vertical { background: %1; border-radius: 2px; min-height: 24px; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; width: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: none; }
QMenu { background: %4; color: %2; border: 1px solid %3; padding: 4px; }
QMenu::item { padding: 5px 20px 5px 12px; border-radius: 5px; }
QMenu::item:selected { background: %6; color: %7; }
QMenu::item:disabled { color: %5; }
QMenu::separator { height: 1px; background: %3; margin: 4px 6px; }
)")
        .arg(c(kRaised), c(kText), c(kBorder), c(kSurface), c(kFaint), c(kAccent), c(kOnAccent),
             c(kAccentHover), c(kMuted));
}

void setRole(QWidget* widget, const char* role) {
    widget->setProperty("role", QString::fromLatin1(role));
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
}

void apply(QApplication& app) {
    loadFonts();
    if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion"))) app.setStyle(fusion);
    app.setPalette(palette());
    app.setFont(font(Type::body));
    app.setStyleSheet(styleSheet());
}

}  // namespace pelix::ui::theme
