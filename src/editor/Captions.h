#pragma once

#include "editor/EditProject.h"
#include "editor/Timeline.h"

#include <QStringList>

#include <optional>
#include <utility>
#include <vector>

namespace pelix::editor {

// One on-screen caption, in output seconds.
struct CaptionCue {
    double start = 0;
    double end = 0;
    QStringList words;                         // words, or single characters of unspaced text
    std::optional<std::vector<double>> times;  // output start of each piece, for spoken words
    bool unspaced = false;                     // pieces are shown without spaces between them
    bool operator==(const CaptionCue&) const = default;
};

// The captions of the project, in output order.
std::vector<CaptionCue> captions(const EditProject& project, const Timeline& timeline);
std::vector<CaptionCue> captions(const EditProject& project, const Timeline& timeline,
                                 const std::vector<Line>& lines);

// `text` cut into chunks of pieces (words, or characters when `unspaced`) that fit a cue.
std::vector<QStringList> chunk(const QString& text, bool unspaced, int maxPieces, int maxChars);

// The (line id, text) pairs still to be translated into the caption language: every line not
// cut without a translation, with its corrected text when there is one, else its spoken text;
// and ("hook", the hook) while the hook has none. Empty for captions "As spoken".
std::vector<std::pair<QString, QString>> untranslated(const EditProject& project);

enum class SubtitleFormat { srt, vtt };
// The cues as a SubRip or WebVTT file.
QString subtitles(const std::vector<CaptionCue>& cues, SubtitleFormat format);

}  // namespace pelix::editor
