#include "studio/ExportPath.h"

#include "editor/EditorTestSupport.h"

namespace pelix::studio {
namespace {

TEST(ExportPath, NamesByProjectAndFormatAndCountsUp) {
    QTemporaryDir dir;
    editor::EditProject project = testing::projectOf({});
    project.name = "a/b";
    const QString folder = dir.filePath("Videos/Pelix");
    const auto first = exportPath(project, folder);
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, folder + "/a-b - Instagram Reel.mp4");
    QFile(*first).open(QIODevice::WriteOnly);
    EXPECT_EQ(*exportPath(project, folder), folder + "/a-b - Instagram Reel 2.mp4");
    QFile(folder + "/a-b - Instagram Reel 2.mp4").open(QIODevice::WriteOnly);
    EXPECT_EQ(*exportPath(project, folder), folder + "/a-b - Instagram Reel 3.mp4");

    const struct {
        editor::VideoFormat format;
        const char* label;
    } labels[] = {{editor::VideoFormat::youtubeShort, "YouTube Short"},
                  {editor::VideoFormat::rednote, "RedNote"},
                  {editor::VideoFormat::youtube, "YouTube"},
                  {editor::VideoFormat::original, "YouTube"}};
    for (const auto& l : labels) {
        project.settings.format = l.format;
        EXPECT_EQ(exportName(project), QStringLiteral("a-b - %1.mp4").arg(l.label));
    }

    // A long name is cut, between whole characters, to leave room for the count.
    project.name = QString::fromUtf8("\U0001F600").repeated(100);
    const QByteArray cut = QFile::encodeName(exportName(project));
    EXPECT_LE(cut.size(), 255 - 8);
    EXPECT_TRUE(exportName(project).startsWith(QString::fromUtf8("\U0001F600").repeated(55)));
    EXPECT_TRUE(exportName(project).endsWith(QString::fromUtf8("\U0001F600 - YouTube.mp4")));
}

TEST(ExportPath, AFolderThatCannotBeMadeIsSaidInASentence) {
    QTemporaryDir dir;
    QFile(dir.filePath("taken")).open(QIODevice::WriteOnly);
    const auto path = exportPath(testing::projectOf({}), dir.filePath("taken/Pelix"));
    ASSERT_FALSE(path);
    EXPECT_EQ(path.error().message,
              "Couldn't make the folder " + dir.filePath("taken/Pelix") + " for the video.");
}

}  // namespace
}  // namespace pelix::studio
