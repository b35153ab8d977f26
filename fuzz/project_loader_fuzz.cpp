// The project loader on any bytes: never crashes, and whatever loads saves to a file that loads
// again as the same file, and its derived timeline, captions and subtitles come out sane.
#include "FuzzSupport.h"
#include "editor/Captions.h"
#include "editor/EditProject.h"
#include "editor/Emphasis.h"
#include "editor/Timeline.h"

#include <QJsonDocument>

using namespace pelix;
using namespace pelix::editor;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(fuzzing::bytes(data, size), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return 0;
    const Result<EditProject> project = projectFromJson(document.object());
    if (!project) {
        if (project.error().message.isEmpty()) fuzzing::broken("a refusal without a reason");
        return 0;
    }
    const QByteArray saved = QJsonDocument(toJson(*project)).toJson(QJsonDocument::Compact);
    const Result<EditProject> again = projectFromJson(QJsonDocument::fromJson(saved).object());
    if (!again) fuzzing::broken("a saved project does not load", again.error().message);
    const QByteArray savedAgain = QJsonDocument(toJson(*again)).toJson(QJsonDocument::Compact);
    if (savedAgain != saved) fuzzing::broken("saving is not stable", QString::fromUtf8(saved));

    const std::vector<Line> all = lines(project->clips);
    const Timeline timeline(segments(*project, all));
    const auto cues = captions(*project, timeline, all);
    for (const CaptionCue& cue : cues) {
        // Subtitle clocks are written from these: never negative, never endless.
        if (!(cue.start >= 0 && cue.end >= 0 && cue.end <= 1e7)) {
            fuzzing::broken("a caption outside the timeline",
                            QStringLiteral("%1 to %2").arg(cue.start).arg(cue.end));
        }
    }
    subtitles(cues, SubtitleFormat::srt);
    subtitles(cues, SubtitleFormat::vtt);
    zooms(*project, timeline);
    popUps(*project, timeline, all);
    hookText(*project);
    return 0;
}
