#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "core/Worker.h"
#include "memos/Ticker.h"
#include "memos/VoiceMemoLibrary.h"

#include <QObject>
#include <QSet>

namespace pelix::memos {

class MemoSender;

// Watches the recordings folder and hands its new recordings to the sender by themselves, one
// at a time, oldest first. Lives on the main thread; the folder is listed on a worker thread.
//
// A memo the sender reports refused is put on the "voiceMemos.refused" list: the watcher never
// tries it by itself again, though it can still be sent by hand.
class VoiceMemoWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr double kLookEvery = 60;
    static constexpr double kSettling = 90;

    VoiceMemoWatcher(MemoSender& sender, core::Prefs& prefs, const core::Clock& clock,
                     Ticker& ticker, QObject* parent = nullptr);
    ~VoiceMemoWatcher() override;

    // Writes "voiceMemos.since" the first time, looks every minute and once now.
    void start();
    void stop();
    // One look into the folder: sends the oldest waiting memo unless one is in flight. The
    // folder is listed on a worker thread; `busy` holds from the look to the memo's end.
    void look();
    bool busy() const { return busy_; }
    // "voiceMemos.on", read anew at every look.
    bool on() const;

    // The recordings folder now.
    QString folder() const { return VoiceMemoLibrary::folder(prefs_); }

    // The memos that wait, oldest first: recordings not sent nor refused, created at or after
    // `since`, and last written before `now` minus the settling time.
    static QList<FolderFile> waiting(const QList<FolderFile>& files, const QDateTime& since,
                                     const QSet<QString>& done, const QDateTime& now);

private:
    void sendFirst(const QList<FolderFile>& queue);

    MemoSender& sender_;
    core::Prefs& prefs_;
    const core::Clock& clock_;
    Ticker& ticker_;
    bool busy_ = false;
    core::Worker worker_;  // lists the folder; last, so it ends first
};

}  // namespace pelix::memos
