// The backend's answers of any kind: read without crashing, and a failure is always the
// backend's "error" text with the status as its code.
#include "FuzzSupport.h"
#include "service/Api.h"

#include <QJsonDocument>

using namespace pelix;
using namespace pelix::service;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    RawAnswer answer;
    answer.status = data[0] * 3;
    answer.body = fuzzing::bytes(data + 1, size - 1);
    const Result<QJsonObject> read = Api::read(answer);
    if (!read) {
        const QJsonValue error = QJsonDocument::fromJson(answer.body).object().value("error");
        if (read.error().code != answer.status || read.error().message != error.toString()) {
            fuzzing::broken("a failure that is not the backend's error text");
        }
    }
    return 0;
}
