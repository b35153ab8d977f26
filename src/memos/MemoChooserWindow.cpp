#include "memos/MemoChooserWindow.h"

#include "core/Prefs.h"
#include "memos/MemoChooserView.h"

#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QVBoxLayout>

namespace pelix::memos {

MemoChooserWindow::MemoChooserWindow(Parts parts, QWidget* parent)
    : QDialog(parent), model_(parts.prefs, parts.send, parts.setAuto), sender_(parts.send) {
    setWindowTitle(QStringLiteral("Send voice memos"));
    resize(440, 560);
    view_ = new MemoChooserView(model_, this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view_);

    core::Prefs& prefs = parts.prefs;
    drops_ = new DropCatcher(this, parts.timers, parts.fetch, [&prefs] {
        return VoiceMemoLibrary::memos(VoiceMemoLibrary::folder(prefs));
    });
    drops_->onChime(parts.chime);
    connect(drops_, &DropCatcher::audio, &sender_,
            [this](const QStringList& files) { sender_.sendDropped(files); });
    connect(&sender_, &drops::Sender::show, drops_, &DropCatcher::showPill);
    connect(&sender_, &drops::Sender::show, this, [this](const QString&, drops::State state) {
        // A finished batch may have filed memos of the list.
        if (state != drops::State::working) model_.load();
    });
    connect(view_, &MemoChooserView::chooseFolder, this, &MemoChooserWindow::chooseFolder);
    connect(view_, &MemoChooserView::chooseFiles, this,
            [this, &prefs] { chooseFiles(VoiceMemoLibrary::folder(prefs)); });
}

void MemoChooserWindow::chooseFiles(const QString& start) {
    auto* dialog =
        new QFileDialog(this, QStringLiteral("Choose recordings to send"),
                        QFileInfo(start).isDir() ? start : QDir::homePath(), drops::audioFilter());
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this, [this](const QStringList& files) {
        QStringList sounds;
        for (const QString& file : files) {
            if (drops::isAudioName(QFileInfo(file).fileName())) sounds << file;
        }
        if (sounds.isEmpty()) return;
        drops::trace(QStringLiteral("chosen: %1 files").arg(sounds.size()));
        sender_.sendDropped(sounds);
    });
    dialog->open();
}

MemoChooserWindow::~MemoChooserWindow() = default;

bool MemoChooserWindow::event(QEvent* event) {
    // Only as a window of its own: laid into another one, it is not the thing being activated.
    if (event->type() == QEvent::WindowActivate && isWindow()) model_.load();
    return QDialog::event(event);
}

}  // namespace pelix::memos
