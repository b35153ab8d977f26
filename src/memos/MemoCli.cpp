#include "memos/MemoCli.h"

#include "core/Console.h"
#include "memos/VoiceMemoWatcher.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace pelix {

int runMemoCli(const Args& args, ServiceContext& backend) {
    const QString file = args.value("--memo").value_or(QString());
    double piece = VoiceMemoWatcher::kPiece;
    if (const auto given = args.value("--piece")) {
        bool ok = false;
        const double seconds = given->toDouble(&ok);
        if (ok && seconds > 0) piece = seconds;
    }
    if (!QFileInfo(file).isFile()) {
        console::err("Couldn't read " + file + ": there is no such file.");
        return 1;
    }

    const MemoTools tools = machineTools();
    const auto seconds = tools.duration(file);
    if (!seconds) {
        console::err(seconds.error().message);
        return 1;
    }
    console::err(QStringLiteral("%1 s, %2 pieces")
                     .arg(static_cast<qint64>(*seconds))
                     .arg(VoiceMemoWatcher::pieceCount(*seconds, piece)));

    QtTicker ticker;
    VoiceMemoWatcher watcher(backend.api(), backend.prefs(), backend.clock(), tools, ticker);
    return console::runUntilAnswered([&](console::Answer done) {
        watcher.hear(file, *seconds, piece, args.value("--token"),
                     [done = std::move(done)](std::optional<QString> text) {
                         if (text && !text->isEmpty()) return done(*text);
                         done(fail(1, "could not be heard"));
                     });
    });
}

}  // namespace pelix
