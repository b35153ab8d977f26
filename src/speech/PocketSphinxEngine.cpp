#include "speech/PocketSphinxEngine.h"

#include "core/Log.h"
#include "core/Sentences.h"
#include "speech/SpeechEngines.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSet>

#include <pocketsphinx.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace pelix::speech {
namespace {

constexpr auto kSystemLocale = "en-US";
constexpr auto kSystemPackage = "pocketsphinx-en-us";
// Samples handed to the decoder at a time: a tenth of a second, so that the end of an utterance
// is seen within that. Live, a fiftieth: a call on a tenth takes the decoder up to a quarter of a
// second on a busy machine, which the next partial text would wait for.
constexpr size_t kChunk = kSpeechSampleRate / 10;
constexpr size_t kLiveChunk = kSpeechSampleRate / 50;
// Live, the voice detector keeps 0.2 s of sound after speech (the decoder's default keeps half a
// second of silence to decode). It also decides on speech after 50 ms of it rather than 100, and
// hands on the 100 ms before that rather than 200: those frames reach the search in one step,
// which the first partial text waits for (on a busy machine, 120-150 ms for the default 20).
constexpr auto kLiveTailFrames = "20";
constexpr auto kLiveStartFrames = "5";
constexpr auto kLiveLeadFrames = "10";
// Live, no phone lookahead: with it the word search runs that many frames (by default 5, 50 ms)
// behind the sound it has been given, so every partial text comes that much later. Without it the
// search prunes less (about 9,200 channels a frame rather than 5,200 on the en-US model), so the
// models active in a frame are capped at 3,000 rather than 30,000, which brings it back to about
// 6,600: decoding that falls behind the sound bunches partial texts together. The cap holds for
// the accurate passes at the end too, whose word error it leaves as it was.
constexpr auto kLiveLookaheadFrames = "0";
constexpr auto kLiveMostModels = "3000";

// Words the decoder puts in for silence, breath and noise, never spoken text.
bool isFiller(const char* word) {
    return word[0] == '<' || word[0] == '[' || (word[0] == '+' && word[1] == '+');
}

// "read(2)", an alternative pronunciation, is the word "read".
QString spelling(const char* word) {
    QString text = QString::fromUtf8(word);
    if (text.endsWith(')')) {
        const qsizetype open = text.lastIndexOf('(');
        if (open > 0) text.truncate(open);
    }
    return text;
}

std::optional<QString> firstFile(const QDir& dir, const QString& pattern,
                                 const QString& avoid = {}) {
    const QStringList names = dir.entryList({pattern}, QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (avoid.isEmpty() || !name.contains(avoid)) return dir.filePath(name);
    }
    return std::nullopt;
}

}  // namespace

// Decoders kept loaded between live sessions, at most one a locale: loading the model and its
// dictionary takes seconds, which a dictation would otherwise wait for at every hold. A session
// borrows one and gives it back when it ends. File sessions load their own (a file takes longer
// than the loading, and the memory goes back when it is done), and so do sessions given words,
// which change what their decoder hears.
struct PocketSphinxEngine::Decoders {
    struct Loaded {
        QString kind;
        cmd_ln_t* config = nullptr;
        ps_decoder_t* decoder = nullptr;
        // Sound it has heard in all its sessions: its frame numbers count from its first.
        qint64 samples = 0;
    };

    static void unload(const Loaded& loaded) {
        ps_free(loaded.decoder);
        cmd_ln_free_r(loaded.config);
    }

    std::optional<Loaded> take(const QString& kind) {
        const std::scoped_lock lock(mutex);
        const auto found = std::ranges::find(idle, kind, &Loaded::kind);
        if (found == idle.end()) return std::nullopt;
        Loaded loaded = *found;
        idle.erase(found);
        return loaded;
    }

    void giveBack(const Loaded& loaded) {
        {
            const std::scoped_lock lock(mutex);
            if (std::ranges::find(idle, loaded.kind, &Loaded::kind) == idle.end()) {
                idle.push_back(loaded);
                return;
            }
        }
        unload(loaded);
    }

    ~Decoders() {
        for (const Loaded& loaded : idle) unload(loaded);
    }

    std::mutex mutex;
    std::vector<Loaded> idle;
};

namespace {

class SphinxSession final : public SpeechSession {
public:
    using Decoders = PocketSphinxEngine::Decoders;

