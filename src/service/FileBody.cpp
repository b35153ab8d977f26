#include "service/FileBody.h"

#include "core/Json.h"

#include <QUuid>

#include <algorithm>
#include <cstring>

namespace pelix::service {

std::unique_ptr<QIODevice> Base64FileBody::open(const QJsonObject& object, const QString& key,
                                                const QString& file) {
    auto body = std::unique_ptr<Base64FileBody>(new Base64FileBody);
    body->file_.setFileName(file);
    if (!body->file_.open(QIODevice::ReadOnly)) return nullptr;
    body->fileSize_ = body->file_.size();
    body->encodedSize_ = (body->fileSize_ + 2) / 3 * 4;
    // The member's place in the compact JSON, found through a text that cannot be elsewhere.
    const QString placeholder = "file-" + QUuid::createUuid().toString(QUuid::Id128);
    QJsonObject whole = object;
    whole.insert(key, placeholder);
    const QByteArray json = core::json::compact(whole);
    const QByteArray marker = '"' + placeholder.toLatin1() + '"';
    const qsizetype at = json.indexOf(marker);
    body->head_ = json.left(at + 1);
    body->tail_ = json.mid(at + marker.size() - 1);
    body->QIODevice::open(QIODevice::ReadOnly);
    return body;
}

qint64 Base64FileBody::size() const {
    return head_.size() + encodedSize_ + tail_.size();
}

qint64 Base64FileBody::readData(char* data, qint64 maxSize) {
    // At most this much of the file is read and encoded per step.
    constexpr qint64 kGroupsPerStep = 16 * 1024;
    qint64 at = pos();
    qint64 written = 0;
    const qint64 encodedEnd = head_.size() + encodedSize_;
    while (written < maxSize && at < size()) {
        qint64 n = 0;
        if (at < head_.size()) {
            n = std::min<qint64>(maxSize - written, head_.size() - at);
            std::memcpy(data + written, head_.constData() + at, size_t(n));
        } else if (at < encodedEnd) {
            const qint64 offset = at - head_.size();
            const qint64 group = offset / 4;
            const qint64 skip = offset % 4;
            const qint64 wanted = std::min(maxSize - written, encodedEnd - at);
            const qint64 groups = std::min((wanted + skip + 3) / 4, kGroupsPerStep);
            if (!file_.seek(group * 3)) return -1;
            const QByteArray raw = file_.read(groups * 3);
            // A file that changed under us would no longer match the announced length.
            if (raw.isEmpty() || (raw.size() < groups * 3 && group * 3 + raw.size() != fileSize_)) {
                return -1;
            }
            const QByteArray encoded = raw.toBase64();
            n = std::min<qint64>(wanted, encoded.size() - skip);
            std::memcpy(data + written, encoded.constData() + skip, size_t(n));
        } else {
            n = std::min<qint64>(maxSize - written, size() - at);
            std::memcpy(data + written, tail_.constData() + (at - encodedEnd), size_t(n));
        }
        written += n;
        at += n;
    }
    return written;
}

}  // namespace pelix::service
