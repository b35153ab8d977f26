// The tray application end to end: a real `pelix` in the test session hears XTest key taps,
// records the PulseAudio virtual microphone while flite speech plays into it, and files the
// braindump into the loopback backend.
#include "fakes/LoopbackBackend.h"
#include "service/TokenStore.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include "DesktopSession.h"

namespace pelix {
namespace {

using testing::pause;

class TrayEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("PELIX_BIN"))
            << "PELIX_BIN is not set: run by ctest.";
        ASSERT_TRUE(keys.ok()) << "XTest can't open the display.";
        makeSpeech();
        QDir().mkpath(tmp());
        env.insert("PELIX_API_BASE", server.base().toString());
        env.insert("TMPDIR", tmp());
        env.insert("HOME", home.path());
        env.insert("XDG_CONFIG_HOME", home.path() + "/config");
        env.insert("XDG_DATA_HOME", home.path() + "/data");
        env.insert("XDG_CACHE_HOME", home.path() + "/cache");
    }

    QString tmp() const { return home.path() + "/tmp"; }
    QStringList recordings() const { return QDir(tmp()).entryList({"pelix-*.m4a"}, QDir::Files); }
    // Speech for the virtual microphone, which hears only what plays into its sink.
    void makeSpeech() {
        ASSERT_EQ(QProcess::execute("flite", {"-voice", "slt", "-t",
                                              "Remember to call the plumber about the kitchen "
                                              "sink on Tuesday morning, and buy more coffee.",
                                              "-o", speech()}),
                  0)
            << "flite could not make speech";
    }
    QString speech() const { return home.path() + "/speech.wav"; }
    // One recording while the speech plays: a tap, `seconds`, a tap.
    void record(double seconds) {
        QProcess::startDetached("paplay", {"-d", "vsink", speech()});
        pause(100);
        keys.tap(XK_Alt_L);
        pause(static_cast<int>(seconds * 1000) - 60);
        keys.tap(XK_Alt_L);
    }
    // Probes a file with ffprobe: codec, profile, rate, channels and duration.
    QJsonObject probe(const QByteArray& bytes) {
        const QString path = home.path() + "/sent.m4a";
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        QProcess ffprobe;
        ffprobe.start("ffprobe",
                      {"-v", "error", "-show_streams", "-show_format", "-of", "json", path});
        EXPECT_TRUE(ffprobe.waitForFinished(10000)) << "ffprobe did not finish";
        const QJsonObject all = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
        QJsonObject stream = all["streams"].toArray().first().toObject();
        stream["duration"] = all["format"].toObject()["duration"];
        return stream;
    }

    testing::IsolatedHome home;
    fakes::LoopbackBackend server;
    testing::Keyboard keys;
    QProcessEnvironment env;
};

TEST_F(TrayEndToEnd, AltTapSpeechAndAltTapFileABraindump) {
    TokenStore(home.dataDir()).write("pelix_test");
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();

    record(2.0);
    ASSERT_TRUE(server.waitFor("braindump", 1, 20000)) << pelix.err().constData();
    const fakes::Recorded sent = server.requests("braindump").first();
    EXPECT_EQ(sent.headers.value("authorization"), "Bearer pelix_test");
    const QString name = sent.json["filename"].toString();
    EXPECT_TRUE(name.startsWith("pelix-") && name.endsWith(".m4a")) << name.toStdString();
    EXPECT_EQ(sent.json["context"].toObject()["input"].toString(), "voice");
    EXPECT_EQ(sent.json["context"].toObject()["duration_s"].toInt(), 2);

    const QJsonObject audio =
        probe(QByteArray::fromBase64(sent.json["audio_base64"].toString().toLatin1()));
    EXPECT_EQ(audio["codec_name"].toString(), "aac");
    EXPECT_EQ(audio["profile"].toString(), "LC");
    EXPECT_EQ(audio["sample_rate"].toString(), "44100");
    EXPECT_EQ(audio["channels"].toInt(), 1);
    EXPECT_NEAR(audio["duration"].toString().toDouble(), 2.0, 0.35) << pelix.err().constData();

    EXPECT_TRUE(pelix.saw("hud: In Pelix")) << pelix.err().constData();
    EXPECT_TRUE(recordings().isEmpty()) << recordings().join(' ').toStdString();
}

