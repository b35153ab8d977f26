#pragma once

#include "memos/Drops.h"
#include "support/TestSupport.h"

#include <sqlite3.h>

#include <stdexcept>

namespace pelix::testing {

// Runs SQL against a new database file, as the recorder would have left it.
inline void makeDatabase(const QString& path, const QByteArray& sql) {
    sqlite3* db = nullptr;
    if (sqlite3_open(QFile::encodeName(path).constData(), &db) != SQLITE_OK) {
        throw std::runtime_error("cannot make the test database");
    }
    char* error = nullptr;
    const int status = sqlite3_exec(db, sql.constData(), nullptr, nullptr, &error);
    const std::string message = error ? error : "";
    sqlite3_free(error);
    sqlite3_close(db);
    if (status != SQLITE_OK) throw std::runtime_error("test database SQL failed: " + message);
}

// The lines of the drops' log, each without the time that starts it.
inline QStringList dropLog() {
    QFile log(memos::drops::logFile());
    QStringList lines;
    if (!log.open(QIODevice::ReadOnly)) return lines;
    for (const QByteArray& line : log.readAll().split('\n')) {
        if (!line.isEmpty()) lines << QString::fromUtf8(line.mid(line.indexOf(' ') + 1));
    }
    return lines;
}

}  // namespace pelix::testing
