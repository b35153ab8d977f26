#pragma once

#include <QObject>
#include <QString>

namespace pelix::platform {

// One running Pelix per user data folder. A second process hands its message (a link, or an
// empty one to show the menu) to the first and ends.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // The longest message handed over, in bytes, and how long a later process has to send it.
    static constexpr int kMessageLimit = 16 * 1024;
    static constexpr int kMessageTimeoutMs = 30'000;
    // Whether `message` can be handed over: one line, with no control character, and not
    // longer than the limit.
    static bool isOneLine(const QString& message);

    // Hands `message` to a running instance; false when none answers within `timeoutMs`.
    virtual bool sendToRunning(const QString& message, int timeoutMs = 1000) = 0;
    // Starts answering; false when another instance is already listening or the address can't
    // be made.
    virtual bool listen() = 0;
    // Where instances meet, for messages about it.
    virtual QString address() const = 0;

Q_SIGNALS:
    // What a later process handed over.
    void received(const QString& message);
};

}  // namespace pelix::platform
