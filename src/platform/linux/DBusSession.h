#pragma once

#include "platform/Session.h"

#include <QObject>
#include <QString>

namespace pelix::platform {

// The login session over D-Bus: the lock from the session's screen saver
// (org.freedesktop.ScreenSaver GetActive), else logind's LockedHint for this session; waking
// from logind's PrepareForSleep(false); the name from hostnamed's PrettyHostname, else the host
// name. Each question waits at most a quarter of a second for its answer.
class DBusSession final : public QObject, public Session {
    Q_OBJECT
public:
    explicit DBusSession(QObject* parent = nullptr);

    bool screenLocked() const override;
    void onWake(std::function<void()> woke) override;
    QString deviceName() const override;

    static constexpr int kAnswerMs = 250;

private Q_SLOTS:
    void prepareForSleep(bool sleeping);

private:
    std::function<void()> woke_;
    bool watching_ = false;
    QString prettyName_;
};

}  // namespace pelix::platform
