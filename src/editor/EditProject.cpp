#include "editor/EditProject.h"

#include <QJsonArray>

#include <cmath>
#include <utility>

namespace pelix {

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

QJsonObject toJson(const Word& word) {
    return {{"start", word.start}, {"end", word.end}, {"text", word.text}};
}

QJsonObject toJson(const SourceClip& clip) {
    QJsonArray words;
    for (const Word& word : clip.words) words.append(toJson(word));
    QJsonObject object{{"id", upperUuid(clip.id)},       {"path", clip.path},
                       {"duration", clip.duration},      {"width", clip.width},
                       {"height", clip.height},          {"words", words},
                       {"transcribed", clip.transcribed}};
    if (clip.faceX) object.insert("faceX", *clip.faceX);
    if (clip.framing) {
        object.insert("framing", QJsonObject{{"x", clip.framing->x},
                                             {"y", clip.framing->y},
                                             {"zoom", clip.framing->zoom}});
    }
    return object;
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
    return object;
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
        chat.append(QJsonObject{{"text", turn.text}, {"mine", turn.mine}});
    return {{"id", upperUuid(p.id)},
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
            {"chat", chat}};
}

// ---- decoding ----

namespace {

// Reads the keys of one JSON object, keeping the first failure as a readable phrase.
class Decoder {
public:
    Decoder(const QJsonObject& object, QString where, QString* failure)
        : object_(object), where_(std::move(where)), failure_(failure) {}

    bool failed() const { return !failure_->isEmpty(); }

    // Calls `read` with the key's value when it is there and not null; `read` says whether the
    // value had the right type.
    template <class F>
    void field(const char* key, bool required, const char* expected, F&& read) {
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
    template <class Out>
    void number(const char* key, Out& out, bool required = false) {
        typed(key, out, required, "a number", [](const QJsonValue& v) {
            return v.isDouble() ? std::optional(v.toDouble()) : std::nullopt;
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
    void uuid(const char* key, QUuid& out) {
        field(key, true, "a UUID", [&](const QJsonValue& v) {
            out = QUuid::fromString(v.toString());
            return v.isString() && !out.isNull();
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
};

void readSettings(Decoder& d, EditSettings& s) {
    d.choice("format", s.format);
    d.string("spokenLanguage", s.spokenLanguage);
    d.boolean("captions", s.captions);
    d.choice("captionLanguage", s.captionLanguage);
    d.choice("captionStyle", s.captionStyle);
    d.number("captionSize", s.captionSize);
    d.choice("captionPosition", s.captionPosition);
    d.boolean("visuals", s.visuals);
    d.boolean("punchIns", s.punchIns);
    d.boolean("keywordPops", s.keywordPops);
    d.boolean("hookTitle", s.hookTitle);
    d.boolean("progressBar", s.progressBar);
    d.choice("pace", s.pace);
    d.boolean("removeFillers", s.removeFillers);
    d.number("targetSeconds", s.targetSeconds);
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
    d.number("duration", clip.duration);
    d.integer("width", clip.width);
    d.integer("height", clip.height);
    d.number("faceX", clip.faceX);
    readList(d, "words", true, clip.words, [](Decoder& w, Word& word) {
        w.number("start", word.start, true);
        w.number("end", word.end, true);
        w.string("text", word.text, true);
    });
    d.boolean("transcribed", clip.transcribed);
    d.object("framing", false, [&](Decoder& f) {
        Framing framing;
        f.number("x", framing.x, true);
        f.number("y", framing.y, true);
        f.number("zoom", framing.zoom, true);
        clip.framing = framing;
    });
}

std::optional<QDateTime> decodeDate(const QJsonValue& value) {
    if (value.isDouble()) {
        return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(value.toDouble() * 1000)),
                                              Qt::UTC);
    }
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!value.isString() || !date.isValid()) return std::nullopt;
    return date.toUTC();
}

}  // namespace

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
        if (date) p.created = *date;
        return date.has_value();
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
    });
    if (d.failed()) return fail(1, failure);
    return p;
}

}  // namespace pelix
