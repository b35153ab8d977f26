#include "platform/linux/AtspiAccessibility.h"

#include "core/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QTimer>

#include <deque>
#include <memory>

// GLib's headers use names Qt defines as keywords unless QT_NO_KEYWORDS is set; it is.
#include <atspi/atspi.h>

namespace pelix::platform {
namespace {

constexpr auto kBus = "org.a11y.Bus";
constexpr auto kBusPath = "/org/a11y/bus";
constexpr auto kStatus = "org.a11y.Status";
constexpr auto kProperties = "org.freedesktop.DBus.Properties";

// Looks for the application this many times, this far apart.
constexpr int kLooks = 6;
constexpr int kLookGapMs = 200;
// Elements looked at, at most, when walking an application without the Collection interface,
// and the time the walk may take (an application that has stopped answering costs a call limit
// per question).
constexpr int kMostWalked = 4000;
constexpr int kWalkLimitMs = 3000;
// Each call to an application may take this long (milliseconds); one that is just starting up
// gets the second figure.
constexpr int kCallLimitMs = 1000;
constexpr int kStartupLimitMs = 3000;

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Ref = std::unique_ptr<AtspiAccessible, Unref>;
using StateRef = std::unique_ptr<AtspiStateSet, Unref>;

QString take(gchar* text) {
    QString value = QString::fromUtf8(text ? text : "");
    g_free(text);
    return value;
}

ElementRole roleOf(AtspiRole role, bool multiLine) {
    switch (role) {
        case ATSPI_ROLE_PUSH_BUTTON:
        case ATSPI_ROLE_PUSH_BUTTON_MENU:
            return ElementRole::button;
        case ATSPI_ROLE_LINK:
            return ElementRole::link;
        case ATSPI_ROLE_MENU:
        case ATSPI_ROLE_MENU_ITEM:
        case ATSPI_ROLE_CHECK_MENU_ITEM:
        case ATSPI_ROLE_RADIO_MENU_ITEM:
        case ATSPI_ROLE_TEAROFF_MENU_ITEM:
            return ElementRole::menuItem;
        case ATSPI_ROLE_CHECK_BOX:
            return ElementRole::checkBox;
        case ATSPI_ROLE_RADIO_BUTTON:
            return ElementRole::radioButton;
        case ATSPI_ROLE_PAGE_TAB:
            return ElementRole::pageTab;
        case ATSPI_ROLE_TOGGLE_BUTTON:
            return ElementRole::toggleButton;
        case ATSPI_ROLE_COMBO_BOX:
            return ElementRole::comboBox;
        // Qt's one-line fields are plain text, told from text areas only by the multi-line state.
        case ATSPI_ROLE_ENTRY:
        case ATSPI_ROLE_TEXT:
        case ATSPI_ROLE_PASSWORD_TEXT:
        case ATSPI_ROLE_EDITBAR:
            return multiLine ? ElementRole::other : ElementRole::textField;
        default:
            return ElementRole::other;
    }
}

FocusedElement describe(AtspiAccessible* element) {
    GError* error = nullptr;
    const AtspiRole role = atspi_accessible_get_role(element, &error);
    g_clear_error(&error);
    const StateRef states(atspi_accessible_get_state_set(element));
    FocusedElement focused;
    focused.role =
        roleOf(role, states && atspi_state_set_contains(states.get(), ATSPI_STATE_MULTI_LINE));
    focused.name = take(atspi_accessible_get_name(element, &error));
    g_clear_error(&error);
    focused.description = take(atspi_accessible_get_description(element, &error));
    g_clear_error(&error);
    if (GHashTable* attributes = atspi_accessible_get_attributes(element, &error)) {
        auto value = [attributes](const char* key) {
            return QString::fromUtf8(
                static_cast<const char*>(g_hash_table_lookup(attributes, key)));
        };
        focused.placeholder = value("placeholder-text");
        focused.identifier = value("id");
        g_hash_table_unref(attributes);
    }
    g_clear_error(&error);
    return focused;
}

bool has(AtspiAccessible* element, AtspiStateType state) {
    const StateRef states(atspi_accessible_get_state_set(element));
    return states && atspi_state_set_contains(states.get(), state);
}

// The focused element below `application` through its Collection interface; none when it has
// no such interface or no element has the focus.
Ref focusedByCollection(AtspiAccessible* application) {
    AtspiCollection* collection = atspi_accessible_get_collection_iface(application);
    if (!collection) return nullptr;
    GArray* wanted = g_array_new(FALSE, FALSE, sizeof(AtspiStateType));
    const AtspiStateType focusedState = ATSPI_STATE_FOCUSED;
    g_array_append_val(wanted, focusedState);
    AtspiStateSet* states = atspi_state_set_new(wanted);
    g_array_free(wanted, TRUE);
    // Empty attribute, role and interface lists match every element.
    GHashTable* attributes = g_hash_table_new(g_str_hash, g_str_equal);
    GArray* roles = g_array_new(FALSE, FALSE, sizeof(AtspiRole));
    GArray* interfaces = g_array_new(FALSE, FALSE, sizeof(gchar*));
    AtspiMatchRule* rule = atspi_match_rule_new(
        states, ATSPI_Collection_MATCH_ALL, attributes, ATSPI_Collection_MATCH_ALL, roles,
        ATSPI_Collection_MATCH_ALL, interfaces, ATSPI_Collection_MATCH_ALL, FALSE);
    g_hash_table_unref(attributes);
    g_array_unref(roles);
    g_array_unref(interfaces);
    GError* error = nullptr;
    GArray* matches = atspi_collection_get_matches(
        collection, rule, ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, &error);
    Ref found;
    if (matches) {
        if (matches->len > 0) found.reset(g_array_index(matches, AtspiAccessible*, 0));
        for (guint i = 1; i < matches->len; ++i)
            g_object_unref(g_array_index(matches, gpointer, i));
        g_array_free(matches, TRUE);
    }
    g_clear_error(&error);
    g_object_unref(rule);
    g_object_unref(states);
    g_object_unref(collection);
    return found;
}

// The focused element below `application`, looked for breadth first through what is showing,
// the active window first.
Ref focusedByWalking(AtspiAccessible* application) {
    std::deque<Ref> queue;
    GError* error = nullptr;
    const int windows = atspi_accessible_get_child_count(application, &error);
    g_clear_error(&error);
    for (int i = 0; i < windows; ++i) {
        Ref window(atspi_accessible_get_child_at_index(application, i, &error));
        g_clear_error(&error);
        if (!window) continue;
        if (has(window.get(), ATSPI_STATE_ACTIVE)) {
            queue.push_front(std::move(window));
        } else {
            queue.push_back(std::move(window));
        }
    }
    const QDeadlineTimer deadline(kWalkLimitMs);
    for (int walked = 0; !queue.empty() && walked < kMostWalked && !deadline.hasExpired();
         ++walked) {
        Ref element = std::move(queue.front());
        queue.pop_front();
        const StateRef states(atspi_accessible_get_state_set(element.get()));
        if (!states) continue;
        if (atspi_state_set_contains(states.get(), ATSPI_STATE_FOCUSED)) return element;
        if (!atspi_state_set_contains(states.get(), ATSPI_STATE_SHOWING) ||
            atspi_state_set_contains(states.get(), ATSPI_STATE_MANAGES_DESCENDANTS)) {
            continue;
        }
        const int children = atspi_accessible_get_child_count(element.get(), &error);
        g_clear_error(&error);
        for (int i = 0; i < children; ++i) {
            Ref child(atspi_accessible_get_child_at_index(element.get(), i, &error));
            g_clear_error(&error);
            if (child) queue.push_back(std::move(child));
        }
    }
    return nullptr;
}

}  // namespace

// Owns every use of libatspi, on its own thread.
class AtspiAccessibility::Worker : public QObject {
public:
    using Done = std::function<void(std::optional<FocusedElement>)>;

