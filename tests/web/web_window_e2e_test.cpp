// The web window in a real web engine on the test desktop: the relay bridge over HTTPS (a test
// certificate trusted through the NSS database of an isolated home), links leaving the window,
// the sign-in round trip through a second pelix, and recordings dropped. One window (one
// engine) serves every test of this program, which runs as one process.
#include "WebServer.h"

#include "app/Links.h"
#include "core/Clock.h"
#include "core/Paths.h"
#include "fakes/DesktopFakes.h"
#include "fakes/ManualTime.h"
#include "memos/DropCatcher.h"
#include "platform/Desktop.h"
#include "platform/SingleInstance.h"
#include "support/TestSupport.h"
#include "web/WebWindow.h"

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QTest>
#include <QUrlQuery>

#include <cstdio>

namespace pelix::web {
namespace {

using testing::waitUntil;

constexpr auto kUser = "0123abcd-4567-89ef-abcd-0123456789ab";

QByteArray homePage() {
    return R"(<!doctype html><title>home</title>
<a id="google" href="https://accounts.google.com/o/oauth2/v2/auth?client_id=x">Google</a>
<iframe id="frame" src="/frame"></iframe>)";
}

QByteArray framePage() {
    // The frame tries the bridge the way the page does, and says what happened.
    return R"(<!doctype html><script>
try {
  window.webkit.messageHandlers.pelixRelay.postMessage({user: "0123abcd-4567-89ef-abcd-0123456789ab"})
    .then(function (r) { parent.__frame = "reply " + r; });
  parent.__frame = "posted";
} catch (e) { parent.__frame = "no bridge"; }
</script>)";
}

// Everything the tests share: the servers, the window and what reached the fakes.
struct Shared {
    QString certificate, key;
    std::unique_ptr<WebServer> https, http;
    fakes::ManualClock clock;
    fakes::ManualTimers timers{clock};
    fakes::FakeApps apps;
    QList<RelayAccountMessage> messages;
    QList<QUrl> macLinks;
    QList<QStringList> sent;
    std::unique_ptr<WebWindow> window;
};
Shared* shared = nullptr;

QString run(const QString& script) {
    std::optional<QString> result;
    shared->window->surface().run(script, [&result](const QString& r) { result = r; });
    EXPECT_TRUE(waitUntil([&] { return result.has_value(); }, 10000)) << script.toStdString();
    return result.value_or(QString());
}

bool loadPage(const QUrl& url, const QString& title) {
    shared->window->surface().load(url);
    return waitUntil(
        [&] { return shared->window->surface().url() == url && run("document.title") == title; },
        15000);
}

// A click of the mouse on the page, as the user's.
void click(const QPoint& where) {
    QWidget* view = shared->window->surface().widget();
    QTest::mouseClick(view->focusProxy() ? view->focusProxy() : view, Qt::LeftButton, {}, where);
}

class WebWindowTest : public ::testing::Test {
protected:
    Shared& s = *shared;
    WebWindow& window() { return *shared->window; }
};

