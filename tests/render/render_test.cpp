#include "render/FaceFinder.h"
#include "render/PlanSound.h"
#include "render/RenderPlan.h"
#include "render/Renderer.h"

#include "editor/Captions.h"
#include "editor/Timeline.h"
#include "render/RenderTestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "studio/NewVideo.h"
#include "support/TestSupport.h"
#include "transcribe/VideoTranscriber.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <QSet>
#include <QtEndian>

#include <cmath>

namespace pelix::render {
namespace {

using pelix::testing::runTool;
using pelix::testing::TestMedia;

speech::SpeechEngines pocketSphinx() {
    speech::SpeechEngines engines;
    engines.add(std::make_unique<speech::PocketSphinxEngine>(
        speech::PocketSphinxEngine::systemModelFolder(), QString()));
    return engines;
}

// ffprobe's view of a file's streams and format.
QJsonObject probe(const QString& file) {
    return QJsonDocument::fromJson(
               testing::runTool("ffprobe", {"-v", "error", "-show_streams", "-show_format", "-of",
                                            "json", file}))
        .object();
}

// The centre of the largest face in a picture, as a fraction of its width.
std::optional<double> faceIn(const QImage& picture) {
    cv::CascadeClassifier detector(faceCascade().toStdString());
    const QImage gray = picture.convertToFormat(QImage::Format_Grayscale8);
    const cv::Mat mat(gray.height(), gray.width(), CV_8UC1, const_cast<uchar*>(gray.constBits()),
                      size_t(gray.bytesPerLine()));
    std::vector<cv::Rect> faces;
    detector.detectMultiScale(mat, faces, 1.1, 4, 0,
                              cv::Size(gray.height() / 12, gray.height() / 12));
    if (faces.empty()) return std::nullopt;
    const cv::Rect& face = *std::ranges::max_element(faces, {}, &cv::Rect::area);
    return (face.x + face.width / 2.0) / gray.width();
}

// The mean difference of the gray levels of `zoomed` and of `plain` scaled by `factor` about
// the centre, over the rows from `top` to `bottom` (fractions of the height).
double scaledDifference(const QImage& zoomed, const QImage& plain, double factor, double top,
                        double bottom) {
    const QImage a = zoomed.convertToFormat(QImage::Format_Grayscale8);
    const QImage b = plain.convertToFormat(QImage::Format_Grayscale8);
    const double cx = a.width() / 2.0, cy = a.height() / 2.0;
    double sum = 0;
    int count = 0;
    for (int y = int(top * a.height()); y < int(bottom * a.height()); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const double sx = cx + (x + 0.5 - cx) / factor - 0.5;
            const double sy = cy + (y + 0.5 - cy) / factor - 0.5;
            const int x0 = std::clamp(int(sx), 0, b.width() - 2);
            const int y0 = std::clamp(int(sy), 0, b.height() - 2);
            const double fx = sx - x0, fy = sy - y0;
            auto at = [&](int px, int py) { return double(b.constScanLine(py)[px]); };
            const double value = (at(x0, y0) * (1 - fx) + at(x0 + 1, y0) * fx) * (1 - fy) +
                                 (at(x0, y0 + 1) * (1 - fx) + at(x0 + 1, y0 + 1) * fx) * fy;
            sum += std::abs(a.constScanLine(y)[x] - value);
            ++count;
        }
    }
    return sum / count;
}

// Words of four letters or more, lower-case.
QSet<QString> longWords(const QString& text) {
    QSet<QString> words;
    for (const QString& word : testing::spokenWords(text)) {
        if (word.size() >= 4) words.insert(word);
    }
    return words;
}

QString heardIn(const QString& file) {
    const speech::SpeechEngines engines = pocketSphinx();
    const auto spoken =
        transcribe::VideoTranscriber::transcribe(engines, file, "en-US", {}, {}, {});
    if (!spoken) throw std::runtime_error(spoken.error().message.toStdString());
    QString text;
    for (const transcribe::Spoken& s : *spoken) text += s.text + ' ';
    return text;
}

class RenderTest : public ::testing::Test {
protected:
    QTemporaryDir folder;
    TestMedia media{folder.path()};
    std::unique_ptr<Renderer> renderer = makeRenderer();
};

// From two clips of one speaker, standing left in one and right in the other, through `new` to
// an export with a line cut: the transcript, the framing, the captions and the zooms.
TEST_F(RenderTest, FromClipsToAFinishedReel) {
    std::vector<testing::Sentence> first{
        {"Good morning, this is a test of the system.", 0.5},
        {"Please bring the report and a cup of coffee.", 1.0},
        {"The weather is nice today, so we can walk to the park.", 1.0}};
    std::vector<testing::Sentence> second{{"Remember to call the bank before noon.", 0.4}};
    const QString left =
        testing::faceVideo(media, "left.mp4", media.speech("a.wav", first, 0.8), 40);
    const QString right =
        testing::faceVideo(media, "right.mp4", media.speech("b.wav", second, 0.6), 720);

    studio::NewVideoOptions options;
    options.files = {left, right};
    options.name = "Two talks";
    options.locale = "en-US";
    QStringList progress;
    options.progress = [&](const QString& line) { progress << line; };
    const speech::SpeechEngines engines = pocketSphinx();
    auto made = studio::newVideo(engines, options, QDateTime::currentDateTimeUtc());
    ASSERT_TRUE(made) << made.error().message.toStdString();
    editor::EditProject project = *made;
    {
        SCOPED_TRACE("new");
        EXPECT_TRUE(progress.contains("left.mp4: Listening… 100%"))
            << progress.join('\n').toStdString();
        ASSERT_EQ(project.clips.size(), 2u);
        for (const editor::SourceClip& clip : project.clips) {
            EXPECT_TRUE(clip.transcribed);
            EXPECT_EQ(QSize(clip.width, clip.height), QSize(1280, 720));
            EXPECT_FALSE(clip.words.empty());
        }
        EXPECT_NEAR(project.clips[0].faceX.value_or(-1), 263.0 / 1280, 0.04);
        EXPECT_NEAR(project.clips[1].faceX.value_or(-1), 943.0 / 1280, 0.04);
        EXPECT_EQ(project.settings.spokenLanguage, "en-US");
    }

    // Cut the line that asks for the report; put a pop-up on the first line.
    const std::vector<editor::Line> all = editor::lines(project.clips);
    const editor::Line* cutLine = nullptr;
    for (const editor::Line& line : all) {
        if (line.text.contains("report")) cutLine = &line;
    }
    ASSERT_NE(cutLine, nullptr) << "the transcriber did not hear the report line";
    project.cut = {cutLine->id};
    project.hook = "Two talks";
    project.settings.progressBar = true;
    const QString target = folder.filePath("out/Two talks.mp4");
    QDir().mkpath(folder.filePath("out"));
    RenderOptions half;
    half.scale = 0.5;
    QList<double> exporting;
    half.progress = [&](double done) { exporting << done; };
    const Status exported = renderer->exportVideo(project, target, half);
    ASSERT_TRUE(exported) << exported.error().message.toStdString();
    EXPECT_EQ(QDir(folder.filePath("out")).entryList(QDir::Files | QDir::Hidden),
              QStringList{"Two talks.mp4"});
    EXPECT_TRUE(std::is_sorted(exporting.begin(), exporting.end()));
    EXPECT_GT(exporting.size(), 10);
    EXPECT_DOUBLE_EQ(exporting.value(exporting.size() - 1), 1.0);
    const editor::Timeline timeline(segments(project, all));
    {
        SCOPED_TRACE("a vertical MP4 of the timeline's length, its index before its data");
        const QJsonArray streams = probe(target).value("streams").toArray();
        ASSERT_EQ(streams.size(), 2);
        const QJsonObject video = streams.at(0).toObject(), audio = streams.at(1).toObject();
        EXPECT_EQ(video.value("codec_name"), "h264");
        EXPECT_EQ(QSize(video.value("width").toInt(), video.value("height").toInt()),
                  QSize(540, 960));
        EXPECT_EQ(video.value("pix_fmt"), "yuv420p");
        EXPECT_EQ(audio.value("codec_name"), "aac");
        EXPECT_EQ(audio.value("sample_rate"), "48000");
        for (const QJsonObject& stream : {video, audio}) {
            EXPECT_NEAR(stream.value("duration").toString().toDouble(), makePlan(project).total,
                        1.0 / kFrameRate);
        }
        // The file's top-level boxes, in order.
        QFile file(target);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        QStringList boxes;
        for (qint64 at = 0; at + 8 <= file.size() && boxes.size() < 20;) {
            file.seek(at);
            const QByteArray head = file.read(16);
            qint64 size = qFromBigEndian<quint32>(head.constData());
            if (size == 1) size = qFromBigEndian<qint64>(head.constData() + 8);
            boxes << QString::fromLatin1(head.mid(4, 4));
            if (size < 8) break;
            at += size;
        }
        ASSERT_TRUE(boxes.contains("moov") && boxes.contains("mdat"))
            << boxes.join(' ').toStdString();
        EXPECT_LT(boxes.indexOf("moov"), boxes.indexOf("mdat")) << boxes.join(' ').toStdString();
    }

    {
        SCOPED_TRACE("the cut line is not heard, the kept ones are");
        QString kept, cut = cutLine->text;
        for (const editor::Line& line : all) {
            if (line.id != cutLine->id) kept += line.text + ' ';
        }
        const QSet<QString> again = longWords(heardIn(target));
        QSet<QString> cutOnly = longWords(cut) - longWords(kept);
        ASSERT_FALSE(cutOnly.isEmpty());
        EXPECT_TRUE((again & cutOnly).isEmpty())
            << QStringList(again.values()).join(' ').toStdString();
        const QSet<QString> wanted = longWords(kept);
        EXPECT_GE((again & wanted).size(), wanted.size() * 2 / 3)
            << "heard: " << QStringList(again.values()).join(' ').toStdString()
            << "\nwanted: " << QStringList(wanted.values()).join(' ').toStdString();
    }
    {
        SCOPED_TRACE("each speaker is framed into the middle third");
        int clip = -1;
        for (size_t i = 0; i < timeline.segments().size(); ++i) {
            const editor::Segment& s = timeline.segments()[i];
            if (s.clip == clip) continue;
            clip = s.clip;
            const double middle = timeline.starts()[i] + (s.end - s.start) / 2;
            const QImage picture =
                testing::pictureOf(target, std::max(middle, 3.2), folder.filePath("face.png"));
            const auto x = faceIn(picture);
            ASSERT_TRUE(x) << "no face at " << middle << " s of clip " << clip;
            EXPECT_GT(*x, 1.0 / 3) << "clip " << clip;
            EXPECT_LT(*x, 2.0 / 3) << "clip " << clip;
            EXPECT_EQ(picture.size(), QSize(540, 960));
        }
    }
    {
        SCOPED_TRACE("a caption is read back in the middle of its cue");
        const auto cues = editor::captions(project, timeline, all);
        const editor::CaptionCue* cue = nullptr;
        for (const editor::CaptionCue& c : cues) {
            if (c.words.size() == 3 && c.words.join("").size() >= 12) cue = &c;
        }
        ASSERT_NE(cue, nullptr);
        const QImage picture =
            testing::pictureOf(target, (cue->start + cue->end) / 2, folder.filePath("cue.png"));
        // The band the lower captions sit in, the caption's white and yellow in black on white,
        // enlarged for the reader.
        const int top = int(picture.height() * 0.72), height = int(picture.height() * 0.1);
        QImage band(picture.width(), height, QImage::Format_Grayscale8);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < picture.width(); ++x) {
                const QColor c = picture.pixelColor(x, top + y);
                const bool white = std::min({c.red(), c.green(), c.blue()}) > 190;
                const bool yellow = c.red() > 200 && c.green() > 160 && c.blue() < 110;
                band.scanLine(y)[x] = white || yellow ? 0 : 255;
            }
        }
        band.scaled(band.width() * 2, height * 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            .save(folder.filePath("band.png"));
        const QString read = QString::fromUtf8(
            testing::runTool("tesseract", {folder.filePath("band.png"), "stdout", "--psm", "6"}));
        const QStringList readWords = testing::spokenWords(read);
        for (const QString& word : cue->words) {
            const QString plain = testing::spokenWords(word).join("");
            EXPECT_TRUE(readWords.contains(plain))
                << plain.toStdString() << " not in: " << read.toStdString();
        }
    }
    {
        SCOPED_TRACE("a segment with a pop-up is the unzoomed picture scaled by 1.18");
        editor::EditProject zoomed = project;
        zoomed.settings.captions = false;
        zoomed.settings.hookTitle = false;
        zoomed.keywords[all.front().id] = project.clips[0].words.front().text;
        editor::EditProject plain = zoomed;
        plain.settings.punchIns = false;
        const editor::Segment& s = timeline.segments().front();
        ASSERT_EQ(s.line, all.front().id);
        const double middle = timeline.starts().front() + (s.end - s.start) / 2;
        ASSERT_GT(middle, kZoomEase);
        const auto a = renderer->frame(zoomed, middle, 0.5);
        const auto b = renderer->frame(plain, middle, 0.5);
        ASSERT_TRUE(a && b);
        // Below the pop-up, which is drawn over the picture and not zoomed.
        const double asScaled = scaledDifference(*a, *b, 1.18, 0.6, 0.95);
        const double asIs = scaledDifference(*a, *b, 1.0, 0.6, 0.95);
        // Crops fall on even source pixels, so the two may be a pixel apart.
        EXPECT_LT(asScaled, 6.0);
        EXPECT_GT(asIs, 3 * asScaled);
        EXPECT_GT(scaledDifference(*a, *b, 1.1, 0.6, 0.95), 2 * asScaled);
    }
}

