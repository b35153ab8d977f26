#include "editor/Emphasis.h"

#include "editor/EditText.h"

#include <algorithm>

namespace pelix::editor {

std::optional<QString> hookText(const EditProject& project) {
    const EditSettings& settings = project.settings;
    if (!settings.visuals || !settings.hookTitle) return std::nullopt;
    QString hook = project.hook;
    if (settings.captionLanguage != CaptionLanguage::original) {
        const auto language = project.translations.find(id(settings.captionLanguage));
        if (language != project.translations.end()) {
            const auto translated = language->second.find(QStringLiteral("hook"));
            if (translated != language->second.end()) hook = translated->second;
        }
    }
    hook = hook.trimmed();
    if (hook.isEmpty()) return std::nullopt;
    return hook;
}

std::vector<double> zooms(const EditProject& project, const Timeline& timeline) {
    const EditSettings& settings = project.settings;
    const std::vector<Segment>& segments = timeline.segments();
    std::vector<double> factors(segments.size(), 1.0);
    if (!settings.visuals || !settings.punchIns) return factors;
    const std::vector<int>& positions = timeline.linePositions();
    std::vector<char> popping(size_t(timeline.lineCount()), 0);  // by line position
    if (settings.keywordPops) {
        for (const auto& [line, phrase] : project.keywords) {
            if (const auto position = timeline.linePosition(line)) popping[size_t(*position)] = 1;
        }
    }
    for (size_t i = 0; i < segments.size(); ++i) {
        const int position = positions[i];
        factors[i] = popping[size_t(position)] ? 1.18 : position % 2 == 1 ? 1.1 : 1.0;
    }
    return factors;
}

std::vector<PopUp> popUps(const EditProject& project, const Timeline& timeline) {
    return popUps(project, timeline, lines(project.clips));
}

std::vector<PopUp> popUps(const EditProject& project, const Timeline& timeline,
                          const std::vector<Line>& allLines) {
    std::vector<PopUp> result;
    const EditSettings& settings = project.settings;
    if (!settings.visuals || !settings.keywordPops || project.keywords.empty()) return result;
    const LineIndex index(allLines);
    const std::vector<const QString*> keywords = index.texts(project.keywords);
    const std::vector<char> cut = index.marked(project.cut);
    for (size_t l = 0; l < allLines.size(); ++l) {
        const Line& line = allLines[l];
        if (!keywords[l] || cut[l]) continue;
        const QString phrase = keywords[l]->trimmed();
        const auto span = timeline.span(line.id);
        if (phrase.isEmpty() || !span) continue;

        QStringList wanted;
        for (const QString& part : edittext::splitAtSpaces(phrase)) {
            const QString word = edittext::folded(part);
            if (!word.isEmpty()) wanted.append(word);
        }
        const SourceClip& clip = project.clips[size_t(line.clip)];
        const std::vector<int> kept = keptWords(line, clip, project.settings.removeFillers);
        QStringList spoken;
        spoken.reserve(qsizetype(kept.size()));
        for (const int index : kept)
            spoken.append(edittext::folded(clip.words[size_t(index)].text));

        PopUp popUp{span->first, span->second, phrase, line.id};
        for (qsizetype from = 0; !wanted.isEmpty() && from + wanted.size() <= spoken.size();
             ++from) {
            if (!std::equal(wanted.begin(), wanted.end(), spoken.begin() + from)) continue;
            const core::Word& first = clip.words[size_t(kept[size_t(from)])];
            const core::Word& last = clip.words[size_t(kept[size_t(from + wanted.size() - 1)])];
            const auto start = wordOutput(timeline, line.clip, first);
            const auto end = wordOutput(timeline, line.clip, last);
            if (start && end && end->end > start->start) {
                popUp.start = start->start;
                popUp.end = end->end;
            }
            break;
        }
        result.push_back(std::move(popUp));
    }
    const auto earlier = [](const PopUp& a, const PopUp& b) { return a.start < b.start; };
    if (!std::is_sorted(result.begin(), result.end(), earlier)) {
        std::stable_sort(result.begin(), result.end(), earlier);
    }
    return result;
}

}  // namespace pelix::editor
