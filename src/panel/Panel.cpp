#include "panel/Panel.h"

#include <QJsonArray>

#include <algorithm>
#include <array>

namespace pelix::panel {

bool looksLikeAsk(const QString& text) {
    static constexpr std::array<QLatin1StringView, 21> kOpenings{
        QLatin1StringView("what"),
        QLatin1StringView("when"),
        QLatin1StringView("where"),
        QLatin1StringView("who"),
        QLatin1StringView("why"),
        QLatin1StringView("how"),
        QLatin1StringView("which"),
        QLatin1StringView("did"),
        QLatin1StringView("do "),
        QLatin1StringView("does"),
        QLatin1StringView("is "),
        QLatin1StringView("are "),
        QLatin1StringView("can "),
        QLatin1StringView("could"),
        QLatin1StringView("should"),
        QLatin1StringView("have i"),
        QLatin1StringView("has "),
        QLatin1StringView("remind me"),
        QLatin1StringView("tell me about"),
        QLatin1StringView("any idea"),
        QLatin1StringView("anything about"),
    };
    const QString t = text.trimmed().toLower();
    if (t.endsWith(QLatin1Char('?'))) return true;
    return std::any_of(kOpenings.begin(), kOpenings.end(),
                       [&t](QLatin1StringView opening) { return t.startsWith(opening); });
}

InsightStyle Insight::style() const {
    if (kind == QLatin1String("pattern")) return InsightStyle::pattern;
    if (kind == QLatin1String("people")) return InsightStyle::people;
    if (kind == QLatin1String("nudge")) return InsightStyle::nudge;
    return InsightStyle::connection;
}

QList<Insight> insightsFrom(const QJsonObject& answer) {
    QList<Insight> insights;
    for (const QJsonValue& entry : answer.value(QLatin1String("insights")).toArray()) {
        const QJsonObject o = entry.toObject();
        const QJsonValue id = o.value(QLatin1String("id"));
        const QJsonValue title = o.value(QLatin1String("title"));
        if (!id.isString() || !title.isString()) continue;
        const QJsonValue seen = o.value(QLatin1String("seen_at"));
        insights.push_back(Insight{
            id.toString(), o.value(QLatin1String("kind")).toString("connection"), title.toString(),
            o.value(QLatin1String("body")).toString(), seen.isUndefined() || seen.isNull()});
    }
    return insights;
}

QPoint panelPosition(const QRect& icon, const QRect& screen, const QSize& panel) {
    QPoint at;
    if (icon.isValid() && screen.intersects(icon)) {
        const bool below = icon.y() + icon.height() / 2 < screen.y() + screen.height() / 2;
        at =
            QPoint(icon.x() + icon.width() / 2 - panel.width() / 2,
                   below ? icon.bottom() + 1 + kEdge / 2 : icon.top() - panel.height() - kEdge / 2);
    } else {
        at = QPoint(screen.right() + 1 - kEdge - panel.width(), screen.top() + kEdge);
    }
    const int right = screen.right() + 1 - kEdge - panel.width();
    const int bottom = screen.bottom() + 1 - kEdge - panel.height();
    at.setX(std::max(screen.left() + kEdge, std::min(at.x(), right)));
    at.setY(std::max(screen.top() + kEdge, std::min(at.y(), bottom)));
    return at;
}

}  // namespace pelix::panel
