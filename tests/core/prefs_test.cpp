#include "core/Prefs.h"
#include "core/PrivateFile.h"

#include <gtest/gtest.h>

#include <QSettings>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

class PrefsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    pelix::Prefs prefs{dir.filePath("Pelix/Pelix.conf")};
};

TEST_F(PrefsTest, AbsentKeysTakeTheirDefaults) {
    EXPECT_TRUE(prefs.relay());
    EXPECT_TRUE(prefs.insertIntoApp());
    EXPECT_FALSE(prefs.keysPromptShown());
    EXPECT_FALSE(prefs.loginAsked());
}

TEST_F(PrefsTest, StoredFalseIsFalseNotAbsent) {
    prefs.setRelay(false);
    prefs.setInsertIntoApp(false);
    EXPECT_FALSE(pelix::Prefs(prefs.file()).relay());
    EXPECT_FALSE(pelix::Prefs(prefs.file()).insertIntoApp());
}

TEST_F(PrefsTest, KeysPromptFallsBackToTheOlderKeysOnlyWhileAbsent) {
    prefs.setLoginAsked(true);
    EXPECT_TRUE(prefs.keysPromptShown());
    {
        QSettings old(prefs.file(), QSettings::IniFormat);
        old.setValue("ax.asked", false);
    }
    EXPECT_FALSE(prefs.keysPromptShown());
    prefs.setKeysPromptShown(true);
    EXPECT_TRUE(prefs.keysPromptShown());
    EXPECT_TRUE(prefs.loginAsked());
}

TEST_F(PrefsTest, KeysAreSpelledWithDotsInTheFile) {
    prefs.setRelay(false);
    QFile file(prefs.file());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("relay.enabled=false"));
}

TEST(PrivateFile, WritesWithPrivateModesAndReplacesAtomically) {
    QTemporaryDir dir;
    const QString folder = dir.filePath("a/b/Pelix");
    const QString path = folder + "/secret";
    ASSERT_TRUE(pelix::writePrivateFile(path, "one").has_value());
    ASSERT_TRUE(pelix::writePrivateFile(path, "two").has_value());

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "two");
    EXPECT_EQ(QFileInfo(path).permissions() & 0x7777,
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                  QFileDevice::WriteUser);
    const auto folderMode = QFileInfo(folder).permissions();
    EXPECT_TRUE(folderMode & QFileDevice::ExeOwner);
    EXPECT_FALSE(folderMode & (QFileDevice::ReadGroup | QFileDevice::ReadOther));
    // No temporary file is left beside it.
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{"secret"});
}

TEST(PrivateFile, AFolderThatCannotBeMadeGivesASentence) {
    QTemporaryDir dir;
    QFile blocker(dir.filePath("Pelix"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));  // a file where the folder should be
    blocker.close();
    const auto written = pelix::writePrivateFile(dir.filePath("Pelix/token"), "x");
    ASSERT_FALSE(written.has_value());
    EXPECT_TRUE(written.error().message.startsWith("Couldn't create the folder"));
    EXPECT_TRUE(written.error().message.endsWith("."));
}

}  // namespace
