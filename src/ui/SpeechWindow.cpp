#include "ui/SpeechWindow.h"

#include "core/Sentences.h"
#include "ui/Theme.h"

#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace pelix::ui {
namespace {

// A text field in the look of the theme: the edit inside a rounded frame.
QFrame* field(QLineEdit* edit) {
    auto* frame = new QFrame;
    theme::setRole(frame, "field");
    auto* layout = new QHBoxLayout(frame);
    layout->setContentsMargins(theme::kSpace3, theme::kSpace2, theme::kSpace3, theme::kSpace2);
    layout->addWidget(edit);
    return frame;
}

// A row of the form whose label stands level with the middle of its field.
void addRow(QFormLayout* form, const QString& text, QWidget* field) {
    auto* label = new QLabel(text);
    label->setMinimumHeight(field->sizeHint().height());
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->addRow(label, field);
}

}  // namespace

SpeechWindow::SpeechWindow(speech::SpeechSettings& settings, QWidget* parent)
    : QWidget(parent, Qt::Dialog), settings_(settings) {
    setWindowTitle(QStringLiteral("Speech"));
    setFixedWidth(440);
    setAutoFillBackground(true);

    auto* title = new QLabel(QStringLiteral("Where Pelix hears speech"));
    title->setFont(theme::font(theme::Type::title));
    auto* about = new QLabel(core::sentences::kSpeechAbout);
    about->setWordWrap(true);
    theme::setRole(about, "muted");

    const speech::SpeechSettings::Values stored = settings.stored();
    address_ = new QLineEdit(stored.server);
    address_->setPlaceholderText(core::sentences::kServerAddressHint);
    model_ = new QLineEdit(stored.model);
    model_->setPlaceholderText(QString::fromLatin1(speech::ServerSettings::kDefaultModel));
    key_ = new QLineEdit;
    key_->setEchoMode(QLineEdit::Password);
    forget_ = new QPushButton(QStringLiteral("Forget the key"));
    theme::setRole(forget_, "ghost");
    auto* keyRow = new QWidget;
    auto* keyLayout = new QHBoxLayout(keyRow);
    keyLayout->setContentsMargins(0, 0, 0, 0);
    keyLayout->addWidget(field(key_), 1);
    keyLayout->addWidget(forget_);

    auto* form = new QFormLayout;
    form->setSpacing(theme::kSpace2);
    addRow(form, QStringLiteral("Server address"), field(address_));
    addRow(form, QStringLiteral("Model"), field(model_));
    addRow(form, QStringLiteral("Key"), keyRow);

    status_ = new QLabel;
    status_->setWordWrap(true);
    theme::setRole(status_, "muted");

    test_ = new QPushButton(QStringLiteral("Test"));
    auto* cancel = new QPushButton(QStringLiteral("Cancel"));
    theme::setRole(cancel, "ghost");
    save_ = new QPushButton(QStringLiteral("Save"));
    theme::setRole(save_, "primary");
    save_->setDefault(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(test_);
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    buttons->addWidget(save_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::kSpace6, theme::kSpace5, theme::kSpace6, theme::kSpace5);
    layout->setSpacing(theme::kSpace3);
    layout->addWidget(title);
    layout->addWidget(about);
    layout->addLayout(form);
    layout->addWidget(status_);
    layout->addLayout(buttons);

    connect(test_, &QPushButton::clicked, this, &SpeechWindow::test);
    connect(save_, &QPushButton::clicked, this, &SpeechWindow::save);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(forget_, &QPushButton::clicked, this, [this] {
        const Status forgotten = settings_.forgetKey();
        status_->setText(forgotten ? QString(core::sentences::kKeyForgotten)
                                   : forgotten.error().message);
        showKeyState();
    });
    showKeyState();
}

speech::SpeechSettings::Values SpeechWindow::values() const {
    return {address_->text(), model_->text(), key_->text()};
}

void SpeechWindow::showKeyState() {
    const bool stored = settings_.keyStored();
    key_->setPlaceholderText(stored ? core::sentences::kKeyKeptHint : core::sentences::kNoKeyHint);
    forget_->setVisible(stored);
}

void SpeechWindow::test() {
    test_->setEnabled(false);
    status_->setText(core::sentences::kTesting);
    QPointer<SpeechWindow> self(this);
    settings_.test(values(), [self](const QString& line, bool) {
        if (!self) return;
        self->test_->setEnabled(true);
        self->status_->setText(line);
    });
}

void SpeechWindow::save() {
    const Status saved = settings_.save(values());
    if (!saved) {
        status_->setText(saved.error().message);
        return;
    }
    close();
}

}  // namespace pelix::ui
