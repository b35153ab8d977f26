
#include "MemoTestSupport.h"

#include <QMimeData>

namespace pelix::memos {
namespace {

using testing::writeFile;

TEST(DragContents, SoundFilesLocationsAndNames) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/home/me/Walk.MP3"), QUrl::fromLocalFile("/home/me/a.txt"),
                  QUrl::fromLocalFile("/home/me/b.aiff"),
                  QUrl("mtp://Pixel/Recordings/New%20Recording%2014.m4a"),
                  QUrl("https://example.com/page.html")});
    data.setText("New Recording 14\n  \n/home/me/Walk.MP3\n");

    EXPECT_EQ(drops::audioFiles(data), (QStringList{"/home/me/Walk.MP3", "/home/me/b.aiff"}));
    EXPECT_EQ(drops::audioLocations(data),
              QList<QUrl>{QUrl("mtp://Pixel/Recordings/New%20Recording%2014.m4a")});
    EXPECT_EQ(drops::suggestedNames(data),
              (QStringList{"New Recording 14", "Walk", "a", "b", "page"}));

    QMimeData text;
    text.setText("just words");
    EXPECT_TRUE(drops::audioFiles(text).isEmpty());
    EXPECT_TRUE(drops::audioLocations(text).isEmpty());

    for (const char* name : {"a.m4a", "a.qta", "a.mp3", "a.wav", "a.aiff", "a.aif", "a.caf",
                             "a.aac", "a.mp4", "A.WAV"}) {
        EXPECT_TRUE(drops::isAudioName(name)) << name;
    }
    for (const char* name : {"a.ogg", "a.opus", "a.mov", "m4a", "a.m4a.txt"}) {
        EXPECT_FALSE(drops::isAudioName(name)) << name;
    }
}

class DropTest : public ::testing::Test {
protected:
    testing::IsolatedHome home;
    QTemporaryDir elsewhere;
};

TEST_F(DropTest, FetchedLocationsLandInTheDroppedFolderAndFailuresFallBackToTheLibrary) {
    const QUrl phone("mtp://Pixel/Recordings/New%20Recording%2014.m4a");
    auto copies = [&](const QUrl&, const QString& target) -> Result<QString> {
        return testing::writeFile(QFileInfo(target).absolutePath(), QFileInfo(target).fileName(),
                                  "audio");
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
    const QString memo = testing::writeFile(elsewhere.path(), "20260101 101010.m4a");
    const QList<VoiceMemo> library{{QUrl::fromLocalFile(memo), "New Recording 14", {}, 3}};
    got = drops::receive({phone}, {"new recording 14"}, refuses, [&] { return library; });
    EXPECT_EQ(got.source, drops::kFromLibrary);
    EXPECT_EQ(got.files, QStringList{memo});

    got = drops::receive({phone}, {"New Recording 14"}, refuses, [] { return std::nullopt; });
    EXPECT_TRUE(got.files.isEmpty());

    EXPECT_EQ(testing::dropLog(), (QStringList{
                                      "drop: 1 promised, names [\"New Recording 14\"]",
                                      "promise New Recording 14.m4a kept",
                                      "drop: 1 promised, names []",
                                      "promise New Recording 14 2.m4a kept",
                                      "drop: 1 promised, names [\"new recording 14\"]",
                                      "promise failed: The device is locked.",
                                      "library fallback found 1",
                                      "drop: 1 promised, names [\"New Recording 14\"]",
                                      "promise failed: The device is locked.",
                                      "library closed (it cannot be read)",
                                  }));
    EXPECT_EQ(QFileInfo(drops::logFile()).permissions() & 0x0077, 0);
}

// A drop while another is being sent waits for it; each batch ends with one message, and a
// fetched copy is removed once tried while a file dropped from a folder stays.
TEST_F(DropTest, EachBatchWaitsForTheOneBeforeAndEndsWithOneMessage) {
    std::function<void(bool)> pending;
    QStringList sent;
    drops::Sender sender([&](const QString& file, const std::optional<QString>& title,
                             std::function<void(bool)> done) {
        EXPECT_FALSE(title.has_value());
        sent << QFileInfo(file).fileName();
        pending = std::move(done);
    });
    QStringList shown;
    QObject::connect(&sender, &drops::Sender::show, [&](const QString& text, drops::State state) {
        shown << text + (state == drops::State::done     ? " (done)"
                         : state == drops::State::failed ? " (failed)"
                                                         : "");
    });
    const QString two = testing::writeFile(elsewhere.path(), "two.m4a");
    QDir(drops::droppedFolder()).mkpath(".");
    const QString copy = testing::writeFile(drops::droppedFolder(), "fetched.m4a");
    sender.sendDropped({"/a/one.m4a"});
    sender.sendDropped({two, "/a/three.m4a"});
    sender.sendDropped({copy});
    EXPECT_EQ(sent, QStringList{"one.m4a"});
    for (const bool ok : {true, true, false, false}) std::exchange(pending, nullptr)(ok);
    EXPECT_EQ(sent, (QStringList{"one.m4a", "two.m4a", "three.m4a", "fetched.m4a"}));
    EXPECT_EQ(shown, (QStringList{"Sending 1 of 1…", "Complete: one.m4a is in Pelix (done)",
                                  "Sending 1 of 2…", "Sending 2 of 2…",
                                  "1 of 2 sent. Drop the other again. (failed)", "Sending 1 of 1…",
                                  "Not sent. Drop it again to try once more. (failed)"}));
    EXPECT_FALSE(sender.busy());
    EXPECT_FALSE(QFileInfo::exists(copy));
    EXPECT_TRUE(QFileInfo::exists(two));
    const QStringList lines = testing::dropLog();
    EXPECT_EQ(lines.count("memo sent to Pelix"), 2);
    EXPECT_EQ(lines.count("memo could not be sent"), 2);
}

}  // namespace
}  // namespace pelix::memos
