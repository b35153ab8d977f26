#pragma once

#include "core/Error.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoLibrary.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

class QMimeData;

namespace pelix::memos {

// Recordings dropped onto a window: what a drag carries, where received copies go, the log,
// and the sending of what was dropped. No widgets here; `DropCatcher` is the window side.
namespace drops {

// The look of a status message.
enum class State { working, done, failed };

// Where the files of a drop came from, as `onAudio` is told.
inline constexpr auto kFromFiles = "files";
inline constexpr auto kFromLocations = "locations";
inline constexpr auto kFromLibrary = "library";

// Whether a file name has one of the accepted sound extensions (m4a, qta, mp3, wav, aiff, aif,
// caf, aac, mp4), in any case.
bool isAudioName(const QString& name);

// The file chooser's filter for recordings: every accepted extension, in lower and upper case.
QString audioFilter();

// Local files of the drag with an accepted extension, as paths.
QStringList audioFiles(const QMimeData& data);
// Recordings the drag names at locations that are not local files (a phone over MTP, a share,
// a web address): they have to be fetched before they can be sent.
QList<QUrl> audioLocations(const QMimeData& data);
// The names the source gives its recordings, for finding them in the library: each line of the
// plain text (the file name without its extension where the line is a path or an address), else
// the names of the files the drag points at. Trimmed, empty ones and repeats left out.
QStringList suggestedNames(const QMimeData& data);
// The drag's formats, for the log.
QString kinds(const QMimeData& data);

// The memos whose titles equal the names (case-insensitive), the first match of each name, in
// the order of the names; nothing when the library is closed.
QStringList fromLibrary(const QStringList& names, const std::optional<QList<VoiceMemo>>& library);

// $XDG_CACHE_HOME/Pelix/Dropped: where fetched recordings are kept until they are sent.
QString droppedFolder();
// Whether `file` is a copy in that folder.
bool isReceivedCopy(const QString& file);
// $XDG_CACHE_HOME/Pelix/drops.log.
QString logFile();
// Appends "<ISO 8601 time> <text>" as one line to the log, making it (private) on first use.
// Safe from any thread.
void trace(const QString& text);

// Fetches one location into the file `target` (whose folder exists); the file's path.
using Fetch = std::function<Result<QString>(const QUrl& location, const QString& target)>;
// Lists the library for the fallback.
using Library = std::function<std::optional<QList<VoiceMemo>>()>;

struct Received {
    QStringList files;
    QString source;  // kFromLocations or kFromLibrary; empty when nothing came
};

// The slow part of a drop that carried no local files: fetches every location into the
// "Dropped" folder, keeps the sound files among what came, and when nothing came looks the
// suggested names up in the library. Logs each step. Blocks: run it on a worker thread.
Received receive(const QList<QUrl>& locations, const QStringList& names, const Fetch& fetch,
                 const Library& library);

// The message after a batch: every file sent, some, or none. `name` is the one file's name.
QString finalMessage(int sent, int count, const QString& name);
State finalState(int sent, int count);

// Sends dropped recordings one at a time through the memo sender, shows "Sending i of n…"
// before each and a final message after the last, and removes received copies once they have
// been tried. A drop that comes while another is being sent waits for it. Main thread.
class Sender : public QObject {
    Q_OBJECT
public:
    using Send = MemoSender::Send;

    explicit Sender(Send send, QObject* parent = nullptr);

    void sendDropped(const QStringList& files);
    bool busy() const { return busy_; }

Q_SIGNALS:
    void show(const QString& text, State state);

private:
    void startBatch();
    void next();

    Send send_;
    QList<QStringList> batches_;
    QStringList files_;
    qsizetype index_ = 0;
    int sent_ = 0;
    bool busy_ = false;
};

}  // namespace drops
}  // namespace pelix::memos
