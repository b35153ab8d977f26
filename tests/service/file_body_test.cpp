#include "service/FileBody.h"

#include "core/Json.h"
#include "support/TestSupport.h"

#include <random>

namespace pelix::service {
namespace {

// The body streamed from a file is byte for byte the compact JSON a document would make, read in
// steps of any size and from any place.
TEST(Base64FileBody, IsTheCompactJsonReadInAnySteps) {
    QTemporaryDir dir;
    std::mt19937 random(7);
    for (const int size : {0, 1, 2, 3, 4, 1000, 100001}) {
        SCOPED_TRACE(size);
        QByteArray bytes(size, Qt::Uninitialized);
        for (char& b : bytes) b = char(random());
        const QString path = testing::writeFile(dir.path(), "audio.m4a", bytes);

        const QJsonObject rest{{"filename", "piece-1.m4a"}, {"transcribe_only", true}};
        QJsonObject whole = rest;
        whole.insert("audio_base64", QString::fromLatin1(bytes.toBase64()));
        const QByteArray want = core::json::compact(whole);

        const auto body = Base64FileBody::open(rest, "audio_base64", path);
        ASSERT_TRUE(body);
        EXPECT_FALSE(body->isSequential());
        ASSERT_EQ(body->size(), want.size());
        QByteArray got;
        std::uniform_int_distribution<int> step(1, 70000);
        while (!body->atEnd()) got += body->read(step(random));
        EXPECT_EQ(got, want);
        // From the middle, as a resent upload reads it.
        ASSERT_TRUE(body->seek(want.size() / 3));
        EXPECT_EQ(body->readAll(), want.mid(want.size() / 3));
    }
    EXPECT_FALSE(Base64FileBody::open({}, "audio_base64", dir.filePath("missing.m4a")));
}

}  // namespace
}  // namespace pelix::service
