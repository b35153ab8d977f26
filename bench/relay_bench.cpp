// The relay's own share of a delivery: from the end of the banner to Return pressed in the
// assistant, less the time the assistant takes to start and come to the front and less the
// fixed settle time. A real relay with the real desktop (GIO, AT-SPI, XTest) delivers new Claude
// chats held by the loopback backend into the tests' stand-in assistant, registered as the
// handler of claude: links in a private XDG home. Needs the test session (scripts/with-desktop)
// and the stand-in from the tests of the same build (or its path in PELIX_RELAY_TARGET).
#include "core/Clock.h"
#include "core/Paths.h"
#include "core/Prefs.h"
#include "core/Timers.h"
#include "fakes/LoopbackBackend.h"
#include "platform/Accessibility.h"
#include "platform/Apps.h"
#include "platform/Desktop.h"
#include "platform/Typist.h"
#include "relay/Relay.h"
#include "service/Api.h"
#include "service/TokenStore.h"

#include "BenchSupport.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

using namespace pelix;

QElapsedTimer since;
double now() {
    return since.nsecsElapsed() / 1e6;
}

bool spin(const std::function<bool()>& done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(500);
    }
    return true;
}

// The desktop's applications, noting when the link was handed over and when the assistant was
// first seen in front.
class TimedApps final : public platform::Apps {
public:
    explicit TimedApps(platform::Apps& real) : real_(real) {}
    std::optional<platform::FrontApp> front() const override {
        auto app = real_.front();
        if (app && app->desktopId == "pelix-relay-target.desktop" && inFront < 0) inFront = now();
        return app;
    }
    QString handlerFor(const QUrl& url) const override { return real_.handlerFor(url); }
    Status open(const QUrl& url) override {
        const double start = now();
        const Status opened = real_.open(url);
        openMs = now() - start;
        openedAt = now();
        return opened;
    }
    double openMs = -1, openedAt = -1;
    mutable double inFront = -1;

private:
    platform::Apps& real_;
};

class TimedAccessibility final : public platform::Accessibility {
public:
    explicit TimedAccessibility(platform::Accessibility& real) : real_(real) {}
    void switchOn(std::function<void()> done) override { real_.switchOn(std::move(done)); }
    void focusedElement(
        qint64 pid, std::function<void(std::optional<platform::FocusedElement>)> done) override {
        const double start = now();
        real_.focusedElement(pid, [this, start, done = std::move(done)](auto found) {
            checkMs = now() - start;
            done(found);
        });
    }
    double checkMs = -1;

private:
    platform::Accessibility& real_;
};

class TimedTypist final : public platform::Typist {
public:
    explicit TimedTypist(platform::Typist& real) : real_(real) {}
    std::optional<platform::FrontWindow> frontWindow() const override {
        return real_.frontWindow();
    }
    void type(const QString& text) override { real_.type(text); }
    void press(platform::Key key, bool control, int times) override {
        if (key == platform::Key::enter) returnAt = now();
        real_.press(key, control, times);
    }
    void pause(std::chrono::microseconds d) override { real_.pause(d); }
    double returnAt = -1;

private:
    platform::Typist& real_;
};

QString targetProgram() {
    return bench::builtProgram("PELIX_RELAY_TARGET", "tests/relay/pelix-relay-target");
}

