#include "editor/Captions.h"

#include "editor/EditText.h"

#include <cmath>
#include <string_view>

namespace pelix::editor {
namespace {

struct Limits {
    int pieces;         // per cue, spaced text
    int spacedChars;    // per cue
    int unspacedChars;  // per cue
};

Limits limits(CaptionStyle style) {
    return style == CaptionStyle::bold ? Limits{3, 18, 8} : Limits{9, 44, 18};
}

constexpr double kNewCuePause = 0.6;
constexpr double kCloseGap = 0.4;
constexpr std::u32string_view kBreakSet = U"，。！？,.!?;:、";
constexpr std::u32string_view kBoldCueEnd = U",.?!;:";

bool endsWithOneOf(const QString& text, std::u32string_view set) {
    const char32_t last = edittext::lastCodePoint(text);
    return last != 0 && set.find(last) != std::u32string_view::npos;
}

const QString* lookUp(const TextMap& map, const QString& key) {
    const auto it = map.find(key);
    return it == map.end() ? nullptr : &it->second;
}

// The translations into the caption language (none for captions as spoken).
const TextMap& translationsOf(const EditProject& project) {
    static const TextMap none;
    const CaptionLanguage language = project.settings.captionLanguage;
    if (language == CaptionLanguage::original) return none;
    const auto it = project.translations.find(id(language));
    return it == project.translations.end() ? none : it->second;
}

// Shares the line's time on screen among the chunks of a text without word timing, by length.
void chunkedCues(const QString& text, bool unspaced, const Limits& limit,
                 std::pair<double, double> span, std::vector<CaptionCue>& out) {
    const std::vector<QStringList> chunks =
        chunk(text, unspaced, limit.pieces, unspaced ? limit.unspacedChars : limit.spacedChars);
    if (chunks.empty()) return;
    std::vector<qsizetype> weights;
    qsizetype total = 0;
    for (const QStringList& pieces : chunks) {
        weights.push_back(edittext::characterCount(pieces.join(QString())));
        total += weights.back();
    }
    const double length = span.second - span.first;
    double cursor = span.first;
    for (size_t i = 0; i < chunks.size(); ++i) {
        const double share = total > 0 ? length * double(weights[i]) / double(total)
                                       : length / double(chunks.size());
        out.push_back(CaptionCue{cursor, cursor + share, chunks[i], std::nullopt, unspaced});
        cursor += share;
    }
}

// Cues that follow the spoken words' own timing.
void timedCues(const EditProject& project, const Timeline& timeline, const Line& line,
               const Limits& limit, std::vector<CaptionCue>& out) {
    const SourceClip& clip = project.clips[size_t(line.clip)];
    const bool bold = project.settings.captionStyle == CaptionStyle::bold;
    CaptionCue cue;
    cue.times.emplace();
    qsizetype joined = 0;  // characters of the cue's pieces joined with spaces
    double lastEnd = 0;
    int near = -1;  // the segment of the word before
    const auto close = [&] {
        if (cue.words.isEmpty()) return;
        cue.start = cue.times->front();
        cue.end = lastEnd;
        out.push_back(std::move(cue));
        cue = CaptionCue{};
        cue.times.emplace();
        joined = 0;
    };
    for (const int index : keptWords(line, clip, project.settings.removeFillers)) {
        const core::Word& word = clip.words[size_t(index)];
        const auto at = wordOutput(timeline, line.clip, word, &near);
        if (!at) continue;
        const qsizetype length = edittext::characterCount(word.text);
        if (!cue.words.isEmpty() &&
            (cue.words.size() >= limit.pieces || joined + length + 1 > limit.spacedChars ||
             at->start - lastEnd > kNewCuePause)) {
            close();
        }
        if (cue.words.isEmpty()) {
            cue.words.reserve(limit.pieces);
            cue.times->reserve(size_t(limit.pieces));
        }
        joined += (cue.words.isEmpty() ? 0 : 1) + length;
        cue.words.append(word.text);
        cue.times->push_back(at->start);
        lastEnd = at->end;
        if (bold && endsWithOneOf(word.text, kBoldCueEnd)) close();
    }
    close();
}

}  // namespace

std::vector<CaptionCue> captions(const EditProject& project, const Timeline& timeline) {
    return captions(project, timeline, lines(project.clips));
}

std::vector<CaptionCue> captions(const EditProject& project, const Timeline& timeline,
                                 const std::vector<Line>& allLines) {
    const Limits limit = limits(project.settings.captionStyle);
    const bool unspaced = isUnspaced(project.settings.captionLanguage);
    const LineIndex index(allLines);
    const std::vector<char> cut = index.marked(project.cut);
    const std::vector<const QString*> fixed = index.texts(project.fixes);
    const std::vector<const QString*> translated = index.texts(translationsOf(project));
    std::vector<CaptionCue> cues;
    cues.reserve(allLines.size() * 3);
    size_t next = 0;  // the segment after the last line's
    for (size_t l = 0; l < allLines.size(); ++l) {
        const Line& line = allLines[l];
        if (cut[l]) continue;
        const auto span = timeline.span(line.id, next);
        if (!span) continue;
        if (translated[l]) {
            chunkedCues(*translated[l], unspaced, limit, *span, cues);
        } else if (fixed[l]) {
            chunkedCues(*fixed[l], false, limit, *span, cues);
        } else {
            timedCues(project, timeline, line, limit, cues);
        }
    }
    for (size_t i = 0; i + 1 < cues.size(); ++i) {
        if (cues[i + 1].start - cues[i].end < kCloseGap) cues[i].end = cues[i + 1].start;
    }
    return cues;
}

std::vector<QStringList> chunk(const QString& text, bool unspaced, int maxPieces, int maxChars) {
    QStringList pieces;
    if (unspaced) {
        QString packed;
        packed.reserve(text.size());
        for (QChar c : text) {
            if (!c.isSpace()) packed += c;
        }
        pieces = edittext::characters(packed);
    } else {
        pieces = edittext::splitAtSpaces(text);
    }

    std::vector<QStringList> chunks;
    QStringList current;
    qsizetype length = 0;  // characters of `current` joined with the separator
    const int separator = unspaced ? 0 : 1;
    const auto finish = [&] {
        chunks.push_back(std::move(current));
        current = QStringList();
        length = 0;
    };
    const auto add = [&](const QString& piece) {
        length += (current.isEmpty() ? 0 : separator) + edittext::characterCount(piece);
        current.append(piece);
        if (endsWithOneOf(piece, kBreakSet) && current.size() >= (unspaced ? 4 : 2)) finish();
    };
    for (const QString& piece : pieces) {
        if (edittext::isPunctuation(piece)) {
            // Punctuation never opens a chunk: it stays with the words before it.
            if (current.isEmpty() && !chunks.empty()) {
                chunks.back().append(piece);
            } else {
                add(piece);
            }
            continue;
        }
        // The chunk with the new piece, joined as it is shown, must fit.
        if (!current.isEmpty() &&
            ((!unspaced && current.size() >= maxPieces) ||
             length + separator + edittext::characterCount(piece) > maxChars)) {
            finish();
        }
        add(piece);
    }
    if (!current.isEmpty()) finish();
    return chunks;
}

std::vector<std::pair<QString, QString>> untranslated(const EditProject& project) {
    std::vector<std::pair<QString, QString>> items;
    const CaptionLanguage language = project.settings.captionLanguage;
    if (language == CaptionLanguage::original) return items;
    const TextMap& done = translationsOf(project);
    for (const Line& line : lines(project.clips)) {
        if (project.cut.contains(line.id) || done.contains(line.id)) continue;
        const QString* fixed = lookUp(project.fixes, line.id);
        items.emplace_back(line.id, fixed ? *fixed : line.text);
    }
    const QString hook = project.hook.trimmed();
    if (!hook.isEmpty() && !done.contains(QStringLiteral("hook"))) {
        items.emplace_back(QStringLiteral("hook"), hook);
    }
    return items;
}

QString subtitles(const std::vector<CaptionCue>& cues, SubtitleFormat format) {
    const bool srt = format == SubtitleFormat::srt;
    const auto stamp = [&](double seconds) {
        const qint64 ms = std::llround(std::max(0.0, seconds) * 1000);
        return QString::asprintf("%02lld:%02lld:%02lld%c%03lld", ms / 3600000, ms / 60000 % 60,
                                 ms / 1000 % 60, srt ? ',' : '.', ms % 1000);
    };
    QString file = srt ? QString() : QStringLiteral("WEBVTT\n\n");
    for (size_t i = 0; i < cues.size(); ++i) {
        const CaptionCue& cue = cues[i];
        if (srt) file += QString::number(i + 1) + u'\n';
        file += stamp(cue.start) + QStringLiteral(" --> ") + stamp(cue.end) + u'\n';
        file +=
            cue.words.join(cue.unspaced ? QString() : QStringLiteral(" ")) + QStringLiteral("\n\n");
    }
    return file;
}

}  // namespace pelix::editor
