#include "relay/Relay.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/Sentences.h"
#include "dictation/Insert.h"
#include "relay/RelayAccounts.h"

#include <QJsonValue>
#include <QPointer>

namespace pelix::relay {

RelayTimings RelayTimings::quick() {
    RelayTimings timings;
    timings.countdown = 1;
    timings.frontLimit = 3.0;
    timings.settleBrowser = timings.settleClaudePaste = timings.settleClaudeLink = 0.3;
    return timings;
}

struct Relay::Delivery {
    RelayPrompt prompt;
    QString key;
    RelayPlan plan;
    QString claudeHandler;
    QStringList expected;
    double deadline = 0;
    platform::FrontApp front;
    // The typist's count of keys it could not hand over, when the keys began.
    quint64 undelivered = 0;
    bool reported = false;
};

Relay::Relay(RelayParts parts, QObject* parent) : QObject(parent), parts_(std::move(parts)) {
    QPointer<Relay> self(this);
    parts_.session.onWake([self] {
        if (!self || !self->started_) return;
        core::logLine("relay", QStringLiteral("the machine woke"));
        self->wakeTimer_ = self->later(self->parts_.timings.afterWake, &Relay::poll);
    });
}

Relay::~Relay() = default;

std::unique_ptr<core::PendingTimer> Relay::later(double seconds, void (Relay::*step)()) {
    QPointer<Relay> self(this);
    return parts_.timers.after(seconds, [self, step] {
        if (self) (self.data()->*step)();
    });
}

void Relay::start() {
    if (started_) return;
    started_ = true;
    core::logLine("relay", QStringLiteral("started"));
    arm();
    poll();
}

void Relay::arm() {
    pollTimer_ = parts_.timers.after(parts_.timings.poll, [self = QPointer<Relay>(this)] {
        if (!self) return;
        self->arm();
        self->poll();
    });
}

void Relay::stop() {
    if (!started_) return;
    started_ = false;
    pollTimer_.reset();
    wakeTimer_.reset();
    nextTimer_.reset();
    core::logLine("relay", QStringLiteral("stopped"));
    if (delivery_ && parts_.banner.visible()) parts_.banner.cancel();
}

void Relay::learnedUser(const QString& token, const QString& user) {
    mainWho_ = std::pair(token, user);
}

void Relay::windowAccount(const QString& user, const std::optional<QString>& token,
                          std::function<void(QString)> reply) {
    const std::optional<QString> main = parts_.tokens.read();
    std::optional<QString> mainUser;
    if (main && mainWho_ && mainWho_->first == *main) mainUser = mainWho_->second;
    const std::optional<service::WindowKeyStore::Key> window = parts_.windowKeys.read();
    const RelayAccounts::WindowAccountStep step =
        RelayAccounts::windowAccount(parts_.prefs.relay(), user, token, main, mainUser, window);
    if (step.learnMain) learnedUser(*token, user);
    if (step.clear) parts_.windowKeys.clear();
    if (!step.store) {
        reply(step.reply);
        return;
    }
    auto keep = [self = QPointer<Relay>(this), user, key = *token, reply, answer = step.reply] {
        if (!self) return;
        self->parts_.windowKeys.write(user, key);
        core::logLine("relay", QStringLiteral("the web window's account is served too"));
        reply(answer);
        if (self->started_) self->poll();
    };
    if (!step.forgetOld) {
        keep();
        return;
    }
    const QJsonObject body{{"action", "forget"}, {"device", parts_.session.deviceName()}};
    parts_.api.post(kFunction, core::json::compact(body), window->token, parts_.timings.request,
                    [keep, reply](const service::RawAnswer& answer) {
                        // An answer settles it, and so does a refused old key (it serves nothing
                        // anyway); no answer, or one that did not come from the backend (a proxy's
                        // 502 page), leaves everything as it was.
                        const Result<QJsonObject> taken =
                            service::Api::readFor(answer, service::Needs::nothing());
                        const bool keyRefused = answer.noToken || answer.notAKey ||
                                                answer.status == 401 || answer.status == 403;
                        if (answer.transport || (!taken && !keyRefused)) {
                            core::logLine("relay", "forgetting the old window account failed: " +
                                                       service::Api::describe(
                                                           answer.transport ? *answer.transport
                                                                            : taken.error()));
                            reply(QStringLiteral("later"));
                            return;
                        }
                        keep();
                    });
}

void Relay::poll() {
    if (!parts_.prefs.relay() || busy_ || parts_.session.screenLocked()) return;
    const std::optional<QString> main = parts_.tokens.read();
    std::optional<QString> mainUser;
    if (main && mainWho_ && mainWho_->first == *main) mainUser = mainWho_->second;
    const QStringList keys = RelayAccounts::keys(main, mainUser, parts_.windowKeys.read());
    if (keys.isEmpty()) return;
    busy_ = true;
    ask(keys, 0);
}

void Relay::ask(QStringList keys, int index) {
    if (index >= keys.size()) {
        busy_ = false;
        return;
    }
    const QString key = keys[index];
    const QJsonObject body{{"action", "next"}, {"device", parts_.session.deviceName()}};
    parts_.api.call(
        kFunction, body, key, parts_.timings.request,
        [self = QPointer<Relay>(this), keys = std::move(keys), index](Result<QJsonObject> answer) {
            if (!self) return;
            if (!answer) {
                core::logLine("relay", "asking failed: " + answer.error().message);
            } else if (const QJsonValue prompt = answer->value("prompt"); prompt.isObject()) {
                if (auto found = RelayPrompt::fromJson(prompt.toObject())) {
                    self->handle(*found, keys[index]);
                    return;
                }
            }
            self->ask(keys, index + 1);
        });
}

void Relay::handle(const RelayPrompt& prompt, const QString& key) {
    delivery_ = std::make_unique<Delivery>();
    delivery_->prompt = prompt;
    delivery_->key = key;
    delivery_->claudeHandler = parts_.apps.handlerFor(parts_.places.claudeAppNewChat());
    const std::optional<RelayPlan> plan =
        RelayPlanner::plan(prompt, !delivery_->claudeHandler.isEmpty(), parts_.places);
    if (!plan) {
        core::logLine("relay", prompt.id + QStringLiteral(": nothing here can deliver it"));
        report(QStringLiteral("failed"));
        return;
    }
    delivery_->plan = *plan;
    core::logLine("relay", prompt.id + QStringLiteral(": counting down for ") + plan->label);
    QPointer<Relay> self(this);
    parts_.banner.show(
        plan->label, parts_.timings.countdown,
        [self] {
            if (self) self->report(QStringLiteral("cancelled"));
        },
        [self] {
            if (self) self->deliver();
        });
}

void Relay::deliver() {
    Delivery& d = *delivery_;
    if (parts_.session.screenLocked()) {
        core::logLine("relay", d.prompt.id + QStringLiteral(": the screen is locked"));
        report(QStringLiteral("failed"));
        return;
    }
    // Applications started from here on expose their interface for the focus check.
    parts_.accessibility.switchOn([self = QPointer<Relay>(this)] {
        if (self && self->delivery_) self->open();
    });
}

void Relay::open() {
    Delivery& d = *delivery_;
    if (const Status opened = parts_.apps.open(d.plan.url); !opened) {
        core::logLine("relay", d.prompt.id + QStringLiteral(": ") + opened.error().message);
        fail(core::sentences::couldNotOpen(d.plan.label));
        return;
    }
    if (d.plan.app == RelayApp::claude) {
        d.expected = parts_.places.claudeApps;
        if (!d.claudeHandler.isEmpty()) d.expected.append(d.claudeHandler);
    } else {
        d.expected = parts_.places.chatGptApps;
        if (const QString browser = parts_.apps.handlerFor(parts_.places.chatGptAddress);
            !browser.isEmpty()) {
            d.expected.append(browser);
        }
    }
    d.deadline = parts_.clock.uptime() + parts_.timings.frontLimit;
    stepTimer_ = later(parts_.timings.frontCheck, &Relay::lookForFront);
}

void Relay::lookForFront() {
    Delivery& d = *delivery_;
    if (const std::optional<platform::FrontApp> front = parts_.apps.front();
        front && isOneOf(*front, d.expected)) {
        d.front = *front;
        const RelayTimings& t = parts_.timings;
        const double settle = d.plan.app == RelayApp::browser ? t.settleBrowser
                              : d.plan.paste                  ? t.settleClaudePaste
                                                              : t.settleClaudeLink;
        stepTimer_ = parts_.timers.after(settle, [self = QPointer<Relay>(this)] {
            if (!self) return;
            const qint64 pid = self->delivery_->front.pid;
            if (pid <= 0) {
                self->focusFound(std::nullopt);
                return;
            }
            self->parts_.accessibility.focusedElement(
                pid, [self](std::optional<platform::FocusedElement> focused) {
                    if (self && self->delivery_) self->focusFound(focused);
                });
        });
        return;
    }
    if (parts_.clock.uptime() >= d.deadline) {
        fail(core::sentences::didNotOpenInTime(d.plan.label));
        return;
    }
    stepTimer_ = later(parts_.timings.frontCheck, &Relay::lookForFront);
}

void Relay::focusFound(const std::optional<platform::FocusedElement>& focused) {
    Delivery& d = *delivery_;
    if (!safeToType(focused)) {
        fail(core::sentences::nowhereToType(d.plan.label));
        return;
    }
    d.undelivered = parts_.typist.undelivered();
    if (!stillDelivering()) return;
    if (d.plan.paste) {
        dictation::Insert::paste(parts_.typist, parts_.clipboard, d.prompt.prompt);
        stepTimer_ = later(parts_.timings.afterPaste, &Relay::pressReturn);
    } else {
        stepTimer_ = later(parts_.timings.afterLink, &Relay::pressReturn);
    }
}

void Relay::pressReturn() {
    if (!stillDelivering()) return;
    dictation::Insert::tap(parts_.typist, platform::Key::enter);
    if (!stillDelivering()) return;
    parts_.show(core::sentences::sentTo(delivery_->plan.label));
    report(QStringLiteral("sent"));
}

bool Relay::stillDelivering() {
    const Delivery& d = *delivery_;
    const std::optional<platform::FrontApp> front = parts_.apps.front();
    const bool handed = parts_.typist.undelivered() == d.undelivered;
    if (handed && front == d.front) return true;
    core::logLine("relay",
                  d.prompt.id + (handed ? QStringLiteral(": another window came forward")
                                        : QStringLiteral(": the keys were not delivered")));
    fail(core::sentences::couldNotType(d.plan.label));
    return false;
}

void Relay::fail(const QString& line) {
    parts_.show(line);
    report(QStringLiteral("failed"));
}

void Relay::report(const QString& result) {
    if (!delivery_ || delivery_->reported) return;
    delivery_->reported = true;
    stepTimer_.reset();
    const QString id = delivery_->prompt.id;
    core::logLine("relay", id + QStringLiteral(": ") + result);
    const QJsonObject body{{"action", "done"}, {"id", id}, {"result", result}};
    parts_.api.call(kFunction, body, delivery_->key, parts_.timings.request,
                    [self = QPointer<Relay>(this), id, result](const Result<QJsonObject>&) {
                        if (self) self->finish(id, result);
                    });
}

void Relay::finish(const QString& id, const QString& result) {
    busy_ = false;
    delivery_.reset();
    // Several prompts waiting on the phone go one after another.
    if (result == QStringLiteral("sent") && started_) {
        nextTimer_ = later(parts_.timings.afterSent, &Relay::poll);
    }
    Q_EMIT finished(id, result);
}

RelayPlaces Relay::placesFrom(const core::Prefs& prefs) {
    RelayPlaces places;
    if (const auto apps = prefs.string(QStringLiteral("relay.claudeApps"))) {
        places.claudeApps = apps->split(u',', Qt::SkipEmptyParts);
    }
    if (const auto apps = prefs.string(QStringLiteral("relay.chatgptApps"))) {
        places.chatGptApps = apps->split(u',', Qt::SkipEmptyParts);
    }
    return places;
}

bool Relay::safeToType(const std::optional<platform::FocusedElement>& focused) {
    using platform::ElementRole;
    if (!focused) return true;
    switch (focused->role) {
        case ElementRole::button:
        case ElementRole::link:
        case ElementRole::menuItem:
        case ElementRole::checkBox:
        case ElementRole::radioButton:
        case ElementRole::pageTab:
        case ElementRole::toggleButton:
            return false;
        case ElementRole::textField:
        case ElementRole::comboBox: {
            QStringList present;
            for (const QString* text : {&focused->description, &focused->name,
                                        &focused->placeholder, &focused->identifier}) {
                if (!text->isEmpty()) present.append(text->toLower());
            }
            const QString joined = present.join(u' ');
            return !joined.contains(QStringLiteral("address")) &&
                   !joined.contains(QStringLiteral("search")) &&
                   !joined.contains(QStringLiteral("url"));
        }
        case ElementRole::other:
            return true;
    }
    return true;
}

bool Relay::isOneOf(const platform::FrontApp& front, const QStringList& identities) {
    auto plain = [](QString name) {
        name = name.trimmed();
        if (name.endsWith(QStringLiteral(".desktop"), Qt::CaseInsensitive)) name.chop(8);
        return name.toLower();
    };
    const QString entry = plain(front.desktopId);
    const QString windowClass = front.windowClass.toLower();
    for (const QString& identity : identities) {
        const QString name = plain(identity);
        if (!name.isEmpty() && (name == entry || name == windowClass)) return true;
    }
    return false;
}

}  // namespace pelix::relay
