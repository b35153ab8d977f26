#include "render/FaceFinder.h"
#include "render/PlanSound.h"
#include "render/RenderPlan.h"
#include "render/Renderer.h"

#include "editor/Captions.h"
#include "editor/EditorTestSupport.h"
#include "editor/Timeline.h"
#include "media/TestMedia.h"
#include "speech/PocketSphinxEngine.h"
#include "studio/NewVideo.h"
#include "support/TestSupport.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <QImage>

#include <cmath>

namespace pelix::render {
namespace {

using testing::runTool;

// A 1280×720 video of a public-domain photograph of a person that Debian ships (python3-skimage's
// data, 512×512) at the top, `left` pixels from the left edge on a gray ground, with `sound` as
// its sound track and as long as it.
QString faceVideo(const testing::TestMedia& media, const QString& name, const QString& sound,
                  int left) {
    const QString face = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";
    if (!QFileInfo::exists(face))
        throw std::runtime_error("scripts/setup installs python3-skimage");
    runTool("ffmpeg",
            testing::args(QString("-v error -y -f lavfi -i color=c=0x404040:s=1280x720:"
                                  "r=25 -loop 1 -i %1 -i %2 -filter_complex [0][1]overlay="
                                  "x=%3:y=0:shortest=1,format=yuv420p[v] -map [v] -map "
                                  "2:a -shortest -c:v libx264 -preset ultrafast -g 25 "
                                  "-c:a aac %4")
                              .arg(face, sound, QString::number(left), media.path(name))));
    return media.path(name);
}

// One picture of a video at `t` seconds, by the ffmpeg program.
QImage pictureOf(const QString& video, double t, const QString& png) {
    runTool("ffmpeg", {"-v", "error", "-y", "-ss", QString::number(t, 'f', 3), "-i", video,
                       "-frames:v", "1", png});
    QImage image(png);
    if (image.isNull()) throw std::runtime_error("could not read " + png.toStdString());
    return image.convertToFormat(QImage::Format_RGB32);
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

class RenderTest : public ::testing::Test {
protected:
    QTemporaryDir folder;
    testing::TestMedia media{folder.path()};
    std::unique_ptr<Renderer> renderer = makeRenderer();
};

// From two clips of one speaker, standing left in one and right in the other, through `new` to
// an export with a line cut: the transcript, the framing and the captions.
TEST_F(RenderTest, FromClipsToAFinishedReel) {
    std::vector<testing::Sentence> first{
        {"Good morning, this is a test of the system.", 0.5},
        {"Please bring the report and a cup of coffee.", 1.0},
        {"The weather is nice today, so we can walk to the park.", 1.0}};
    std::vector<testing::Sentence> second{{"Remember to call the bank before noon.", 0.4}};
    const QString left = faceVideo(media, "left.mp4", media.speech("a.wav", first, 0.8), 40);
    const QString right = faceVideo(media, "right.mp4", media.speech("b.wav", second, 0.6), 720);

    studio::NewVideoOptions options;
    options.files = {left, right};
    options.name = "Two talks";
    options.locale = "en-US";
    speech::SpeechEngines engines;
    engines.add(std::make_unique<speech::PocketSphinxEngine>(
        speech::PocketSphinxEngine::systemModelFolder(), QString()));
    auto made = studio::newVideo(engines, options, QDateTime::currentDateTimeUtc());
    ASSERT_TRUE(made) << made.error().message.toStdString();
    editor::EditProject project = *made;
    ASSERT_EQ(project.clips.size(), 2u);
    for (const editor::SourceClip& clip : project.clips) {
        EXPECT_TRUE(clip.transcribed && !clip.words.empty());
        EXPECT_EQ(QSize(clip.width, clip.height), QSize(1280, 720));
    }
    EXPECT_NEAR(project.clips[0].faceX.value_or(-1), 263.0 / 1280, 0.04);
    EXPECT_NEAR(project.clips[1].faceX.value_or(-1), 943.0 / 1280, 0.04);
    EXPECT_EQ(project.settings.spokenLanguage, "en-US");

    // Cut the line that asks for the report; put a pop-up on the first line.
    const std::vector<editor::Line> all = editor::lines(project.clips);
    const auto cutLine = std::ranges::find_if(
        all, [](const editor::Line& line) { return line.text.contains("report"); });
    ASSERT_NE(cutLine, all.end()) << "the transcriber did not hear the report line";
    project.cut = {cutLine->id};
    project.hook = "Two talks";
    project.settings.progressBar = true;
    const QString target = folder.filePath("out/Two talks.mp4");
    QDir().mkpath(folder.filePath("out"));
    RenderOptions half;
    half.scale = 0.5;
    const Status exported = renderer->exportVideo(project, target, half);
    ASSERT_TRUE(exported) << exported.error().message.toStdString();
    EXPECT_EQ(QDir(folder.filePath("out")).entryList(QDir::Files | QDir::Hidden),
              QStringList{"Two talks.mp4"});
    const editor::Timeline timeline(segments(project, all));
    {
        // Of the edit's length, so without the cut line.
        SCOPED_TRACE("a vertical MP4");
        const auto probe = [&](const QString& entries) {
            return QString::fromUtf8(runTool("ffprobe", {"-v", "error", "-show_entries", entries,
                                                         "-of", "csv=p=0", target}))
                .split('\n', Qt::SkipEmptyParts);
        };
        EXPECT_EQ(probe("stream=codec_name,width,height,pix_fmt,sample_rate"),
                  QStringList({"h264,540,960,yuv420p", "aac,48000"}));
        for (const QString& duration : probe("stream=duration")) {
            EXPECT_NEAR(duration.toDouble(), makePlan(project).total, 1.0 / kFrameRate);
        }
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
                pictureOf(target, std::max(middle, 3.2), folder.filePath("face.png"));
            EXPECT_EQ(picture.size(), QSize(540, 960));
            const auto x = faceIn(picture);
            ASSERT_TRUE(x) << "no face at " << middle << " s of clip " << clip;
            EXPECT_GT(*x, 1.0 / 3) << "clip " << clip;
            EXPECT_LT(*x, 2.0 / 3) << "clip " << clip;
        }
    }
    {
        SCOPED_TRACE("a caption is read back in the middle of its cue");
        const auto cues = editor::captions(project, timeline, all);
        const auto cue = std::ranges::find_if(cues, [](const editor::CaptionCue& c) {
            return c.words.size() == 3 && c.words.join("").size() >= 12;
        });
        ASSERT_NE(cue, cues.end());
        const QImage picture =
            pictureOf(target, (cue->start + cue->end) / 2, folder.filePath("cue.png"));
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
            runTool("tesseract", {folder.filePath("band.png"), "stdout", "--psm", "6"}));
        for (const QString& word : cue->words) {
            const QString plain = testing::spokenWords(word).join("");
            EXPECT_TRUE(testing::spokenWords(read).contains(plain))
                << plain.toStdString() << " not in: " << read.toStdString();
        }
    }
}

// A clip of a steady tone with made-up words, so that cuts fall in the middle of the sound.
editor::EditProject toneProject(const QString& path, double duration) {
    editor::SourceClip clip =
        testing::clipOf({{0.5, 0.9, "One."}, {2.0, 2.4, "Two."}, {2.5, 2.9, "Three."}}, duration);
    clip.path = path;
    clip.width = 1280;
    clip.height = 720;
    clip.transcribed = true;
    return testing::projectOf({clip});
}

double peak(const std::vector<float>& s, double from, double to) {
    float most = 0;
    for (auto i = size_t(std::max(0.0, from * 48000)); i < std::min(s.size(), size_t(to * 48000));
         ++i)
        most = std::max(most, std::abs(s[i]));
    return most;
}

// The export's sound and the preview's are faded at a cut and whole across a join.
TEST_F(RenderTest, TheSoundFadesAtCutsAndNotAtJoinsInTheExportAndThePreview) {
    editor::EditProject project = toneProject(media.tone("tone.m4a", 4), 4);
    project.clips[0].width = project.clips[0].height = 0;  // sound alone: drawn black
    project.settings.captions = false;
    const RenderPlan plan = makePlan(project, 0.1);
    ASSERT_EQ(plan.pieces.size(), 3u);
    const double cut = plan.pieces[1].outputStart;   // a cut: the tone jumps 0.92 s
    const double join = plan.pieces[2].outputStart;  // lines two and three play back to back
    const auto fades = [&](const std::vector<float>& sound) {
        const double full = peak(sound, 0.1, 0.3);
        ASSERT_GT(full, 0.05);  // the generator's tone is at an eighth of full scale
        EXPECT_LT(peak(sound, cut - 0.0015, cut + 0.0015), 0.25 * full) << "the cut is not faded";
        EXPECT_GT(peak(sound, cut - 0.03, cut - 0.02), 0.8 * full);
        EXPECT_GT(peak(sound, cut + 0.02, cut + 0.03), 0.8 * full);
        EXPECT_GT(peak(sound, join - 0.0015, join + 0.0015), 0.8 * full) << "a join is faded";
        EXPECT_LT(peak(sound, 0, 0.001), 0.25 * full) << "the start is not faded in";
    };

    const QString target = folder.filePath("tone-cuts.mp4");
    RenderOptions options;
    options.scale = 0.1;
    ASSERT_TRUE(renderer->exportVideo(project, target, options));
    const QByteArray raw = runTool("ffmpeg", QStringList{"-v", "error", "-i", target} +
                                                 testing::args("-ac 1 -ar 48000 -f f32le -"));
    std::vector<float> exported(size_t(raw.size()) / sizeof(float));
    std::memcpy(exported.data(), raw.constData(), exported.size() * sizeof(float));
    {
        SCOPED_TRACE("export");
        fades(exported);
    }

    PlanSound sound(plan);
    EXPECT_EQ(sound.length(), sampleAt(plan.total));
    const int whole = int(sound.length()) + 4800;  // and a tenth of a second after the end
    std::vector<float> left(static_cast<size_t>(whole)), right(static_cast<size_t>(whole));
    ASSERT_TRUE(sound.read(0, whole, left.data(), right.data()));
    EXPECT_EQ(left, right);  // the mono tone on both sides
    {
        SCOPED_TRACE("preview");
        fades(left);
    }
    EXPECT_EQ(peak(left, plan.total + 0.001, plan.total + 0.1), 0.0) << "sound past the end";
}

// An edit with every line cut exports nothing, and leaves nothing behind.
TEST_F(RenderTest, AnEditWithEveryLineCutExportsNothing) {
    editor::EditProject allCut = toneProject(media.tone("tone.wav", 4), 4);
    allCut.cut = {"1F0C7A2B:0", "1F0C7A2B:1", "1F0C7A2B:2"};
    QDir().mkpath(folder.filePath("out"));
    const Status made = renderer->exportVideo(allCut, folder.filePath("out/video.mp4"), {});
    ASSERT_FALSE(made);
    EXPECT_EQ(made.error().code, kNothingKept);
    EXPECT_EQ(QDir(folder.filePath("out")).entryList(QDir::Files | QDir::Hidden), QStringList());
}

}  // namespace
}  // namespace pelix::render
