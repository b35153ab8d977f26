#pragma once

#include <QFile>
#include <QIODevice>
#include <QJsonObject>

#include <memory>

namespace pelix::service {

// A JSON request body with one member that holds a file in base64, made as it is read: the
// file is never in memory whole, let alone widened to UTF-16 for a JSON document. The bytes are
// exactly those of the compact JSON of `object` with `key` set to the file's base64 text.
// Random access with a known size, as the network layer wants for streaming an upload.
class Base64FileBody final : public QIODevice {
public:
    // None when the file cannot be opened.
    static std::unique_ptr<QIODevice> open(const QJsonObject& object, const QString& key,
                                           const QString& file);

    bool isSequential() const override { return false; }
    qint64 size() const override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray head_;
    QByteArray tail_;
    QFile file_;
    qint64 fileSize_ = 0;
    qint64 encodedSize_ = 0;
};

}  // namespace pelix::service
