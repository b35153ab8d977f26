#pragma once

// The outbox: braindumps that could not reach the account, kept until they can.
//
// Each waiting braindump is one file in a private folder (0700), `<ms>.json` (0600): the exact
// body of its "braindump" request, so that a later filing sends the very bytes of the first try
// (the same file name, the same capture time). Names are milliseconds of the wall clock when it
// was kept, made unique, so their order is the order of keeping.
//
// Crash safety comes from the order of the steps, each of which is one atomic file-system
// operation:
// - keeping writes a temporary file in the folder, syncs it and renames it to its name, and only
//   then is the recording deleted: a crash part way leaves the recording where it was and no
//   entry, never half an entry (the temporary file is cleared at the next start);
// - filing first renames `<ms>.json` to `<ms>.json.sending`, sends it, and deletes it as the
//   (and syncs the folder) once an answer is in, before the next entry is claimed; an answer that
//   did not reach the account renames it back.
//   One entry is in flight at a time, so none is sent twice while Pelix runs. An entry found as
//   `.sending` at start was in flight when Pelix ended: whether the backend got it is not known
//   here, so it is filed again (a braindump is never lost; the repeat carries the same bytes).
#include "core/Clock.h"
#include "core/Error.h"
#include "core/Prefs.h"
#include "core/Timers.h"
#include "core/Worker.h"
#include "service/Api.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace pelix::braindump {

namespace outbox {

// The preference that turns the outbox off ("braindump.outbox", on when never written).
inline constexpr auto kPref = "braindump.outbox";
// The first wait before trying again, doubled after every failure up to the last.
inline constexpr double kFirstRetry = 30;
inline constexpr double kLastRetry = 30 * 60;

// The outbox folder under Pelix's data folder.
QString folderIn(const QString& dataDir);

// The wait before the next try when the last `failures` + 1 tries did not reach the account.
double retryAfter(int failures);

// Whether an answer says the braindump did not reach the account, so it should wait: a transport
// failure, or a 401, 403 or 5xx without the backend's "error" member (a proxy's page, a gateway's
// {"code":401,"message":"Invalid JWT"}). An answer with an "error" member is the backend's
// refusal: not so.
bool unreached(const service::RawAnswer& answer);

// The file operations, on any thread. Names are the entries' names without ".json".
// The waiting entries, oldest first, those left in flight by an ended process included.
QStringList waiting(const QString& folder);
// Writes `body` as a new entry named after `msSinceEpoch` (made unique) and returns its name.
Result<QString> keep(const QString& folder, qint64 msSinceEpoch, const QByteArray& body);
// Marks the entry as in flight and reads its body.
Result<QByteArray> claim(const QString& folder, const QString& name);
// Puts an entry in flight back among the waiting ones.
void release(const QString& folder, const QString& name);
// Deletes an entry, waiting or in flight.
void remove(const QString& folder, const QString& name);
// Deletes what a write cut short left behind: temporary files that never became entries.
void clearLeftovers(const QString& folder);

}  // namespace outbox

// What the outbox works with.
struct OutboxParts {
    service::Api& api;
    core::Prefs& prefs;
    const core::Clock& clock;
    core::Timers& timers;
    QString folder;
};

// Keeps braindumps that did not reach the account and files them when it can be reached: at
// `start`, after any answer of the 2xx kind to any request, on a timer that waits longer after
// each failure, and on `fileNow`. Oldest first, one at a time; each is deleted once the backend
// has answered it, whatever it said, unless the answer shows it never got there
// (`outbox::unreached`). Main thread; file work goes through a serial worker.
class Outbox : public QObject {
    Q_OBJECT
public:
    explicit Outbox(OutboxParts parts, QObject* parent = nullptr);
    ~Outbox() override;

    // Whether new braindumps that cannot be sent are kept ("braindump.outbox").
    bool enabled() const;
    // How many braindumps wait.
    int waiting() const { return static_cast<int>(names_.size()); }
    bool filing() const { return inFlight_.has_value(); }

    // Reads the folder and files what waits.
    void start();
    // Keeps `body`; `kept` says whether it is safely in the outbox (main thread).
    void keep(const QByteArray& body, std::function<void(Status)> kept);
    // Files what waits now, without waiting for the timer.
    void fileNow();
    // Deletes every waiting braindump.
    void discard();

Q_SIGNALS:
    // The number waiting changed.
    void changed(int waiting);
    // A waiting braindump got the backend's answer: the line that says how it went.
    void filed(const QString& line);

private:
    void fileNext();
    void answered(const QString& name, const service::RawAnswer& answer);
    // A try did not reach the account: the next comes later, and later after each in a row.
    void notReached();
    void retryLater();
    void setNames(QStringList names);

    OutboxParts parts_;
    QStringList names_;
    std::optional<QString> inFlight_;
    bool started_ = false;
    int failures_ = 0;
    std::unique_ptr<core::PendingTimer> retry_;
    core::Worker files_;  // serial; last, so it ends first
};

}  // namespace pelix::braindump