    // `home` takes the decoder back at the end; without one the session frees it.
    SphinxSession(Decoders::Loaded loaded, std::shared_ptr<Decoders> home,
                  const SessionOptions& options, SessionEvents events)
        : loaded_(std::move(loaded)),
          home_(std::move(home)),
          decoder_(loaded_.decoder),
          partials_(options.partials),
          live_(options.live),
          events_(std::move(events)) {
        frameRate_ = std::max(1, static_cast<int>(cmd_ln_int32_r(loaded_.config, "-frate")));
        // Word times count from the start of this session's stream.
        firstFrame_ = loaded_.samples * frameRate_ / kSpeechSampleRate;
    }

    ~SphinxSession() override {
        if (inUtterance_) ps_end_utt(decoder_);
        if (home_) {
            home_->giveBack(loaded_);
        } else {
            Decoders::unload(loaded_);
        }
    }

    Status begin() {
        if (ps_start_utt(decoder_) < 0) {
            return fail(kSpeechEngineFailed, core::sentences::kPocketSphinxRefused);
        }
        inUtterance_ = true;
        return {};
    }

    Status feed(std::span<const int16_t> samples) override {
        if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        const size_t step = live_ ? kLiveChunk : kChunk;
        while (!samples.empty()) {
            const auto chunk = samples.first(std::min(step, samples.size()));
            samples = samples.subspan(chunk.size());
            if (!inUtterance_) {
                if (Status s = begin(); !s) return s;
            }
            if (ps_process_raw(decoder_, chunk.data(), chunk.size(), FALSE, FALSE) < 0) {
                return fail(kSpeechEngineFailed, core::sentences::kPocketSphinxFailed);
            }
            loaded_.samples += static_cast<qint64>(chunk.size());
            if (live_) {
                // One utterance for the whole stream, so the accurate passes at the end see all
                // of it; the partial text is read after every step, whatever the voice detector
                // has decided so far.
                if (partials_) reportPartial();
            } else {
                const bool speech = ps_get_in_speech(decoder_) != 0;
                if (heardSpeech_ && !speech) {
                    // Silence after speech: the utterance ends here, so its word times stay right.
                    endUtterance();
                } else if (speech && partials_) {
                    reportPartial();
                }
                heardSpeech_ = speech;
            }
            if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        }
        return {};
    }

    Result<QString> finish() override {
        if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        if (live_ && events_.heard) events_.heard(currentText());
        if (inUtterance_) endUtterance();
        heardSpeech_ = false;
        if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        return finals_.join(' ');
    }

    void cancel() override { cancelled_ = true; }

private:
    void endUtterance() {
        ps_end_utt(decoder_);
        inUtterance_ = false;
        SpeechResult result;
        for (ps_seg_t* seg = ps_seg_iter(decoder_); seg; seg = ps_seg_next(seg)) {
            const char* word = ps_seg_word(seg);
            if (!word || isFiller(word)) continue;
            int first = 0, last = 0;
            ps_seg_frames(seg, &first, &last);
            result.words.append(core::Word{static_cast<double>(first - firstFrame_) / frameRate_,
                                           static_cast<double>(last + 1 - firstFrame_) / frameRate_,
                                           spelling(word)});
        }
        if (result.words.isEmpty() || cancelled_) return;
        QStringList texts;
        texts.reserve(result.words.size());
        for (const core::Word& w : result.words) texts << w.text;
        result.text = texts.join(' ');
        result.start = result.words.first().start;
        result.end = result.words.last().end;
        finals_ << result.text;
        if (events_.final) events_.final(result);
        if (partials_ && !live_) reportPartial();
    }

    // The final stretches and the one being heard.
    QString currentText() const {
        QString text = finals_.join(' ');
        if (inUtterance_) {
            const char* hypothesis = ps_get_hyp(decoder_, nullptr);
            if (hypothesis && *hypothesis) {
                if (!text.isEmpty()) text += ' ';
                text += QString::fromUtf8(hypothesis);
            }
        }
        return text;
    }

    void reportPartial() {
        const QString text = currentText();
        if (text == lastPartial_ || cancelled_) return;
        lastPartial_ = text;
        if (events_.partial) events_.partial(text);
    }

