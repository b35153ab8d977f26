#pragma once

#include "media/TestMedia.h"

#include <QFileInfo>
#include <QImage>
#include <QString>

#include <stdexcept>

namespace pelix::testing {

// A public-domain photograph of a person that Debian ships (python3-skimage's data).
inline QString facePicture() {
    const QString path =
        QStringLiteral("/usr/lib/python3/dist-packages/skimage/data/astronaut.png");
    if (!QFileInfo::exists(path)) {
        throw std::runtime_error("no face picture at " + path.toStdString() +
                                 " (scripts/setup installs python3-skimage)");
    }
    return path;
}

// A 1280×720 video of the face picture (512×512) at the top, `left` pixels from the left edge
// on a gray ground, with `sound` as its sound track and as long as it.
inline QString faceVideo(const TestMedia& media, const QString& name, const QString& sound,
                         int left) {
    const QString overlay =
        QStringLiteral("[0][1]overlay=x=%1:y=0:shortest=1,format=yuv420p[v]").arg(left);
    testing::runTool(
        "ffmpeg",
        testing::args("-v error -y -f lavfi -i color=c=0x404040:s=1280x720:r=25 -loop 1 -i") +
                QStringList{facePicture(), "-i", sound, "-filter_complex", overlay} +
                testing::args("-map [v] -map 2:a -shortest -c:v libx264 -preset ultrafast -g 25 "
                              "-c:a aac")
            << media.path(name));
    return media.path(name);
}

// One picture of a video at `t` seconds, by the ffmpeg program.
inline QImage pictureOf(const QString& video, double t, const QString& png) {
    testing::runTool("ffmpeg", {"-v", "error", "-y", "-ss", QString::number(t, 'f', 3), "-i", video,
                                "-frames:v", "1", png});
    QImage image(png);
    if (image.isNull()) throw std::runtime_error("could not read " + png.toStdString());
    return image.convertToFormat(QImage::Format_RGB32);
}

}  // namespace pelix::testing
