#include "editor/SampleProject.h"

#include "editor/Timeline.h"

#include <array>
#include <random>

namespace pelix::editor {
namespace {

constexpr std::array<const char*, 40> kVocabulary{
    "so",      "the",    "idea",  "is",   "that",   "we",     "build", "something",
    "people",  "really", "want",  "and",  "then",   "you",    "know",  "it",
    "works",   "every",  "time",  "big",  "thing",  "here's", "why",   "this",
    "matters", "for",    "your",  "next", "video",  "camera", "light", "story",
    "simple",  "honest", "first", "step", "always", "start",  "with",  "one"};
constexpr std::array<const char*, 6> kFillers{"um", "uh,", "Um,", "erm", "hmm", "uh"};

}  // namespace

EditProject sampleProject(int words, int clips, quint32 seed) {
    std::mt19937 random(seed);
    const auto chance = [&](double p) {
        return std::uniform_real_distribution<>(0, 1)(random) < p;
    };
    const auto between = [&](double a, double b) {
        return std::uniform_real_distribution<>(a, b)(random);
    };

    EditProject project;
    project.id = QUuid(random(), quint16(random()), quint16(random()), 1, 2, 3, 4, 5, 6, 7, 8);
    project.name = QStringLiteral("Sample video");
    project.created = QDateTime(QDate(2026, 11, 21), QTime(9, 30), Qt::UTC);
    project.hook = QStringLiteral("The one thing nobody tells you");

    clips = std::max(1, clips);
    for (int c = 0; c < clips; ++c) {
        SourceClip clip;
        clip.id =
            QUuid(random(), quint16(random()), quint16(random()), 9, 8, 7, 6, 5, 4, 3, quint8(c));
        clip.path = QStringLiteral("/videos/sample-%1.mov").arg(c + 1);
        clip.width = 1080;
        clip.height = 1920;
        clip.transcribed = true;
        const int count = words / clips + (c < words % clips ? 1 : 0);
        clip.words.reserve(size_t(count));
        double t = between(0.05, 0.6);
        int sinceSentence = 0;
        for (int i = 0; i < count; ++i) {
            QString text;
            if (chance(0.04)) {
                text = QString::fromUtf8(kFillers[random() % kFillers.size()]);
            } else {
                text = QString::fromUtf8(kVocabulary[random() % kVocabulary.size()]);
                if (sinceSentence == 0) text[0] = text[0].toUpper();
                if (++sinceSentence > 6 && chance(0.18)) {
                    text += chance(0.8) ? u'.' : u'?';
                    sinceSentence = 0;
                } else if (chance(0.06)) {
                    text += u',';
                }
            }
            const double length = between(0.12, 0.45);
            clip.words.push_back(core::Word{t, t + length, text});
            t += length;
            // Mostly quick speech, sometimes a breath, now and then a long pause.
            t += chance(0.03)   ? between(0.95, 2.5)
                 : chance(0.12) ? between(0.3, 0.8)
                                : between(0.0, 0.12);
        }
        clip.duration = t + 0.5;
        project.clips.push_back(std::move(clip));
    }

    for (const Line& line : lines(project.clips)) {
        if (chance(0.1)) project.cut.insert(line.id);
        const std::vector<core::Word>& w = project.clips[size_t(line.clip)].words;
        if (chance(0.1) && line.lastWord > line.firstWord) {
            const int at = line.firstWord + int(random() % uint(line.lastWord - line.firstWord));
            project.keywords[line.id] = w[size_t(at)].text + u' ' + w[size_t(at) + 1].text;
        }
        if (chance(0.03)) project.fixes[line.id] = line.text.toUpper();
    }
    return project;
}

}  // namespace pelix::editor
