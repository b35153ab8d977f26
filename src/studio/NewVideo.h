#pragma once

#include "core/Error.h"
#include "editor/EditProject.h"
#include "speech/SpeechEngines.h"

#include <QDateTime>
#include <QStringList>

#include <functional>
#include <stop_token>

namespace pelix::studio {

struct NewVideoOptions {
    QStringList files;  // the clips, in playing order
    QString name;       // empty: "Untitled video"
    editor::VideoFormat format = editor::VideoFormat::reel;
    QString locale;  // the spoken language; empty: the transcriber's default
    // Lines of progress for people ("clip.mp4: Listening… 40%").
    std::function<void(const QString&)> progress;
    std::stop_token stop;
};

// A new project from media files: one clip per file with its length, picture size, the words
// the transcriber heard with their times and the speaker's face position. Every file is looked
// at before any is transcribed, so a missing file, one that is not media or one without sound
// fails at once, with one sentence. Runs on the calling thread; nothing is saved.
Result<editor::EditProject> newVideo(const speech::SpeechEngines& engines,
                                     const NewVideoOptions& options, const QDateTime& now);

}  // namespace pelix::studio