    Decoders::Loaded loaded_;
    std::shared_ptr<Decoders> home_;
    ps_decoder_t* decoder_;
    bool partials_;
    bool live_;
    SessionEvents events_;
    int frameRate_ = 100;
    qint64 firstFrame_ = 0;
    bool inUtterance_ = false;
    bool heardSpeech_ = false;
    QStringList finals_;
    QString lastPartial_;
    std::atomic<bool> cancelled_ = false;
};

}  // namespace

std::optional<SphinxModel> SphinxModel::inFolder(const QString& folder) {
    const QDir dir(folder);
    if (!dir.exists()) return std::nullopt;
    SphinxModel model;
    QStringList places{dir.path()};
    for (const QString& sub : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        places << dir.filePath(sub);
    }
    for (const QString& place : places) {
        const QDir here(place);
        if (model.acoustic.isEmpty() && here.exists("mdef")) model.acoustic = here.path();
        if (model.languageModel.isEmpty()) {
            // The phone language model beside the word one is for phoneme decoding.
            model.languageModel = firstFile(here, "*.lm.bin", "-phone")
                                      .value_or(firstFile(here, "*.lm", "-phone").value_or(""));
        }
        if (model.dictionary.isEmpty()) model.dictionary = firstFile(here, "*.dict").value_or("");
    }
    if (model.acoustic.isEmpty() || model.languageModel.isEmpty() || model.dictionary.isEmpty()) {
        return std::nullopt;
    }
    return model;
}

PocketSphinxEngine::PocketSphinxEngine(QString systemModels, QString userModels)
    : systemModels_(std::move(systemModels)),
      userModels_(std::move(userModels)),
      decoders_(std::make_shared<Decoders>()) {}

PocketSphinxEngine::~PocketSphinxEngine() = default;

QString PocketSphinxEngine::systemModelFolder() {
    const QString configured = qEnvironmentVariable("PELIX_SPEECH_SYSTEM_MODELS");
    if (!configured.isEmpty()) return configured;
    QProcess pkgConfig;
    pkgConfig.start("pkg-config", {"--variable=modeldir", "pocketsphinx"});
    if (pkgConfig.waitForFinished(3000) && pkgConfig.exitStatus() == QProcess::NormalExit &&
        pkgConfig.exitCode() == 0) {
        const QString found = QString::fromLocal8Bit(pkgConfig.readAllStandardOutput()).trimmed();
        if (!found.isEmpty()) return found;
    }
    return QStringLiteral(PELIX_POCKETSPHINX_MODELDIR);
}

QStringList PocketSphinxEngine::supportedLocales() const {
    QStringList locales{kSystemLocale};
    const QDir user(userModels_);
    for (const QString& sub : user.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString locale = normalizedLocale(sub);
        if (!locale.isEmpty() && !locales.contains(locale)) locales << locale;
    }
    return locales;
}

std::optional<QString> PocketSphinxEngine::supportedLocale(const QString& requested) const {
    const QString wanted = normalizedLocale(requested);
    if (wanted.isEmpty()) return std::nullopt;
    const QStringList locales = supportedLocales();
    if (locales.contains(wanted)) return wanted;
    // Another region of the same language is understood well enough: "en-GB" by "en-US".
    const QString language = wanted.section('-', 0, 0);
    for (const QString& locale : locales) {
        if (locale.section('-', 0, 0) == language) return locale;
    }
    return std::nullopt;
}

std::optional<SphinxModel> PocketSphinxEngine::model(const QString& locale) const {
    const QString normal = normalizedLocale(locale);
    const QDir user(userModels_);
    for (const QString& sub : user.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        if (normalizedLocale(sub) != normal) continue;
        if (auto model = SphinxModel::inFolder(user.filePath(sub))) return model;
    }
    if (normal == kSystemLocale) return SphinxModel::inFolder(systemModels_ + "/en-us");
    return std::nullopt;
}

bool PocketSphinxEngine::installed(const QString& locale) const {
    return model(locale).has_value();
}

QString PocketSphinxEngine::installHint(const QString& locale) const {
    if (normalizedLocale(locale) == kSystemLocale) {
        return core::sentences::needsSpeechModel(kSystemPackage);
    }
    return core::sentences::needsSpeechModelIn(
        localeDisplayName(locale), QDir(userModels_).filePath(normalizedLocale(locale)));
}