// The bridge answers only the main frame of the web app's page over https: the frame inside it
// has no bridge at all, and the same page over plain http is ignored.
TEST_F(WebWindowTest, TheWebAppsPageGetsItsRelayReplyAndItsVersion) {
    const QString post =
        "window.webkit.messageHandlers.pelixRelay.postMessage(%1).then(r => window.__reply = r); "
        "'sent'";
    const auto reply = [] { return run("String(window.__reply)"); };
    ASSERT_TRUE(loadPage(QUrl(s.https->base() + "/"), "home"));
    EXPECT_EQ(run("window.pelixVersion"), "9.8.7");
    EXPECT_TRUE(run("navigator.userAgent").endsWith(" Pelix/9.8.7"));
    run(post.arg(QStringLiteral("{user: '%1', token: 'pelix_key-1'}").arg(kUser)));
    ASSERT_TRUE(waitUntil([&] { return reply() == "need"; }));
    EXPECT_EQ(s.messages, QList<RelayAccountMessage>{(RelayAccountMessage{kUser, "pelix_key-1"})});
    // A user of 35 characters is answered "off" without troubling the relay.
    run(post.arg("{user: 'abc'}"));
    ASSERT_TRUE(waitUntil([&] { return reply() == "off"; }));
    EXPECT_EQ(s.messages.size(), 1);
    ASSERT_TRUE(waitUntil([&] { return run("String(window.__frame)") != "undefined"; }));
    EXPECT_EQ(run("String(window.__frame)"), "no bridge");

    ASSERT_TRUE(loadPage(QUrl(s.http->base() + "/"), "home"));
    QList<QUrl> ignored;
    const QMetaObject::Connection watching = QObject::connect(
        &window(), &WebWindow::relayIgnored, [&](const QUrl& page) { ignored << page; });
    run(post.arg(QStringLiteral("{user: '%1'}").arg(kUser)));
    ASSERT_TRUE(waitUntil([&] { return ignored.size() == 1; }));
    QObject::disconnect(watching);
    EXPECT_EQ(ignored[0].scheme(), "http");
    EXPECT_EQ(s.messages.size(), 1);
    EXPECT_EQ(reply(), "undefined");
}

// A link of the web app's own host that redirects to another site: the other site opens in the
// browser, not in the window.
TEST_F(WebWindowTest, ARedirectToAnotherSiteLeavesTheWindow) {
    const QUrl elsewhere(QStringLiteral("http://localhost:%1/").arg(s.http->port()));
    s.https->redirect("/hop", elsewhere.toString());
    s.https->page("/hopping",
                  R"(<!doctype html><title>hopping</title><a id="hop" href="/hop">hop</a>)");
    ASSERT_TRUE(loadPage(QUrl(s.https->base() + "/hopping"), "hopping"));
    s.apps.opened.clear();
    run("document.getElementById('hop').click(); 'clicked'");
    ASSERT_TRUE(waitUntil([&] { return !s.apps.opened.isEmpty(); }))
        << "the window went to " << window().surface().url().toString().toStdString();
    EXPECT_EQ(s.apps.opened, QList<QUrl>{elsewhere});
    EXPECT_NE(window().surface().url().host(), "localhost");
}

// A real click on a link to the application or the desktop inside a frame of another site hands
// nothing over; the page's own links still do.
TEST_F(WebWindowTest, LinksInAnotherSitesFrameReachNoHandler) {
    const QByteArray links = R"html(<!doctype html>
<style>body{margin:0} a{position:absolute;top:0;width:120px;height:40px;display:block}</style>
<a id="key" style="left:0" href="pelix-mac://connect?token=pelix_planted"
   onclick="parent.postMessage('clicked key', '*')">key</a>
<a id="mail" style="left:140px" href="mailto:someone@example.com"
   onclick="parent.postMessage('clicked mail', '*')">mail</a>
<script>parent.postMessage('ready', '*')</script>)html";
    const QString framed = R"html(<!doctype html><title>framed</title>
