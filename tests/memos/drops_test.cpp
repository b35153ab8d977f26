
#include "MemoTestSupport.h"

#include <QMimeData>

namespace pelix::memos {
namespace {

using testing::writeFile;

TEST(DragContents, SoundFilesAndLocations) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/home/me/Walk.MP3"), QUrl::fromLocalFile("/home/me/a.txt"),
                  QUrl::fromLocalFile("/home/me/b.aiff"),
                  QUrl("mtp://Pixel/Recordings/New%20Recording%2014.m4a"),
                  QUrl("https://example.com/page.html")});

    EXPECT_EQ(drops::audioFiles(data), (QStringList{"/home/me/Walk.MP3", "/home/me/b.aiff"}));
    EXPECT_EQ(drops::audioLocations(data),
              QList<QUrl>{QUrl("mtp://Pixel/Recordings/New%20Recording%2014.m4a")});
}

TEST(Drops, FetchedLocationsLandInTheDroppedFolderAndFailuresFallBackToTheLibrary) {
    testing::IsolatedHome home;
    QTemporaryDir elsewhere;
    const QUrl phone("mtp://Pixel/Recordings/New%20Recording%2014.m4a");
    auto copies = [&](const QUrl&, const QString& target) -> Result<QString> {
        return writeFile(QFileInfo(target).absolutePath(), QFileInfo(target).fileName(), "audio");
    };
    drops::Received got = drops::receive({phone}, {"New Recording 14"}, copies, nullptr);
    EXPECT_EQ(got.source, drops::kFromLocations);
    ASSERT_EQ(got.files.size(), 1);
    EXPECT_EQ(got.files.at(0), drops::droppedFolder() + "/New Recording 14.m4a");
    EXPECT_TRUE(drops::isReceivedCopy(got.files.at(0)));
    EXPECT_EQ(QFileInfo(drops::droppedFolder()).permissions() & 0x0077, 0);
    // A second copy of the same name does not replace the first.
    EXPECT_EQ(drops::receive({phone}, {}, copies, nullptr).files.at(0),
              drops::droppedFolder() + "/New Recording 14 2.m4a");

    auto refuses = [](const QUrl&, const QString&) -> Result<QString> {
        return fail(1, "The device is locked.");
    };
    const QString memo = writeFile(elsewhere.path(), "20260101 101010.m4a");
    const QList<VoiceMemo> library{{QUrl::fromLocalFile(memo), "New Recording 14", {}, 3}};
    got = drops::receive({phone}, {"new recording 14"}, refuses, [&] { return library; });
    EXPECT_EQ(got.source, drops::kFromLibrary);
    EXPECT_EQ(got.files, QStringList{memo});

    got = drops::receive({phone}, {"New Recording 14"}, refuses, [] { return std::nullopt; });
    EXPECT_TRUE(got.files.isEmpty());
    EXPECT_TRUE(testing::dropLog().contains("library closed (it cannot be read)"));
    EXPECT_EQ(QFileInfo(drops::logFile()).permissions() & 0x0077, 0);
}

}  // namespace
}  // namespace pelix::memos
