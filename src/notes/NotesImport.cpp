#include "notes/NotesImport.h"

#include "core/Prefs.h"
#include "core/Sentences.h"
#include "core/Worker.h"
#include "service/Api.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <cmath>

#include <signal.h>
#include <unistd.h>

namespace pelix::notes::NotesImport {
namespace {

constexpr const char* kScriptLines[] = {
    "(() => {",
    "  const app = Application('Notes');",
    "  const out = [];",
    "  const walk = (folder) => {",
    "    const fname = folder.name();",
    "    try {",
    "      const notes = folder.notes;",
    "      const ids = notes.id(), names = notes.name(), bodies = notes.body();",
    "      const cds = notes.creationDate(), mds = notes.modificationDate();",
    "      for (let i = 0; i < ids.length; i++) {",
    "        out.push({ id: ids[i], name: names[i] || '', body: bodies[i] || '', folder: fname,",
    "                   created: cds[i] ? cds[i].toISOString() : null,",
    "                   modified: mds[i] ? mds[i].toISOString() : null });",
    "      }",
    "    } catch (e) {}",
    "    try { for (const sub of folder.folders()) walk(sub); } catch (e) {}",
    "  };",
    "  for (const acct of app.accounts()) {",
    "    try { for (const f of acct.folders()) walk(f); } catch (e) {}",
    "  }",
    "  return JSON.stringify(out);",
    "})()",
};

// A field that may be null or absent; anything but text counts as absent.
std::optional<QString> optionalText(const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

QJsonValue orNull(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

// One import under way; lives until `done` has been called.
struct Run {
    service::Api* api = nullptr;
    Progress progress;
    Done done;
    std::shared_ptr<std::atomic_bool> cancelled;
    QList<QJsonObject> notes;
    Totals totals;

    void next(const std::shared_ptr<Run>& self) {
        const int total = static_cast<int>(notes.size());
        if (totals.sent == total) return done(finalMessage(totals));
        if (*cancelled) {
            return done(fail(kCancelled, core::sentences::stoppedAfter(totals.sent, total)));
        }
        const int size = std::min(kBatch, total - totals.sent);
        progress(core::sentences::bringingOver(totals.sent + size, total));
        QJsonArray batch;
        for (int i = totals.sent; i < totals.sent + size; ++i) batch.append(notes.at(i));
        const QJsonObject body{
            {"source", "apple-notes"}, {"notes", batch}, {"done", totals.sent + size == total}};
        // No token passed: the store is read afresh for every batch.
        api->call("import-notes", body, std::nullopt, kBatchLimit, service::Needs::notesTaken(),
                  [self, size](Result<QJsonObject> answer) {
                      if (!answer) return self->done(std::unexpected(answer.error()));
                      Totals& t = self->totals;
                      t.sent += size;
                      t.created += answer->value("created").toInt();
                      t.updated += answer->value("updated").toInt();
                      t.unchanged += answer->value("unchanged").toInt();
                      t.foldersCreated += answer->value("folders_created").toInt();
                      self->next(self);
                  });
    }
};

}  // namespace

QString script() {
    QStringList lines;
    for (const char* line : kScriptLines) lines << QString::fromUtf8(line);
    return lines.join('\n');
}

const QStringList& trashNames() {
    static const QStringList names{"Recently Deleted",    "Onlangs verwijderd",
                                   "Zuletzt gelöscht",    "Eliminados recientemente",
                                   "Supprimés récemment", "Eliminati di recente"};
    return names;
}

Error readError(const QString& errorOutput) {
    const QString lower = errorOutput.toLower();
    if (errorOutput.contains("-1743") || lower.contains("not authorized")) {
        return Error::pelix(1743, core::sentences::kNotesNeedPermission);
    }
    if (errorOutput.contains("-1728") || lower.contains("can't get")) {
        return Error::pelix(1728, core::sentences::kNotesNotSignedIn);
    }
    return Error::pelix(1, core::sentences::notesNotRead(errorOutput.left(160)));
}

Result<QList<Item>> decode(const QByteArray& json) {
    if (json.trimmed().isEmpty()) return QList<Item>{};
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray()) {
        return fail(2,
                    core::sentences::notesNotAList(doc.isNull() ? error.errorString() : QString()));
    }
    const QJsonArray array = doc.array();
    QList<Item> items;
    items.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        const QJsonObject o = array.at(i).toObject();
        Item item;
        for (auto [key, field] :
             {std::pair{"id", &item.id}, std::pair{"name", &item.name},
              std::pair{"body", &item.body}, std::pair{"folder", &item.folder}}) {
            const QJsonValue value = o.value(key);
            if (!value.isString()) {
                return fail(2, core::sentences::noteWithoutText(i + 1, QString::fromLatin1(key)));
            }
            *field = value.toString();
        }
        item.created = optionalText(o, "created");
        item.modified = optionalText(o, "modified");
        items.push_back(std::move(item));
    }
    return items;
}

Result<QList<Item>> readFrom(const QString& program, const QStringList& arguments,
                             double limitSeconds) {
    QProcess process;
    // A group of its own, so that a time-out stops what the program started too (the command
    // under /bin/sh, an ssh).
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(program, arguments);
    if (!process.waitForStarted(-1)) {
        return fail(
            3, core::sentences::couldntStart(QFileInfo(program).fileName(), process.errorString()));
    }
    process.closeWriteChannel();
    const auto stop = [&process] {
        ::kill(-static_cast<pid_t>(process.processId()), SIGKILL);
        process.waitForFinished(5000);
    };
    // Both outputs are taken as they come, so that neither grows without a limit: the notes up
    // to kOutputLimit, of the error output only its start (a sentence quotes 160 characters).
    constexpr qsizetype kErrorKept = 16 * 1024;
    QByteArray output, errors;
    const auto drain = [&] {
        output += process.readAllStandardOutput();
        const QByteArray more = process.readAllStandardError();
        errors += more.left(std::max<qsizetype>(0, kErrorKept - errors.size()));
        return output.size() <= kOutputLimit;
    };
    const QDeadlineTimer deadline(static_cast<qint64>(std::max(0.0, limitSeconds) * 1000));
    bool finished = false;
    while (!finished && !deadline.hasExpired()) {
        // Short waits: what comes on the error output is only taken between them.
        process.waitForReadyRead(static_cast<int>(std::min<qint64>(deadline.remainingTime(), 50)));
        if (!drain()) {
            stop();
            return fail(6, core::sentences::notesPrintedTooMuch(kOutputLimit / (1024 * 1024)));
        }
        finished = process.state() == QProcess::NotRunning;
    }
    if (!finished) {
        stop();
        return fail(5, core::sentences::notesTookTooLong(limitSeconds));
    }
    if (!drain())
        return fail(6, core::sentences::notesPrintedTooMuch(kOutputLimit / (1024 * 1024)));
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        return decode(output);
    }
    const QString errorOutput = QString::fromUtf8(errors).trimmed();
    if (errorOutput.isEmpty()) {
        return fail(1, process.exitStatus() == QProcess::CrashExit
                           ? QString(core::sentences::kNotesProgramStopped)
                           : core::sentences::notesProgramFailed(process.exitCode()));
    }
    return std::unexpected(readError(errorOutput));
}