void BM_RelayBannerEndToReturn(benchmark::State& state) {
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath("data").toUtf8());
    qputenv("XDG_CACHE_HOME", home.filePath("cache").toUtf8());
    QLocalServer reports;
    reports.listen(home.filePath("target"));
    QDir().mkpath(home.filePath("data/applications"));
    QFile entry(home.filePath("data/applications/pelix-relay-target.desktop"));
    entry.open(QIODevice::WriteOnly);
    entry.write(QString("[Desktop Entry]\nType=Application\nName=Relay target\n"
                        "Exec=%1 --report %2 --focus chat %u\n"
                        "MimeType=x-scheme-handler/claude;\n")
                    .arg(targetProgram(), reports.fullServerName())
                    .toUtf8());
    entry.close();
    QDir().mkpath(home.filePath("config"));
    QFile defaults(home.filePath("config/mimeapps.list"));
    defaults.open(QIODevice::WriteOnly);
    defaults.write("[Default Applications]\nx-scheme-handler/claude=pelix-relay-target.desktop\n");
    defaults.close();

    fakes::LoopbackBackend server;
    std::mutex mutex;
    QList<QJsonObject> held;
    server.answerWith("relay", [&](const fakes::Recorded& request) {
        std::lock_guard lock(mutex);
        if (request.json["action"] != "next" || held.isEmpty()) return fakes::Reply::json({});
        return fakes::Reply::json({{"prompt", held.takeFirst()}});
    });

    core::SystemClock clock;
    const auto desktop = platform::makeDesktop({.clock = clock, .cacheDir = home.path()});
    TimedApps apps(desktop->apps());
    TimedAccessibility accessibility(desktop->accessibility());
    TimedTypist typist(desktop->typist());
    core::QtTimers timers;
    core::Prefs prefs(home.filePath("Pelix.conf"));
    service::TokenStore tokens(core::paths::dataDir());
    tokens.write("pelix_bench");
    QNetworkAccessManager network;
    service::Api api(server.base(), tokens, &network, &clock);
    relay::RelayBanner banner(timers);
    relay::RelayTimings timings;
    timings.countdown = 1;  // not part of the figure
    relay::Relay relay(relay::RelayParts{
        .clock = clock,
        .timers = timers,
        .prefs = prefs,
        .tokens = tokens,
        .windowKeys = service::WindowKeyStore(core::paths::dataDir()),
        .api = api,
        .apps = apps,
        .accessibility = accessibility,
        .session = desktop->session(),
        .typist = typist,
        .clipboard = desktop->clipboard(),
        .banner = banner,
        .show = [](const QString&) {},
        .timings = timings,
    });
    double bannerEnd = -1;
    QObject::connect(&banner, &relay::RelayBanner::changed, [&] {
        if (!banner.visible()) bannerEnd = now();
    });
    int finished = 0;
    QString result;
    QObject::connect(&relay, &relay::Relay::finished, [&](const QString&, const QString& r) {
        ++finished;
        result = r;
    });

    std::vector<double> own, check, open, appStart;
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            std::lock_guard lock(mutex);
            held << QJsonObject{{"id", QString::number(++round)}, {"prompt", "Plan my week"}};
        }
        apps.inFront = -1;
        typist.returnAt = bannerEnd = -1;
        const int before = finished;
        relay.started() ? relay.poll() : relay.start();
        state.ResumeTiming();
        if (!spin([&] { return finished > before; }, 30000) || result != "sent") {
            state.SkipWithError("the prompt was not delivered");
            return;
        }
        const double total = typist.returnAt - bannerEnd;
        state.SetIterationTime(total / 1000.0);
        const double waits = timings.settleClaudeLink * 1000 + timings.afterLink * 1000;
        appStart.push_back(apps.inFront - apps.openedAt);
        own.push_back(total - waits - appStart.back());
        check.push_back(accessibility.checkMs);
        open.push_back(apps.openMs);
        // The stand-in ends when its report socket closes.
        for (QLocalSocket* socket : reports.findChildren<QLocalSocket*>()) socket->abort();
        spin([] { return false; }, 300);
    }
    using bench::median;
    state.counters["own_ms"] = median(own);
    state.counters["own_max_ms"] = own.empty() ? -1 : *std::max_element(own.begin(), own.end());
    state.counters["focus_check_ms"] = median(check);
    state.counters["open_call_ms"] = median(open);
    state.counters["app_to_front_ms"] = median(appStart);
}
BENCHMARK(BM_RelayBannerEndToReturn)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    since.start();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
