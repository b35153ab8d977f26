#include "studio/ExportPath.h"

#include "editor/EditorTestSupport.h"

namespace pelix::studio {
namespace {

// A name with a slash stays one file and counts up; a long one (emoji of four bytes each) is cut
// between whole characters so the name, with room for the count, fits a file system's 255 bytes.
TEST(ExportPath, NamesStayOneFileCountUpAndFitWhateverTheProjectsName) {
    QTemporaryDir dir;
    editor::EditProject project = testing::projectOf({});
    project.name = "a/b";
    const QString folder = dir.filePath("Videos/Pelix");
    for (const char* expected : {"/a-b - Instagram Reel.mp4", "/a-b - Instagram Reel 2.mp4"}) {
        const auto path = exportPath(project, folder);
        ASSERT_TRUE(path);
        EXPECT_EQ(*path, folder + expected);
        QFile(*path).open(QIODevice::WriteOnly);
    }
    const QString emoji = QString::fromUtf8("\U0001F600");
    project.name = emoji.repeated(100);
    project.settings.format = editor::VideoFormat::youtube;
    const QString name = exportName(project);
    EXPECT_LE(QFile::encodeName(name).size(), 255 - 8);
    EXPECT_TRUE(name.startsWith(emoji.repeated(55)) && name.endsWith(emoji + " - YouTube.mp4"));
}

}  // namespace
}  // namespace pelix::studio