// A clip of a steady tone with made-up words, so that cuts fall in the middle of the sound.
editor::EditProject toneProject(const QString& clipPath, double duration) {
    editor::SourceClip clip;
    clip.id = QUuid::fromString(QStringLiteral("{2f0c7a2b-0000-4000-8000-000000000001}"));
    clip.path = clipPath;
    clip.duration = duration;
    clip.width = 1280;
    clip.height = 720;
    clip.transcribed = true;
    clip.words = {{0.5, 0.9, "One."}, {2.0, 2.4, "Two."}, {2.5, 2.9, "Three."}};
    editor::EditProject project;
    project.id = QUuid::createUuid();
    project.clips = {clip};
    return project;
}

// A playing preview keeps its clips and overlay open from picture to picture and across changes
// of the project; what it draws must be what a single picture of the same edit shows.
TEST_F(RenderTest, PreviewPicturesAreThoseOfTheEditAsItIsNow) {
    const editor::EditProject project = toneProject(media.silentVideo("moving.mp4", 4), 4);
    editor::EditProject cut = project;
    cut.cut.insert(editor::lines(project.clips)[0].id);
    editor::EditProject clean = cut;
    clean.settings.captionStyle = editor::CaptionStyle::clean;
    constexpr double kScale = 0.2;
    const auto frames = renderer->frames(project, kScale);
    const std::vector<const editor::EditProject*> edits{&project, &cut, &clean};
    for (const editor::EditProject* edit : edits) {
        if (edit != &project) frames->setProject(*edit, kScale);
        // Forward within the decoder's reach, then back, which seeks.
        for (const double t : {0.1, 0.2, 0.5, 0.05}) {
            SCOPED_TRACE(t);
            const auto playing = frames->at(t);
            const auto single = renderer->frame(*edit, t, kScale);
            ASSERT_TRUE(playing && single);
            EXPECT_TRUE(*playing == *single);
        }
    }
    EXPECT_FALSE(frames->at(60)) << "nothing plays after the end";
}

