#pragma once

#include <QJsonObject>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

namespace pelix::panel {

// Whether typed text reads as a question: trimmed and lower-cased, it ends with "?" or begins
// with one of the question openings. "do ", "is ", "are ", "can " and "has " keep their space, so
// "domain", "island", "area", "candle" and "hash" stay statements; the others are plain prefixes
// ("whatever" asks).
bool looksLikeAsk(const QString& text);

// How an insight card is drawn.
enum class InsightStyle { connection, pattern, people, nudge };

// One thing the service has noticed, from the "insights" answer.
struct Insight {
    QString id;
    QString kind;  // "connection" when the answer has none
    QString title;
    QString body;
    bool unseen = true;  // no "seen_at", or a null one

    InsightStyle style() const;
    bool operator==(const Insight&) const = default;
};

// The insights of an "insights" answer, in its order. An entry without a text "id" or "title" is
// left out.
QList<Insight> insightsFrom(const QJsonObject& answer);

// Where the panel's top-left corner goes: centred under the tray icon (over it when the icon is
// in the lower half of the screen), else in the top-right corner of the screen; always on the
// screen, `kEdge` pixels in.
inline constexpr int kEdge = 8;
QPoint panelPosition(const QRect& icon, const QRect& screen, const QSize& panel);

}  // namespace pelix::panel
