#include "memos/MemoChooserModel.h"

#include "core/Prefs.h"
#include "core/Sentences.h"

#include <QFileInfo>

namespace pelix::memos {

MemoChooserModel::MemoChooserModel(core::Prefs& prefs, Send send, std::function<void(bool)> setAuto,
                                   QObject* parent)
    : QObject(parent),
      prefs_(prefs),
      send_(std::move(send)),
      setAuto_(std::move(setAuto)),
      auto_(prefs.value("voiceMemos.on", false).toBool()),
      worker_(this, 1) {}

MemoChooserModel::~MemoChooserModel() = default;

QString MemoChooserModel::nameOf(const VoiceMemo& memo) {
    return QFileInfo(memo.url.toLocalFile()).fileName();
}

void MemoChooserModel::load() {
    if (loading_) {
        loadAgain_ = true;
        return;
    }
    loading_ = true;
    // The switch may have been flipped from the tray menu meanwhile.
    auto_ = prefs_.value("voiceMemos.on", false).toBool();
    folder_ = VoiceMemoLibrary::prepare(prefs_);
    worker_.run([folder = folder_] { return VoiceMemoLibrary::memos(folder); },
                [this](std::optional<QList<VoiceMemo>> memos) { loaded(std::move(memos)); });
}

void MemoChooserModel::loaded(std::optional<QList<VoiceMemo>> memos) {
    loading_ = false;
    if (loadAgain_) {
        loadAgain_ = false;
        load();
        return;
    }
    setMemos(std::move(memos));
}

void MemoChooserModel::setMemos(std::optional<QList<VoiceMemo>> memos) {
    if (!memos) {
        canRead_ = false;
        memos_.clear();
        Q_EMIT changed();
        return;
    }
    canRead_ = true;
    if (memos->size() > kMost) memos->resize(kMost);
    memos_ = std::move(*memos);
    const QStringList sent = prefs_.value("voiceMemos.sent").toStringList();
    for (const VoiceMemo& memo : memos_) {
        const QString name = nameOf(memo);
        if (!states_.contains(name) && sent.contains(name)) states_.insert(name, State::sent);
    }
    Q_EMIT changed();
}

bool MemoChooserModel::canPick(const QString& name) const {
    const std::optional<State> now = state(name);
    return now != State::waiting && now != State::sending;
}

void MemoChooserModel::setPicked(const QString& name, bool on) {
    if (on == picked(name) || (on && !canPick(name))) return;
    if (on) {
        picked_.insert(name);
    } else {
        picked_.remove(name);
    }
    Q_EMIT changed();
}

int MemoChooserModel::pickedCount() const {
    int count = 0;
    for (const VoiceMemo& memo : memos_) count += picked_.contains(nameOf(memo)) ? 1 : 0;
    return count;
}

std::optional<MemoChooserModel::State> MemoChooserModel::state(const QString& name) const {
    const auto found = states_.constFind(name);
    if (found == states_.constEnd()) return std::nullopt;
    return *found;
}

void MemoChooserModel::setAutoSend(bool on) {
    if (setAuto_) setAuto_(on);
    auto_ = on;
    Q_EMIT changed();
}

void MemoChooserModel::sendPicked() {
    if (sending()) return;
    for (const VoiceMemo& memo : memos_) {
        const QString name = nameOf(memo);
        if (!picked_.contains(name)) continue;
        // Unticked as it is taken: a failed one is ticked again by hand to retry.
        picked_.remove(name);
        if (state(name) == State::sent) continue;
        states_.insert(name, State::waiting);
        queue_ << memo;
    }
    batchSize_ = static_cast<int>(queue_.size());
    batchSent_ = 0;
    Q_EMIT changed();
    if (!queue_.isEmpty()) sendNext();
}

void MemoChooserModel::sendNext() {
    const VoiceMemo memo = queue_.first();
    const QString name = nameOf(memo);
    states_.insert(name, State::sending);
    setStatus(core::sentences::sendingMemo(memo.title));
    send_(memo.url.toLocalFile(), memo.title, [this, memo, name](bool ok) {
        if (ok) {
            MemoSender::markSent(prefs_, name);
            ++batchSent_;
        }
        states_.insert(name, ok ? State::sent : State::failed);
        queue_.removeFirst();
        if (!queue_.isEmpty()) return sendNext();
        if (batchSent_ == batchSize_) {
            setStatus(batchSize_ == 1 ? core::sentences::completeOne(memo.title)
                                      : core::sentences::completeAll(batchSize_));
        } else if (batchSent_ > 0) {
            setStatus(core::sentences::someSentTickAgain(batchSent_, batchSize_));
        } else {
            setStatus(core::sentences::kNotSentTickAgain);
        }
    });
}

void MemoChooserModel::setStatus(const QString& text) {
    status_ = text;
    Q_EMIT changed();
}

QString MemoChooserModel::sendTitle() const {
    const int count = pickedCount();
    if (count == 0) return QStringLiteral("Send to Pelix");
    return QStringLiteral("Send %1 to Pelix").arg(count);
}

QString MemoChooserModel::stateLine(std::optional<State> state) {
    if (!state) return {};
    switch (*state) {
        case State::waiting:
            return core::sentences::kWaiting;
        case State::sending:
            return core::sentences::kSending;
        case State::sent:
            return core::sentences::kInPelix;
        case State::failed:
            return core::sentences::kNotSentTickIt;
    }
    return {};
}

}  // namespace pelix::memos