TEST_F(TrayEndToEnd, ShortDroppedAndRefusedRecordingsEachSayTheirLine) {
    TokenStore(home.dataDir()).write("pelix_test");
    server.answerInTurn("braindump", {fakes::Reply::json({{"error", "Your storage is full."}}),
                                      fakes::Reply::text("", 201)});
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();

    record(0.5);
    EXPECT_TRUE(pelix.saw("hud: Too short. Tap Alt, talk, then tap Alt again."))
        << pelix.err().constData();

    keys.tap(XK_Alt_L);
    pause(600);
    keys.tap(XK_Escape);
    EXPECT_TRUE(pelix.saw("hud: Dropped that one.")) << pelix.err().constData();
    EXPECT_TRUE(recordings().isEmpty());

    record(1.2);
    EXPECT_TRUE(pelix.saw("hud: Your storage is full.")) << pelix.err().constData();
    record(1.2);
    EXPECT_TRUE(pelix.saw("hud: Pelix answered 201.")) << pelix.err().constData();
    EXPECT_EQ(server.requests("braindump").size(), 2);
    EXPECT_TRUE(recordings().isEmpty());
}

TEST_F(TrayEndToEnd, ASecondInstanceHandsItsLinkToTheRunningOne) {
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();
    const TokenStore tokens(home.dataDir());

    const auto second = testing::runPelix({"pelix-mac://connect?token=nope"}, {}, env, 10000);
    EXPECT_EQ(second.exitCode, 0) << second.err.constData();
    EXPECT_TRUE(pelix.saw("hud: That link did not carry a Pelix key."));
    EXPECT_FALSE(tokens.read().has_value());

    const auto third = testing::runPelix({"pelix-mac://connect?token=pelix_test"}, {}, env, 10000);
    EXPECT_EQ(third.exitCode, 0) << third.err.constData();
    EXPECT_TRUE(pelix.saw("hud: Connected. Tap Alt anywhere and talk."));
    EXPECT_EQ(tokens.read(), "pelix_test");
    EXPECT_FALSE(second.err.contains("pelix_") || third.err.contains("pelix_test"));
    // A sign-in callback that no window of this process asked for loads nothing, and the web
    // engine stays out of the tray application until its window opens.
    const auto callback =
        testing::runPelix({"pelix-mac://auth-callback?code=c&state=s"}, {}, env, 10000);
    EXPECT_EQ(callback.exitCode, 0) << callback.err.constData();
    QFile maps(QStringLiteral("/proc/%1/maps").arg(pelix.pid()));
    ASSERT_TRUE(maps.open(QIODevice::ReadOnly));
    EXPECT_FALSE(maps.readAll().contains("WebEngine"));
    // Without a link, a second pelix opens the running one's panel and ends; what is typed
    // there is told to the account.
    const auto plain = testing::runPelix({}, {}, env, 10000);
    EXPECT_EQ(plain.exitCode, 0) << plain.err.constData();
    EXPECT_EQ(pelix.count("tray: ready"), 1);
    ASSERT_TRUE(pelix.saw("panel: opened")) << pelix.err().constData();
    pause(300);
    for (KeySym key : {XK_h, XK_i, XK_space, XK_t, XK_h, XK_e, XK_r, XK_e, XK_Return})
        keys.tap(key);
    ASSERT_TRUE(server.waitFor("organize", 1)) << pelix.err().constData();
    EXPECT_EQ(server.requests("organize")[0].json.value("text").toString(), "hi there");
}

TEST(TrayWithoutDesktop, SaysWhatIsMissingInsteadOfAborting) {
    testing::IsolatedHome home;
    QProcessEnvironment env;
    env.insert("DISPLAY", "");
    env.insert("WAYLAND_DISPLAY", "");
    env.insert("QT_QPA_PLATFORM", "");
    const auto result = testing::runPelix({}, {}, env, 10000);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("there is none here ($DISPLAY is not set)"))
        << result.err.constData();
}

}  // namespace
}  // namespace pelix