namespace {

// Which kept decoder serves a session.
QString decoderKind(const QString& locale, const SessionOptions& options) {
    return normalizedLocale(locale) + (options.live ? QStringLiteral("/live") : QString());
}

Result<PocketSphinxEngine::Decoders::Loaded> loadDecoder(const PocketSphinxEngine& engine,
                                                         const QString& locale,
                                                         const SessionOptions& options) {
    const std::optional<SphinxModel> found = engine.model(locale);
    if (!found) return fail(kSpeechNoModel, engine.installHint(locale));
    const QByteArray hmm = QFile::encodeName(found->acoustic);
    const QByteArray lm = QFile::encodeName(found->languageModel);
    const QByteArray dict = QFile::encodeName(found->dictionary);
    // Live, the voice detector's tail is short and the search has no lookahead; the accurate passes
    // (-fwdflat, -bestpath) stay on in both, and run when an utterance ends, which a live session
    // leaves to its `finish`.
    cmd_ln_t* config =
        options.live
            ? cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-lm", lm.constData(),
                          "-dict", dict.constData(), "-samprate", "16000", "-vad_postspeech",
                          kLiveTailFrames, "-vad_startspeech", kLiveStartFrames, "-vad_prespeech",
                          kLiveLeadFrames, "-pl_window", kLiveLookaheadFrames, "-maxhmmpf",
                          kLiveMostModels, "-logfn", "/dev/null", nullptr)
            : cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-lm", lm.constData(),
                          "-dict", dict.constData(), "-samprate", "16000", "-logfn", "/dev/null",
                          nullptr);
    if (!config) {
        return fail(kSpeechEngineFailed,
                    core::sentences::couldntStartPocketSphinx(found->acoustic));
    }
    ps_decoder_t* decoder = ps_init(config);
    if (!decoder) {
        cmd_ln_free_r(config);
        return fail(kSpeechEngineFailed, core::sentences::couldntLoadSpeechModel(found->acoustic));
    }
    return PocketSphinxEngine::Decoders::Loaded{decoderKind(locale, options), config, decoder};
}

}  // namespace

namespace {

bool kept(const SessionOptions& options) {
    return options.live && options.words.isEmpty();
}

}  // namespace

void PocketSphinxEngine::prepare(const QString& locale, const SessionOptions& options) {
    if (!kept(options)) return;
    const QString kind = decoderKind(locale, options);
    if (auto ready = decoders_->take(kind)) {
        decoders_->giveBack(*ready);
        return;
    }
    if (Result<Decoders::Loaded> loaded = loadDecoder(*this, locale, options))
        decoders_->giveBack(*loaded);
}

Result<std::unique_ptr<SpeechSession>> PocketSphinxEngine::start(const QString& locale,
                                                                 const SessionOptions& options,
                                                                 SessionEvents events) {
    const bool keep = kept(options);
    std::optional<Decoders::Loaded> loaded;
    if (keep) loaded = decoders_->take(decoderKind(locale, options));
    if (!loaded) {
        Result<Decoders::Loaded> fresh = loadDecoder(*this, locale, options);
        if (!fresh) return std::unexpected(fresh.error());
        loaded = *fresh;
    }
    ps_decoder_t* decoder = loaded->decoder;

    // Names and terms to expect: words the dictionary knows are given a place in the language
    // model; others would need a pronunciation nobody gave, so they are left out.
    QList<std::pair<QByteArray, QByteArray>> known;  // word, phones
    QSet<QByteArray> seen;
    for (const QString& entry : options.words) {
        for (const QString& part : entry.split(' ', Qt::SkipEmptyParts)) {
            const QByteArray word = part.toLower().toUtf8();
            if (seen.contains(word)) continue;
            seen.insert(word);
            char* phones = ps_lookup_word(decoder, word.constData());
            if (!phones) {
                core::logLine("speech",
                              "left out \"" + part + "\": the dictionary doesn't know it");
                continue;
            }
            known.append({word, QByteArray(phones)});
            ckd_free(phones);
        }
    }
    for (qsizetype i = 0; i < known.size(); ++i) {
        // Only the last addition needs to rebuild the search.
        ps_add_word(decoder, known[i].first.constData(), known[i].second.constData(),
                    i + 1 == known.size() ? TRUE : FALSE);
    }

    auto session = std::make_unique<SphinxSession>(*loaded, keep ? decoders_ : nullptr, options,
                                                   std::move(events));
    if (Status s = session->begin(); !s) return std::unexpected(s.error());
    return std::unique_ptr<SpeechSession>(std::move(session));
}

}  // namespace pelix::speech