    ~Worker() override {
        if (listener_) {
            for (const char* event : kFocusEvents) {
                atspi_event_listener_deregister(listener_, event, nullptr);
            }
            g_object_unref(listener_);
        }
        if (started_) atspi_exit();
    }

    // From now on, each focus event names the application in front in `focus`.
    void followFocus(std::shared_ptr<Focus> focus) {
        if (listener_ || !start()) return;
        focus_ = std::move(focus);
        listener_ = atspi_event_listener_new(&Worker::focused, this, nullptr);
        for (const char* event : kFocusEvents) {
            GError* error = nullptr;
            if (!atspi_event_listener_register(listener_, event, &error)) {
                core::logLine("accessibility", QStringLiteral("can't follow the focus: ") +
                                                   QString::fromUtf8(error ? error->message : ""));
            }
            g_clear_error(&error);
        }
        if (const std::optional<FrontWindow> active = activeApplication()) {
            const QMutexLocker lock(&focus_->mutex);
            if (!focus_->application) focus_->application = active;
        }
    }

    void lookUp(qint64 pid, int look, Done done) {
        if (!start()) {
            done(std::nullopt);
            return;
        }
        if (const Ref application = applicationOf(pid)) {
            Ref focused = focusedByCollection(application.get());
            if (!focused) focused = focusedByWalking(application.get());
            done(focused ? std::optional(describe(focused.get())) : std::nullopt);
            return;
        }
        if (look + 1 >= kLooks) {
            core::logLine("accessibility", QStringLiteral("process %1 is not on the bus").arg(pid));
            done(std::nullopt);
            return;
        }
        // The bus answers between looks.
        QTimer::singleShot(kLookGapMs, this, [this, pid, look, done = std::move(done)]() mutable {
            lookUp(pid, look + 1, std::move(done));
        });
    }

private:
    // An element taking the focus, and a window becoming active (GTK 4 says only that).
    static constexpr const char* kFocusEvents[] = {"object:state-changed:focused",
                                                   "window:activate"};

