#include "studio/NewVideo.h"

#include "core/Sentences.h"
#include "media/FFmpeg.h"
#include "media/Media.h"
#include "render/FaceFinder.h"
#include "render/Renderer.h"
#include "transcribe/VideoTranscriber.h"

#include <QFileInfo>

#include <cmath>

namespace pelix::studio {

Result<editor::EditProject> newVideo(const speech::SpeechEngines& engines,
                                     const NewVideoOptions& options, const QDateTime& now) {
    auto say = [&](const QString& line) {
        if (options.progress) options.progress(line);
    };
    if (options.files.isEmpty()) {
        return fail(1, core::sentences::kSayWhichClips);
    }
    const QString locale = options.locale.isEmpty()
                               ? transcribe::VideoTranscriber::defaultLocale(engines)
                               : options.locale;

    editor::EditProject project = editor::newProject(now);
    if (!options.name.trimmed().isEmpty()) project.name = options.name.trimmed();
    project.settings.format = options.format;
    project.settings.spokenLanguage = locale;

    std::vector<render::ClipInfo> infos;
    for (const QString& file : options.files) {
        if (!QFileInfo(file).isFile()) {
            return fail(media::kNotMedia, core::sentences::noSuchClip(file));
        }
        auto info = render::probeClip(file);
        if (!info) return std::unexpected(info.error());
        if (!info->sound) {
            return fail(media::kNoSound, media::ff::noSoundMessage(file));
        }
        infos.push_back(*info);
    }

    for (qsizetype i = 0; i < options.files.size(); ++i) {
        const QString& file = options.files[i];
        const QString name = QFileInfo(file).fileName();
        const render::ClipInfo& info = infos[size_t(i)];
        editor::SourceClip clip;
        clip.id = QUuid::createUuid();
        clip.path = QFileInfo(file).absoluteFilePath();
        clip.duration = std::isfinite(info.duration)
                            ? std::clamp(info.duration, -editor::kLongestTime, editor::kLongestTime)
                            : 0.0;
        clip.width = info.size.width();
        clip.height = info.size.height();

        int shown = -1;
        auto heard = [&](const transcribe::Spoken& piece) {
            // A recogniser's odd times (before the start, ending before they begin) are put in
            // order here, so that the project saves into a file that opens again.
            for (const core::Word& word : piece.words) {
                if (auto admitted = editor::admitted(word)) clip.words.push_back(*admitted);
            }
            if (info.duration <= 0) return;
            // Clamped before it becomes a whole number: a recogniser's time may be anything.
            const double done = piece.end / info.duration * 100;
            const int percent = std::isfinite(done) ? int(std::clamp(done, 0.0, 99.0)) : 0;
            if (percent == shown) return;
            shown = percent;
            say(core::sentences::aboutClip(name, core::sentences::listeningAt(percent)));
        };
        auto spoken = transcribe::VideoTranscriber::transcribe(
            engines, file, locale, {},
            [&](const QString& status) { say(core::sentences::aboutClip(name, status)); }, heard,
            options.stop);
        if (!spoken) return std::unexpected(spoken.error());
        clip.transcribed = true;
        say(core::sentences::aboutClip(name, core::sentences::listeningAt(100)));

        if (!info.size.isEmpty()) {
            if (options.stop.stop_requested()) {
                return fail(transcribe::VideoTranscriber::kCancelled,
                            core::sentences::kMakingStopped);
            }
            say(core::sentences::aboutClip(name, core::sentences::kFindingTheSpeaker));
            const auto face = render::findFace(file);
            if (face) {
                clip.faceX = face->x;
                clip.faceBox = face->box;
            } else {
                say(face.error().message);  // the picture is centred instead
            }
        }
        project.clips.push_back(std::move(clip));
    }
    return project;
}

}  // namespace pelix::studio
