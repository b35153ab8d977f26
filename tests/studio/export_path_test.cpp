#include "studio/ExportPath.h"

#include "editor/EditorTestSupport.h"

namespace pelix::studio {
namespace {

// The count that keeps names free and the formats' labels are checked where videos are exported
// (EditRoad, EditorWindowDesktop); here, the names no export there reaches.
TEST(ExportPath, ALongNameIsCutBetweenWholeCharactersToLeaveRoomForTheCount) {
    editor::EditProject project = testing::projectOf({});
    project.settings.format = editor::VideoFormat::youtube;
    project.name = "a/b";
    EXPECT_EQ(exportName(project), "a-b - YouTube.mp4");
    const QString face = QString::fromUtf8("\U0001F600");
    project.name = face.repeated(100);
    const QString name = exportName(project);
    EXPECT_LE(QFile::encodeName(name).size(), 255 - 8);
    EXPECT_TRUE(name.startsWith(face.repeated(55)));
    EXPECT_TRUE(name.endsWith(face + " - YouTube.mp4"));
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