    static void focused(AtspiEvent* event, void* self) {
        const std::unique_ptr<AtspiEvent, void (*)(AtspiEvent*)> owned(
            event, [](AtspiEvent* gone) { g_boxed_free(atspi_event_get_type(), gone); });
        // Losing the focus says nothing of who has it.
        if (!event->source ||
            (g_str_has_prefix(event->type, "object:state-changed") && event->detail1 == 0)) {
            return;
        }
        GError* error = nullptr;
        const Ref application(atspi_accessible_get_application(event->source, &error));
        g_clear_error(&error);
        if (!application) return;
        Focus& focus = *static_cast<Worker*>(self)->focus_;
        const FrontWindow front = named(application.get());
        const QMutexLocker lock(&focus.mutex);
        focus.application = front;
    }

    static FrontWindow named(AtspiAccessible* application) {
        GError* error = nullptr;
        FrontWindow front;
        front.pid = atspi_accessible_get_process_id(application, &error);
        g_clear_error(&error);
        front.appId = take(atspi_accessible_get_name(application, &error));
        g_clear_error(&error);
        return front;
    }

    // The application with the active window, before any focus event has said.
    static std::optional<FrontWindow> activeApplication() {
        const Ref desktop(atspi_get_desktop(0));
        if (!desktop) return std::nullopt;
        GError* error = nullptr;
        const int count = atspi_accessible_get_child_count(desktop.get(), &error);
        g_clear_error(&error);
        for (int i = 0; i < count; ++i) {
            const Ref application(atspi_accessible_get_child_at_index(desktop.get(), i, &error));
            g_clear_error(&error);
            if (!application) continue;
            const int windows = atspi_accessible_get_child_count(application.get(), &error);
            g_clear_error(&error);
            for (int w = 0; w < windows; ++w) {
                const Ref window(atspi_accessible_get_child_at_index(application.get(), w, &error));
                g_clear_error(&error);
                if (window && has(window.get(), ATSPI_STATE_ACTIVE))
                    return named(application.get());
            }
        }
        return std::nullopt;
    }