// The sound of an export as mono float samples at 48 kHz.
std::vector<float> soundOf(const QString& file) {
    const QByteArray raw = testing::runTool(
        "ffmpeg", {"-v", "error", "-i", file, "-ac", "1", "-ar", "48000", "-f", "f32le", "-"});
    std::vector<float> samples(size_t(raw.size()) / sizeof(float));
    std::memcpy(samples.data(), raw.constData(), samples.size() * sizeof(float));
    return samples;
}

double peak(const std::vector<float>& s, double from, double to) {
    float most = 0;
    for (auto i = size_t(std::max(0.0, from * 48000)); i < std::min(s.size(), size_t(to * 48000));
         ++i)
        most = std::max(most, std::abs(s[i]));
    return most;
}

TEST_F(RenderTest, CutsInTheSoundFadeAndJoinsDoNot) {
    editor::EditProject project = toneProject(media.tone("tone.m4a", 4), 4);
    project.clips[0].width = project.clips[0].height = 0;  // sound alone: drawn black
    project.settings.captions = false;
    const QString target = folder.filePath("tone-cuts.mp4");
    RenderOptions options;
    options.scale = 0.1;
    ASSERT_TRUE(renderer->exportVideo(project, target, options));
    const RenderPlan plan = makePlan(project);
    ASSERT_EQ(plan.pieces.size(), 3u);
    const std::vector<float> sound = soundOf(target);
    const double full = peak(sound, 0.1, 0.3);
    ASSERT_GT(full, 0.05);  // the generator's tone is at an eighth of full scale
    const double cut = plan.pieces[1].outputStart;   // a cut: the tone jumps 0.92 s
    const double join = plan.pieces[2].outputStart;  // lines two and three play back to back
    EXPECT_LT(peak(sound, cut - 0.0015, cut + 0.0015), 0.25 * full) << "the cut is not faded";
    EXPECT_GT(peak(sound, cut - 0.03, cut - 0.02), 0.8 * full);
    EXPECT_GT(peak(sound, cut + 0.02, cut + 0.03), 0.8 * full);
    EXPECT_GT(peak(sound, join - 0.0015, join + 0.0015), 0.8 * full) << "a join is faded";
    EXPECT_LT(peak(sound, 0, 0.001), 0.25 * full) << "the start is not faded in";
}

