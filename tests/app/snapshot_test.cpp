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

// The transcript picture finds the sample the build made whatever the working folder, with no
// variable naming it.
TEST(Snapshot, TheSampleVideoIsFoundFromAnyFolder) {
    withSample();  // made in the build folder, as the build makes it
    QTemporaryDir elsewhere, pictures;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(elsewhere.path()));
    QProcessEnvironment env;
    env.insert("PELIX_SAMPLE_VIDEO", "");
    const auto r = runPelix({"--snapshot", pictures.path(), "--video"}, {}, env, 300000);
    QDir::setCurrent(before);
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(QFileInfo(pictures.filePath("transcript.png")).isFile());
}

TEST(Snapshot, AFolderThatCannotBeMadeIsOneSentenceAndStatusOne) {
    QTemporaryDir dir;
    const QString file = dir.filePath("taken");
    QFile(file).open(QIODevice::WriteOnly);
    for (const QString& target : {file, file + "/inside"}) {
        const auto r = runPelix({"--snapshot", target});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_TRUE(r.out.isEmpty());
        EXPECT_TRUE(r.err.startsWith("Couldn't draw the pictures: ")) << r.err.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1);
    }
}

}  // namespace
