#include "core/PrivateFile.h"

#include "core/Sentences.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace pelix::core {
namespace {

constexpr auto kPrivateDir =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
constexpr auto kPrivateFile = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

Status save(const QString& path, const QByteArray& data, bool secret) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return fail(1, core::sentences::couldntWrite(path, file.errorString()));
    }
    // The temporary file gets its final mode before any byte of the content is written.
    if (secret) file.setPermissions(kPrivateFile);
    if (file.write(data) != data.size() || !file.commit()) {
        return fail(1, core::sentences::couldntWrite(path, file.errorString()));
    }
    if (secret && !QFile::setPermissions(path, kPrivateFile)) {
        return fail(1, core::sentences::couldntMakePrivate(path));
    }
    return {};
}

}  // namespace

bool ensurePrivateDir(const QString& dir) {
    if (!QDir().mkpath(dir)) return false;
    return QFile::setPermissions(dir, kPrivateDir);
}

Status writePrivateFile(const QString& path, const QByteArray& data) {
    const QString dir = QFileInfo(path).absolutePath();
    if (!ensurePrivateDir(dir)) {
        return fail(1, core::sentences::couldntCreateFolder(dir));
    }
    return save(path, data, true);
}

Status writeFileAtomically(const QString& path, const QByteArray& data) {
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir)) {
        return fail(1, core::sentences::couldntCreateFolder(dir));
    }
    return save(path, data, false);
}

}  // namespace pelix::core
