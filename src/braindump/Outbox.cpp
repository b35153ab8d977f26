#include "braindump/Outbox.h"

#include "braindump/Braindump.h"
#include "core/Json.h"
#include "core/Log.h"
#include "core/PrivateFile.h"
#include "core/Sentences.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QSet>

#include <algorithm>
#include <cmath>

#include <fcntl.h>
#include <unistd.h>

namespace pelix::braindump::outbox {
namespace {

constexpr auto kWaiting = ".json";
constexpr auto kSending = ".json.sending";

QString waitingPath(const QString& folder, const QString& name) {
    return folder + '/' + name + kWaiting;
}
QString sendingPath(const QString& folder, const QString& name) {
    return folder + '/' + name + kSending;
}

// Makes the folder's last renames and deletions last through a power cut.
void syncFolder(const QString& folder) {
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

// The digits of an entry's name, from a file name of the outbox; empty for anything else.
QString entryName(const QString& fileName) {
    QStringView name(fileName);
    if (name.endsWith(u".sending")) name.chop(8);
    if (!name.endsWith(u".json")) return {};
    name.chop(5);
    const bool digits =
        std::all_of(name.begin(), name.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    return digits && !name.isEmpty() && name.size() <= 19 ? name.toString() : QString();
}

}  // namespace

QString folderIn(const QString& dataDir) {
    return dataDir + QStringLiteral("/outbox");
}

double retryAfter(int failures) {
    return std::min(kLastRetry, kFirstRetry * std::pow(2.0, std::clamp(failures, 0, 16)));
}

bool unreached(const service::RawAnswer& answer) {
    if (answer.transport) return true;
    const int status = answer.status;
    if (status != 401 && status != 403 && (status < 500 || status > 599)) return false;
    const std::optional<QJsonObject> object = core::json::parseObject(answer.body);
    return !object || !object->value("error").isString();
}

QStringList waiting(const QString& folder) {
    QStringList names;
    QSet<QString> seen;  // an entry may stand as its file and as its sending file
    for (const QString& file : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        const QString name = entryName(file);
        if (!name.isEmpty() && !seen.contains(name)) {
            seen.insert(name);
            names << name;
        }
    }
    // The names are milliseconds: shorter is older, and of one length the order is the text's.
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    return names;
}

Result<QString> keep(const QString& folder, qint64 msSinceEpoch, const QByteArray& body) {
    qint64 ms = std::max<qint64>(msSinceEpoch, 0);
    while (QFile::exists(waitingPath(folder, QString::number(ms))) ||
           QFile::exists(sendingPath(folder, QString::number(ms)))) {
        ++ms;
    }
    const QString name = QString::number(ms);
    if (Status written = core::writePrivateFile(waitingPath(folder, name), body); !written) {
        return std::unexpected(written.error());
    }
    syncFolder(folder);
    return name;
}

Result<QByteArray> claim(const QString& folder, const QString& name) {
    const QString sending = sendingPath(folder, name);
    // Left in flight by an ended process, the entry is already marked.
    if (!QFile::exists(sending) && !QFile::rename(waitingPath(folder, name), sending)) {
        return fail(1, core::sentences::kRecordingUnreadable);
    }
    QFile file(sending);
    if (!file.open(QIODevice::ReadOnly)) return fail(1, core::sentences::kRecordingUnreadable);
    QByteArray body = file.readAll();
    if (file.error() != QFileDevice::NoError) return fail(1, core::sentences::kRecordingUnreadable);
    return body;
}

void release(const QString& folder, const QString& name) {
    QFile::rename(sendingPath(folder, name), waitingPath(folder, name));
}

void remove(const QString& folder, const QString& name) {
    QFile::remove(sendingPath(folder, name));
    QFile::remove(waitingPath(folder, name));
    syncFolder(folder);
}

void clearLeftovers(const QString& folder) {
    // A write cut short leaves the temporary file of QSaveFile: the entry's name and six more
    // characters.
    static const QRegularExpression leftover(QStringLiteral("^\\d{1,19}\\.json\\.[A-Za-z0-9]{6}$"));
    for (const QString& file : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        if (leftover.match(file).hasMatch()) QFile::remove(folder + '/' + file);
    }
}

}  // namespace pelix::braindump::outbox

namespace pelix::braindump {

Outbox::Outbox(OutboxParts parts, QObject* parent)
    : QObject(parent), parts_(std::move(parts)), files_(this, 1) {
    // Any answer of the backend says it can be reached: what waits goes now.
    connect(&parts_.api, &service::Api::reached, this, [this] {
        failures_ = 0;
        fileNext();
    });
}

Outbox::~Outbox() = default;

bool Outbox::enabled() const {
    return parts_.prefs.value(outbox::kPref, true).toBool();
}

void Outbox::setNames(QStringList names) {
    if (names == names_) return;
    names_ = std::move(names);
    Q_EMIT changed(waiting());
}

void Outbox::start() {
    files_.run(
        [folder = parts_.folder] {
            outbox::clearLeftovers(folder);
            return outbox::waiting(folder);
        },
        [this](const QStringList& found) {
            started_ = true;
            // Entries kept before the folder was read are among those found.
            QStringList names = found;
            for (const QString& name : names_) {
                if (!names.contains(name)) names << name;
            }
            setNames(names);
            if (!names_.isEmpty()) {
                core::logLine("outbox", QStringLiteral("%1 waiting").arg(waiting()));
            }
            fileNext();
        });
}

void Outbox::keep(const QByteArray& body, std::function<void(Status)> kept) {
    const qint64 ms = parts_.clock.now().toMSecsSinceEpoch();
    files_.run([folder = parts_.folder, ms, body] { return outbox::keep(folder, ms, body); },
               [this, kept = std::move(kept)](const Result<QString>& name) {
                   if (!name) {
                       core::logLine("outbox", name.error().message);
                       return kept(std::unexpected(name.error()));
                   }
                   core::logLine("outbox", QStringLiteral("kept %1").arg(*name));
                   QStringList names = names_;
                   names << *name;
                   setNames(names);
                   kept({});
                   // The network just failed: the next try comes with the timer.
                   if (!retry_ && !inFlight_) retryLater();
               });
}

void Outbox::fileNow() {
    failures_ = 0;
    retry_.reset();
    fileNext();
}

void Outbox::discard() {
    const QStringList names = names_;
    retry_.reset();
    files_.run([folder = parts_.folder, names] {
        for (const QString& name : names) outbox::remove(folder, name);
    });
    core::logLine("outbox", QStringLiteral("discarded %1").arg(names.size()));
    setNames({});
}

void Outbox::fileNext() {
    if (!started_ || inFlight_ || names_.isEmpty()) return;
    retry_.reset();
    const QString name = names_.first();
    inFlight_ = name;
    files_.run(
        [folder = parts_.folder, name] { return outbox::claim(folder, name); },
        [this, name](const Result<QByteArray>& body) {
            if (!body) {
                // Gone (discarded), or unreadable now: left for the next start.
                core::logLine("outbox", QStringLiteral("%1 unreadable").arg(name));
                files_.run([folder = parts_.folder, name] { outbox::release(folder, name); });
                inFlight_.reset();
                QStringList names = names_;
                names.removeAll(name);
                setNames(names);
                return fileNext();
            }
            core::logLine("outbox", QStringLiteral("filing %1").arg(name));
            QPointer<Outbox> self(this);
            parts_.api.post("braindump", *body, std::nullopt, kUploadTimeout,
                            [self, name](service::RawAnswer answer) {
                                if (self) self->answered(name, answer);
                            });
        });
}

void Outbox::answered(const QString& name, const service::RawAnswer& answer) {
    inFlight_.reset();
    if (answer.noToken || answer.notAKey || outbox::unreached(answer)) {
        // It stays, for the next start, answer or timer. Without a key it waits for one.
        files_.run([folder = parts_.folder, name] { outbox::release(folder, name); });
        core::logLine("outbox", QStringLiteral("%1 still waiting").arg(name));
        if (!answer.noToken && !answer.notAKey) notReached();
        return;
    }
    // The backend answered it: filed, or refused for good. Either way it goes, before the next
    // one is claimed (the worker is serial).
    files_.run([folder = parts_.folder, name] { outbox::remove(folder, name); });
    QStringList names = names_;
    names.removeAll(name);
    setNames(names);
    failures_ = 0;
    Q_EMIT filed(uploadLine(answer));
    fileNext();
}

void Outbox::notReached() {
    ++failures_;
    retryLater();
}

void Outbox::retryLater() {
    const double wait = outbox::retryAfter(std::max(failures_ - 1, 0));
    QPointer<Outbox> self(this);
    retry_ = parts_.timers.after(wait, [self] {
        if (!self) return;
        self->retry_.reset();
        self->fileNext();
    });
}

}  // namespace pelix::braindump
