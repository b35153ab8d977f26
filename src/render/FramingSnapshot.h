#pragma once

#include <QString>
#include <QStringList>

namespace pelix::render {

// The framing picture of `pelix --snapshot DIR --framing [CLIP…]`: finds the speaker in each
// clip named, prints one line per clip ("framing: FILE 0.312 (face in 9 of 12 pictures)") and
// "videos: N", the number of clips framed, and writes "frame-after.png" into `dir`: the middle
// of the first clip framed for a reel, at half size. With no clip named there is nothing to
// frame: only "videos: 0". Returns the exit status.
int runFramingSnapshot(const QString& dir, const QStringList& clips);

}  // namespace pelix::render
