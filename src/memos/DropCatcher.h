#pragma once

#include "core/Timers.h"
#include "core/Worker.h"
#include "memos/Drops.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

namespace pelix::memos {

// A transparent layer over any window that takes recordings dragged onto it: file URLs with a
// sound extension, or sound files at locations that have to be fetched first (a phone, a share),
// with the library as the fallback when fetching fails. While such a drag hovers it veils the
// window ("Drop file here"); other drags are refused. It shows the status pill at the bottom.
// Clicks and keys pass through to the window. Main thread; fetching runs on a worker thread.
class DropCatcher : public QWidget {
    Q_OBJECT
public:
    static constexpr int kPillHeight = 52;
    static constexpr int kPillAboveBottom = 36;
    static constexpr int kPillPadding = 56;
    static constexpr int kPillNarrowest = 300;
    static constexpr int kPillMargin = 40;
    static constexpr double kDoneHideSeconds = 5;
    static constexpr double kFailedHideSeconds = 8;

    // Lays itself over `host` (and keeps to its size); `host` starts accepting drops.
    DropCatcher(QWidget* host, core::Timers& timers, drops::Fetch fetch, drops::Library library);
    ~DropCatcher() override;

    // Shows the status pill; a working message stays until replaced, done and failed ones hide
    // after 5 and 8 seconds. Done ones chime.
    void showPill(const QString& text, drops::State state);
    void onChime(std::function<void()> chime) { chime_ = std::move(chime); }
    // Also takes recordings dragged onto `child`, a part of the window that takes drops itself
    // (a web view); other drags stay with it.
    void watchDrags(QWidget* child);

    bool veiled() const { return veiled_; }
    bool pillShown() const { return pill_.has_value(); }
    QString pillText() const { return pill_ ? pill_->text : QString(); }
    drops::State pillState() const { return pill_ ? pill_->state : drops::State::working; }
    // Where the pill is drawn, in this layer's (and the host's) coordinates.
    QRect pillRect() const;
    // Shows the veil as a hovering drag would, for pictures of the window.
    void setVeiled(bool on);

Q_SIGNALS:
    // Recordings to send, with where they came from (drops::kFromFiles, …).
    void audio(const QStringList& files, const QString& source);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    struct Pill {
        QString text;
        drops::State state;
    };
    void entered(class QDragEnterEvent* event);
    void dropped(class QDropEvent* event);

    QWidget* host_;
    QList<QPointer<QWidget>> watched_;
    core::Timers& timers_;
    drops::Fetch fetch_;
    drops::Library library_;
    std::function<void()> chime_;
    bool ours_ = false;
    bool veiled_ = false;
    std::optional<Pill> pill_;
    std::unique_ptr<core::PendingTimer> pillHide_;
    core::Worker worker_;  // fetches, one at a time
};

}  // namespace pelix::memos
