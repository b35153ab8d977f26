#include "speech/ServerAnswer.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Sentences.h"

#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace pelix::speech::server {
namespace {

// A server's message longer than this is cut: it is meant for a status line.
constexpr qsizetype kMessageLimit = 300;

bool special(const QString& token) {
    return (token.startsWith("[_") && token.endsWith(']')) ||
           (token.startsWith("<|") && token.endsWith("|>"));
}

QString sentence(QString text) {
    text = text.trimmed();
    static const QString ends = QStringLiteral(".!?…");
    if (!text.isEmpty() && !ends.contains(text.back())) {
        text += '.';
    }
    return text;
}

// The message a server puts in an error answer: OpenAI's {"error":{"message"}}, a plain
// {"error":"…"}, FastAPI's {"detail":"…"} or {"detail":[{"msg"}]}, or {"message"}.
QString serverMessage(const QJsonObject& object) {
    const QJsonValue error = object.value("error");
    if (error.isString()) return error.toString();
    if (error.isObject()) {
        if (QString m = error.toObject().value("message").toString(); !m.isEmpty()) return m;
    }
    const QJsonValue detail = object.value("detail");
    if (detail.isString()) return detail.toString();
    if (detail.isArray()) {
        if (QString m = detail.toArray().first().toObject().value("msg").toString(); !m.isEmpty())
            return m;
    }
    return object.value("message").toString();
}

double seconds(const QJsonObject& object, const char* name) {
    return object.value(name).toDouble(0);
}

}  // namespace

QString unreachable(const QString& reason) {
    return sentence(core::sentences::serverUnreachable(reason));
}

QString refusal(int status, const QByteArray& body, const QUrl& endpoint, const QString& key) {
    if (const auto object = core::json::parseObject(body)) {
        QString message = serverMessage(*object).trimmed();
        if (!message.isEmpty()) {
            if (message.size() > kMessageLimit) message = message.left(kMessageLimit) + "…";
            return sentence(core::sentences::serverRefusedSaying(
                core::console::withoutSecret(core::console::printable(message), key)));
        }
    }
    return sentence(core::sentences::serverRefused(
        status, endpoint.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery)));
}

QList<core::Word> joinTokens(const QJsonArray& entries) {
    struct Entry {
        QString text;
        double start, end;
    };
    QList<Entry> kept;
    kept.reserve(entries.size());
    bool spaced = false;
    for (const QJsonValue& value : entries) {
        const QJsonObject o = value.toObject();
        const QJsonValue word = o.value("word");
        const QString text = word.isString() ? word.toString() : o.value("text").toString();
        const QString bare = text.trimmed();
        if (bare.isEmpty() || special(bare)) continue;
        if (!kept.isEmpty() && text.front().isSpace()) spaced = true;
        kept.append({text, seconds(o, "start"), seconds(o, "end")});
    }
    QList<core::Word> words;
    words.reserve(kept.size());
    for (const Entry& e : kept) {
        if (!spaced || words.isEmpty() || e.text.front().isSpace()) {
            words.append(core::Word{e.start, e.end, e.text.trimmed()});
        } else {
            words.last().text += e.text.trimmed();
            words.last().end = e.end;
        }
    }
    return words;
}

QList<core::Word> spreadWords(const QString& text, double start, double end) {
    const QStringList parts = text.simplified().split(' ', Qt::SkipEmptyParts);
    qsizetype total = 0;
    for (const QString& part : parts) total += part.size();
    QList<core::Word> words;
    if (total == 0) return words;
    words.reserve(parts.size());
    const double span = std::max(0.0, end - start);
    qsizetype before = 0;
    for (const QString& part : parts) {
        const double from = start + span * double(before) / double(total);
        before += part.size();
        words.append(core::Word{from, start + span * double(before) / double(total), part});
    }
    return words;
}

Result<QList<SpeechResult>> readAnswer(const QByteArray& body, double offset, double seconds) {
    const auto object = core::json::parseObject(body);
    const QJsonValue text = object ? object->value("text") : QJsonValue();
    const QJsonArray segments = object ? object->value("segments").toArray() : QJsonArray();
    const QJsonArray topWords = object ? object->value("words").toArray() : QJsonArray();
    if (!object || (!text.isString() && segments.isEmpty() && topWords.isEmpty())) {
        return fail(kUnreadable, refusal(200, body, {}, {}));
    }

    QList<SpeechResult> stretches;
    // What a server says goes into projects, windows and terminals: no control characters, and
    // times that read back (none before the start of the sound, none ending before it starts).
    const auto inOrder = [](double& start, double& end) {
        start = std::isfinite(start) ? std::max(start, 0.0) : 0.0;
        end = std::isfinite(end) ? std::max(end, start) : start;
    };
    auto add = [&](SpeechResult r) {
        r.text = core::console::printable(r.text).trimmed();
        inOrder(r.start, r.end);
        for (core::Word& w : r.words) {
            w.text = core::console::printable(w.text);
            inOrder(w.start, w.end);
        }
        r.words.removeIf([](const core::Word& w) { return w.text.trimmed().isEmpty(); });
        if (r.text.isEmpty() && !r.words.isEmpty()) {
            QStringList parts;
            for (const core::Word& w : r.words) parts << w.text;
            r.text = parts.join(' ');
        }
        if (r.text.isEmpty()) return;
        r.start += offset;
        r.end += offset;
        for (core::Word& w : r.words) {
            w.start += offset;
            w.end += offset;
        }
        stretches.append(std::move(r));
    };
    auto segment = [](const QJsonValue& value) {
        const QJsonObject o = value.toObject();
        return SpeechResult{server::seconds(o, "start"),
                            server::seconds(o, "end"),
                            o.value("text").toString().trimmed(),
                            {}};
    };

    if (!topWords.isEmpty()) {
        const QList<core::Word> words = joinTokens(topWords);
        if (segments.isEmpty()) {
            SpeechResult whole{0, seconds, text.toString(), words};
            if (!words.isEmpty()) {
                whole.start = words.first().start;
                whole.end = words.last().end;
            }
            add(std::move(whole));
        } else {
            // Each word goes to the segment its middle falls in, in order.
            qsizetype next = 0;
            for (qsizetype i = 0; i < segments.size(); ++i) {
                SpeechResult r = segment(segments[i]);
                const bool last = i + 1 == segments.size();
                while (next < words.size() &&
                       (last || (words[next].start + words[next].end) / 2 < r.end)) {
                    r.words.append(words[next++]);
                }
                if (r.words.isEmpty()) r.words = spreadWords(r.text, r.start, r.end);
                add(std::move(r));
            }
        }
    } else if (!segments.isEmpty()) {
        for (const QJsonValue& value : segments) {
            SpeechResult r = segment(value);
            r.words = joinTokens(value.toObject().value("words").toArray());
            if (r.words.isEmpty()) r.words = spreadWords(r.text, r.start, r.end);
            add(std::move(r));
        }
    } else {
        add(SpeechResult{0, seconds, text.toString(), spreadWords(text.toString(), 0, seconds)});
    }
    return stretches;
}

}  // namespace pelix::speech::server
