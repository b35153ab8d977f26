#include "memos/MemoTools.h"

#include "core/Paths.h"
#include "core/TempFiles.h"
#include "media/Media.h"
#include "transcribe/VideoTranscriber.h"

#include <QDir>
#include <QUuid>

#include <memory>

namespace pelix::memos {

MemoTools machineTools() {
    // Shared by the copies of the tools; each run builds its own recogniser from it.
    auto engines = std::make_shared<const speech::SpeechEngines>(speech::SpeechEngines::standard());
    return MemoTools{
        [](const QString& file) { return media::duration(file); },
        [](const QString& file, double from, double length) -> Result<QString> {
            const QString target =
                QDir(core::paths::tempDir())
                    .filePath("pelix-" + QUuid::createUuid().toString(QUuid::WithoutBraces) +
                              ".m4a");
            if (auto cut = media::cut(file, from, from + length, target); !cut) {
                return std::unexpected(cut.error());
            }
            core::tempfiles::track(target);
            return target;
        },
        [](const QString& file) { return media::creationDate(file); },
        [engines](const QString& file, const QString& locale,
                  const QStringList& words) -> Result<QString> {
            const QString language =
                locale.isEmpty() ? transcribe::VideoTranscriber::defaultLocale(*engines) : locale;
            auto spoken =
                transcribe::VideoTranscriber::transcribe(*engines, file, language, words, {}, {});
            if (!spoken) return std::unexpected(spoken.error());
            return transcribe::VideoTranscriber::paragraphs(*spoken, 1.5, false);
        },
    };
}

}  // namespace pelix::memos
