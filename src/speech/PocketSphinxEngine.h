#pragma once

#include "speech/SpeechEngine.h"

#include <QMap>

namespace pelix::speech {

// A PocketSphinx model: acoustic model folder, language model and dictionary.
struct SphinxModel {
    QString acoustic;
    QString languageModel;
    QString dictionary;

    // A folder holding all three: the acoustic model folder (one with "mdef" in it), a "*.lm.bin"
    // or "*.lm" file and a "*.dict" file, at its top or one level down. None when incomplete.
    static std::optional<SphinxModel> inFolder(const QString& folder);
};

// PocketSphinx behind SpeechEngine. It serves en-US from the system's model (the Debian package
// pocketsphinx-en-us) and every locale with a model folder under `userModels`
// (<userModels>/<locale>/). Utterances end where it hears silence, so each is one final result
// with word times counted from the start of the stream; a live session is one utterance, whose
// accurate passes run in its `finish`. The decoder of live sessions stays loaded once made (about
// 100 MB), for the next one.
class PocketSphinxEngine final : public SpeechEngine {
public:
    // `systemModels`: the folder holding "en-us/" (pkg-config's modeldir); `userModels`: the
    // folder of per-locale model folders ($XDG_DATA_HOME/Pelix/models).
    PocketSphinxEngine(QString systemModels, QString userModels);
    ~PocketSphinxEngine() override;

    // The system model folder: $PELIX_SPEECH_SYSTEM_MODELS when set, else pkg-config's answer
    // at run time, else the one found when Pelix was built.
    static QString systemModelFolder();

    QString name() const override { return QStringLiteral("pocketsphinx"); }
    QStringList supportedLocales() const override;
    std::optional<QString> supportedLocale(const QString& requested) const override;
    bool installed(const QString& locale) const override;
    QString installHint(const QString& locale) const override;
    void prepare(const QString& locale, const SessionOptions& options) override;
    Result<std::unique_ptr<SpeechSession>> start(const QString& locale,
                                                 const SessionOptions& options,
                                                 SessionEvents events) override;

    std::optional<SphinxModel> model(const QString& locale) const;

    struct Decoders;

private:
    QString systemModels_;
    QString userModels_;
    std::shared_ptr<Decoders> decoders_;
};

}  // namespace pelix::speech
