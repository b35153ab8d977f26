#include "memos/Drops.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/PrivateFile.h"
#include "core/Sentences.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QMimeDatabase>
#include <QSet>

#include <mutex>

namespace pelix::memos::drops {
namespace {

constexpr auto kLog = "drops";

// The extensions of sound files a drop may carry, lower case.
constexpr const char* kExtensions[] = {"m4a", "qta", "mp3", "wav", "aiff",
                                       "aif", "caf", "aac", "mp4"};

// A URL's file name, percent-decoded.
QString urlFileName(const QUrl& url) {
    return url.fileName(QUrl::FullyDecoded);
}

// A name without its last extension ("New Recording 14.m4a" → "New Recording 14").
QString withoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf('.');
    return dot > 0 ? name.left(dot) : name;
}

// A path in `folder` for `name` that is not taken yet: "name.m4a", "name 2.m4a", …
QString freePath(const QString& folder, QString name) {
    if (name.isEmpty()) name = QStringLiteral("recording.m4a");
    const QDir dir(folder);
    QString path = dir.filePath(name);
    const QString stem = withoutExtension(name);
    const QString extension = name.mid(stem.size());
    for (int n = 2; QFileInfo::exists(path); ++n) {
        path = dir.filePath(stem + ' ' + QString::number(n) + extension);
    }
    return path;
}

bool isSound(const QString& file) {
    if (isAudioName(QFileInfo(file).fileName())) return true;
    static const QMimeDatabase types;
    return types.mimeTypeForFile(file, QMimeDatabase::MatchContent)
        .name()
        .startsWith(QLatin1String("audio/"));
}

QString quoted(const QStringList& names) {
    QStringList out;
    out.reserve(names.size());
    for (const QString& name : names) out << '"' + name + '"';
    return '[' + out.join(", ") + ']';
}

}  // namespace

bool isAudioName(const QString& name) {
    const qsizetype dot = name.lastIndexOf('.');
    if (dot < 0) return false;
    const QStringView extension = QStringView(name).mid(dot + 1);
    for (const char* known : kExtensions) {
        if (extension.compare(QLatin1String(known), Qt::CaseInsensitive) == 0) return true;
    }
    return false;
}

QString audioFilter() {
    QStringList patterns;
    for (const char* known : kExtensions) {
        const QString extension = QString::fromLatin1(known);
        patterns << "*." + extension << "*." + extension.toUpper();
    }
    return "Recordings (" + patterns.join(' ') + ')';
}

QStringList audioFiles(const QMimeData& data) {
    QStringList files;
    for (const QUrl& url : data.urls()) {
        if (url.isLocalFile() && isAudioName(urlFileName(url))) files << url.toLocalFile();
    }
    return files;
}

QList<QUrl> audioLocations(const QMimeData& data) {
    QList<QUrl> locations;
    for (const QUrl& url : data.urls()) {
        if (!url.isLocalFile() && url.isValid() && !url.scheme().isEmpty() &&
            isAudioName(urlFileName(url))) {
            locations << url;
        }
    }
    return locations;
}

QStringList suggestedNames(const QMimeData& data) {
    QStringList names;
    QSet<QString> seen;
    auto add = [&](QString name) {
        name = name.trimmed();
        if (name.isEmpty() || seen.contains(name)) return;
        seen.insert(name);
        names << name;
    };
    if (data.hasText()) {
        for (const QString& line : data.text().split('\n')) {
            const QString trimmed = line.trimmed();
            const QUrl url(trimmed);
            if (trimmed.startsWith('/')) {
                add(withoutExtension(QFileInfo(trimmed).fileName()));
            } else if (trimmed.contains(QLatin1String("://")) && url.isValid()) {
                add(withoutExtension(urlFileName(url)));
            } else {
                add(trimmed);
            }
        }
    }
    for (const QUrl& url : data.urls()) add(withoutExtension(urlFileName(url)));
    return names;
}

QString kinds(const QMimeData& data) {
    return data.formats().join(", ");
}

