// pelix --snapshot: every picture drawn twice comes out byte for byte the same, and the same as
// its reference in tests/app/snapshots (scripts/update-snapshots draws them anew).
#include "media/TestMedia.h"
#include "support/TestSupport.h"

#include <QImage>

using pelix::testing::readFile;
using pelix::testing::runPelix;

namespace {

const QStringList kAllPictures{"--drop-ui", "--memos", "--editor", "--framing", "--video"};

QStringList pngs(const QString& dir) {
    return QDir(dir).entryList({"*.png"}, QDir::Files, QDir::Name);
}

// The transcript picture hears the sample video that scripts/make-sample makes (once, kept in
// the build folder).
QProcessEnvironment withSample() {
    const QString sample =
        QString::fromUtf8(pelix::testing::runTool("bash", {PELIX_MAKE_SAMPLE, PELIX_SAMPLES}))
            .trimmed();
    QProcessEnvironment env;
    env.insert("PELIX_SAMPLE_VIDEO", sample);
    return env;
}

TEST(Snapshot, PicturesAreTheSameEachRunAndMatchTheirReferences) {
    QTemporaryDir first, second;
    const QProcessEnvironment env = withSample();
    for (const QTemporaryDir* dir : {&first, &second}) {
        const auto r =
            runPelix(QStringList{"--snapshot", dir->path()} + kAllPictures, {}, env, 300000);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    }
    const QString references = PELIX_SNAPSHOT_REFERENCES;
    const QStringList drawn = pngs(first.path());
    EXPECT_TRUE(drawn.contains("badge.png"));
    EXPECT_EQ(drawn, pngs(references)) << "run scripts/update-snapshots after changing a picture";
    for (const QString& name : drawn) {
        SCOPED_TRACE(name.toStdString());
        const QByteArray bytes = readFile(QDir(first.path()).filePath(name));
        ASSERT_FALSE(bytes.isEmpty());
        EXPECT_EQ(bytes, readFile(QDir(second.path()).filePath(name)));
        // Pixels rather than bytes: another PNG encoder may pack the same picture differently.
        const QImage reference(QDir(references).filePath(name));
        const QImage image = QImage::fromData(bytes);
        EXPECT_EQ(image.convertToFormat(QImage::Format_ARGB32),
                  reference.convertToFormat(QImage::Format_ARGB32))
            << "the picture changed; look at it and run scripts/update-snapshots if that was meant";
    }
}

}  // namespace
