#pragma once

#include <QString>
#include <QStringList>

namespace pelix::render {

// The framing picture of `pelix --snapshot DIR --framing [CLIP…]`: finds the speaker in each
// clip (the files given, else the clips of the saved projects), prints one line per clip
// ("framing: FILE 0.312 (face in 9 of 12 pictures)") and "videos: N", the number of clips
// framed, and writes "frame-after.png" into `dir`: the middle of the first clip framed for a
// reel, at half size. Returns the exit status.
int runFramingSnapshot(const QString& dir, const QStringList& clips);

}  // namespace pelix::render
