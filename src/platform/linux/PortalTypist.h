#pragma once

#include "platform/Typist.h"

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

#include <functional>

namespace pelix::platform {

// Typing through the desktop portal's RemoteDesktop (a keyboard only), where the compositor
// offers no protocol of its own (GNOME; KDE's portal too). One session serves the typist's whole
// life: the desktop asks the user once (GNOME shows a dialog, KDE a notice), and portals that can
// restore a session are given the token of the last one, kept in `tokenFile` (0600) and replaced
// by each new one. Keys go as keysyms, one call answered before the next, which the desktop maps
// onto its layout (Mutter drops those the layout lacks); a warm-up Shift goes first, as Mutter
// loses the first key of a session. The portal answers each key at once, however far behind the
// window is, and Mutter drops a window a few hundred keys behind, so long texts go in paced
// pieces (`pacing`).
//
// The session starts at once and asynchronously; the typist types only once it runs
// (`canType`). A session the desktop refused or closed (the user ended it) is not asked for
// again until Pelix starts again. The window in front comes from `fallbackFront` (the
// accessibility bus), else it is unknown.
class PortalTypist final : public QObject, public Typist {
    Q_OBJECT
public:
    enum class State { starting, running, refused, closed, absent };

    PortalTypist(QDBusConnection bus, QString tokenFile,
                 std::function<std::optional<FrontWindow>()> fallbackFront = {});
    ~PortalTypist() override;

    // Whether the bus has the portal's RemoteDesktop.
    static bool offered(const QDBusConnection& bus);

    State state() const { return state_; }

    bool canType() const override;
    std::optional<FrontWindow> frontWindow() const override;
    void type(const QString& text) override;
    void press(Key key, bool control, int times) override;
    void pause(std::chrono::microseconds duration) override;
    Pacing pacing() const override;
    quint64 undelivered() const override { return undelivered_; }

private Q_SLOTS:
    void sessionClosed();

private:
    void start();
    // Calls `method` of RemoteDesktop with `args` and `options` (its last argument, a handle
    // token added), and `then` with the request's response code and results.
    void request(const QString& method, QVariantList args, QVariantMap options,
                 std::function<void(uint, const QVariantMap&)> then);
    void started(uint response, const QVariantMap& results);
    void keysym(quint32 keysym, bool down);
    void finish(State state);

    QDBusConnection bus_;
    QString tokenFile_;
    std::function<std::optional<FrontWindow>()> fallbackFront_;
    State state_ = State::starting;
    QString session_;
    uint version_ = 1;
    quint64 undelivered_ = 0;
};

}  // namespace pelix::platform
