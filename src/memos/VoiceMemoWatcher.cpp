#include "memos/VoiceMemoWatcher.h"

#include "core/Log.h"
#include "memos/MemoSender.h"

#include <QPointer>

#include <algorithm>
#include <cmath>

namespace pelix::memos {
namespace {

constexpr auto kMemoLog = "voice memos";

}  // namespace

VoiceMemoWatcher::VoiceMemoWatcher(MemoSender& sender, core::Prefs& prefs, const core::Clock& clock,
                                   Ticker& ticker, QObject* parent)
    : QObject(parent),
      sender_(sender),
      prefs_(prefs),
      clock_(clock),
      ticker_(ticker),
      worker_(this, 1) {}

VoiceMemoWatcher::~VoiceMemoWatcher() {
    ticker_.stop();
}

void VoiceMemoWatcher::start() {
    if (!prefs_.contains("voiceMemos.since")) {
        prefs_.setValue("voiceMemos.since", clock_.now().toMSecsSinceEpoch() / 1000.0);
    }
    core::logLine(kMemoLog, "watching");
    ticker_.start(kLookEvery, [this] { look(); });
    look();
}

void VoiceMemoWatcher::stop() {
    ticker_.stop();
}

void VoiceMemoWatcher::look() {
    if (!on() || busy_) return;
    // Busy from here: a large folder takes a while to list, and no second look may start.
    busy_ = true;
    const QDateTime since = QDateTime::fromMSecsSinceEpoch(
        std::llround(prefs_.value("voiceMemos.since", 0.0).toDouble() * 1000), Qt::UTC);
    QSet<QString> done;
    for (const char* key : {"voiceMemos.sent", "voiceMemos.refused"}) {
        for (const QString& name : prefs_.value(key).toStringList()) done.insert(name);
    }
    worker_.run(
        [folder = VoiceMemoLibrary::prepare(prefs_), since, done, now = clock_.now()] {
            const auto files = VoiceMemoLibrary::listFolder(folder);
            return files ? waiting(*files, since, done, now) : QList<FolderFile>();
        },
        [this](const QList<FolderFile>& queue) { sendFirst(queue); });
}

void VoiceMemoWatcher::sendFirst(const QList<FolderFile>& queue) {
    if (queue.isEmpty() || !on()) {
        busy_ = false;
        return;
    }
    core::logLine(kMemoLog, "sending one");
    const QString name = queue.first().name;
    // The sender may outlive this watcher.
    QPointer<VoiceMemoWatcher> self(this);
    sender_.sendFor(queue.first().path, std::nullopt, [self, name](MemoSender::Outcome outcome) {
        if (!self) return;
        self->busy_ = false;
        switch (outcome) {
            case MemoSender::Outcome::sent:
                core::logLine(kMemoLog, "sent");
                MemoSender::markSent(self->prefs_, name);
                self->look();
                break;
            case MemoSender::Outcome::refused:
                core::logLine(kMemoLog, "refused, will not try again by itself");
                MemoSender::markRefused(self->prefs_, name);
                self->look();
                break;
            case MemoSender::Outcome::failed:
                core::logLine(kMemoLog, "not sent, will try again");
                break;
        }
    });
}

bool VoiceMemoWatcher::on() const {
    return prefs_.value("voiceMemos.on", false).toBool();
}

QList<FolderFile> VoiceMemoWatcher::waiting(const QList<FolderFile>& files, const QDateTime& since,
                                            const QSet<QString>& done, const QDateTime& now) {
    const QDateTime settled = now.addMSecs(static_cast<qint64>(-kSettling * 1000));
    QList<FolderFile> out;
    for (const FolderFile& file : files) {
        if (!VoiceMemoLibrary::isRecording(file.name) || done.contains(file.name)) continue;
        if (!file.created.isValid() || file.created < since) continue;
        if (!(file.modified < settled)) continue;
        out.push_back(file);
    }
    std::stable_sort(out.begin(), out.end(), [](const FolderFile& a, const FolderFile& b) {
        return a.created < b.created;
    });
    return out;
}

}  // namespace pelix::memos
