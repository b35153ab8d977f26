#pragma once

#include "memos/QStringPrinting.h"

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QString>

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

// Writes a file with `bytes`; with a valid `modified`, sets its modification time.
inline QString writeFile(const QString& folder, const QString& name, const QByteArray& bytes = "x",
                         const QDateTime& modified = {}) {
    const QString path = QDir(folder).filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        throw std::runtime_error("cannot write a test file");
    }
    file.flush();  // a flush at close would move the time again
    if (modified.isValid()) file.setFileTime(modified, QFileDevice::FileModificationTime);
    return path;
}

}  // namespace pelix::testing
