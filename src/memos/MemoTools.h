#pragma once

#include "core/Error.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace pelix::memos {

// What the memo pipeline needs from the media layer and the on-device transcriber. Every one
// of them may block, and the pipeline only calls them on worker threads.
struct MemoTools {
    // The recording's length in seconds.
    std::function<Result<double>(const QString& file)> duration;
    // A new temporary M4A file holding `length` seconds from `from`; the caller removes it.
    std::function<Result<QString>(const QString& file, double from, double length)> cut;
    // The creation date the recording carries in its own metadata, if any.
    std::function<std::optional<QDateTime>(const QString& file)> createdInside;
    // The recording's speech as text, heard on this machine in `locale` (empty: the machine's
    // own, else English) with `words` as expected words, its stretches joined into paragraphs
    // 1.5 s apart.
    std::function<Result<QString>(const QString& file, const QString& locale,
                                  const QStringList& words)>
        hear;
};

// The media layer and the on-device transcriber of this build.
MemoTools machineTools();

}  // namespace pelix::memos
