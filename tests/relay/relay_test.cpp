// The relay's delivery with the desktop faked, a manual clock, and the loopback backend holding
// the prompts.
#include "relay/Relay.h"
#include "fakes/BackendRig.h"
#include "fakes/DesktopFakes.h"
#include "fakes/HostileServer.h"
#include "fakes/TextFakes.h"
#include "relay/RelayAccounts.h"

#include <mutex>

namespace pelix::relay {
namespace {

using testing::waitUntil;

const platform::FrontApp kBrowser{"firefox-esr", 77, "firefox-esr.desktop"};
const platform::FrontApp kTerminal{"XTerm", 9, ""};

// One relay with everything it works with; the backend hands out the prompts held for each key.
struct Rig : fakes::BackendRig {
    Rig() : BackendRig("pelix_main") {
        backend.answerWith("relay", [this](const fakes::Recorded& request) {
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

    void hold(const QJsonObject& prompt, const QString& key = "pelix_main") {
        std::lock_guard lock(mutex);
        waiting.append({key, prompt});
    }
    QList<fakes::Recorded> calls(const QString& action) const {
        QList<fakes::Recorded> found;
        std::ranges::copy_if(backend.requests("relay"), std::back_inserter(found),
                             [&](const auto& request) { return request.json["action"] == action; });
        return found;
    }
    QStringList done() const {
        QStringList reports;
        for (const QJsonObject& body : sent("relay", "done")) {
            reports << body["id"].toString() + " " + body["result"].toString();
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
    RelayParts parts(service::Api& through) {
        return RelayParts{
            .clock = clock,
            .timers = timers,
            .prefs = prefs,
            .tokens = tokens,
            .windowKeys = service::WindowKeyStore(home.dataDir()),
            .api = through,
            .apps = apps,
            .accessibility = accessibility,
            .session = session,
            .typist = typist,
            .clipboard = clipboard,
            .banner = banner,
            .show = [this](const QString& line) { lines << line; },
        };
    }

    fakes::ManualTimers timers{clock};
    fakes::FakeApps apps;
    fakes::FakeAccessibility accessibility;
    fakes::FakeSession session;
    fakes::FakeTypist typist;
    fakes::FakeClipboard clipboard;
    RelayBanner banner{timers};
    QStringList lines;
    Relay relay{parts(api)};
    QStringList results;
    std::mutex mutex;
    QList<std::pair<QString, QJsonObject>> waiting;
};

QJsonObject conversation(const QString& id, const QString& text = " Where were we?\n") {
    return {
        {"id", id}, {"target", "claude"}, {"prompt", text}, {"link", "https://chatgpt.com/c/abc"}};
}

TEST(Relay, EveryPathReportsDoneOnceAndSaysWhatHappened) {
    const QString notTyped = "Could not type into the conversation. It is still on your phone.";
    // Another window comes forward when the relay presses `key`, or when it asks where the focus
    // is (empty `key`).
    const auto cameForward = [](QString key) {
        return [=](Rig& r) {
            const auto forward = [&r] { r.apps.inFront = kTerminal; };
            if (key.isEmpty()) {
                r.accessibility.asking = forward;
            } else {
                r.typist.pressed = [=](const QString& pressed) {
                    if (pressed == key) forward();
                };
            }
        };
    };
    struct Case {
        const char* what;
        // Seconds after the open at which the browser comes to the front; none: never.
        std::optional<double> frontAt;
        QString result;  // "sent" pastes and presses Return
        QString line;
        std::function<void(Rig&)> arrange = {};
        // The keys pressed, when not those of the result.
        std::optional<QStringList> keys = {};
    } cases[] = {
        {"cancelled", 0.0, "cancelled", {}, [](Rig& r) { r.banner.cancel(); }},
        {"locked during the countdown", 0.0, "failed", {}, [](Rig& r) { r.session.locked = true; }},
        {"can't open", 0.0, "failed", "Could not open the conversation.",
         [](Rig& r) { r.apps.refuse = Error::pelix(1, "no handler"); }},
        {"never in front", std::nullopt, "failed",
         "the conversation did not open in time. It is still on your phone."},
        {"in front after 9.9 s", 9.9, "sent", "Sent to the conversation."},
        // "sent" only for keys handed to the window checked.
        {"another window before the paste", 0.0, "failed", notTyped, cameForward({})},
        {"another window by Return", 0.0, "failed", notTyped, cameForward("enter"),
         QStringList{"ctrl+v", "enter"}},
        {"keys not delivered", 0.0, "failed", notTyped, [](Rig& r) { r.typist.losing = true; },
         QStringList{"ctrl+v"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Rig rig;
        rig.clipboard.held = QList<std::pair<QString, QByteArray>>{{"image/png", "png"}};
        const auto before = rig.clipboard.held;
        rig.hold(conversation("x"));
        rig.relay.start();
        ASSERT_TRUE(waitUntil([&] { return rig.banner.visible(); }));
        if (c.arrange) c.arrange(rig);
        rig.timers.advance(5);
        const double opened = rig.clock.uptime();
        if (c.frontAt) {
            rig.timers.advanceTo(opened + *c.frontAt);
            rig.apps.inFront = kBrowser;
        }
        rig.run(16);
        ASSERT_TRUE(waitUntil([&] { return !rig.results.isEmpty(); }));
        rig.run(1);
        EXPECT_EQ(rig.results + rig.done(), QStringList(2, "x " + c.result));
        EXPECT_EQ(rig.lines.join(""), c.line);
        if (c.keys) {
            EXPECT_EQ(rig.typist.log, *c.keys);
        } else if (c.result != "sent") {
            EXPECT_TRUE(rig.typist.log.isEmpty() && rig.clipboard.set.isEmpty());
        } else {
            // The untrimmed text was pasted, and the clipboard given back.
            EXPECT_EQ(rig.typist.log, (QStringList{"ctrl+v", "enter"}));
            EXPECT_EQ(rig.clipboard.set, QStringList{" Where were we?\n"});
            EXPECT_TRUE(waitUntil([&] { return rig.clipboard.held == before; }, 2000));
        }
    }
}

TEST(Relay, TheWindowAccountIsKeptAndTheOldOneForgotten) {
    Rig rig;
    const QString u1 = "11111111-1111-1111-1111-111111111111";
    const QString u2 = "22222222-2222-2222-2222-222222222222";
    const service::WindowKeyStore windowKeys(rig.home.dataDir());
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
    EXPECT_EQ(windowKeys.read(), (service::WindowKeyStore::Key{u1, "pelix_k1"}));
    EXPECT_TRUE(rig.calls("forget").isEmpty());

    // Another account in the window: the service forgets this device for the old one first.
    EXPECT_EQ(say(u2, "pelix_k2"), "have");
    ASSERT_EQ(rig.calls("forget").size(), 1);
    EXPECT_EQ(rig.calls("forget")[0].headers.value("authorization"), "Bearer pelix_k1");
    EXPECT_EQ(rig.calls("forget")[0].json["device"], rig.session.deviceName());
    EXPECT_EQ(windowKeys.read(), (service::WindowKeyStore::Key{u2, "pelix_k2"}));

    // A proxy's page in the backend's place is no answer; a gateway's refusal of the old key
    // settles it.
    const QString u4 = "44444444-4444-4444-4444-444444444444";
    const std::pair<fakes::HostileServer::Script, const char*> answers[] = {
        {fakes::HostileServer::badGatewayPage(), "later"},
        {fakes::HostileServer::invalidJwt(), "have"}};
    for (const auto& [script, said] : answers) {
        SCOPED_TRACE(said);
        windowKeys.write(u1, "pelix_k1");
        fakes::HostileServer server(script);
        service::Api hostile{server.base(), rig.tokens, &rig.network, &rig.clock};
        Relay relay{rig.parts(hostile)};
        QString replied;
        relay.windowAccount(u4, "pelix_k4", [&](const QString& reply) { replied = reply; });
        ASSERT_TRUE(waitUntil([&] { return !replied.isEmpty(); }));
        EXPECT_EQ(replied, said);
        EXPECT_EQ(windowKeys.read()->user, QString(said) == "have" ? u4 : u1);
    }
}

}  // namespace
}  // namespace pelix::relay
