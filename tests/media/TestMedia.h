#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace pelix::testing {

// Runs a command-line tool (ffmpeg, ffprobe, flite) and returns its standard output. Throws,
// failing the test with the tool's own words, when it cannot start or does not succeed.
QByteArray runTool(const QString& program, const QStringList& args);

// A program's arguments written as one text, apart by single spaces.
inline QStringList args(const QString& spaced) {
    return spaced.split(' ');
}

// One sentence of a spoken recording and where it was placed.
struct Sentence {
    QString text;
    double pauseBefore = 0;  // seconds of silence before it
    double placedAt = 0;     // filled in: where its sound begins
};

// Media the tests make with ffmpeg's generators and flite, in a folder of their own.
class TestMedia {
public:
    explicit TestMedia(QString folder) : folder_(std::move(folder)) {}

    // A sine tone as a file of the kind `name` says (.wav, .mp3, .m4a).
    QString tone(const QString& name, double seconds, int rate = 44100, int channels = 1) const;
    // Seconds of silence at 16 kHz, mono, as a file of the kind `name` says.
    QString silence(const QString& name, double seconds) const;
    // A moving test picture, without sound.
    QString silentVideo(const QString& name, double seconds) const;
    // `text` spoken by flite, as a WAV file.
    QString said(const QString& name, const QString& text) const;
    // Speech by flite with the pauses asked for, followed by `tail` seconds of silence, as a
    // video (test picture and AAC sound) when `name` ends in .mp4, else as sound only. Fills in
    // each sentence's place.
    QString speech(const QString& name, std::vector<Sentence>& sentences, double tail = 1.0) const;
    // Any text under a media name.
    QString textFile(const QString& name) const;

    // ffprobe's view of the first audio stream: codec_name, profile, sample_rate, channels,
    // bit_rate, duration.
    QMap<QString, QString> probeAudio(const QString& file) const;

    QString path(const QString& name) const { return folder_ + "/" + name; }

private:
    QString folder_;
};

}  // namespace pelix::testing