    bool start() {
        if (started_ || failed_) return started_;
        if (atspi_init() > 1) {
            failed_ = true;
            core::logLine("accessibility", QStringLiteral("no accessibility bus"));
            return false;
        }
        started_ = true;
        // Messages from the bus are read on this thread's loop, when it has a GLib one.
        if (GMainContext* context = g_main_context_get_thread_default()) {
            atspi_set_main_context(context);
        }
        atspi_set_timeout(kCallLimitMs, kStartupLimitMs);
        return true;
    }

    static Ref applicationOf(qint64 pid) {
        Ref desktop(atspi_get_desktop(0));
        if (!desktop) return nullptr;
        // The list of applications is kept by the library; ask the bus afresh.
        atspi_accessible_clear_cache(desktop.get());
        GError* error = nullptr;
        const int count = atspi_accessible_get_child_count(desktop.get(), &error);
        g_clear_error(&error);
        for (int i = 0; i < count; ++i) {
            Ref application(atspi_accessible_get_child_at_index(desktop.get(), i, &error));
            g_clear_error(&error);
            if (!application) continue;
            const guint owner = atspi_accessible_get_process_id(application.get(), &error);
            g_clear_error(&error);
            if (qint64(owner) == pid) return application;
        }
        return nullptr;
    }

    bool started_ = false;
    bool failed_ = false;
    AtspiEventListener* listener_ = nullptr;
    std::shared_ptr<Focus> focus_;
};

AtspiAccessibility::AtspiAccessibility() : worker_(new Worker) {
    thread_.setObjectName(QStringLiteral("accessibility"));
    worker_->moveToThread(&thread_);
    thread_.start();
}

AtspiAccessibility::~AtspiAccessibility() {
    // The library is left on the thread that used it.
    QMetaObject::invokeMethod(
        worker_, [worker = worker_] { delete worker; }, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
}

void AtspiAccessibility::switchOn(std::function<void()> done) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto finish = [this, done = std::move(done)] { QTimer::singleShot(0, &home_, done); };
    if (!bus.isConnected()) {
        finish();
        return;
    }
    QDBusMessage set = QDBusMessage::createMethodCall(kBus, kBusPath, kProperties, "Set");
    set << QString::fromLatin1(kStatus) << QStringLiteral("IsEnabled")
        << QVariant::fromValue(QDBusVariant(true));
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(set, kCallLimitMs), &home_);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &home_,
                     [watcher, finish](QDBusPendingCallWatcher*) {
                         watcher->deleteLater();
                         if (watcher->isError()) {
                             core::logLine("accessibility",
                                           "can't switch on: " + watcher->error().message());
                         }
                         finish();
                     });
}

void AtspiAccessibility::focusedElement(qint64 pid,
                                        std::function<void(std::optional<FocusedElement>)> done) {
    QObject* home = &home_;
    QMetaObject::invokeMethod(worker_, [worker = worker_, pid, home, done = std::move(done)] {
        worker->lookUp(pid, 0, [home, done](std::optional<FocusedElement> found) {
            QMetaObject::invokeMethod(
                home, [done, found] { done(found); }, Qt::QueuedConnection);
        });
    });
}

std::optional<FrontWindow> AtspiAccessibility::focusedApplication() {
    const QMutexLocker lock(&focus_->mutex);
    if (!focus_->followed) {
        focus_->followed = true;
        QMetaObject::invokeMethod(
            worker_, [worker = worker_, focus = focus_] { worker->followFocus(focus); });
    }
    return focus_->application;
}

}  // namespace pelix::platform
