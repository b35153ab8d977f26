// The relay's delivery with the desktop faked, a manual clock, and the loopback backend holding
// the prompts.
#include "relay/Relay.h"
#include "fakes/DesktopFakes.h"
#include "fakes/LoopbackBackend.h"
#include "fakes/ManualTime.h"
#include "fakes/TextFakes.h"
#include "relay/RelayAccounts.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QNetworkAccessManager>

#include <gtest/gtest.h>

#include <mutex>

namespace pelix {
namespace {

using testing::waitUntil;

const platform::FrontApp kClaude{"Claude", 42, "claude-desktop.desktop"};
const platform::FrontApp kBrowser{"firefox-esr", 77, "firefox-esr.desktop"};
const platform::FrontApp kTerminal{"XTerm", 9, ""};

// One relay with everything it works with.
struct Rig {
    Rig() : tokens(home.dataDir()), prefs(home.configDir() + "/Pelix.conf"), timers(clock) {
        tokens.write("pelix_main");
        server.answerWith("relay", [this](const fakes::Recorded& request) {
            std::lock_guard lock(mutex);
            if (request.json["action"] != "next") return fakes::Reply::json({});
            const QString key = request.headers.value("authorization").mid(7);
            for (qsizetype i = 0; i < waiting.size(); ++i) {
                if (waiting[i].first == key) {
                    return fakes::Reply::json({{"prompt", waiting.takeAt(i).second}});
                }
            }
            return fakes::Reply::json({});
        });
        QObject::connect(
            &relay, &Relay::finished,
            [this](const QString& id, const QString& result) { results << id + " " + result; });
    }

    // Holds a prompt on the backend for `key`.
    void hold(const QJsonObject& prompt, const QString& key = "pelix_main") {
        std::lock_guard lock(mutex);
        waiting.append({key, prompt});
    }
    QList<fakes::Recorded> calls(const QString& action) const {
        QList<fakes::Recorded> found;
        for (const auto& request : server.requests("relay")) {
            if (request.json["action"] == action) found << request;
        }
        return found;
    }
    QStringList done() const {
        QStringList reports;
        for (const auto& request : calls("done")) {
            reports << request.json["id"].toString() + " " + request.json["result"].toString();
        }
        return reports;
    }
    // Moves the clock `seconds` on in small steps, letting Qt's own zero timers run between.
    void run(double seconds) {
        const double end = clock.uptime() + seconds;
        while (clock.uptime() < end) {
            timers.advanceTo(std::min(end, clock.uptime() + 0.05));
            QCoreApplication::processEvents();
        }
    }

