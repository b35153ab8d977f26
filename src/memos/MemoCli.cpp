#include "memos/MemoCli.h"

#include "core/Console.h"
#include "memos/MemoSender.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cmath>

namespace pelix {

namespace {

// The piece length given with --piece: a number of seconds, at least one. Anything that is not
// a positive number falls back to the default (saying so); a length under a second is refused.
Result<double> pieceLength(const std::optional<QString>& given) {
    if (!given) return MemoSender::kPiece;
    bool ok = false;
    const double seconds = given->trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0) {
        console::err(QStringLiteral("--piece %1 is not a length in seconds, so the pieces are "
                                    "%2 s long.")
                         .arg(*given)
                         .arg(MemoSender::kPiece));
        return MemoSender::kPiece;
    }
    if (seconds < MemoSender::kShortestPiece) {
        return fail(1, QStringLiteral("Couldn't send pieces of %1 s: a piece is at least 1 s "
                                      "long.")
                           .arg(*given));
    }
    return seconds;
}

}  // namespace

int runMemoCli(const Args& args, ServiceContext& backend) {
    const QString file = args.value("--memo").value_or(QString());
    const QFileInfo info(file);
    if (!info.exists()) {
        console::err("Couldn't read " + file + ": there is no such file.");
        return 1;
    }
    if (info.isDir()) {
        console::err("Couldn't read " + file + ": it is a folder, not a recording.");
        return 1;
    }
    const Result<double> piece = pieceLength(args.value("--piece"));
    if (!piece) {
        console::err(piece.error().message);
        return 1;
    }
    const std::optional<QString> token = args.value("--token");
    if (token && !isPelixKey(*token)) {
        console::err(kNotAKeyGiven);
        return 1;
    }

    const MemoTools tools = machineTools();
    const auto seconds = tools.duration(file);
    if (!seconds) {
        console::err(seconds.error().message);
        return 1;
    }
    const qint64 count = MemoSender::pieceCount(*seconds, *piece);
    if (*seconds / *piece > MemoSender::kMostPieces) {
        console::err(QStringLiteral("Couldn't send %1: %2 pieces of %3 s are too many; give a "
                                    "longer --piece.")
                         .arg(info.fileName())
                         .arg(count)
                         .arg(*piece));
        return 1;
    }
    console::err(QStringLiteral("%1 s, %2 pieces").arg(static_cast<qint64>(*seconds)).arg(count));

    MemoSender sender(backend.api(), backend.prefs(), backend.clock(), tools);
    return console::runUntilAnswered([&](console::Answer done) {
        sender.hear(file, *seconds, *piece, token,
                    [done = std::move(done)](std::optional<QString> text) {
                        if (text && !text->isEmpty()) return done(*text);
                        done(fail(1, "could not be heard"));
                    });
    });
}

}  // namespace pelix
