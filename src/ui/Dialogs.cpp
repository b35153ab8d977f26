#include "ui/Dialogs.h"

#include "ui/Glyphs.h"
#include "ui/Theme.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace pelix::ui {
namespace {

constexpr int kWidth = 420;

QLabel* titleLabel(const QString& title, QWidget* parent) {
    auto* label = new QLabel(title, parent);
    label->setFont(theme::font(theme::Type::title));
    label->setWordWrap(true);
    return label;
}

QVBoxLayout* column(QDialog* dialog) {
    auto* layout = new QVBoxLayout(dialog);
    layout->setContentsMargins(theme::kSpace6, theme::kSpace5, theme::kSpace6, theme::kSpace5);
    layout->setSpacing(theme::kSpace3);
    return layout;
}

}  // namespace

MessageDialog::MessageDialog(const QString& title, const QString& text, const QStringList& buttons,
                             QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(title);
    setMinimumWidth(kWidth);
    QVBoxLayout* layout = column(this);
    layout->addWidget(titleLabel(title, this));
    text_ = new QLabel(text, this);
    text_->setFont(theme::font(theme::Type::body));
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    theme::setRole(text_, "muted");
    layout->addWidget(text_);
    layout->addSpacing(theme::kSpace2);

    auto* row = new QHBoxLayout;
    row->setSpacing(theme::kSpace2);
    row->addStretch();
    for (qsizetype i = 0; i < buttons.size(); ++i) {
        auto* button = new QPushButton(buttons.at(i), this);
        button->setCursor(Qt::PointingHandCursor);
        if (i == 0) {
            theme::setRole(button, "primary");
            button->setDefault(true);
        } else {
            button->setAutoDefault(false);
        }
        const int index = static_cast<int>(i);
        connect(button, &QPushButton::clicked, this, [this, index] {
            pressed_ = index;
            accept();
        });
        buttons_.append(button);
    }
    // The default button sits at the right end, where the eye ends reading.
    for (qsizetype i = buttons_.size() - 1; i >= 0; --i) row->addWidget(buttons_.at(i));
    layout->addLayout(row);
}

QString MessageDialog::text() const {
    return text_->text();
}

void MessageDialog::done(int result) {
    QDialog::done(result);
    if (told_) return;
    told_ = true;
    Q_EMIT answered(pressed_);
}

SecretDialog::SecretDialog(const QString& label, const QString& confirm, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(QStringLiteral("Pelix"));
    setMinimumWidth(kWidth);
    QVBoxLayout* layout = column(this);
    auto* text = new QLabel(label, this);
    text->setFont(theme::font(theme::Type::body));
    text->setWordWrap(true);
    layout->addWidget(text);

    field_ = new QLineEdit(this);
    theme::setRole(field_, "field");
    field_->setFont(theme::font(theme::Type::body));
    field_->setEchoMode(QLineEdit::Password);
    show_ =
        field_->addAction(glyphIcon(Glyph::eye, theme::kMuted, 16), QLineEdit::TrailingPosition);
    show_->setCheckable(true);
    setShown(false);
    connect(show_, &QAction::toggled, this, &SecretDialog::setShown);
    layout->addWidget(field_);
    layout->addSpacing(theme::kSpace2);

    auto* row = new QHBoxLayout;
    row->setSpacing(theme::kSpace2);
    row->addStretch();
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setAutoDefault(false);
    confirm_ = new QPushButton(confirm, this);
    theme::setRole(confirm_, "primary");
    confirm_->setDefault(true);
    confirm_->setEnabled(false);
    row->addWidget(cancel);
    row->addWidget(confirm_);
    layout->addLayout(row);

    connect(field_, &QLineEdit::textChanged, this,
            [this](const QString& typed) { confirm_->setEnabled(!typed.trimmed().isEmpty()); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(confirm_, &QPushButton::clicked, this, [this] {
        accept();
        Q_EMIT entered(field_->text());
    });
}

bool SecretDialog::shown() const {
    return field_->echoMode() == QLineEdit::Normal;
}

void SecretDialog::setShown(bool shown) {
    field_->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
    show_->setIcon(glyphIcon(shown ? Glyph::eyeShut : Glyph::eye, theme::kMuted, 16));
    show_->setToolTip(shown ? QStringLiteral("Hide the key") : QStringLiteral("Show the key"));
    show_->setText(show_->toolTip());
}

}  // namespace pelix::ui