    testing::IsolatedHome home;
    fakes::LoopbackBackend server;
    QNetworkAccessManager network;
    fakes::ManualClock clock;
    TokenStore tokens;
    Prefs prefs;
    Api api{server.base(), tokens, &network, &clock};
    fakes::ManualTimers timers;
    fakes::FakeApps apps;
    fakes::FakeAccessibility accessibility;
    fakes::FakeSession session;
    fakes::FakeTypist typist;
    fakes::FakeClipboard clipboard;
    RelayBanner banner{timers};
    QStringList lines;
    Relay relay{RelayParts{
        .clock = clock,
        .timers = timers,
        .prefs = prefs,
        .tokens = tokens,
        .windowKeys = WindowKeyStore(home.dataDir()),
        .api = api,
        .apps = apps,
        .accessibility = accessibility,
        .session = session,
        .typist = typist,
        .clipboard = clipboard,
        .banner = banner,
        .show = [this](const QString& line) { lines << line; },
    }};
    QStringList results;
    std::mutex mutex;
    QList<std::pair<QString, QJsonObject>> waiting;
};

QJsonObject conversation(const QString& id, const QString& text = " Where were we?\n") {
    return {
        {"id", id}, {"target", "claude"}, {"prompt", text}, {"link", "https://chatgpt.com/c/abc"}};
}

TEST(Relay, ANewClaudeChatCarriesItsTextAndOnlyReturnIsPressed) {
    Rig rig;
    rig.apps.handlers["claude"] = "claude-desktop.desktop";
    rig.hold({{"id", "p1"}, {"prompt", "  Plan my week  "}});
    rig.relay.start();
    ASSERT_TRUE(waitUntil([&] { return rig.banner.visible(); }));
    QStringList shown{rig.banner.text()};
    for (int i = 0; i < 4; ++i) {
        rig.timers.advance(1);
        shown << rig.banner.text();
    }
    EXPECT_EQ(shown,
              (QStringList{
                  "Sending to a new chat in Claude in 5…", "Sending to a new chat in Claude in 4…",
                  "Sending to a new chat in Claude in 3…", "Sending to a new chat in Claude in 2…",
                  "Sending to a new chat in Claude in 1…"}));
    EXPECT_TRUE(rig.apps.opened.isEmpty());
    rig.timers.advance(1);
    EXPECT_FALSE(rig.banner.visible());
    EXPECT_EQ(rig.apps.opened, QList<QUrl>{QUrl("claude://claude.ai/new?q=Plan%20my%20week")});
    EXPECT_EQ(rig.accessibility.switchedOn, 1);

    // In front between two looks; Return goes 1.5 s + 0.1 s after the look that saw it.
    const double opened = rig.clock.uptime();
    rig.timers.advanceTo(opened + 0.9);
    rig.apps.inFront = kClaude;
    rig.timers.advanceTo(opened + 2.59);
    EXPECT_TRUE(rig.typist.log.isEmpty());
    rig.timers.advanceTo(opened + 2.6);
    EXPECT_EQ(rig.typist.log, QStringList{"enter"});
    EXPECT_EQ(rig.accessibility.asked, QList<qint64>{42});
    EXPECT_TRUE(rig.clipboard.set.isEmpty());
    EXPECT_EQ(rig.lines, QStringList{"Sent to a new chat in Claude."});

    ASSERT_TRUE(waitUntil([&] { return !rig.results.isEmpty(); }));
    EXPECT_EQ(rig.results, QStringList{"p1 sent"});
    const fakes::Recorded report = rig.calls("done").value(0);
    EXPECT_EQ(report.json, (QJsonObject{{"action", "done"}, {"id", "p1"}, {"result", "sent"}}));
    EXPECT_EQ(report.headers.value("authorization"), "Bearer pelix_main");
    EXPECT_EQ(rig.calls("next").value(0).json,
              (QJsonObject{{"action", "next"}, {"device", "Desk"}}));

    // The next prompt is asked for 2 s after one was sent.
    rig.timers.advance(1.9);
    QCoreApplication::processEvents();
    rig.timers.advance(0.1);
    ASSERT_TRUE(rig.server.waitFor("relay", 3));
    EXPECT_EQ(rig.calls("next").size(), 2);
}

TEST(Relay, EveryPathReportsDoneOnceAndSaysWhatHappened) {
    const auto unsafe = [](platform::ElementRole role, QString description = {}) {
        return platform::FocusedElement{role, {}, description, {}, {}};
    };
    const QString notFound =
        "Could not find where to type in the conversation. It is still "
        "on your phone.";
    const QString late = "the conversation did not open in time. It is still on your phone.";
    struct Case {
        const char* what;
        QJsonObject prompt;
        std::function<void(Rig&)> arrange;
        // Seconds after the open at which the browser comes to the front; none: never.
        std::optional<double> frontAt;
        QString result;
        QStringList lines;
        QStringList typed;
        qint64 pid = kBrowser.pid;
    } cases[] = {
        {"no plan",
         {{"id", "x"}, {"target", "ChatGPT"}, {"prompt", "hi"}},
         {},
         0.0,
         "x failed",
         {},
         {}},
        {"cancelled",
         conversation("x"),
         [](Rig& r) { r.banner.cancel(); },
         0.0,
         "x cancelled",
         {},
         {}},
        {"locked during the countdown",
         conversation("x"),
         [](Rig& r) { r.session.locked = true; },
         0.0,
         "x failed",
         {},
         {}},
        {"can't open",
         conversation("x"),
         [](Rig& r) { r.apps.refuse = Error::pelix(1, "no handler"); },
         0.0,
         "x failed",
         {"Could not open the conversation."},
         {}},
        {"never in front", conversation("x"), {}, std::nullopt, "x failed", {late}, {}},
        {"someone else in front",
         conversation("x"),
         [](Rig& r) { r.apps.inFront = kTerminal; },
         std::nullopt,
         "x failed",
         {late},
         {}},
        {"in front after 10 s", conversation("x"), {}, 10.0, "x failed", {late}, {}},
        {"in front after 9.9 s",
         conversation("x"),
         {},
         9.9,
         "x sent",
         {"Sent to the conversation."},
         {"ctrl+v", "enter"}},
        {"focus on a button",
         conversation("x"),
         [&](Rig& r) { r.accessibility.focused = unsafe(platform::ElementRole::button); },
         0.0,
         "x failed",
         {notFound},
         {}},
        {"focus in the address bar",
         conversation("x"),
         [&](Rig& r) {
             r.accessibility.focused =
                 unsafe(platform::ElementRole::comboBox, "Search or enter address");
         },
         0.0,
         "x failed",
         {notFound},
         {}},
        {"no focused element",
         conversation("x"),
         {},
         0.0,
         "x sent",
         {"Sent to the conversation."},
         {"ctrl+v", "enter"}},
        {"no process to ask",
         conversation("x"),
         [&](Rig& r) { r.accessibility.focused = unsafe(platform::ElementRole::button); },
         0.0,
         "x sent",
         {"Sent to the conversation."},
         {"ctrl+v", "enter"},
         0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Rig rig;
        rig.clipboard.held = QList<std::pair<QString, QByteArray>>{{"image/png", "png"}};
        const auto before = rig.clipboard.held;
        rig.hold(c.prompt);
        rig.relay.start();
        // Until the banner shows or the prompt was turned down without one.
        ASSERT_TRUE(waitUntil([&] { return rig.banner.visible() || !rig.results.isEmpty(); }));
        if (c.arrange) c.arrange(rig);
        rig.timers.advance(5);
        const double opened = rig.clock.uptime();
        if (c.frontAt) {
            rig.timers.advanceTo(opened + *c.frontAt);
            if (!rig.apps.inFront) rig.apps.inFront = kBrowser;
            // A window that names no process can't be asked where its focus is.
            rig.apps.inFront->pid = c.pid;
        }
        rig.run(16);
        ASSERT_TRUE(waitUntil([&] { return !rig.results.isEmpty(); }));
        rig.run(1);
        EXPECT_EQ(rig.results, QStringList{c.result});
        EXPECT_EQ(rig.done(), QStringList{c.result});
        EXPECT_EQ(rig.lines, c.lines);
        EXPECT_EQ(rig.typist.log, c.typed);
        if (c.typed.isEmpty()) {
            EXPECT_TRUE(rig.clipboard.set.isEmpty());
        } else {
            // The untrimmed text was pasted, and the clipboard given back.
            EXPECT_EQ(rig.clipboard.set, QStringList{" Where were we?\n"});
            EXPECT_TRUE(waitUntil([&] { return rig.clipboard.held == before; }, 2000));
        }
    }
}

TEST(Relay, AsksEachAccountInTurnOnlyWhenOnAndUnlocked) {
    Rig rig;
    WindowKeyStore(rig.home.dataDir()).write("u-1", "pelix_window");
    rig.prefs.setRelay(false);
    rig.relay.start();
    rig.timers.advance(15);
    rig.prefs.setRelay(true);
    rig.session.locked = true;
    rig.timers.advance(15);
    rig.session.locked = false;
    rig.hold(conversation("w"), "pelix_window");
    rig.timers.advance(15);
    // The main account has nothing; the window's account has a prompt.
    ASSERT_TRUE(waitUntil([&] { return rig.banner.visible(); }));
    QStringList asked;
    for (const auto& call : rig.calls("next")) asked << call.headers.value("authorization");
    EXPECT_EQ(asked, (QStringList{"Bearer pelix_main", "Bearer pelix_window"}));
    rig.banner.cancel();
    ASSERT_TRUE(waitUntil([&] { return !rig.results.isEmpty(); }));
    EXPECT_EQ(rig.calls("done").value(0).headers.value("authorization"), "Bearer pelix_window");

    // Waking asks 3 s later; once the window account is known to be the main one's user, it
    // is not asked again.
    rig.relay.learnedUser("pelix_main", "u-1");
    rig.server.clear();
    rig.session.woke();
    rig.timers.advance(2.9);
    QCoreApplication::processEvents();
    EXPECT_TRUE(rig.server.requests().isEmpty());
    rig.timers.advance(0.1);
    ASSERT_TRUE(rig.server.waitFor("relay", 1));
    rig.run(1);
    EXPECT_EQ(rig.calls("next").size(), 1);
}

TEST(Relay, OnePromptAtATimeAndStoppingCancelsTheCountdown) {
    Rig rig;
    rig.hold(conversation("a"));
    rig.hold(conversation("b"));
    rig.relay.start();
    ASSERT_TRUE(waitUntil([&] { return rig.banner.visible(); }));
    // The poll timer comes round at 15 s while "a" still waits for its browser: nothing more is
    // asked; the next round asks again.
    rig.timers.advance(15);
    ASSERT_TRUE(waitUntil([&] { return !rig.results.isEmpty(); }));
    EXPECT_EQ(rig.calls("next").size(), 1);
    rig.timers.advance(15);
    ASSERT_TRUE(waitUntil([&] { return rig.banner.visible(); }));
    EXPECT_EQ(rig.calls("next").size(), 2);

    rig.relay.stop();
    EXPECT_FALSE(rig.banner.visible());
    ASSERT_TRUE(waitUntil([&] { return rig.results.size() == 2; }));
    EXPECT_EQ(rig.results, (QStringList{"a failed", "b cancelled"}));
    rig.timers.advance(60);
    EXPECT_FALSE(rig.server.waitFor("relay", 5, 300));
    EXPECT_TRUE(rig.apps.opened.size() == 1 && !rig.relay.busy());
}

TEST(RelayAccounts, TheWindowAccountRules) {
    using RelayAccounts::windowAccount;
    using Step = RelayAccounts::WindowAccountStep;
    const QString u1 = "11111111-1111-1111-1111-111111111111";
    const QString u2 = "22222222-2222-2222-2222-222222222222";
    const std::optional<QString> none;
    const std::optional<QString> main = "pelix_main";
    const std::optional<WindowKeyStore::Key> window = WindowKeyStore::Key{u2, "pelix_k2"};
    struct Row {
        const char* what;
        Step got;
        Step want;
    };
    const Row rows[] = {
        {"relay off", windowAccount(false, u1, "pelix_k1", main, u1, window), {.reply = "off"}},
        {"the main token itself",
         windowAccount(true, u2, "pelix_main", main, none, window),
         {.reply = "have", .learnMain = true, .clear = true}},
        {"the main token's user",
         windowAccount(true, u1, "pelix_k1", main, u1, window),
         {.reply = "have"}},
        {"the window's user", windowAccount(true, u2, none, main, u1, window), {.reply = "have"}},
        {"the window's user, a new key",
         windowAccount(true, u2, "pelix_k2b", main, u1, window),
         {.reply = "have", .store = true}},
        {"another user, no key",
         windowAccount(true, u1, none, main, none, window),
         {.reply = "need"}},
        {"another user with a key",
         windowAccount(true, u1, "pelix_k1", main, none, window),
         {.reply = "have", .store = true, .forgetOld = true}},
        {"a first window account",
         windowAccount(true, u1, "pelix_k1", none, none, std::nullopt),
         {.reply = "have", .store = true}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.got.reply, row.want.reply) << row.what;
        EXPECT_EQ(row.got, row.want) << row.what;
    }
}

TEST(Relay, TheWindowAccountIsKeptAndTheOldOneForgotten) {
    Rig rig;
    const QString u1 = "11111111-1111-1111-1111-111111111111";
    const QString u2 = "22222222-2222-2222-2222-222222222222";
    const WindowKeyStore windowKeys(rig.home.dataDir());
    QStringList replies;
    const auto say = [&](const QString& user, std::optional<QString> token) {
        const qsizetype before = replies.size();
        rig.relay.windowAccount(user, token, [&](const QString& reply) { replies << reply; });
        EXPECT_TRUE(waitUntil([&] { return replies.size() == before + 1; }));
        return replies.value(before);
    };
    rig.prefs.setRelay(false);
    EXPECT_EQ(say(u1, "pelix_k1"), "off");
    rig.prefs.setRelay(true);
    EXPECT_EQ(say(u1, std::nullopt), "need");
    EXPECT_EQ(say(u1, "pelix_k1"), "have");
    EXPECT_EQ(windowKeys.read(), (WindowKeyStore::Key{u1, "pelix_k1"}));
    EXPECT_TRUE(rig.calls("forget").isEmpty());
    EXPECT_EQ(say(u1, std::nullopt), "have");

    // Another account in the window: the service forgets this device for the old one first.
    EXPECT_EQ(say(u2, "pelix_k2"), "have");
    ASSERT_EQ(rig.calls("forget").size(), 1);
    EXPECT_EQ(rig.calls("forget")[0].headers.value("authorization"), "Bearer pelix_k1");
    EXPECT_EQ(rig.calls("forget")[0].json["device"], rig.session.deviceName());
    EXPECT_EQ(windowKeys.read(), (WindowKeyStore::Key{u2, "pelix_k2"}));

    // The main token names its user; the window account of that user is dropped.
    EXPECT_EQ(say(u2, "pelix_main"), "have");
    EXPECT_EQ(windowKeys.read(), std::nullopt);
    EXPECT_EQ(say(u2, std::nullopt), "have");

    // Without an answer from the service nothing changes.
    windowKeys.write(u1, "pelix_k1");
    Api unreachable{QUrl("http://127.0.0.1:1"), rig.tokens, &rig.network, &rig.clock};
    Relay offline{RelayParts{
        .clock = rig.clock,
        .timers = rig.timers,
        .prefs = rig.prefs,
        .tokens = rig.tokens,
        .windowKeys = windowKeys,
        .api = unreachable,
        .apps = rig.apps,
        .accessibility = rig.accessibility,
        .session = rig.session,
        .typist = rig.typist,
        .clipboard = rig.clipboard,
        .banner = rig.banner,
        .show = [](const QString&) {},
    }};
    QString later;
    offline.windowAccount("33333333-3333-3333-3333-333333333333", "pelix_k3",
                          [&](const QString& reply) { later = reply; });
    ASSERT_TRUE(waitUntil([&] { return !later.isEmpty(); }));
    EXPECT_EQ(later, "later");
    EXPECT_EQ(windowKeys.read(), (WindowKeyStore::Key{u1, "pelix_k1"}));
}

TEST(RelayBanner, CountsDownAndCallsOneCallbackOnce) {
    fakes::ManualClock clock;
    fakes::ManualTimers timers(clock);
    RelayBanner banner(timers);
    QStringList calls;
    banner.show(
        "X", 3, [&] { calls << "cancel 1"; }, [&] { calls << "fire 1"; });
    banner.show(
        "Y", 2, [&] { calls << "cancel 2"; }, [&] { calls << "fire 2"; });
    EXPECT_EQ(banner.text(), "Sending to Y in 2…");
    timers.advance(1);
    EXPECT_EQ(banner.text(), "Sending to Y in 1…");
    timers.advance(1);
    EXPECT_FALSE(banner.visible());
    banner.cancel();
    timers.advance(5);
    EXPECT_EQ(calls, QStringList{"fire 2"});

    banner.show(
        "Z", 5, [&] { calls << "cancel 3"; }, [&] { calls << "fire 3"; });
    banner.cancel();
    banner.cancel();
    timers.advance(10);
    EXPECT_EQ(calls, (QStringList{"fire 2", "cancel 3"}));
    EXPECT_EQ(timers.pending(), 0);
}

}  // namespace
}  // namespace pelix
