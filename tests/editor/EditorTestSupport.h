#pragma once

#include "editor/EditProject.h"
#include "support/TestSupport.h"

#include <initializer_list>
#include <tuple>

namespace pelix::testing {

// A clip of timed words; `duration` 0 leaves its length unknown.
inline editor::SourceClip clipOf(
    std::initializer_list<std::tuple<double, double, const char*>> words, double duration = 0,
    int n = 0) {
    editor::SourceClip clip;
    clip.id = QUuid(0x1f0c7a2bu + uint(n), 0, 0x4000, 0x80, 0, 0, 0, 0, 0, 0, quint8(n));
    clip.path = QStringLiteral("/media/clip%1.mov").arg(n);
    clip.duration = duration;
    for (const auto& [start, end, text] : words) {
        clip.words.push_back(core::Word{start, end, QString::fromUtf8(text)});
    }
    return clip;
}

// Words spoken one after another: each `length` long with `pause` between them, from `from`.
inline editor::SourceClip evenClip(const QStringList& texts, double length = 0.3,
                                   double pause = 0.1, double from = 0.5) {
    editor::SourceClip clip = clipOf({});
    double t = from;
    for (const QString& text : texts) {
        clip.words.push_back(core::Word{t, t + length, text});
        t += length + pause;
    }
    return clip;
}

inline editor::EditProject projectOf(std::vector<editor::SourceClip> clips) {
    editor::EditProject project;
    project.id = QUuid(0xabcdef01u, 0, 0x4000, 0x80, 0, 0, 0, 0, 0, 0, 1);
    project.created = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    project.clips = std::move(clips);
    return project;
}

// Three lines of one transcribed clip of 8 s, apart by pauses longer than a line allows:
// "Hello there.", "Um this is long." and "Bye now.".
inline editor::EditProject threeLines() {
    editor::SourceClip clip =
        evenClip({"Hello", "there.", "Um", "this", "is", "long.", "Bye", "now."});
    for (size_t i = 2; i < clip.words.size(); ++i) {
        const double shift = i >= 6 ? 2.0 : 1.0;
        clip.words[i].start += shift;
        clip.words[i].end += shift;
    }
    clip.duration = 8;
    clip.transcribed = true;
    return projectOf({clip});
}

}  // namespace pelix::testing
