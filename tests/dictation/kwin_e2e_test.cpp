// Live dictation on KDE: a headless KWin with a German keyboard layout, Pelix typing through
// KWin's fake input, with the characters the layout lacks pasted.
#include "dictation/HeadlessDictation.h"
#include "support/HeadlessKWin.h"

namespace pelix::dictation {
namespace {

// What the server makes of the speech: letters that sit on other keys in German (y, z, ö) and
// characters the layout lacks (the dash, the tree), which go through the clipboard.
const QString kCorrected =
    QString::fromUtf8("The weather is nice today — lazy, schön, and we'll go for a walk 🌳.");

class KWinDictation : public HeadlessDictation {
protected:
    KWinDictation()
        : HeadlessDictation(testing::HeadlessKWin::shared(), "typing: through KDE's fake input",
                            kCorrected) {}

    testing::HeadlessKWin& kwin = testing::HeadlessKWin::shared();
};

TEST_F(KWinDictation, DictationTypesAndCorrectsThroughFakeInput) {
    dictateAndCorrect();
}

// KDE's shortcuts portal: Pelix's "dictate" shortcut (Ctrl+Alt+D by default) held down starts a
// dictation and let go ends it, pressed through fake input as a person's keys.
TEST_F(KWinDictation, HoldingTheShortcutStartsAndEndsADictation) {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_TRUE(pelix->saw("keys: through the shortcuts portal", 15000))
        << pelix->err().constData() << kwin.log().toStdString();
    QProcess keys;
    const auto [program, args] = kwin.command(kwin.fakeKeys(), {}, kwin.clientEnvironment());
    keys.start(program, args);
    const auto said = [&](const QByteArray& line) {
        return testing::waitUntil(
            [&] {
                keys.waitForReadyRead(50);
                return keys.canReadLine() && keys.readLine().trimmed() == line;
            },
            5000);
    };
    ASSERT_TRUE(said("ready")) << keys.readAllStandardError().constData();
    keys.write("down 29 56 32\n");  // Ctrl, Alt, D
    ASSERT_TRUE(said("done"));
    EXPECT_TRUE(pelix->saw("dictation: typing into", 5000)) << pelix->err().constData();
    keys.write("up 32 56 29\n");
    ASSERT_TRUE(said("done"));
    EXPECT_TRUE(pelix->saw("dictation: done", 5000)) << pelix->err().constData();
    keys.closeWriteChannel();
    keys.waitForFinished(3000);
}

}  // namespace
}  // namespace pelix::dictation
