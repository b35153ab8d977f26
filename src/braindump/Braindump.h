#pragma once

#include "core/Error.h"
#include "core/Worker.h"
#include "service/Api.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>

namespace pelix::braindump {

// The limits of a braindump; what the user reads on its road is in core/Sentences.h.
inline constexpr double kMinimumSeconds = 0.8;
inline constexpr double kLimitSeconds = 300;
inline constexpr double kUploadTimeout = 120;

// The body of one "braindump" request: the file whole in base64, its name, and the context.
Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context);

// The one line that tells the user how an upload went: `core::sentences::kInPelix`, the backend's
// own words, or its failure as `Api::describe` says it.
QString uploadLine(const service::RawAnswer& answer);

class Outbox;

// Files finished braindump recordings into the account: the body is made on a worker thread
// (reading and encoding a long recording takes tens of milliseconds), posted to "braindump"
// from the main thread, and the recording is deleted once the answer is in. An answer that
// shows the account was not reached (`outbox::unreached`) puts the body into the outbox, when
// there is one and it is on, before the recording goes. Main thread.
class BraindumpSender : public QObject {
    Q_OBJECT
public:
    // `outbox`, when given, outlives the sender.
    explicit BraindumpSender(service::Api& api, Outbox* outbox = nullptr,
                             QObject* parent = nullptr);

    // Sends the recording at `path`, `seconds` long, and deletes it once any answer is in.
    // `done` gets the line for the answer (failures included; without a token it is
    // core::sentences::kRecordingUnreadable; kept in the outbox, core::sentences::kSavedForLater),
    // or fails with that sentence when the recording cannot be read, and then nothing is sent.
    // Not called once this sender is gone.
    void send(const QString& path, double seconds, std::function<void(Result<QString>)> done);

private:
    service::Api& api_;
    Outbox* outbox_;
    core::Worker worker_;  // reads recordings for their upload; last, so it ends first
};

}  // namespace pelix::braindump
