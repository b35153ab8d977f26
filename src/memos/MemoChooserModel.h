#pragma once

#include "core/Worker.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoLibrary.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <optional>

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::memos {

// The memo chooser's state: the newest recordings of the folder, which are ticked, how each
// one's sending went, and the switch for automatic sending. Sends the ticked memos by hand, one
// at a time, newest first. Main thread; the folder is listed on a worker thread.
class MemoChooserModel : public QObject {
    Q_OBJECT
public:
    enum class State { waiting, sending, sent, failed };

    static constexpr qsizetype kMost = 300;

    using Send = MemoSender::Send;

    MemoChooserModel(core::Prefs& prefs, Send send, std::function<void(bool)> setAuto,
                     QObject* parent = nullptr);
    ~MemoChooserModel() override;

    // Reads the folder (and the switch) again; states from this window's sends are kept.
    // `changed` follows.
    void load();
    bool loading() const { return loading_; }
    // Takes the folder's listing (none: the folder cannot be read) as a load does.
    void setMemos(std::optional<QList<VoiceMemo>> memos);

    const QList<VoiceMemo>& memos() const { return memos_; }
    bool canRead() const { return canRead_; }
    // The recordings folder as it was when last loaded.
    const QString& folder() const { return folder_; }

    // Ticking, by file name. A memo waiting or being sent cannot be ticked.
    bool picked(const QString& name) const { return picked_.contains(name); }
    bool canPick(const QString& name) const;
    void setPicked(const QString& name, bool on);
    void toggle(const QString& name) { setPicked(name, !picked(name)); }
    // Ticked memos that are listed.
    int pickedCount() const;

    std::optional<State> state(const QString& name) const;

    // "voiceMemos.on" as read at the last load, then as switched here.
    bool autoSend() const { return auto_; }
    void setAutoSend(bool on);

    // Sends every ticked memo that is not in Pelix yet, in list order, one at a time.
    void sendPicked();
    bool sending() const { return !queue_.isEmpty(); }

    // "Send to Pelix", "Send 1 to Pelix", "Send 3 to Pelix".
    QString sendTitle() const;
    // The line under the list: the memo being sent, then how the batch went.
    const QString& status() const { return status_; }

    // The line under a memo's title for its state; empty for none.
    static QString stateLine(std::optional<State> state);
    // The memo's file name, its key here.
    static QString nameOf(const VoiceMemo& memo);

Q_SIGNALS:
    void changed();

private:
    void loaded(std::optional<QList<VoiceMemo>> memos);
    void sendNext();
    void setStatus(const QString& text);

    core::Prefs& prefs_;
    Send send_;
    std::function<void(bool)> setAuto_;
    QList<VoiceMemo> memos_;
    QString folder_;
    bool canRead_ = true;
    bool auto_ = false;
    QSet<QString> picked_;
    QHash<QString, State> states_;
    QList<VoiceMemo> queue_;
    int batchSize_ = 0;
    int batchSent_ = 0;
    QString status_;
    bool loading_ = false;
    bool loadAgain_ = false;
    core::Worker worker_;  // listings, one at a time
};

}  // namespace pelix::memos
