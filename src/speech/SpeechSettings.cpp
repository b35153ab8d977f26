#include "speech/SpeechSettings.h"

#include "core/Sentences.h"
#include "service/Api.h"
#include "speech/SpeechEngines.h"
#include "speech/TranscriptionServerEngine.h"

#include <QFile>
#include <QtEndian>

namespace pelix::speech {

SpeechSettings::SpeechSettings(core::Prefs prefs, SpeechKeyStore keys, QObject* parent)
    : QObject(parent), prefs_(std::move(prefs)), keys_(std::move(keys)), worker_(this) {}

SpeechSettings::~SpeechSettings() {
    if (stopTest_) stopTest_();
}

SpeechSettings::Values SpeechSettings::stored() const {
    return Values{prefs_.string(ServerSettings::kServerPref).value_or(QString()),
                  prefs_.string(ServerSettings::kModelPref).value_or(QString()),
                  {}};
}

bool SpeechSettings::keyStored() const {
    return keys_.read().has_value();
}

Status SpeechSettings::save(const Values& values) {
    const QString server = values.server.trimmed();
    const QString model = values.model.trimmed();
    // Nothing is kept of settings that would send the key in clear.
    if (const auto unsafe = server.isEmpty()
                                ? std::nullopt
                                : service::Api::unsafeBase(transcriptionsEndpoint(server))) {
        return fail(kSpeechEngineFailed, *unsafe);
    }
    if (server.isEmpty()) {
        prefs_.remove(ServerSettings::kServerPref);
    } else {
        prefs_.setValue(ServerSettings::kServerPref, server);
    }
    if (model.isEmpty() || model == ServerSettings::kDefaultModel) {
        prefs_.remove(ServerSettings::kModelPref);
    } else {
        prefs_.setValue(ServerSettings::kModelPref, model);
    }
    if (!values.key.trimmed().isEmpty()) return keys_.write(values.key);
    return {};
}

Status SpeechSettings::forgetKey() {
    return keys_.write({});
}

void SpeechSettings::test(const Values& values,
                          std::function<void(const QString& line, bool heard)> done) {
    if (auto stop = std::exchange(stopTest_, nullptr)) stop();
    if (values.server.trimmed().isEmpty()) {
        done(core::sentences::kTypeServerAddress, false);
        return;
    }
    ServerSettings settings;
    settings.endpoint = transcriptionsEndpoint(values.server);
    const QString model = values.model.trimmed();
    if (!model.isEmpty()) settings.model = model;
    settings.key =
        values.key.trimmed().isEmpty() ? keys_.read().value_or(QString()) : values.key.trimmed();
    stopTest_ = hearInBackground(worker_, serverSession(settings, QStringLiteral("en-US"), {}, {}),
                                 sample(), [this, done = std::move(done)](Result<QString> text) {
                                     stopTest_ = nullptr;
                                     if (!text) return done(text.error().message, false);
                                     const QString heard = text->trimmed();
                                     if (heard.isEmpty()) {
                                         return done(core::sentences::kServerHeardNothing, false);
                                     }
                                     done(core::sentences::serverHeard(heard), true);
                                 });
}

QByteArray SpeechSettings::sample() {
    QFile file(QStringLiteral(":/speech/hear-me.wav"));
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray wav = file.readAll();
    // The samples are the "data" chunk of the RIFF file.
    qsizetype at = 12;
    while (at + 8 <= wav.size()) {
        const auto size =
            static_cast<qsizetype>(qFromLittleEndian<quint32>(wav.constData() + at + 4));
        if (wav.mid(at, 4) == "data") return wav.mid(at + 8, size);
        at += 8 + size + (size & 1);
    }
    return {};
}

}  // namespace pelix::speech