// The preview's sound is the export's: faded at a cut, whole across a join, silent past the
// end; and the same samples however it is read, in one piece or in blocks that straddle pieces.
TEST_F(RenderTest, ThePreviewsSoundIsTheExportsInBlocksOfAnySize) {
    editor::EditProject project = toneProject(media.tone("tone.m4a", 4), 4);
    project.clips[0].width = project.clips[0].height = 0;
    const RenderPlan plan = makePlan(project, 0.1);
    ASSERT_EQ(plan.pieces.size(), 3u);
    PlanSound sound(plan);
    const int64_t length = sound.length();
    EXPECT_EQ(length, sampleAt(plan.total));
    const int whole = int(length) + 4800;  // and a tenth of a second after the end
    std::vector<float> left(static_cast<size_t>(whole)), right(static_cast<size_t>(whole));
    ASSERT_TRUE(sound.read(0, whole, left.data(), right.data()));
    EXPECT_EQ(left, right);  // the mono tone on both sides
    const double full = peak(left, 0.1, 0.3);
    ASSERT_GT(full, 0.05);
    const double cut = plan.pieces[1].outputStart;
    const double join = plan.pieces[2].outputStart;
    EXPECT_LT(peak(left, cut - 0.0015, cut + 0.0015), 0.25 * full) << "the cut is not faded";
    EXPECT_GT(peak(left, join - 0.0015, join + 0.0015), 0.8 * full) << "a join is faded";
    EXPECT_EQ(peak(left, plan.total + 0.001, plan.total + 0.1), 0.0) << "sound past the end";

    for (const int block : {1000, 4096, 37}) {
        SCOPED_TRACE(block);
        PlanSound again(plan);
        std::vector<float> l(static_cast<size_t>(whole)), r(static_cast<size_t>(whole));
        for (int at = 0; at < whole; at += block) {
            const int n = std::min(block, whole - at);
            ASSERT_TRUE(again.read(at, n, l.data() + at, r.data() + at));
        }
        EXPECT_EQ(l, left);
    }
    // Reading backwards, as a seek does, gives the same sound at the same place again: a decoder
    // started afresh differs in its last bits, but it matches best without a shift.
    std::vector<float> l(4800), r(4800);
    const auto from = sampleAt(join) - 2400;
    ASSERT_TRUE(sound.read(from, 4800, l.data(), r.data()));
    const auto apart = [&](int shift) {
        double sum = 0;
        for (size_t i = 100; i + 100 < l.size(); ++i) {
            const double d = l[i] - left[size_t(from + shift) + i];
            sum += d * d;
        }
        return sum;
    };
    for (const int shift : {-5, -2, -1, 1, 2, 5}) EXPECT_LT(apart(0), apart(shift)) << shift;
}

