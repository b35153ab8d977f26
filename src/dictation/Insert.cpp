#include "dictation/Insert.h"

#include "core/Graphemes.h"

#include <QTimer>

namespace pelix::dictation::Insert {

std::optional<platform::FrontWindow> target(const platform::Typist& typist,
                                            const QString& ownAppId) {
    std::optional<platform::FrontWindow> front = typist.frontWindow();
    if (!front) return std::nullopt;
    // Only a window that says it is ours is ours; one without a class is typed into.
    if (!front->appId.isEmpty() && !ownAppId.isEmpty() &&
        front->appId.compare(ownAppId, Qt::CaseInsensitive) == 0) {
        return std::nullopt;
    }
    return front;
}

QList<Piece> paced(const QString& text, const platform::Pacing& pacing) {
    const QList<qsizetype> bounds = core::graphemeBounds(text);
    const qsizetype characters = bounds.size() - 1;
    QList<Piece> pieces;
    qsizetype held = 0;
    qsizetype first = 0;
    do {
        qsizetype size = pacing.piece;
        if (pacing.pieceBytes > 0 && held > 0) {
            size = std::clamp(pacing.pieceBytes / std::min(held, platform::kHeldBytesCap),
                              qsizetype(1), pacing.piece);
        }
        const qsizetype last = std::min(first + size, characters);
        const QString piece = text.mid(bounds[first], bounds[last] - bounds[first]);
        held += piece.toUtf8().size();
        const auto perKey = pacing.perKeyPerHeldByte * std::min(held, platform::kHeldBytesCap);
        pieces.append({piece, pacing.pause + std::chrono::duration_cast<std::chrono::microseconds>(
                                                 perKey * (last - first))});
        first = last;
    } while (first < characters);
    return pieces;
}

void type(platform::Typist& typist, const QString& text) {
    for (const Piece& piece : paced(text, typist.pacing())) {
        typist.type(piece.text);
        typist.pause(piece.pause);
    }
}

void paste(platform::Typist& typist, platform::Clipboard& clipboard, const QString& text) {
    platform::Clipboard::Contents saved = clipboard.save();
    clipboard.setText(text);
    // The clipboard's new owner must be settled before the application asks it for the text.
    QTimer::singleShot(0, &clipboard, [&typist] { tap(typist, platform::Key::v, true); });
    QTimer::singleShot(kRestoreMs, &clipboard,
                       [&clipboard, saved = std::move(saved)] { clipboard.restore(saved); });
}

void tap(platform::Typist& typist, platform::Key key, bool control) {
    typist.press(key, control, 1);
}

}  // namespace pelix::dictation::Insert
