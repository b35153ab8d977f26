#pragma once

#include "core/Error.h"
#include "core/Word.h"

#include <QDateTime>
#include <QJsonObject>
#include <QRectF>
#include <QString>
#include <QUuid>

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace pelix::editor {

enum class VideoFormat { reel, youtubeShort, rednote, youtube, original };
enum class CaptionStyle { bold, clean };
enum class CaptionPosition { lower, middle };
enum class Pace { natural, tight, snappy };
enum class CaptionLanguage { original, en, es, zhHans, zhHant, nl, fr, de, pt, ja, ko };

// The raw values the enumerations are stored by, in case order.
template <class E>
struct RawValues;
template <>
struct RawValues<VideoFormat> {
    static constexpr std::array<std::u16string_view, 5> names{u"reel", u"youtubeShort", u"rednote",
                                                              u"youtube", u"original"};
};
template <>
struct RawValues<CaptionStyle> {
    static constexpr std::array<std::u16string_view, 2> names{u"bold", u"clean"};
};
template <>
struct RawValues<CaptionPosition> {
    static constexpr std::array<std::u16string_view, 2> names{u"lower", u"middle"};
};
template <>
struct RawValues<Pace> {
    static constexpr std::array<std::u16string_view, 3> names{u"natural", u"tight", u"snappy"};
};
template <>
struct RawValues<CaptionLanguage> {
    static constexpr std::array<std::u16string_view, 11> names{
        u"original", u"en", u"es", u"zh-Hans", u"zh-Hant", u"nl",
        u"fr",       u"de", u"pt", u"ja",      u"ko"};
};

template <class E>
QString rawValue(E value) {
    const std::u16string_view name = RawValues<E>::names.at(static_cast<size_t>(value));
    return QString(reinterpret_cast<const QChar*>(name.data()), qsizetype(name.size()));
}

// The case whose raw value is `text` exactly, or none.
template <class E>
std::optional<E> fromRawValue(const QString& text) {
    const auto& names = RawValues<E>::names;
    for (size_t i = 0; i < names.size(); ++i) {
        if (QStringView(names[i].data(), qsizetype(names[i].size())) == text) {
            return static_cast<E>(i);
        }
    }
    return std::nullopt;
}

// A caption language's id is its raw value; the label is what the settings pane shows.
inline QString id(CaptionLanguage language) {
    return rawValue(language);
}
QString label(CaptionLanguage language);
// Chinese and Japanese captions are written without spaces between words.
bool isUnspaced(CaptionLanguage language);

// A manual framing of a clip: the centre of the framed picture and its scale.
struct Framing {
    double x = 0.5;
    double y = 0.5;
    double zoom = 1.0;
    QJsonObject unknown{};  // keys this version does not know, kept as they came
    bool operator==(const Framing&) const = default;
};

struct SourceClip {
    QUuid id;
    QString path;
    double duration = 0;  // seconds; 0 or less is unknown
    int width = 0;
    int height = 0;
    std::optional<double> faceX;
    // The speaker's face as the framing found it, in fractions of the picture ("face": x, y,
    // width, height); pop-up phrases keep clear of it.
    std::optional<QRectF> faceBox;
    std::vector<core::Word> words;
    bool transcribed = false;
    std::optional<Framing> framing;
    QJsonObject unknown{};
    // The unknown keys of words that have any, by the word's index.
    std::map<size_t, QJsonObject> unknownInWords{};
    bool operator==(const SourceClip&) const = default;
};

struct EditSettings {
    VideoFormat format = VideoFormat::reel;
    std::optional<QString> spokenLanguage;
    bool captions = true;
    CaptionLanguage captionLanguage = CaptionLanguage::original;
    CaptionStyle captionStyle = CaptionStyle::bold;
    double captionSize = 1.0;
    CaptionPosition captionPosition = CaptionPosition::lower;
    bool visuals = true;
    bool punchIns = true;
    bool keywordPops = true;
    bool hookTitle = true;
    bool progressBar = false;
    Pace pace = Pace::tight;
    bool removeFillers = true;
    std::optional<double> targetSeconds;
    QJsonObject unknown{};
    bool operator==(const EditSettings&) const = default;
};

struct ChatTurn {
    QString text;
    bool mine = false;
    QJsonObject unknown{};
    bool operator==(const ChatTurn&) const = default;
};

// Orders texts by their UTF-16 units, as QString's operator< does, without the call into Qt:
// the line-id sets and maps below are looked up for every line on every change.
struct TextOrder {
    using is_transparent = void;
    bool operator()(QStringView a, QStringView b) const {
        return std::u16string_view(a.utf16(), size_t(a.size())) <
               std::u16string_view(b.utf16(), size_t(b.size()));
    }
};
using TextSet = std::set<QString, TextOrder>;
using TextMap = std::map<QString, QString, TextOrder>;

struct EditProject {
    QUuid id;
    QString name = QStringLiteral("Untitled video");
    QDateTime created;
    std::vector<SourceClip> clips;
    EditSettings settings;
    TextSet cut;                                         // line ids
    TextMap keywords;                                    // line id → pop-up phrase
    TextMap fixes;                                       // line id → corrected text
    std::map<QString, TextMap, TextOrder> translations;  // language id → line id → text
    QString hook;
    QString title;
    std::vector<ChatTurn> chat;
    QJsonObject unknown{};
    bool operator==(const EditProject&) const = default;
};

// A new, empty project with a fresh id, created now.
EditProject newProject(const QDateTime& now);

// The upper-case text form of a UUID, without braces.
QString upperUuid(const QUuid& id);

// Bounds a file's values must keep, so that whatever loads also saves to something that loads:
// times (word times from 0, a clip's length, the target) within a million seconds, `created`
// within the years 1 to 9999.
inline constexpr double kLongestTime = 1e6;

// A recognised word as a project holds it: its times moved into 0…kLongestTime, the end not
// before the start. None when a time is not a number at all.
std::optional<core::Word> admitted(core::Word word);

// The project as JSON, keys named as the fields, with the keys that came unknown from the file
// put back. `created` is ISO 8601 text in UTC with milliseconds ("2026-11-21T09:30:00.000Z").
QJsonObject toJson(const EditProject& project);
QJsonObject toJson(const EditSettings& settings);

// Decodes a project. Only the project's `id` and `clips` and a clip's `id`, `path` and `words`
// must be there; every other key may be missing (or null) and takes its default (`created`:
// 1970-01-01 UTC). `created` is read from ISO 8601 text with any offset, or from a number of
// seconds since 1970. A value of the wrong type, an unknown raw value, a UUID in any but its
// plain 36-character form (braces allowed), a number out of its bounds (above) is an error
// whose message names the key. Keys it does not know are kept in the `unknown` members.
Result<EditProject> projectFromJson(const QJsonObject& object);
Result<EditSettings> settingsFromJson(const QJsonObject& object);

}  // namespace pelix::editor
