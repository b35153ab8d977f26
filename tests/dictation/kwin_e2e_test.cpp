// Live dictation on KDE: a headless KWin with a German keyboard layout, Pelix typing through
// KWin's fake input, with the characters the layout lacks pasted, or through KDE's portals.
#include "dictation/HeadlessDictation.h"
#include "support/HeadlessKWin.h"

namespace pelix::dictation {
namespace {

// Letters on other keys in German (y, z, ö), and characters the layout lacks (pasted).
const QString kCorrected =
    QString::fromUtf8("The weather is nice today — lazy, schön, and we'll go for a walk 🌳.");

class KWinDictation : public HeadlessDictation {
protected:
    KWinDictation()
        : HeadlessDictation(testing::HeadlessKWin::shared(), "typing: through KDE's fake input",
                            kCorrected) {}
};

TEST_F(KWinDictation, DictationTypesAndCorrectsThroughFakeInput) {
    dictateAndCorrect();
}

// KDE's portals, for a Pelix KWin does not trust with its fake input (a copy no desktop entry
// names). The server's 2,000 characters arrive whole only when paced: KWin drops a window that
// falls too far behind.
class KWinPortalDictation : public HeadlessDictation {
protected:
    KWinPortalDictation()
        : HeadlessDictation(
              testing::HeadlessKWin::shared(), "typing: through the remote-desktop portal",
              QString::fromUtf8("Lazy and schön.") +
                  QString(" We could take the tram to the old town and have lunch by the river.")
                      .repeated(29)) {}

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(HeadlessDictation::SetUp());
        const QString copy = desktop.userFolder("untrusted") + "/pelix";
        ASSERT_TRUE(QFile::exists(copy) || QFile::copy(program, copy));
        desktop.giveToUser(copy);
        program = copy;
    }

    testing::HeadlessKWin& kwin = testing::HeadlessKWin::shared();
};

// Holding Pelix's shortcut (Ctrl+Alt+D) through fake input dictates; nothing is said, so the
// server's text is all there is to type.
TEST_F(KWinPortalDictation, HoldingTheShortcutDictatesALongTextThroughThePortals) {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_TRUE(pelix->saw("keys: through the shortcuts portal", 15000))
        << pelix->err().constData() << kwin.log().toStdString();
    QProcess keys;
    const auto [command, args] = kwin.command(kwin.fakeKeys(), {}, kwin.clientEnvironment());
    keys.start(command, args);
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
    EXPECT_TRUE(pelix->saw("dictation: typing into gtk-target", 5000)) << pelix->err().constData();
    testing::pause(2000);
    keys.write("up 32 56 29\n");
    ASSERT_TRUE(said("done"));
    keys.closeWriteChannel();
    keys.waitForFinished(3000);
    ASSERT_TRUE(pelix->saw("dictation: done", 30000)) << pelix->err().constData();

    EXPECT_TRUE(target->waitForText(corrected + " ", 10000))
        << target->text().size() << " characters\n"
        << pelix->err().constData();
}

}  // namespace
}  // namespace pelix::dictation
