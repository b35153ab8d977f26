#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "core/Worker.h"
#include "memos/MemoTools.h"
#include "service/Api.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace pelix::memos {

// Sends one recording into the account: hears it in pieces through the backend (else on this
// machine) and files the text as a voice memo. The watcher, the memo chooser, dropped
// recordings and the web window all send through one of these. Lives on the main thread;
// media and transcription work runs on its own worker threads.
class MemoSender : public QObject {
    Q_OBJECT
public:
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

    // A memo that the backend refuses (status 422) or that has no words in it is refused;
    // a failure is worth trying again.
    enum class Outcome { sent, refused, failed };

    // One stretch of a recording, sent to the backend on its own.
    struct Piece {
        int number = 1;  // from 1
        double from = 0;
        double length = 0;
        bool whole = false;  // the recording fits in one piece and goes as it is
    };

    // How a sender is handed to those that send by hand: `done(true)` once the memo is in
    // the account.
    using Send = std::function<void(const QString& file, const std::optional<QString>& title,
                                    std::function<void(bool)> done)>;

    MemoSender(service::Api& api, core::Prefs& prefs, const core::Clock& clock, MemoTools tools,
               QObject* parent = nullptr);
    ~MemoSender() override;

    // The lines for the status line: "Sending a voice memo…", then how it went.
    void onStatus(std::function<void(const QString&)> show) { onStatus_ = std::move(show); }

    // Hears and files one memo; `done(true)` once it is in the account.
    void send(const QString& file, const std::optional<QString>& title,
              std::function<void(bool)> done);
    // The same, telling a refusal apart from a failure worth trying again.
    void sendFor(const QString& file, const std::optional<QString>& title,
                 std::function<void(Outcome)> done);
    // `send` of this sender, which must outlive the function.
    Send sendFunction();

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

    // Adds a file name to "voiceMemos.sent" (or "voiceMemos.refused") unless it is there.
    static void markSent(core::Prefs& prefs, const QString& name);
    static void markRefused(core::Prefs& prefs, const QString& name);
    // Lower-case hexadecimal SHA-256 of the file's bytes; empty when it cannot be read.
    static QString fingerprint(const QString& file);

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
    template <class T>
    void offMain(std::function<T()> work, std::function<void(T)> then);

    service::Api& api_;
    core::Prefs& prefs_;
    const core::Clock& clock_;
    MemoTools tools_;
    std::function<void(const QString&)> onStatus_;
    core::Worker
        worker_;  // reading, converting and hearing sound, two at a time; last, so it ends first
};

}  // namespace pelix::memos
