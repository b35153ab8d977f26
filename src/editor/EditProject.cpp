#include "editor/EditProject.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <expected>
#include <utility>
#include <vector>

namespace pelix::editor {

QString label(CaptionLanguage language) {
    static constexpr std::array<const char*, 11> labels{
        "As spoken", "English", "Spanish", "Chinese (Simplified)", "Chinese (Traditional)",
        "Dutch",     "French",  "German",  "Portuguese",           "Japanese",
        "Korean"};
    return QString::fromLatin1(labels.at(size_t(language)));
}

bool isUnspaced(CaptionLanguage language) {
    return language == CaptionLanguage::zhHans || language == CaptionLanguage::zhHant ||
           language == CaptionLanguage::ja;
}

QString upperUuid(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

EditProject newProject(const QDateTime& now) {
    EditProject project;
    project.id = QUuid::createUuid();
    project.created = now;
    return project;
}

// ---- encoding ----

namespace {

QJsonArray stringArray(const TextSet& strings) {
    QJsonArray array;
    for (const QString& s : strings) array.append(s);
    return array;
}

QJsonObject stringMap(const TextMap& map) {
    QJsonObject object;
    for (const auto& [key, value] : map) object.insert(key, value);
    return object;
}

// The object with the keys that came unknown put back beside the known ones.
QJsonObject withUnknown(QJsonObject object, const QJsonObject& unknown) {
    for (auto it = unknown.begin(); it != unknown.end(); ++it) {
        if (!object.contains(it.key())) object.insert(it.key(), *it);
    }
    return object;
}

QJsonObject toJson(const core::Word& word) {
    return {{"start", word.start}, {"end", word.end}, {"text", word.text}};
}

QJsonObject toJson(const SourceClip& clip) {
    QJsonArray words;
    auto unknown = clip.unknownInWords.begin();
    for (size_t i = 0; i < clip.words.size(); ++i) {
        if (unknown != clip.unknownInWords.end() && unknown->first == i) {
            words.append(withUnknown(toJson(clip.words[i]), unknown->second));
            ++unknown;
        } else {
            words.append(toJson(clip.words[i]));
        }
    }
    QJsonObject object{{"id", upperUuid(clip.id)},       {"path", clip.path},
                       {"duration", clip.duration},      {"width", clip.width},
                       {"height", clip.height},          {"words", words},
                       {"transcribed", clip.transcribed}};
    if (clip.faceX) object.insert("faceX", *clip.faceX);
    if (clip.faceBox) {
        object.insert("face", QJsonObject{{"x", clip.faceBox->x()},
                                          {"y", clip.faceBox->y()},
                                          {"width", clip.faceBox->width()},
                                          {"height", clip.faceBox->height()}});
    }
    if (clip.framing) {
        object.insert("framing", withUnknown(QJsonObject{{"x", clip.framing->x},
                                                         {"y", clip.framing->y},
                                                         {"zoom", clip.framing->zoom}},
                                             clip.framing->unknown));
    }
    return withUnknown(object, clip.unknown);
}

QString encodeDate(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")) + u'Z';
}

}  // namespace

QJsonObject toJson(const EditSettings& s) {
    QJsonObject object{{"format", rawValue(s.format)},
                       {"captions", s.captions},
                       {"captionLanguage", rawValue(s.captionLanguage)},
                       {"captionStyle", rawValue(s.captionStyle)},
                       {"captionSize", s.captionSize},
                       {"captionPosition", rawValue(s.captionPosition)},
                       {"visuals", s.visuals},
                       {"punchIns", s.punchIns},
                       {"keywordPops", s.keywordPops},
                       {"hookTitle", s.hookTitle},
                       {"progressBar", s.progressBar},
                       {"pace", rawValue(s.pace)},
                       {"removeFillers", s.removeFillers}};
    if (s.spokenLanguage) object.insert("spokenLanguage", *s.spokenLanguage);
    if (s.targetSeconds) object.insert("targetSeconds", *s.targetSeconds);
    return withUnknown(object, s.unknown);
}

QJsonObject toJson(const EditProject& p) {
    QJsonArray clips;
    for (const SourceClip& clip : p.clips) clips.append(toJson(clip));
    QJsonObject translations;
    for (const auto& [language, texts] : p.translations) {
        translations.insert(language, stringMap(texts));
    }
    QJsonArray chat;
    for (const ChatTurn& turn : p.chat)
        chat.append(
            withUnknown(QJsonObject{{"text", turn.text}, {"mine", turn.mine}}, turn.unknown));
    return withUnknown(QJsonObject{{"id", upperUuid(p.id)},
                                   {"name", p.name},
                                   {"created", encodeDate(p.created)},
                                   {"clips", clips},
                                   {"settings", toJson(p.settings)},
                                   {"cut", stringArray(p.cut)},
                                   {"keywords", stringMap(p.keywords)},
                                   {"fixes", stringMap(p.fixes)},
                                   {"translations", translations},
                                   {"hook", p.hook},
                                   {"title", p.title},
                                   {"chat", chat}},
                       p.unknown);
}

// ---- decoding ----

namespace {

// Reads the keys of one JSON object, keeping the first failure as a readable phrase.
class Decoder {
public:
    Decoder(const QJsonObject& object, QString where, QString* failure)
        : object_(object), where_(std::move(where)), failure_(failure) {}

    bool failed() const { return !failure_->isEmpty(); }

    // The keys of the object that no field asked for.
    QJsonObject unknown() const {
        QJsonObject rest;
        for (auto it = object_.begin(); it != object_.end(); ++it) {
            const QString key = it.key();
            const bool asked = std::any_of(known_.begin(), known_.end(), [&](const char* k) {
                return key == QLatin1StringView(k);
            });
            if (!asked) rest.insert(key, *it);
        }
        return rest;
    }

    // Calls `read` with the key's value when it is there and not null; `read` says whether the
    // value had the right type.
    template <class F>
    void field(const char* key, bool required, const char* expected, F&& read) {
        known_.push_back(key);
        if (failed()) return;
        const QJsonValue value = object_.value(QLatin1StringView(key));
        if (value.isUndefined() || value.isNull()) {
            if (required) fail(key, "is missing");
            return;
        }
        if (!read(value)) fail(key, QStringLiteral("is not %1").arg(QLatin1StringView(expected)));
    }

    // A value that `read` turns into the field's type, or none when it has another type. `out`
    // is the field itself or an optional one.
    template <class Out, class Read>
    void typed(const char* key, Out& out, bool required, const char* expected, Read read) {
        field(key, required, expected, [&](const QJsonValue& v) {
            const auto value = read(v);
            if (value) out = *value;
            return value.has_value();
        });
    }
    // A number between `least` and `most`; `expected` names the range in the message.
    template <class Out>
    void number(const char* key, Out& out, bool required = false, double least = -kLongestTime,
                double most = kLongestTime,
                const char* expected =
                    "a number between -1000000 "
                    "and 1000000") {
        typed(key, out, required, expected, [least, most](const QJsonValue& v) {
            const double d = v.toDouble();
            return v.isDouble() && d >= least && d <= most ? std::optional(d) : std::nullopt;
        });
    }
    void integer(const char* key, int& out) {
        typed(key, out, false, "a whole number", [](const QJsonValue& v) -> std::optional<int> {
            const double d = v.toDouble();
            if (!v.isDouble() || d != std::trunc(d) || std::abs(d) > 1e9) return std::nullopt;
            return int(d);
        });
    }
    void boolean(const char* key, bool& out) {
        typed(key, out, false, "true or false", [](const QJsonValue& v) {
            return v.isBool() ? std::optional(v.toBool()) : std::nullopt;
        });
    }
    template <class Out>
    void string(const char* key, Out& out, bool required = false) {
        typed(key, out, required, "text", [](const QJsonValue& v) {
            return v.isString() ? std::optional(v.toString()) : std::nullopt;
        });
    }
    // A UUID as 36 characters (8-4-4-4-12 hexadecimal digits), with or without braces: a
    // longer text would be cut short on the next save.
    void uuid(const char* key, QUuid& out) {
        field(key, true, "a UUID", [&](const QJsonValue& v) {
            QString text = v.toString();
            if (text.size() == 38 && text.front() == u'{' && text.back() == u'}') {
                text = text.mid(1, 36);
            }
            if (!v.isString() || text.size() != 36) return false;
            out = QUuid::fromString(text);
            return !out.isNull() && upperUuid(out) == text.toUpper();
        });
    }
    template <class E>
    void choice(const char* key, E& out) {
        typed(key, out, false, "one of its known values", [](const QJsonValue& v) {
            return v.isString() ? fromRawValue<E>(v.toString()) : std::nullopt;
        });
    }
    void stringMap(const char* key, TextMap& out) {
        field(key, false, "an object of texts", [&](const QJsonValue& v) {
            return v.isObject() && readStringMap(v.toObject(), out);
        });
    }
    void array(const char* key, bool required, const char* expected, QJsonArray& out) {
        field(key, required, expected, [&](const QJsonValue& v) {
            out = v.toArray();
            return v.isArray();
        });
    }
    // A nested object, read by `read` with a decoder of its own.
    template <class F>
    void object(const char* key, bool required, F&& read) {
        field(key, required, "an object", [&](const QJsonValue& v) {
            if (!v.isObject()) return false;
            Decoder inner(v.toObject(), path(QString::fromLatin1(key)), failure_);
            read(inner);
            return true;
        });
    }
    Decoder nested(const QJsonObject& object, QString where) const {
        return Decoder(object, std::move(where), failure_);
    }
    QString path(const QString& key) const { return where_.isEmpty() ? key : where_ + u'.' + key; }
    void fail(const char* key, const QString& what) {
        if (!failed())
            *failure_ = QStringLiteral("\"%1\" %2").arg(path(QString::fromLatin1(key)), what);
    }

    static bool readStringMap(const QJsonObject& object, TextMap& out) {
        for (auto it = object.begin(); it != object.end(); ++it) {
            if (!it->isString()) return false;
            out.emplace(it.key(), it->toString());
        }
        return true;
    }

private:
    QJsonObject object_;
    QString where_;
    QString* failure_;
    std::vector<const char*> known_;
};

constexpr auto kTimeRange = "a time between 0 and 1000000 seconds";

void readSettings(Decoder& d, EditSettings& s) {
    d.choice("format", s.format);
    d.string("spokenLanguage", s.spokenLanguage);
    d.boolean("captions", s.captions);
    d.choice("captionLanguage", s.captionLanguage);
    d.choice("captionStyle", s.captionStyle);
    d.number("captionSize", s.captionSize, false, 0, 100, "a scale between 0 and 100");
    d.choice("captionPosition", s.captionPosition);
    d.boolean("visuals", s.visuals);
    d.boolean("punchIns", s.punchIns);
    d.boolean("keywordPops", s.keywordPops);
    d.boolean("hookTitle", s.hookTitle);
    d.boolean("progressBar", s.progressBar);
    d.choice("pace", s.pace);
    d.boolean("removeFillers", s.removeFillers);
    d.number("targetSeconds", s.targetSeconds, false, -kLongestTime, kLongestTime,
             "a number of seconds between -1000000 and 1000000");
    s.unknown = d.unknown();
}

template <class T, class F>
void readList(Decoder& d, const char* key, bool required, std::vector<T>& out, F&& readOne) {
    QJsonArray array;
    d.array(key, required, "a list", array);
    out.reserve(size_t(array.size()));
    for (qsizetype i = 0; i < array.size() && !d.failed(); ++i) {
        if (!array.at(i).isObject()) {
            d.fail(key, QStringLiteral("holds an entry (%1) that is not an object").arg(i));
            return;
        }
        const QJsonObject object = array.at(i).toObject();
        Decoder inner =
            d.nested(object, d.path(QString::fromLatin1(key)) + QStringLiteral("[%1]").arg(i));
        T value;
        readOne(inner, value);
        out.push_back(std::move(value));
    }
}

void readClip(Decoder& d, SourceClip& clip) {
    d.uuid("id", clip.id);
    d.string("path", clip.path, true);
    d.number("duration", clip.duration, false, -kLongestTime, kLongestTime,
             "a number of seconds between -1000000 and 1000000");
    d.integer("width", clip.width);
    d.integer("height", clip.height);
    d.number("faceX", clip.faceX);
    readList(d, "words", true, clip.words, [&clip](Decoder& w, core::Word& word) {
        w.number("start", word.start, true, 0, kLongestTime, kTimeRange);
        w.number("end", word.end, true, 0, kLongestTime, kTimeRange);
        // A word that ends before it starts would play backwards on the timeline.
        if (!w.failed() && word.end < word.start)
            w.fail("end", QStringLiteral("is before its start"));
        w.string("text", word.text, true);
        // The word goes in at the index the list has reached.
        if (QJsonObject rest = w.unknown(); !rest.isEmpty()) {
            clip.unknownInWords.emplace(clip.words.size(), std::move(rest));
        }
    });
    d.boolean("transcribed", clip.transcribed);
    d.object("framing", false, [&](Decoder& f) {
        Framing framing;
        f.number("x", framing.x, true);
        f.number("y", framing.y, true);
        f.number("zoom", framing.zoom, true);
        framing.unknown = f.unknown();
        clip.framing = framing;
    });
    d.object("face", false, [&](Decoder& f) {
        constexpr auto kFraction = "a fraction of the picture, from 0 to 1";
        double x = 0, y = 0, width = 0, height = 0;
        f.number("x", x, true, 0, 1, kFraction);
        f.number("y", y, true, 0, 1, kFraction);
        f.number("width", width, true, 0, 1, kFraction);
        f.number("height", height, true, 0, 1, kFraction);
        if (!f.failed()) clip.faceBox = QRectF(x, y, width, height);
    });
    clip.unknown = d.unknown();
}

// Seconds from 1970 to the start of the year 1 and to the end of 9999: the dates the file's
// text form can hold.
constexpr double kFirstSecond = -62135596800.0;
constexpr double kLastSecond = 253402300799.999;

// The date, or why it is not one.
std::expected<QDateTime, QString> decodeDate(const QJsonValue& value) {
    const QString outside = QStringLiteral("is a date outside the years 1 to 9999");
    if (value.isDouble()) {
        const double seconds = value.toDouble();
        if (!(seconds >= kFirstSecond && seconds <= kLastSecond)) {
            return std::unexpected(outside + " (a number counts seconds since 1970)");
        }
        return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(seconds * 1000)), Qt::UTC);
    }
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!value.isString() || !date.isValid()) {
        return std::unexpected(QStringLiteral("is not a date"));
    }
    const QDateTime utc = date.toUTC();
    if (utc.date().year() < 1 || utc.date().year() > 9999) return std::unexpected(outside);
    return utc;
}

}  // namespace

