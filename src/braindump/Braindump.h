#pragma once

#include "core/Error.h"
#include "core/Worker.h"
#include "service/Api.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>

namespace pelix {

// The texts of a braindump's road, as the user reads them.
namespace braindump {
inline constexpr auto kNoToken = "Set your Pelix token first: tray icon → Set Pelix token…";
inline constexpr auto kMicrophone = "Couldn't start the microphone: ";
inline constexpr auto kTooShort = "Too short. Tap Alt, talk, then tap Alt again.";
inline constexpr auto kUnreadable = "Couldn't read the recording.";
inline constexpr auto kUnreachable = "Couldn't reach Pelix: ";
inline constexpr auto kFiled = "In Pelix";
inline constexpr auto kDropped = "Dropped that one.";

inline constexpr double kMinimumSeconds = 0.8;
inline constexpr double kLimitSeconds = 300;
inline constexpr double kUploadTimeout = 120;
}  // namespace braindump

// The body of one "braindump" request: the file whole in base64, its name, and the context.
Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context);

// The one line that tells the user how an upload went.
QString uploadLine(const RawAnswer& answer);

// Files finished braindump recordings into the account: the body is made on a worker thread
// (reading and encoding a long recording takes tens of milliseconds), posted to "braindump"
// from the main thread, and the recording is deleted once the answer is in. Main thread.
class BraindumpSender : public QObject {
    Q_OBJECT
public:
    explicit BraindumpSender(Api& api, QObject* parent = nullptr);

    // Sends the recording at `path`, `seconds` long, and deletes it once any answer is in.
    // `done` gets the line for the answer (failures included; without a token it is
    // braindump::kUnreadable), or fails with braindump::kUnreadable when the recording cannot be
    // read, and then nothing is sent. Not called once this sender is gone.
    void send(const QString& path, double seconds, std::function<void(Result<QString>)> done);

private:
    Api& api_;
    Worker worker_;  // reads recordings for their upload; last, so it ends first
};

}  // namespace pelix
