// Live dictation on GNOME: a headless Mutter with a German layout, Pelix typing through the
// remote-desktop portal once the test has accepted GNOME's consent dialog.
#include "dictation/HeadlessDictation.h"
#include "support/HeadlessMutter.h"

namespace pelix::dictation {
namespace {

// Letters on other keys in German (y, z), one only there (ö) and one behind AltGr (€).
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