std::optional<core::Word> admitted(core::Word word) {
    if (std::isnan(word.start) || std::isnan(word.end)) return std::nullopt;
    word.start = std::clamp(word.start, 0.0, kLongestTime);
    word.end = std::clamp(word.end, word.start, kLongestTime);
    return word;
}

Result<EditSettings> settingsFromJson(const QJsonObject& object) {
    QString failure;
    Decoder d(object, QStringLiteral("settings"), &failure);
    EditSettings settings;
    readSettings(d, settings);
    if (d.failed()) return fail(1, failure);
    return settings;
}

Result<EditProject> projectFromJson(const QJsonObject& object) {
    QString failure;
    Decoder d(object, QString(), &failure);
    EditProject p;
    p.created = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
    d.uuid("id", p.id);
    d.string("name", p.name);
    d.field("created", false, "a date", [&](const QJsonValue& v) {
        const auto date = decodeDate(v);
        if (date) {
            p.created = *date;
        } else {
            d.fail("created", date.error());
        }
        return true;
    });
    readList(d, "clips", true, p.clips, readClip);
    d.object("settings", false, [&](Decoder& s) { readSettings(s, p.settings); });
    d.field("cut", false, "a list of line ids", [&](const QJsonValue& v) {
        for (const QJsonValue& id : v.toArray()) {
            if (!id.isString()) return false;
            p.cut.insert(id.toString());
        }
        return v.isArray();
    });
    d.stringMap("keywords", p.keywords);
    d.stringMap("fixes", p.fixes);
    d.field("translations", false, "an object of languages", [&](const QJsonValue& v) {
        const QJsonObject languages = v.toObject();
        for (auto it = languages.begin(); it != languages.end(); ++it) {
            TextMap texts;
            if (!it->isObject() || !Decoder::readStringMap(it->toObject(), texts)) return false;
            p.translations.emplace(it.key(), std::move(texts));
        }
        return v.isObject();
    });
    d.string("hook", p.hook);
    d.string("title", p.title);
    readList(d, "chat", false, p.chat, [](Decoder& t, ChatTurn& turn) {
        t.string("text", turn.text, true);
        t.boolean("mine", turn.mine);
        turn.unknown = t.unknown();
    });
    if (d.failed()) return fail(1, failure);
    p.unknown = d.unknown();
    return p;
}

}  // namespace pelix::editor
