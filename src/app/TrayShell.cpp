#include "app/TrayShell.h"

#include "core/Sentences.h"
#include "ui/Dialogs.h"
#include "ui/SpeechWindow.h"

#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QMenu>
#include <QSystemTrayIcon>

#include <memory>

namespace pelix::app {
namespace {

template <class Dialog>
void open(Dialog* dialog) {
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
    dialog->raise();
    dialog->activateWindow();
}

}  // namespace

TrayShell::TrayShell(speech::SpeechSettings& speech) : speech_(speech) {}
TrayShell::~TrayShell() = default;

void TrayShell::setLook(ui::TrayLook look) {
    look_ = look;
    if (icon_) icon_->setIcon(ui::trayIcon(look, shade_));
}

void TrayShell::setPanelShade(ui::PanelShade shade) {
    shade_ = shade;
    setLook(look_);
}

void TrayShell::ask(const Prompt& prompt, std::function<void(PromptAnswer)> answered) {
    QStringList buttons{prompt.accept, prompt.reject};
    if (!prompt.other.isEmpty()) buttons << prompt.other;
    auto* box = new ui::MessageDialog(prompt.title, prompt.text, buttons);
    // Exactly one answer: a button, or closing the box.
    QObject::connect(box, &ui::MessageDialog::answered, box,
                     [answered = std::move(answered)](int index) {
                         answered(index == 0   ? PromptAnswer::accept
                                  : index == 2 ? PromptAnswer::other
                                               : PromptAnswer::reject);
                     });
    open(box);
}

void TrayShell::askForSecret(const QString& label, std::function<void(QString)> entered) {
    auto* dialog = new ui::SecretDialog(label, QStringLiteral("Connect"));
    QObject::connect(dialog, &ui::SecretDialog::entered, dialog,
                     [entered = std::move(entered)](const QString& text) { entered(text); });
    open(dialog);
}

void TrayShell::report(const QString& title, const QStringList& lines) {
    open(new ui::MessageDialog(title, lines.join('\n'), {QStringLiteral("OK")}));
}

void TrayShell::chooseFile(const QString& title, const QString& filter,
                           std::function<void(QString)> chosen) {
    auto* dialog = new QFileDialog(nullptr, title, QDir::homePath(), filter);
    dialog->setFileMode(QFileDialog::ExistingFile);
    QObject::connect(dialog, &QFileDialog::fileSelected, dialog,
                     [chosen = std::move(chosen)](const QString& file) { chosen(file); });
    open(dialog);
}

void TrayShell::chooseFolder(const QString& title, const QString& start,
                             std::function<void(QString)> chosen) {
    auto* dialog = new QFileDialog(nullptr, title, start);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    QObject::connect(dialog, &QFileDialog::fileSelected, dialog,
                     [chosen = std::move(chosen)](const QString& folder) { chosen(folder); });
    open(dialog);
}

void TrayShell::editSpeech() {
    if (!speechWindow_) {
        speechWindow_ = new ui::SpeechWindow(speech_);
        speechWindow_->setAttribute(Qt::WA_DeleteOnClose);
    }
    speechWindow_->show();
    speechWindow_->raise();
    speechWindow_->activateWindow();
}

bool TrayShell::showIcon(QMenu* menu, std::function<void(const QRect&)> clicked) {
    if (icon_) return true;
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return false;
    icon_ = std::make_unique<QSystemTrayIcon>(ui::trayIcon(look_, shade_));
    icon_->setToolTip(core::sentences::kPelix);
    icon_->setContextMenu(menu);
    QObject::connect(
        icon_.get(), &QSystemTrayIcon::activated, menu,
        [this, clicked = std::move(clicked)](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger) clicked(icon_->geometry());
        });
    icon_->show();
    return true;
}

QRect TrayShell::iconGeometry() const {
    return icon_ ? icon_->geometry() : QRect();
}

bool TrayShell::iconShown() const {
    return icon_ != nullptr;
}

}  // namespace pelix::app
