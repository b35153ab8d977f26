#include "memos/MemoCli.h"

#include "core/Console.h"
#include "core/Sentences.h"
#include "memos/MemoSender.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cmath>

namespace pelix::memos {

namespace {

// The piece length given with --piece: a number of seconds, at least one. Anything that is not
// a positive number falls back to the default (saying so); a length under a second is refused.
Result<double> pieceLength(const std::optional<QString>& given) {
    if (!given) return MemoSender::kPiece;
    bool ok = false;
    const double seconds = given->trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0) {
        core::console::err(core::sentences::notAPieceLength(*given, MemoSender::kPiece));
        return MemoSender::kPiece;
    }
    if (seconds < MemoSender::kShortestPiece) {
        return fail(1, core::sentences::pieceTooShort(*given));
    }
    return seconds;
}

}  // namespace

int runMemoCli(const core::Args& args, service::ServiceContext& backend) {
    const QString file = args.value("--memo").value_or(QString());
    const QFileInfo info(file);
    if (!info.exists()) {
        core::console::err(core::sentences::noSuchRecording(file));
        return 1;
    }
    if (info.isDir()) {
        core::console::err(core::sentences::folderNotRecording(file));
        return 1;
    }
    const Result<double> piece = pieceLength(args.value("--piece"));
    if (!piece) {
        core::console::err(piece.error().message);
        return 1;
    }
    const std::optional<QString> token = args.value("--token");
    if (token && !service::isPelixKey(*token)) {
        core::console::err(core::sentences::kNotAKeyGiven);
        return 1;
    }

    const MemoTools tools = machineTools();
    const auto seconds = tools.duration(file);
    if (!seconds) {
        core::console::err(seconds.error().message);
        return 1;
    }
    const qint64 count = MemoSender::pieceCount(*seconds, *piece);
    if (*seconds / *piece > MemoSender::kMostPieces) {
        core::console::err(core::sentences::tooManyPieces(info.fileName(), count, *piece));
        return 1;
    }
    core::console::err(core::sentences::secondsInPieces(static_cast<qint64>(*seconds), count));

    MemoSender sender(backend.api(), backend.prefs(), backend.clock(), tools);
    return core::console::runUntilAnswered([&](core::console::Answer done) {
        sender.hear(file, *seconds, *piece, token,
                    [done = std::move(done)](std::optional<QString> text) {
                        if (text && !text->isEmpty()) return done(*text);
                        done(fail(1, core::sentences::kCouldNotBeHeard));
                    });
    });
}

}  // namespace pelix::memos
