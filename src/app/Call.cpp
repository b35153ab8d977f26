#include "app/Call.h"

#include "core/Console.h"
#include "core/Json.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace pelix {

int runCall(const Args& args, Backend& backend) {
    const QStringList rest = args.after("--call");
    const QString function = rest.value(0);
    QJsonObject body;
    if (rest.size() > 1 && !rest.at(1).startsWith("--")) {
        const auto parsed = json::parseObject(rest.at(1).toUtf8());
        if (!parsed) {
            console::err("The body of --call must be a JSON object, like '{\"key\":\"value\"}'.");
            return 1;
        }
        body = *parsed;
    }
    int status = 1;
    backend.api().call(function, body, args.value("--token"), 60,
                       [&status](Result<QJsonObject> answer) {
                           if (answer) {
                               console::raw(QJsonDocument(*answer).toJson(QJsonDocument::Indented));
                               status = 0;
                           } else {
                               console::err(answer.error().message);
                           }
                           QCoreApplication::exit(status);
                       });
    QCoreApplication::exec();
    return status;
}

}  // namespace pelix
