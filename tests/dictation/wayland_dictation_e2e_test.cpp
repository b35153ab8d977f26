// Live dictation into a Qt window on a headless sway: flite speech played into the test
// session's virtual microphone, heard by PocketSphinx and typed through the virtual keyboard
// while it is spoken.
#include "core/Clock.h"
#include "core/Timers.h"
#include "dictation/EngineRecognizer.h"
#include "dictation/LiveDictation.h"
#include "media/TestMedia.h"
#include "platform/Desktop.h"
#include "speech/SpeechEngines.h"
#include "support/HeadlessSway.h"
#include "support/TargetWindow.h"
#include "support/TestSupport.h"

#include <QProcess>

namespace pelix::dictation {
namespace {

const QString kSentence = "The weather is nice today and we will go for a walk in the park.";

TEST(WaylandDictation, TheSentenceIsTypedIntoTheWindowWhileItIsSpoken) {
    const testing::HeadlessSway& sway = testing::HeadlessSway::shared();
    ASSERT_TRUE(sway.error().isEmpty()) << sway.error().toStdString();
    QProcess pactl;
    pactl.start("pactl", {"info"});
    ASSERT_TRUE(pactl.waitForFinished(5000) && pactl.exitCode() == 0)
        << "No sound server: run the tests inside scripts/with-desktop.";
    QTemporaryDir dir;
    const QString speech = testing::TestMedia(dir.path()).said("speech.wav", kSentence);

    core::SystemClock clock;
    const auto desktop = platform::makeDesktop({.clock = clock,
                                                .cacheDir = dir.path(),
                                                .session = "wayland",
                                                .waylandDisplay = sway.socket(),
                                                .inputFolder = dir.path()});
    speech::SpeechEngines engines = speech::SpeechEngines::standard();
    EngineRecognizer recognizer([&] { return engines.resolve("en-US"); });
    ASSERT_TRUE(recognizer.ready()) << "No speech model: install pocketsphinx-en-us.";
    core::QtTimers timers;
    LiveDictation live(recognizer, desktop->microphone(), desktop->typist(), timers);
    testing::TargetWindow target(PELIX_TYPING_TARGET, sway.clientEnvironment());
    ASSERT_TRUE(target.ready()) << "The target window never got the focus.";

    const Status started = live.start(true);
    ASSERT_TRUE(started) << started.error().message.toStdString();
    QProcess player;
    player.start("paplay", {"-d", "vsink", speech});
    ASSERT_TRUE(player.waitForStarted());
    // Text stands in the window before the speech has ended.
    EXPECT_TRUE(testing::waitUntil([&] { return !target.text().isEmpty(); }, 8000));
    const bool typedWhileSpoken = player.state() == QProcess::Running;
    testing::waitUntil([&] { return player.state() == QProcess::NotRunning; }, 20000);
    testing::pause(1500);
    std::optional<QString> done;
    live.stop([&](const QString& text) { done = text; });
    ASSERT_TRUE(testing::waitUntil([&] { return done.has_value(); }, 5000));

    EXPECT_TRUE(typedWhileSpoken);
    // What stands in the window is exactly what was recognised, corrections and all.
    ASSERT_TRUE(testing::waitUntil([&] { return target.text().trimmed() == *done; }, 3000))
        << "window: " << target.text().toStdString() << "\nheard: " << done->toStdString();
    EXPECT_LT(testing::wordErrorRate(testing::spokenWords(kSentence), testing::spokenWords(*done)),
              0.35)
        << done->toStdString();
}

}  // namespace
}  // namespace pelix::dictation