QStringList fromLibrary(const QStringList& names, const std::optional<QList<VoiceMemo>>& library) {
    if (!library) return {};
    QStringList files;
    for (const QString& name : names) {
        for (const VoiceMemo& memo : *library) {
            if (memo.title.compare(name, Qt::CaseInsensitive) == 0) {
                files << memo.url.toLocalFile();
                break;
            }
        }
    }
    return files;
}

QString droppedFolder() {
    return core::paths::cacheDir() + QStringLiteral("/Dropped");
}

bool isReceivedCopy(const QString& file) {
    return QFileInfo(file).absoluteFilePath().startsWith(droppedFolder() + '/');
}

QString logFile() {
    return core::paths::cacheDir() + QStringLiteral("/drops.log");
}

void trace(const QString& text) {
    static std::mutex lock;
    const std::lock_guard hold(lock);
    const QString path = logFile();
    QFile file(path);
    const bool fresh = !file.exists();
    if (fresh && !core::ensurePrivateDir(QFileInfo(path).absolutePath())) return;
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) return;
    if (fresh) file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    file.write((core::json::isoDate(QDateTime::currentDateTime()) + ' ' + text + '\n').toUtf8());
}

Received receive(const QList<QUrl>& locations, const QStringList& names, const Fetch& fetch,
                 const Library& library) {
    const QString folder = droppedFolder();
    core::ensurePrivateDir(folder);
    trace(QStringLiteral("drop: %1 promised, names %2").arg(locations.size()).arg(quoted(names)));

    QStringList kept;
    for (const QUrl& location : locations) {
        const QString target = freePath(folder, urlFileName(location));
        Result<QString> got = fetch ? fetch(location, target) : fail(1, "Nothing can fetch it.");
        if (!got) {
            trace("promise failed: " + got.error().message);
            continue;
        }
        trace("promise " + QFileInfo(*got).fileName() + " kept");
        if (isSound(*got)) {
            kept << *got;
        } else {
            QFile::remove(*got);
        }
    }
    if (!kept.isEmpty()) return {kept, kFromLocations};

    const std::optional<QList<VoiceMemo>> memos = library ? library() : std::nullopt;
    if (!memos) {
        trace(QStringLiteral("library closed (it cannot be read)"));
        return {};
    }
    const QStringList found = fromLibrary(names, memos);
    if (found.isEmpty()) return {};
    trace(QStringLiteral("library fallback found %1").arg(found.size()));
    return {found, kFromLibrary};
}

QString finalMessage(int sent, int count, const QString& name) {
    if (sent == count && count == 1) return core::sentences::completeOne(name);
    if (sent == count) return core::sentences::completeAll(count);
    if (sent > 0) return core::sentences::someSentDropAgain(sent, count);
    return core::sentences::kNotSentDropAgain;
}

State finalState(int sent, int count) {
    return sent == count ? State::done : State::failed;
}

Sender::Sender(Send send, QObject* parent) : QObject(parent), send_(std::move(send)) {}

void Sender::sendDropped(const QStringList& files) {
    if (files.isEmpty()) return;
    batches_ << files;
    if (!busy_) startBatch();
}

void Sender::startBatch() {
    busy_ = true;
    files_ = batches_.takeFirst();
    index_ = 0;
    sent_ = 0;
    next();
}

void Sender::next() {
    const qsizetype count = files_.size();
    if (index_ == count) {
        Q_EMIT show(
            finalMessage(sent_, static_cast<int>(count), QFileInfo(files_.first()).fileName()),
            finalState(sent_, static_cast<int>(count)));
        busy_ = false;
        if (!batches_.isEmpty()) startBatch();
        return;
    }
    Q_EMIT show(core::sentences::sendingOf(index_ + 1, count), State::working);
    const QString file = files_.at(index_);
    send_(file, std::nullopt, [this, file](bool ok) {
        trace(ok ? QStringLiteral("memo sent to Pelix") : QStringLiteral("memo could not be sent"));
        if (ok) ++sent_;
        // A fetched copy has done its job either way: dropping the recording again fetches it anew.
        if (isReceivedCopy(file) && !QFile::remove(file)) {
            core::logLine(kLog, "could not remove " + QFileInfo(file).fileName());
        }
        ++index_;
        next();
    });
}

}  // namespace pelix::memos::drops
