#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "core/Worker.h"
#include "memos/MemoTools.h"
#include "memos/Ticker.h"
#include "memos/VoiceMemoLibrary.h"
#include "service/Api.h"

#include <QJsonObject>
#include <QObject>
#include <QSet>

#include <functional>
#include <optional>

namespace pelix {

// Sends new recordings of the recordings folder into the account by themselves, one at a time,
// oldest first; and serves as the sending pipeline for memos sent by hand. Lives on the main
// thread; media and transcription work runs on its own worker threads.
//
// A memo that the backend refuses (status 422) or that has no words in it is put on the
// "voiceMemos.refused" list: the watcher never tries it by itself again, though it can still
// be sent by hand.
class VoiceMemoWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr double kLookEvery = 60;
    static constexpr double kSettling = 90;
    static constexpr double kPiece = 360;
    static constexpr double kSendLimit = 240;
    static constexpr double kPeopleLimit = 15;
    // Pieces are never shorter than this, nor more than kMostPieces (41 days at 360 s): a
    // recording that claims more is heard on this machine instead.
    static constexpr double kShortestPiece = 1;
    static constexpr int kMostPieces = 10000;
    // A recording that fits in one piece goes as it is only when it is a recording of the
    // kinds the folder holds and no larger than this; anything else is cut (re-encoded) first.
    static constexpr qint64 kWholeLimit = 25 * 1024 * 1024;

    enum class Outcome { sent, refused, failed };

    // One stretch of a recording, sent to the backend on its own.
    struct Piece {
        int number = 1;  // from 1
        double from = 0;
        double length = 0;
        bool whole = false;  // the recording fits in one piece and goes as it is
    };

    VoiceMemoWatcher(Api& api, Prefs& prefs, const Clock& clock, MemoTools tools, Ticker& ticker,
                     QObject* parent = nullptr);
    ~VoiceMemoWatcher() override;

    void onStatus(std::function<void(const QString&)> show) { onStatus_ = std::move(show); }

    // Writes "voiceMemos.since" the first time, looks every minute and once now.
    void start();
    void stop();
    // One look into the folder: sends the oldest waiting memo unless one is in flight. The
    // folder is listed on a worker thread; `busy` holds from the look to the memo's end.
    void look();
    bool busy() const { return busy_; }
    // "voiceMemos.on", read anew at every look.
    bool on() const;

    // Hears and files one memo; `done(true)` once it is in the account.
    void send(const QString& file, const std::optional<QString>& title,
              std::function<void(bool)> done);
    // The same, telling a refusal apart from a failure worth trying again.
    void sendFor(const QString& file, const std::optional<QString>& title,
                 std::function<void(Outcome)> done);

    // The memo's text: by the backend in pieces, else on this machine; none when neither heard
    // it. Without `token` the stored one is used.
    void hear(const QString& file, double seconds, double piece,
              const std::optional<QString>& token,
              std::function<void(std::optional<QString>)> done);
    void heardByPelix(const QString& file, double seconds, double piece,
                      const std::optional<QString>& token,
                      std::function<void(std::optional<QString>)> done);
    void heardHere(const QString& file, const std::optional<QString>& token,
                   std::function<void(Result<QString>)> done);
    // Names of people for the recogniser, from the backend's "desktop" function; empty on
    // any failure.
    void peopleNames(const std::optional<QString>& token, std::function<void(QStringList)> done);

    // The recordings folder now.
    QString folder() const { return VoiceMemoLibrary::folder(prefs_); }

    // Adds a file name to "voiceMemos.sent" (or "voiceMemos.refused") unless it is there.
    static void markSent(Prefs& prefs, const QString& name);
    static void markRefused(Prefs& prefs, const QString& name);
    // Lower-case hexadecimal SHA-256 of the file's bytes; empty when it cannot be read.
    static QString fingerprint(const QString& file);

    // The memos that wait, oldest first: recordings not sent nor refused, created at or after
    // `since`, and last written before `now` minus the settling time.
    static QList<FolderFile> waiting(const QList<FolderFile>& files, const QDateTime& since,
                                     const QSet<QString>& done, const QDateTime& now);
    // How a recording of `seconds` is cut into pieces of `piece` seconds (at least
    // kShortestPiece); none when that would be more than kMostPieces.
    static QList<Piece> pieces(double seconds, double piece);
    // The number the command line reports: seconds over piece, truncated, at least 1.
    static int pieceCount(double seconds, double piece);
    // The text shown once a memo of `seconds` is in the account.
    static QString sentText(double seconds);

private:
    struct Memo;
    struct Hearing;
    void status(const QString& text);
    void fileMemo(std::shared_ptr<Memo> memo, std::function<void(Outcome)> done);
    void finish(Outcome outcome, const QString& text, const std::function<void(Outcome)>& done);
    void nextPiece(std::shared_ptr<Hearing> hearing);

    Api& api_;
    Prefs& prefs_;
    const Clock& clock_;
    MemoTools tools_;
    Ticker& ticker_;
    std::function<void(const QString&)> onStatus_;
    bool busy_ = false;
    Worker worker_;  // listing folders and converting sound, two at a time
};

}  // namespace pelix
