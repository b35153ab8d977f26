#include "memos/MemoChooserWindow.h"

#include "core/Prefs.h"
#include "memos/MemoChooserView.h"

#include <QEvent>
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
}

MemoChooserWindow::~MemoChooserWindow() = default;

bool MemoChooserWindow::event(QEvent* event) {
    // Only as a window of its own: laid into another one, it is not the thing being activated.
    if (event->type() == QEvent::WindowActivate && isWindow()) model_.load();
    return QDialog::event(event);
}

}  // namespace pelix::memos
