#include "platform/linux/PortalKeySource.h"

#include "core/Log.h"
#include "core/Sentences.h"
#include "platform/linux/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>

namespace pelix::platform {
namespace {

constexpr auto kShortcuts = "org.freedesktop.portal.GlobalShortcuts";

// A shortcut as the portal takes it: its id and its description and default trigger.
struct Shortcut {
    QString id;
    QVariantMap properties;
};

const QDBusArgument& operator>>(const QDBusArgument& in, Shortcut& shortcut) {
    in.beginStructure();
    in >> shortcut.id >> shortcut.properties;
    in.endStructure();
    return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const Shortcut& shortcut) {
    out.beginStructure();
    out << shortcut.id << shortcut.properties;
    out.endStructure();
    return out;
}

}  // namespace
}  // namespace pelix::platform

Q_DECLARE_METATYPE(pelix::platform::Shortcut)

namespace pelix::platform {
namespace {

// The gesture each shortcut stands for: the modifier it holds down.
struct Gesture {
    const char* id;
    int mod;
    const char* description;
    const char* trigger;
};
constexpr Gesture kGestures[] = {
    {"braindump", Mods::kAlt, core::sentences::kBraindumpShortcut, "CTRL+ALT+B"},
    {"dictate", Mods::kControl, core::sentences::kDictateShortcut, "CTRL+ALT+D"},
};

QVariant shortcuts() {
    QList<Shortcut> list;
    for (const Gesture& gesture : kGestures) {
        list.append({gesture.id,
                     {{"description", QString(gesture.description)},
                      {"preferred_trigger", QString(gesture.trigger)}}});
    }
    return QVariant::fromValue(list);
}

}  // namespace

PortalKeySource::PortalKeySource(QDBusConnection bus, const core::Clock& clock)
    : bus_(std::move(bus)), clock_(clock) {
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
}

PortalKeySource::~PortalKeySource() {
    closePortalSession(bus_, session_);
}

bool PortalKeySource::offered(const QDBusConnection& bus) {
    return portalVersion(bus, kShortcuts).has_value();
}

void PortalKeySource::request(const QString& method, QVariantList args, QVariantMap options,
                              std::function<void(uint, const QVariantMap&)> then) {
    portalRequest(bus_, this, kShortcuts, method, std::move(args), std::move(options),
                  std::move(then), [](const QString& error) {
                      core::logLine("keys", "the shortcuts portal failed: " + error);
                  });
}

Status PortalKeySource::start(Handlers handlers) {
    if (!offered(bus_)) return fail(1, core::sentences::kNoShortcutsPortal);
    handlers_ = std::move(handlers);
    for (const char* signal : {"Activated", "Deactivated"}) {
        bus_.connect(QString(), kPortalPath, kShortcuts, signal, this,
                     SLOT(signalled(QDBusMessage)));
    }
    // KDE 5.27 binds only the shortcuts given here; later portals bind them on BindShortcuts.
    request(
        "CreateSession", {}, {{"session_handle_token", "pelix_keys"}, {"shortcuts", shortcuts()}},
        [this](uint code, const QVariantMap& results) {
            if (code != 0) return core::logLine("keys", "the shortcuts portal refused");
            session_ = results.value("session_handle").toString();
            const QDBusObjectPath session(session_);
            request("ListShortcuts", {QVariant::fromValue(session)}, {},
                    [this, session](uint code, const QVariantMap& results) {
                        if (code == 0 && results.contains("shortcuts")) {
                            QList<Shortcut> listed;
                            results.value("shortcuts").value<QDBusArgument>() >> listed;
                            if (listed.size() >= qsizetype(std::size(kGestures))) {
                                return bound(results);
                            }
                        }
                        request(
                            "BindShortcuts", {QVariant::fromValue(session), shortcuts(), QString()},
                            {}, [this](uint code, const QVariantMap& results) {
                                if (code != 0) {
                                    return core::logLine("keys", "the shortcuts were not bound");
                                }
                                bound(results);
                            });
                    });
        });
    return {};
}

void PortalKeySource::bound(const QVariantMap&) {
    listening_ = true;
    core::logLine("keys", "through the shortcuts portal");
}

void PortalKeySource::signalled(const QDBusMessage& message) {
    const QVariantList args = message.arguments();
    if (args.size() < 2) return;
    changed(args[0].value<QDBusObjectPath>().path(), args[1].toString(),
            message.member() == QLatin1String("Activated"));
}

void PortalKeySource::changed(const QString& session, const QString& id, bool down) {
    if (session != session_) return;
    for (const Gesture& gesture : kGestures) {
        if (id != QLatin1String(gesture.id)) continue;
        const Mods now{down ? held_.bits | gesture.mod : held_.bits & ~gesture.mod};
        // A held shortcut repeats its activation as a held key repeats (KDE): only a change is
        // the modifier going down or up.
        if (now == held_) return;
        held_ = now;
        if (handlers_.modifiersChanged) handlers_.modifiersChanged(held_, clock_.uptime());
    }
}

}  // namespace pelix::platform
