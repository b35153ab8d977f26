#include "app/Call.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Sentences.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace pelix::app {

int runCall(const core::Args& args, service::ServiceContext& backend) {
    const QStringList rest = args.after("--call");
    const QString function = rest.value(0);
    QJsonObject body;
    if (rest.size() > 1 && !rest.at(1).startsWith("--")) {
        const auto parsed = core::json::parseObject(rest.at(1).toUtf8());
        if (!parsed) {
            core::console::err(core::sentences::kCallBodyNotObject);
            return 1;
        }
        body = *parsed;
    }
    const std::optional<QString> token = args.value("--token");
    if (token && !service::isPelixKey(*token)) {
        core::console::err(core::sentences::kNotAKeyGiven);
        return 1;
    }
    return core::console::runUntilAnswered([&](core::console::Answer done) {
        backend.api().post(
            function, core::json::compact(body), token, 60,
            [done = std::move(done)](service::RawAnswer raw) {
                const Result<QJsonObject> answer = service::Api::read(raw);
                if (!answer) return done(std::unexpected(service::Api::asShown(answer.error())));
                const QString shown = QString::fromUtf8(
                    QJsonDocument(*answer).toJson(QJsonDocument::Indented).trimmed());
                // What came back is shown either way; a refusal (a gateway's page, an expired
                // token) still ends the command as a failure.
                if (const auto taken = service::Api::readFor(raw, service::Needs::nothing());
                    !taken) {
                    core::console::out(shown);
                    return done(std::unexpected(taken.error()));
                }
                done(shown);
            });
    });
}

}  // namespace pelix::app
