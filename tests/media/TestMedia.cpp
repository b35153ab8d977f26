#include "media/TestMedia.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>

#include <stdexcept>

namespace pelix::testing {
namespace {

// ffmpeg's arguments for the test picture as an H.264 video stream.
const QStringList kPicture{"-f", "lavfi", "-i", "testsrc=size=160x120:rate=25"};
const QStringList kH264{"-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p"};

}  // namespace

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
    const QString tone =
        QString("sine=frequency=440:sample_rate=%1:duration=%2").arg(rate).arg(seconds);
    runTool("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", tone, "-ac",
                       QString::number(channels), path(name)});
    return path(name);
}

QString TestMedia::silence(const QString& name, double seconds) const {
    runTool("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-t", QString::number(seconds), "-i",
                       "anullsrc=r=16000:cl=mono", path(name)});
    return path(name);
}

QString TestMedia::silentVideo(const QString& name, double seconds) const {
    runTool("ffmpeg", QStringList{"-v", "error", "-y"} + kPicture +
                          QStringList{"-t", QString::number(seconds)} + kH264 +
                          QStringList{path(name)});
    return path(name);
}

QString TestMedia::said(const QString& name, const QString& text) const {
    runTool("flite", {"-voice", "slt", "-t", text, "-o", path(name)});
    return path(name);
}

QString TestMedia::speech(const QString& name, std::vector<Sentence>& sentences,
                          double tail) const {
    QStringList inputs;
    QString graph;
    int n = 0;
    double at = 0;
    auto silence = [&](double seconds) {
        inputs << QStringList{
            "-f", "lavfi", "-t", QString::number(seconds), "-i", "anullsrc=r=16000:cl=mono"};
        graph += QString("[%1]").arg(n++);
        at += seconds;
    };
    for (size_t i = 0; i < sentences.size(); ++i) {
        Sentence& sentence = sentences[i];
        if (sentence.pauseBefore > 0) silence(sentence.pauseBefore);
        const QString wav = said(QString("sentence-%1.wav").arg(i), sentence.text);
        sentence.placedAt = at;
        at += runTool("ffprobe",
                      {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", wav})
                  .trimmed()
                  .toDouble();
        inputs << "-i" << wav;
        graph += QString("[%1]").arg(n++);
    }
    if (tail > 0) silence(tail);
    graph += QString("concat=n=%1:v=0:a=1[a]").arg(n);
    QStringList args = QStringList{"-v", "error", "-y"} + inputs;
    if (name.endsWith(".mp4")) {
        args << kPicture << QStringList{"-filter_complex",      graph,      "-map", "[a]", "-map",
                                        QString("%1:v").arg(n), "-shortest"}
             << kH264 << QStringList{"-c:a", "aac"};
    } else {
        args << QStringList{"-filter_complex", graph, "-map", "[a]"};
    }
    runTool("ffmpeg", args << path(name));
    return path(name);
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
    for (const char* key :
         {"codec_name", "profile", "sample_rate", "channels", "bit_rate", "duration"}) {
        fields[key] = streams.at(0).toObject().value(key).toVariant().toString();
    }
    return fields;
}

}  // namespace pelix::testing