<style>body{margin:0} .own{position:absolute;top:0;width:120px;height:40px}
iframe{position:absolute;left:0;top:100px;width:400px;height:100px;border:0}</style>
<a class="own" style="left:0" href="pelix-mac://voice-memos">memos</a>
<a class="own" style="left:140px" href="mailto:own@example.com">mail</a>
<script>window.addEventListener('message', function (e) { window.__frame = e.data; });</script>
<iframe src="http://localhost:%1/links"></iframe>)html";
    s.http->page("/links", links);
    s.https->page("/framed", framed.arg(s.http->port()).toUtf8());
    ASSERT_TRUE(loadPage(QUrl(s.https->base() + "/framed"), "framed"));
    ASSERT_TRUE(waitUntil([&] { return run("String(window.__frame)") == "ready"; }));
    s.apps.opened.clear();
    s.macLinks.clear();
    click(QPoint(10, 110));
    ASSERT_TRUE(waitUntil([&] { return run("String(window.__frame)") == "clicked key"; }));
    click(QPoint(150, 110));
    ASSERT_TRUE(waitUntil([&] { return run("String(window.__frame)") == "clicked mail"; }));
    // The page's own links come after the frame's clicks, so they have been decided by then.
    click(QPoint(10, 10));
    click(QPoint(150, 10));
    ASSERT_TRUE(waitUntil([&] { return !s.macLinks.isEmpty() && !s.apps.opened.isEmpty(); }));
    EXPECT_EQ(s.macLinks, QList<QUrl>{QUrl("pelix-mac://voice-memos")});
    EXPECT_EQ(s.apps.opened, QList<QUrl>{QUrl("mailto:own@example.com")});
    // Other schemes leave the page where it was.
    EXPECT_EQ(window().surface().url(), QUrl(s.https->base() + "/framed"));
}

TEST_F(WebWindowTest, SignInGoesThroughTheBrowserAndComesBackThroughASecondPelix) {
    ASSERT_TRUE(loadPage(QUrl(s.https->base() + "/"), "home"));
    s.apps.opened.clear();
    run("document.getElementById('google').click(); 'clicked'");
    ASSERT_TRUE(waitUntil([&] { return s.apps.opened.size() == 1; }));
    const QUrl browser = s.apps.opened[0];
    EXPECT_EQ(browser.toString(QUrl::RemoveQuery), s.https->base() + "/mac-sign-in");
    const QString state = QUrlQuery(browser).queryItemValue("state");
    ASSERT_FALSE(state.isEmpty());

    // The desktop hands the browser's callback to `pelix`, which hands it to this process.
    std::unique_ptr<platform::Desktop> desktop =
        platform::makeDesktop({.clock = s.clock, .cacheDir = core::paths::cacheDir()});
    const std::unique_ptr<platform::SingleInstance> instance =
        desktop->singleInstance(core::paths::dataDir());
    ASSERT_TRUE(instance->listen());
    QList<bool> loaded;
    QObject::connect(instance.get(), &platform::SingleInstance::received, [&](const QString& m) {
        const std::optional<app::Link> link = app::readLink(QUrl(m));
        if (link && link->kind == app::Link::Kind::authCallback) {
            loaded << window().finishSignIn(QUrl(m));
        }
    });
    const auto handOver = [&](const QString& link) {
        QProcess second;
        second.start(qEnvironmentVariable("PELIX_BIN"), {link});
        EXPECT_TRUE(waitUntil([&] { return second.state() == QProcess::NotRunning; }, 30000));
        EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();
    };

    // A callback with another state loads nothing.
    handOver("pelix-mac://auth-callback?code=planted&state=guess#access_token=bad");
    ASSERT_TRUE(waitUntil([&] { return loaded.size() == 1; }));
    EXPECT_FALSE(s.https->asked().join(' ').contains("auth-callback"));
    handOver("pelix-mac://auth-callback?code=xyz&state=" + state +
             "#access_token=abc&expires_in=60");
    ASSERT_TRUE(waitUntil([&] { return loaded.size() == 2; }));
    EXPECT_EQ(loaded, (QList<bool>{false, true}));
    ASSERT_TRUE(waitUntil([&] { return run("document.title") == "signed in"; }, 15000));
    EXPECT_EQ(window().surface().url(), QUrl(s.https->base() + "/auth-callback?code=xyz&state=" +
                                             state + "#access_token=abc&expires_in=60"));
}

