#include "media/TestMedia.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>

#include <stdexcept>

namespace pelix::testing {

QByteArray runTool(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForStarted(10000)) {
        throw std::runtime_error(
            ("could not start " + program + " (scripts/setup installs it)").toStdString());
    }
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        throw std::runtime_error((program + " " + args.join(' ') + " failed: " +
                                  QString::fromLocal8Bit(process.readAllStandardError()))
                                     .toStdString());
    }
    return process.readAllStandardOutput();
}

QString TestMedia::tone(const QString& name, double seconds, int rate, int channels) const {
    const QString out = path(name);
    runTool("ffmpeg",
            {"-v", "error", "-y", "-f", "lavfi", "-i",
             QString("sine=frequency=440:sample_rate=%1:duration=%2").arg(rate).arg(seconds), "-ac",
             QString::number(channels), out});
    return out;
}

QString TestMedia::silentVideo(const QString& name, double seconds) const {
    const QString out = path(name);
    runTool("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=25",
                       "-t", QString::number(seconds), "-c:v", "libx264", "-preset", "ultrafast",
                       "-pix_fmt", "yuv420p", out});
    return out;
}

QString TestMedia::speech(const QString& name, std::vector<Sentence>& sentences,
                          double tail) const {
    QStringList inputs;
    QString graph;
    int n = 0;
    double at = 0;
    auto silence = [&](double seconds) {
        inputs << "-f"
               << "lavfi"
               << "-t" << QString::number(seconds) << "-i"
               << "anullsrc=r=16000:cl=mono";
        graph += QString("[%1]").arg(n++);
        at += seconds;
    };
    for (size_t i = 0; i < sentences.size(); ++i) {
        Sentence& sentence = sentences[i];
        if (sentence.pauseBefore > 0) silence(sentence.pauseBefore);
        const QString wav = path(QString("sentence-%1.wav").arg(i));
        runTool("flite", {"-voice", "slt", "-t", sentence.text, "-o", wav});
        sentence.placedAt = at;
        const QByteArray length = runTool(
            "ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", wav});
        at += length.trimmed().toDouble();
        inputs << "-i" << wav;
        graph += QString("[%1]").arg(n++);
    }
    if (tail > 0) silence(tail);
    graph += QString("concat=n=%1:v=0:a=1[a]").arg(n);
    const QString out = path(name);
    QStringList args{"-v", "error", "-y"};
    args << inputs;
    if (name.endsWith(".mp4")) {
        args << "-f"
             << "lavfi"
             << "-i"
             << "testsrc=size=160x120:rate=25";
        args << "-filter_complex" << graph << "-map"
             << "[a]"
             << "-map" << QString("%1:v").arg(n) << "-shortest"
             << "-c:v"
             << "libx264"
             << "-preset"
             << "ultrafast"
             << "-pix_fmt"
             << "yuv420p"
             << "-c:a"
             << "aac" << out;
    } else {
        args << "-filter_complex" << graph << "-map"
             << "[a]" << out;
    }
    runTool("ffmpeg", args);
    return out;
}

QString TestMedia::textFile(const QString& name) const {
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("could not write a text file");
    file.write("Shopping list: eggs, milk, bread.\n");
    return file.fileName();
}

QMap<QString, QString> TestMedia::probeAudio(const QString& file) const {
    const QByteArray out = runTool(
        "ffprobe", {"-v", "error", "-select_streams", "a:0", "-show_streams", "-of", "json", file});
    const QJsonArray streams = QJsonDocument::fromJson(out).object().value("streams").toArray();
    QMap<QString, QString> fields;
    if (streams.isEmpty()) return fields;
    const QJsonObject stream = streams.first().toObject();
    for (const char* key :
         {"codec_name", "profile", "sample_rate", "channels", "bit_rate", "duration"}) {
        fields[key] = stream.value(key).toVariant().toString();
    }
    return fields;
}

}  // namespace pelix::testing