double readLimit(const core::Prefs& prefs) {
    bool ok = false;
    const double seconds = prefs.value("notes.timeLimit").toDouble(&ok);
    return ok && seconds > 0 && std::isfinite(seconds) ? seconds : kReadLimit;
}

Source scriptSource(double limitSeconds) {
    return {[limitSeconds] {
                return readFrom(kOsascript, {"-l", "JavaScript", "-e", script()}, limitSeconds);
            },
            core::sentences::kReadingAppleNotes, Source::Kind::script};
}

Source commandSource(const QString& command, double limitSeconds) {
    return {[command, limitSeconds] {
                return readFrom("/bin/sh", {"-c", command}, limitSeconds);
            },
            core::sentences::kRunningNotesCommand, Source::Kind::command};
}

Source fileSource(const QString& path) {
    return {[path]() -> Result<QList<Item>> {
                QFile file(path);
                if (!file.open(QIODevice::ReadOnly)) {
                    return fail(4, core::sentences::couldntRead(QFileInfo(path).fileName(),
                                                                file.errorString()));
                }
                // A pipe or a device has no size to go by: read until the end or the limit.
                QByteArray json;
                for (QByteArray chunk; !(chunk = file.read(1024 * 1024)).isEmpty();) {
                    json += chunk;
                    if (json.size() > kOutputLimit) break;
                }
                if (json.size() > kOutputLimit) {
                    return fail(6, core::sentences::notesFileTooLarge(
                                       QFileInfo(path).fileName(), kOutputLimit / (1024 * 1024)));
                }
                return decode(json);
            },
            core::sentences::readingNotesIn(QFileInfo(path).fileName()), Source::Kind::file};
}

std::optional<Source> defaultSource(const core::Prefs& prefs) {
    if (QFileInfo(kOsascript).isExecutable()) return scriptSource(readLimit(prefs));
    if (auto command = prefs.string("notes.command"); command && !command->trimmed().isEmpty()) {
        return commandSource(*command, readLimit(prefs));
    }
    return std::nullopt;
}

QJsonObject noteJson(const Item& item) {
    return QJsonObject{{"external_id", item.id},
                       {"title", item.name.trimmed()},
                       {"body", plainText(item.body)},
                       {"folder", item.folder},
                       {"created_at", orNull(item.created)},
                       {"updated_at", orNull(item.modified)}};
}

QString finalMessage(const Totals& totals) {
    return core::sentences::broughtOver(totals.sent, totals.created, totals.updated,
                                        totals.unchanged, totals.foldersCreated);
}

std::shared_ptr<std::atomic_bool> run(core::Worker& worker, service::Api& api, Source source,
                                      Progress progress, Done done) {
    auto state = std::make_shared<Run>();
    state->api = &api;
    state->progress = std::move(progress);
    state->done = std::move(done);
    state->cancelled = std::make_shared<std::atomic_bool>(false);
    state->progress(source.reading);
    // Reading and converting take seconds for a large library: off the Api's thread.
    worker.run(
        [read = std::move(source.read)] {
            Result<QList<Item>> items = read();
            if (!items) return Result<QList<QJsonObject>>(std::unexpected(items.error()));
            QList<QJsonObject> notes;
            notes.reserve(items->size());
            for (const Item& item : *items) {
                if (!trashNames().contains(item.folder)) notes.push_back(noteJson(item));
            }
            return Result<QList<QJsonObject>>(std::move(notes));
        },
        [state](Result<QList<QJsonObject>> notes) {
            if (!notes) return state->done(std::unexpected(notes.error()));
            if (notes->isEmpty()) return state->done(QString(core::sentences::kNotesEmpty));
            state->notes = std::move(*notes);
            state->next(state);
        });
    return state->cancelled;
}

}  // namespace pelix::notes::NotesImport
