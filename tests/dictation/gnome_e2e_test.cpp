// Live dictation on GNOME: a headless Mutter with a German keyboard layout and GNOME's desktop
// portal, Pelix typing through the portal's remote desktop once the test has accepted GNOME's
// consent dialog as a person would. GNOME 43 has no shortcuts portal and Pelix's user cannot
// read the keyboards, so `pelix --dictate` (a GNOME keyboard shortcut) starts and ends it.
#include "dictation/HeadlessDictation.h"
#include "support/HeadlessMutter.h"

namespace pelix::dictation {
namespace {

// What the server makes of the speech: letters that sit on other keys in German (y, z), one
// only there (ö) and one behind AltGr (€); Mutter types only what the layout has.
const QString kCorrected =
    QString::fromUtf8("The weather is nice today, lazy and schön: a walk for 5 € in the park.");

class GnomeDictation : public HeadlessDictation {
protected:
    GnomeDictation()
        : HeadlessDictation(testing::HeadlessMutter::shared(),
                            "typing: through the remote-desktop portal", kCorrected) {}

    void consent() override {
        const QString refused = testing::HeadlessMutter::shared().allowRemoteDesktop();
        ASSERT_TRUE(refused.isEmpty())
            << refused.toStdString() << pelix->err().constData() << desktop.log().toStdString();
    }
};

// Mutter loses a remote session's first key, the one that gives its seat a keyboard and so the
// window its focus: Pelix's own warm-up key is that one, and the dictation's letters all arrive.
TEST_F(GnomeDictation, DictationTypesAndCorrectsThroughThePortal) {
    dictateAndCorrect();
}

}  // namespace
}  // namespace pelix::dictation