TEST_F(WebWindowTest, RecordingsDraggedOverThePageGoToTheDropLayer) {
    QWidget* view = window().surface().widget();
    QWidget* target = view->focusProxy() ? view->focusProxy() : view;
    const QString file = QDir::homePath() + "/dropped.m4a";
    QFile(file).open(QIODevice::WriteOnly);
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(file)});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    EXPECT_TRUE(enter.isAccepted());
    EXPECT_TRUE(window().drops().veiled());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &drop);

    ASSERT_TRUE(waitUntil([&] { return s.sent.size() == 1; }));
    EXPECT_EQ(s.sent[0], QStringList{file});
    EXPECT_FALSE(window().drops().veiled());
}

}  // namespace
}  // namespace pelix::web

// The certificate, the NSS database and the window are made before the first test; the web
// engine reads the database when it starts.
int main(int argc, char** argv) {
    using namespace pelix::web;
    ::testing::InitGoogleTest(&argc, argv);
    pelix::testing::IsolatedHome home;
    const QString dir = home.path();
    const QString db = "sql:" + dir + "/.pki/nssdb";
    QDir().mkpath(dir + "/.pki/nssdb");
    const auto certutil = [](const QStringList& args) {
        QProcess tool;
        tool.start("certutil", args);
        const bool done = tool.waitForFinished(60000) && tool.exitCode() == 0;
        if (!done) std::fprintf(stderr, "%s", tool.readAllStandardError().constData());
        return done;
    };
    if (!pelix::testing::makeCertificate(dir) || !certutil({"-N", "-d", db, "--empty-password"}) ||
        !certutil({"-A", "-d", db, "-n", "pelix-test", "-t", "CT,,", "-i", dir + "/cert.pem"})) {
        std::fprintf(stderr, "web tests: could not make the trusted test certificate\n");
        return 1;
    }
    // Chromium's sandbox refuses to run as root.
    if (getuid() == 0) {
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS",
                qgetenv("QTWEBENGINE_CHROMIUM_FLAGS") + " --no-sandbox");
    }
    qputenv("PELIX_WEB_ENGINE", PELIX_WEB_ENGINE_MODULE);

    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    Shared shared{.certificate = dir + "/cert.pem", .key = dir + "/key.pem"};
    pelix::web::shared = &shared;
    shared.https = std::make_unique<WebServer>(shared.certificate, shared.key);
    shared.http = std::make_unique<WebServer>();
    for (WebServer* server : {shared.https.get(), shared.http.get()}) {
        server->page("/", homePage());
        server->page("/frame", framePage());
        server->page("/auth-callback", "<!doctype html><title>signed in</title>");
        if (!server->listen()) return 1;
    }
    QFile(dir + "/memo.m4a").open(QIODevice::WriteOnly);

    auto window = WebWindow::make(WebWindowParts{
        .places = {.base = QUrl(shared.https->base() + "/"), .backendDomain = "backend.invalid"},
        .timers = shared.timers,
        .apps = shared.apps,
        .storage = dir + "/web",
        .version = "9.8.7",
        .recordings = dir + "/Recordings",
        .onMacLink = [&](const QUrl& url) { shared.macLinks << url; },
        .onRelayAccount =
            [&](const RelayAccountMessage& message, std::function<void(QString)> reply) {
                shared.messages << message;
                reply("need");
            },
        .chooseFiles = {},
        .fetch = {},
        .library = [] { return std::optional<QList<pelix::memos::VoiceMemo>>(); },
        .send =
            [&](const QString& file, const std::optional<QString>&,
                std::function<void(bool)> done) {
                shared.sent << QStringList{file};
                done(true);
            },
        .chime = {},
    });
    if (!window) {
        std::fprintf(stderr, "web tests: %s\n", qPrintable(window.error().message));
        return 1;
    }
    shared.window = std::move(*window);
    shared.window->resize(800, 600);
    shared.window->show();
    const int result = RUN_ALL_TESTS();
    shared.window.reset();
    return result;
}

// Chromium's own allocations trip AddressSanitizer's size check on delete (its code is not
// built with the sanitizer, and sized delete differs there); everything else stays checked.
extern "C" const char* __asan_default_options() {
    return "new_delete_type_mismatch=0";
}
