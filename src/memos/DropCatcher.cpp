#include "memos/DropCatcher.h"

#include "core/Sentences.h"
#include "ui/Theme.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>

#include <algorithm>

namespace pelix::memos {

DropCatcher::DropCatcher(QWidget* host, core::Timers& timers, drops::Fetch fetch,
                         drops::Library library)
    : QWidget(host),
      host_(host),
      timers_(timers),
      fetch_(std::move(fetch)),
      library_(std::move(library)),
      worker_(this, 1) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    host_->setAcceptDrops(true);
    host_->installEventFilter(this);
    setGeometry(host_->rect());
    QWidget::show();
    raise();
}

DropCatcher::~DropCatcher() = default;

QRect DropCatcher::pillRect() const {
    if (!pill_) return {};
    const int natural = fontMetrics().horizontalAdvance(pill_->text) + kPillPadding;
    const int widest = width() - kPillMargin;
    const int w = std::min(std::max(natural, kPillNarrowest), widest);
    return QRect((width() - w) / 2, height() - kPillAboveBottom - kPillHeight, w, kPillHeight);
}

void DropCatcher::showPill(const QString& text, drops::State state) {
    pill_ = Pill{text, state};
    pillHide_.reset();
    if (state != drops::State::working) {
        if (state == drops::State::done && chime_) chime_();
        const double after = state == drops::State::done ? kDoneHideSeconds : kFailedHideSeconds;
        QPointer<DropCatcher> self(this);
        pillHide_ = timers_.after(after, [self] {
            if (!self) return;
            self->pill_.reset();
            self->update();
        });
    }
    raise();
    update();
}

void DropCatcher::setVeiled(bool on) {
    veiled_ = on;
    raise();
    update();
}

void DropCatcher::watchDrags(QWidget* child) {
    if (watched_.contains(child)) return;
    watched_.append(child);
    child->installEventFilter(this);
}

bool DropCatcher::eventFilter(QObject* watched, QEvent* event) {
    if (watched != host_) {
        if (!watched_.contains(qobject_cast<QWidget*>(watched)))
            return QWidget::eventFilter(watched, event);
        // A part that takes drops itself keeps every drag that is not a recording.
        switch (event->type()) {
            case QEvent::DragEnter:
                entered(static_cast<QDragEnterEvent*>(event));
                return ours_;
            case QEvent::DragMove:
                if (!ours_) return false;
                static_cast<QDragMoveEvent*>(event)->setDropAction(Qt::CopyAction);
                event->accept();
                return true;
            case QEvent::DragLeave:
                if (!ours_) return false;
                ours_ = false;
                setVeiled(false);
                return true;
            case QEvent::Drop:
                if (!ours_) return false;
                dropped(static_cast<QDropEvent*>(event));
                return true;
            default:
                return QWidget::eventFilter(watched, event);
        }
    }
    switch (event->type()) {
        case QEvent::Resize:
            setGeometry(host_->rect());
            break;
        case QEvent::ChildAdded:
            // Stay above whatever the window adds later.
            raise();
            break;
        case QEvent::DragEnter:
            entered(static_cast<QDragEnterEvent*>(event));
            return true;
        case QEvent::DragMove:
            if (ours_) {
                auto* move = static_cast<QDragMoveEvent*>(event);
                move->setDropAction(Qt::CopyAction);
                move->accept();
            } else {
                event->ignore();
            }
            return true;
        case QEvent::DragLeave:
            ours_ = false;
            setVeiled(false);
            return true;
        case QEvent::Drop:
            dropped(static_cast<QDropEvent*>(event));
            return true;
        default:
            break;
    }
    return QWidget::eventFilter(watched, event);
}

void DropCatcher::entered(QDragEnterEvent* event) {
    const QMimeData* data = event->mimeData();
    const bool sound = data && !drops::audioFiles(*data).isEmpty();
    const bool ready = data && !drops::audioLocations(*data).isEmpty();
    drops::trace(QStringLiteral("drag over the window: sound=%1 ready=%2 kinds=%3")
                     .arg(sound ? "true" : "false", ready ? "true" : "false",
                          data ? drops::kinds(*data) : QString()));
    ours_ = sound || ready;
    if (!ours_) {
        event->ignore();
        return;
    }
    setVeiled(true);
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropCatcher::dropped(QDropEvent* event) {
    setVeiled(false);
    const QMimeData* data = event->mimeData();
    if (!ours_ || !data) {
        event->ignore();
        return;
    }
    ours_ = false;
    event->setDropAction(Qt::CopyAction);
    event->accept();
    if (const QStringList files = drops::audioFiles(*data); !files.isEmpty()) {
        Q_EMIT audio(files, QString::fromLatin1(drops::kFromFiles));
        return;
    }
    const QList<QUrl> locations = drops::audioLocations(*data);
    const QStringList names = drops::suggestedNames(*data);
    auto receive = [locations, names, fetch = fetch_, library = library_] {
        return drops::receive(locations, names, fetch, library);
    };
    worker_.run(std::move(receive), [this](const drops::Received& received) {
        if (!received.files.isEmpty()) Q_EMIT audio(received.files, received.source);
    });
}

void DropCatcher::paintEvent(QPaintEvent*) {
    if (!veiled_ && !pill_) return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (veiled_) {
        QColor veil = ui::theme::kBackground;
        veil.setAlpha(215);
        painter.fillRect(rect(), veil);
        const QRectF frame = QRectF(rect()).adjusted(14, 14, -14, -14);
        QPen dashes(ui::theme::kAccent, 2, Qt::DashLine);
        painter.setPen(dashes);
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(frame, ui::theme::kRadiusLarge, ui::theme::kRadiusLarge);
        painter.setFont(ui::theme::font(ui::theme::Type::display));
        painter.setPen(ui::theme::kText);
        painter.drawText(rect(), Qt::AlignCenter, core::sentences::kDropFileHere);
        painter.setFont(font());
    }
    if (pill_) {
        const QRect box = pillRect();
        QColor fill = ui::theme::kRaised;
        if (pill_->state == drops::State::done) fill = ui::theme::kLive.darker(140);
        if (pill_->state == drops::State::failed) fill = ui::theme::kRecording.darker(130);
        painter.setPen(QPen(ui::theme::kBorder, 1));
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5), kPillHeight / 2.0,
                                kPillHeight / 2.0);
        painter.setPen(ui::theme::kText);
        const QString text =
            fontMetrics().elidedText(pill_->text, Qt::ElideRight, box.width() - kPillPadding / 2);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

}  // namespace pelix::memos
