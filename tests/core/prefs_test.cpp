// Preferences and private files, and text from outside as the command line prints it.
#include "core/Prefs.h"
#include "core/Console.h"
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

TEST(Console, TextFromOutsideIsPrintedWithoutItsControlCharacters) {
    const std::pair<QString, QString> cases[] = {
        {"plain words", "plain words"},
        {"two\nlines\tand a tab", "two\nlines\tand a tab"},
        {"title \x1b]0;owned\x07 set", "title ]0;owned set"},
        {"clipboard \x1b]52;c;aGk=\x1b\\", "clipboard ]52;c;aGk=\\"},
        {"over\rwritten", "overwritten"},
        {QString("nul") + QChar(0) + "byte", "nulbyte"},
        {QString("c1") + QChar(0x9b) + "31m and DEL" + QChar(0x7f), "c131m and DEL"},
        {"ünïcödé “quotes” 日本語", "ünïcödé “quotes” 日本語"},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(console::printable(text), shown) << text.toStdString();
}

TEST(Console, ASecretIsBlankedInEveryFormAServerEchoesItIn) {
    const QString secret = "pelix_a/b+c d";
    const std::pair<QString, QString> cases[] = {
        {"bad token pelix_a/b+c d here", "bad token … here"},
        {"query ?t=pelix_a%2Fb%2Bc%20d&x", "query ?t=…&x"},
        {"lower hex pelix_a%2fb%2bc+d", "lower hex …"},
        {"every byte %70%65%6C%69%78%5F%61%2F%62%2B%63%20%64.", "every byte …."},
        {R"(json "pelix_a\/b+c d")", R"(json "…")"},
        {"twice pelix_a/b+c dpelix_a/b+c d", "twice ……"},
        // Only the whole secret: a start of it, or a different one, stays.
        {"pelix_a/b+c e and pelix_a/b", "pelix_a/b+c e and pelix_a/b"},
        {"ends at pelix_a%2", "ends at pelix_a%2"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(console::withoutSecret(text, secret), shown) << text.toStdString();
    }
    EXPECT_EQ(console::withoutSecret("nothing to hide", ""), "nothing to hide");
}

}  // namespace
}  // namespace pelix::core