TEST_F(RenderTest, FailuresAndStopsLeaveNothingBehind) {
    const QString clip = testing::faceVideo(media, "tone.mp4", media.tone("tone.wav", 4), 40);
    QDir().mkpath(folder.filePath("out"));
    const QString target = folder.filePath("out/video.mp4");
    auto leftOver = [&] {
        return QDir(folder.filePath("out")).entryList(QDir::Files | QDir::Hidden);
    };
    RenderOptions options;
    options.scale = 0.1;

    editor::EditProject missing = toneProject(folder.filePath("gone.mp4"), 4);
    const Status gone = renderer->exportVideo(missing, target, options);
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error().code, kClipMissing);
    EXPECT_EQ(gone.error().message, "Couldn't export the video: its clip " +
                                        folder.filePath("gone.mp4") + " is missing.");

    editor::EditProject allCut = toneProject(clip, 4);
    allCut.cut = {"2F0C7A2B:0", "2F0C7A2B:1", "2F0C7A2B:2"};
    EXPECT_EQ(renderer->exportVideo(allCut, target, options).error().code, kNothingKept);

    std::stop_source stop;
    options.progress = [&](double done) {
        if (done > 0.3) stop.request_stop();
    };
    options.stop = stop.get_token();
    const Status stopped = renderer->exportVideo(toneProject(clip, 4), target, options);
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().code, kStopped);
    EXPECT_TRUE(leftOver().isEmpty()) << leftOver().join(' ').toStdString();
}

}  // namespace
}  // namespace pelix::render
