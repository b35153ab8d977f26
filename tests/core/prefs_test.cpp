#include "core/Prefs.h"
#include "core/PrivateFile.h"
#include "support/TestSupport.h"

namespace pelix::core {
namespace {

class PrefsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    Prefs prefs{dir.filePath("Pelix/Pelix.conf")};
};

// Every call reads the file afresh: two objects (two processes) on one file see each other's
// changes at once, and neither writes back a value the other removed. Switched off, a switch is
// kept as false under its dotted key.
TEST_F(PrefsTest, TwoObjectsOnOneFileShareEveryChange) {
    Prefs other(prefs.file());
    prefs.setValue("voiceMemos.folder", "/music/Recordings");
    EXPECT_EQ(other.string("voiceMemos.folder"), "/music/Recordings");
    other.setRelay(false);
    other.setInsertIntoApp(false);
    EXPECT_FALSE(prefs.relay());
    EXPECT_FALSE(prefs.insertIntoApp());
    prefs.setValue("speech.server", "http://127.0.0.1:8080");
    other.remove("voiceMemos.folder");
    EXPECT_FALSE(prefs.contains("voiceMemos.folder"));
    prefs.setValue("badge.x", 12);  // written after the removal, by the object that had it
    EXPECT_FALSE(other.contains("voiceMemos.folder"));
    EXPECT_EQ(other.string("speech.server"), "http://127.0.0.1:8080");
    EXPECT_EQ(other.value("badge.x").toInt(), 12);
    EXPECT_EQ(other.string("never.written"), std::nullopt);
    const QByteArray text = testing::readFile(prefs.file());
    EXPECT_TRUE(text.contains("relay.enabled=false") && text.contains("insert.enabled=false"))
        << text.toStdString();
}

TEST_F(PrefsTest, AMalformedFileGivesTheDefaultsAndTakesNewValues) {
    for (const QByteArray& junk : {QByteArray("\x00\xff\xfe garbage\n[[[\n=\n", 18),
                                   QByteArray("relay.enabled\n[General")}) {
        testing::writeFile(dir.filePath("Pelix"), "Pelix.conf", junk);
        EXPECT_TRUE(prefs.relay());
        EXPECT_TRUE(prefs.insertIntoApp());
        EXPECT_FALSE(prefs.keysPromptShown());
        prefs.setRelay(false);
        EXPECT_FALSE(Prefs(prefs.file()).relay());
    }
}

TEST(PrivateFile, WritesWithPrivateModesAndReplacesAtomically) {
    QTemporaryDir dir;
    const QString folder = dir.filePath("a/b/Pelix");
    const QString path = folder + "/secret";
    ASSERT_TRUE(writePrivateFile(path, "one"));
    ASSERT_TRUE(writePrivateFile(path, "two"));
    EXPECT_EQ(testing::readFile(path), "two");
    EXPECT_EQ(QFileInfo(path).permissions() & 0x7777,
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                  QFileDevice::WriteUser);
    EXPECT_EQ(QFileInfo(folder).permissions() & (QFileDevice::ExeOwner | 0x0077),
              QFileDevice::ExeOwner);
    // No temporary file is left beside it.
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{"secret"});

    const auto written = writePrivateFile(path + "/token", "x");
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().message.startsWith("Couldn't create the folder"));
    EXPECT_TRUE(written.error().message.endsWith("."));
}

}  // namespace
}  // namespace pelix::core
