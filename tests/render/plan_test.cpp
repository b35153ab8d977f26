#include "render/AssScript.h"
#include "render/FaceFinder.h"
#include "render/RenderPlan.h"

#include "editor/EditorTestSupport.h"

namespace pelix::render {
namespace {

using pelix::testing::clipOf;
using pelix::testing::evenClip;
using pelix::testing::projectOf;

// The sizes that are not a format's constant: a source's own, kept even for 4:2:0; none known;
// and scaled sizes never below two pixels.
TEST(Geometry, OriginalAndScaledSizesStayEven) {
    EXPECT_EQ(formatSize(editor::VideoFormat::original, {1281, 721}), QSize(1280, 720));
    EXPECT_EQ(formatSize(editor::VideoFormat::original, {}), QSize(1080, 1920));
    EXPECT_EQ(formatSize(editor::VideoFormat::reel, {1920, 1080}), QSize(1080, 1920));
    EXPECT_EQ(scaledSize({1080, 1920}, 0.25), QSize(270, 480));
    EXPECT_EQ(scaledSize({1080, 1440}, 0.1), QSize(108, 144));
    EXPECT_EQ(scaledSize({1920, 1080}, 0.001), QSize(2, 2));
}

TEST(Geometry, TheCropKeepsTheOutputsShapeAroundTheCentre) {
    const QSize reel(1080, 1920), source(1920, 1080);
    // The whole height, 607.5 wide, around the middle.
    EXPECT_EQ(cropRect(source, reel, {0.5, 0.5}, 1), QRectF(656.25, 0, 607.5, 1080));
    // Around a face at a quarter of the width.
    EXPECT_EQ(cropRect(source, reel, {0.25, 0.5}, 1), QRectF(176.25, 0, 607.5, 1080));
    // A face near the edge: the crop stops at the edge rather than showing beyond it.
    EXPECT_EQ(cropRect(source, reel, {0.02, 0.5}, 1), QRectF(0, 0, 607.5, 1080));
    EXPECT_EQ(cropRect(source, reel, {1, 0.5}, 1), QRectF(1312.5, 0, 607.5, 1080));
    // A punch-in shrinks the crop about its centre.
    const QRectF zoomed = cropRect(source, reel, {0.5, 0.5}, 1.25);
    EXPECT_DOUBLE_EQ(zoomed.width(), 486);
    EXPECT_DOUBLE_EQ(zoomed.height(), 864);
    EXPECT_EQ(zoomed.center(), QPointF(960, 540));
    // A zoom below 1 would show beyond the picture: it counts as 1.
    EXPECT_EQ(cropRect(source, reel, {0.5, 0.5}, 0.5), cropRect(source, reel, {0.5, 0.5}, 1));
    // A tall picture in a wide format loses its top and bottom.
    EXPECT_EQ(cropRect(QSize(1080, 1920), QSize(1920, 1080), {0.5, 0.5}, 1),
              QRectF(0, 656.25, 1080, 607.5));
}

// Three lines of one clip, the middle one with a pop-up phrase.
editor::EditProject threeLines() {
    editor::EditProject project =
        projectOf({clipOf({{0.5, 0.9, "One."}, {2.0, 2.4, "Two."}, {2.5, 2.9, "Three."}}, 10)});
    project.clips[0].width = 1920;
    project.clips[0].height = 1080;
    return project;
}

TEST(Plan, PiecesCarryZoomsFramingAndFades) {
    editor::EditProject project = threeLines();
    project.keywords["1F0C7A2B:1"] = "Two";
    project.clips[0].faceX = 0.3;
    const RenderPlan plan = makePlan(project, 0.5);
    EXPECT_EQ(plan.size, QSize(540, 960));
    ASSERT_EQ(plan.pieces.size(), 3u);
    const Piece& one = plan.pieces[0];
    const Piece& two = plan.pieces[1];
    const Piece& three = plan.pieces[2];
    EXPECT_EQ(one.centre, QPointF(0.3, 0.5));
    EXPECT_DOUBLE_EQ(one.zoomFrom, 1.0);
    EXPECT_DOUBLE_EQ(two.zoom, 1.18);
    EXPECT_DOUBLE_EQ(two.zoomFrom, 1.0);  // eases in from the piece before
    EXPECT_DOUBLE_EQ(three.zoomFrom, 1.18);
    // Lines two and three play back to back (0.1 s apart at pace tight): no fade between them.
    EXPECT_TRUE(one.fadeIn && one.fadeOut);
    EXPECT_TRUE(two.fadeIn);
    EXPECT_FALSE(two.fadeOut);
    EXPECT_FALSE(three.fadeIn);
    EXPECT_TRUE(three.fadeOut);
    EXPECT_DOUBLE_EQ(two.outputStart, one.outputEnd);
    EXPECT_DOUBLE_EQ(plan.total, three.outputEnd);
    EXPECT_EQ(plan.pieceAt(two.outputStart), 1);
    EXPECT_EQ(plan.pieceAt(plan.total), -1);
    EXPECT_EQ(plan.pieceAt(-1), -1);

    // The ease: from the zoom before to the new one within kZoomEase, never past it.
    EXPECT_DOUBLE_EQ(two.zoomAt(two.outputStart), 1.0);
    EXPECT_GT(two.zoomAt(two.outputStart + kZoomEase / 2), 1.09);
    EXPECT_LT(two.zoomAt(two.outputStart + kZoomEase / 2), 1.18);
    EXPECT_DOUBLE_EQ(two.zoomAt(two.outputStart + kZoomEase), 1.18);
    EXPECT_DOUBLE_EQ(two.zoomAt(two.outputEnd), 1.18);
}

TEST(Plan, AFramingByHandWinsOverTheFace) {
    editor::SourceClip clip = testing::clipOf({});
    EXPECT_EQ(framingOf(clip).centre, QPointF(0.5, 0.5));
    clip.faceX = 0.2;
    EXPECT_EQ(framingOf(clip).centre, QPointF(0.2, 0.5));
    clip.framing = editor::Framing{0.7, 0.4, 1.3};
    EXPECT_EQ(framingOf(clip).centre, QPointF(0.7, 0.4));
    EXPECT_DOUBLE_EQ(framingOf(clip).zoom, 1.3);
    clip.framing = editor::Framing{1.7, -1, 0.2};  // out of range: kept within the picture
    EXPECT_EQ(framingOf(clip).centre, QPointF(1, 0));
    EXPECT_DOUBLE_EQ(framingOf(clip).zoom, 1.0);
}

TEST(Plan, ANewClipStartsAtItsOwnZoom) {
    editor::SourceClip second = testing::clipOf({{0.5, 0.9, "Again."}}, 5, 1);
    editor::EditProject project = threeLines();
    project.clips.push_back(second);
    project.keywords[QString(editor::upperUuid(second.id).left(8)) + ":0"] = "Again";
    const RenderPlan plan = makePlan(project);
    ASSERT_EQ(plan.pieces.size(), 4u);
    EXPECT_DOUBLE_EQ(plan.pieces[3].zoom, 1.18);
    EXPECT_DOUBLE_EQ(plan.pieces[3].zoomFrom, 1.18);
    EXPECT_TRUE(plan.pieces[3].fadeIn);
}

TEST(FaceFinding, OneStrayDetectionNeitherSetsNorMovesTheFraming) {
    using Seen = std::vector<std::optional<double>>;
    const std::optional<double> none;
    const struct {
        const char* what;
        Seen seen;
        std::optional<double> want;
    } cases[] = {
        {"nothing looked at", {}, none},
        {"one stray face in twelve",
         {none, none, 0.9, none, none, none, none, none, none, none, none, none},
         none},
        {"two of twelve: below a quarter",
         {0.3, 0.3, none, none, none, none, none, none, none, none, none, none},
         none},
        {"three of twelve",
         {0.3, none, 0.32, none, none, 0.31, none, none, none, none, none, none},
         0.31},
        {"a stray among steady faces", {0.3, 0.31, 0.9, 0.3, 0.29, 0.3, 0.31}, 0.3},
        {"an even count takes the middle two", {0.2, 0.4, 0.3, 0.5}, 0.35},
    };
    for (const auto& c : cases) {
        const FaceFinding found = steadyFace(c.seen);
        EXPECT_EQ(found.x.has_value(), c.want.has_value()) << c.what;
        if (found.x && c.want) {
            EXPECT_NEAR(*found.x, *c.want, 1e-9) << c.what;
        }
        EXPECT_EQ(found.sampled, int(c.seen.size())) << c.what;
    }
}

// The dialogue lines of a script.
QStringList events(const QString& script) {
    QStringList found;
    for (const QString& line : script.split('\n')) {
        if (line.startsWith("Dialogue:")) found << line;
    }
    return found;
}

QString overlayOf(const editor::EditProject& project) {
    const std::vector<editor::Line> all = editor::lines(project.clips);
    return assScript(project, editor::Timeline(editor::segments(project, all)), all,
                     QSize(1080, 1920));
}

TEST(Overlay, BoldCaptionsLightTheWordBeingSpoken) {
    editor::EditProject project =
        testing::projectOf({testing::evenClip({"one", "two", "three"}, 0.3, 0.1)});
    const QStringList bold = events(overlayOf(project));
    ASSERT_EQ(bold.size(), 3);  // one event per word, back to back
    EXPECT_TRUE(bold[0].endsWith(",Bold,,0,0,0,,{\\1c&H00D4FF&}one{\\1c&HFFFFFF&} two three"));
    EXPECT_TRUE(bold[1].endsWith("one {\\1c&H00D4FF&}two{\\1c&HFFFFFF&} three"));
    EXPECT_EQ(bold[0].section(',', 2, 2), bold[1].section(',', 1, 1));

    project.settings.captionStyle = editor::CaptionStyle::clean;
    const QStringList clean = events(overlayOf(project));
    ASSERT_EQ(clean.size(), 1);
    EXPECT_TRUE(clean[0].endsWith(",Clean,,0,0,0,,one two three"));

    project.settings.captions = false;
    EXPECT_TRUE(overlayOf(project).isEmpty());
}

TEST(Overlay, ChineseCaptionsAreUnspacedInACjkFont) {
    editor::EditProject project =
        testing::projectOf({testing::evenClip({"hello", "world."}, 0.3, 0.1)});
    project.settings.captionLanguage = editor::CaptionLanguage::zhHans;
    project.translations["zh-Hans"]["1F0C7A2B:0"] = "你好 世界";
    const QStringList found = events(overlayOf(project));
    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found[0].endsWith(QStringLiteral("{\\fn%1}你好世界").arg(kCjkFont)));
}

TEST(Overlay, StylesFollowSizeAndPosition) {
    editor::EditProject project = testing::projectOf({testing::evenClip({"one"}, 0.3, 0.1)});
    auto style = [&](const char* name) {
        for (const QString& line : overlayOf(project).split('\n')) {
            if (line.startsWith(QStringLiteral("Style: %1,").arg(name))) return line.split(',');
        }
        return QStringList();
    };
    EXPECT_EQ(style("Bold").at(2), "81");    // 7.5% of the width
    EXPECT_EQ(style("Bold").at(18), "2");    // bottom centre
    EXPECT_EQ(style("Bold").at(21), "384");  // a fifth of the height up
    EXPECT_EQ(style("Clean").at(15), "3");   // on a box
    project.settings.captionSize = 1.6;
    project.settings.captionPosition = editor::CaptionPosition::middle;
    EXPECT_EQ(style("Bold").at(2), "130");
    EXPECT_EQ(style("Bold").at(18), "5");
    EXPECT_EQ(style("Bold").at(21), "0");
}

TEST(Overlay, HookPopUpsAndProgressBar) {
    editor::EditProject project = threeLines();
    project.settings.captions = false;
    project.hook = "Watch {this}\\now";
    project.keywords["1F0C7A2B:1"] = "Two";
    project.settings.progressBar = true;
    const QStringList found = events(overlayOf(project));
    ASSERT_EQ(found.size(), 4);
    // The pop-up stays 0.8 s though the word is shorter; upper case; popping in.
    EXPECT_TRUE(found[0].contains(",Pop,")) << found[0].toStdString();
    EXPECT_TRUE(found[0].endsWith("\\t(0,140,\\fscx100\\fscy100)}TWO")) << found[0].toStdString();
    const double total = makePlan(project).total;
    const QStringList pop = found[0].split(',');
    EXPECT_EQ(pop[2], assTime(pop[1].section(':', 2).toDouble() + kPopUpSeconds));
    // The hook over the opening (shorter here: the video is), its braces and backslash defused.
    EXPECT_EQ(found[1], QStringLiteral("Dialogue: 2,0:00:00.00,%1,Hook,,0,0,0,,{\\fad(0,250)}"
                                       "Watch (this)∖now")
                            .arg(assTime(total)));
    // The bar fills by a clip that widens over the whole video.
    EXPECT_TRUE(
        found[3].contains(QStringLiteral("\\clip(0,0,0,1920)\\t(0,%1,\\clip(0,0,1080,1920))")
                              .arg(std::llround(total * 1000))))
        << found[3].toStdString();
    EXPECT_EQ(assTime(3723.456), "1:02:03.46");
}

// A pop-up keeps clear of the speaker's face: above it when there is room, else below it, never
// into the top edge or the captions' band.
TEST(PopUpPlace, KeepsClearOfTheFace) {
    const QSize reel(1080, 1920), wide(1920, 1080);
    const QSizeF text(600, 120);
    const struct {
        const char* what;
        QSize size;
        std::optional<QRectF> face;
        QPointF want;
        double clearBelow = 0;  // the hook's bottom while it shows
    } cases[] = {
        {"no face: the middle at a third", reel, std::nullopt, {540, 652.8}},
        {"a face below the phrase's band", reel, QRectF(340, 760, 400, 500), {540, 652.8}},
        {"a face above it", reel, QRectF(340, 100, 400, 450), {540, 652.8}},
        {"a face beside it on a wide picture", wide, QRectF(1500, 200, 300, 400), {960, 367.2}},
        {"a face under the phrase: just above the face",
         reel,
         QRectF(340, 500, 400, 600),
         {540, 500 - 0.02 * 1920 - 60}},
        {"a punched-in face with no room above: just below it",
         reel,
         QRectF(200, 150, 680, 800),
         {540, 950 + 0.02 * 1920 + 60}},
        {"a face filling the picture: at the top",
         reel,
         QRectF(0, 100, 1080, 1500),
         {540, 0.04 * 1920 + 60}},
        {"the hook above the face: below the face",
         reel,
         QRectF(340, 500, 400, 600),
         {540, 1100 + 0.02 * 1920 + 60},
         400},
        {"the hook and no room anywhere: under the hook",
         reel,
         QRectF(0, 100, 1080, 1500),
         {540, 400 + 60},
         400},
    };
    for (const auto& c : cases) {
        const QPointF at = popUpPlace(c.size, text, c.face, c.clearBelow);
        EXPECT_NEAR(at.x(), c.want.x(), 0.01) << c.what;
        EXPECT_NEAR(at.y(), c.want.y(), 0.01) << c.what;
        if (c.face) {
            const QRectF box(at - QPointF(text.width() / 2, text.height() / 2), text);
            const bool fits = c.face->height() < 0.7 * c.size.height();
            if (fits) {
                EXPECT_FALSE(box.intersects(*c.face)) << c.what;
            }
            EXPECT_LE(box.bottom(), 0.7 * c.size.height() + 0.01) << c.what;
            EXPECT_GE(box.top(), std::max(0.04 * c.size.height(), c.clearBelow) - 0.01) << c.what;
        }
    }
}

TEST(PopUpPlace, TheFaceIsWhereTheFramingPutsIt) {
    const QSize source(1920, 1080), reel(1080, 1920);
    const QRectF middle(0.45, 0.3, 0.1, 0.2);  // 192 × 216 pixels around the centre
    // Unzoomed, the crop is 607.5 × 1080 and fills 1080 × 1920: 16/9 times larger.
    const auto seen = faceInPicture(source, reel, {0.5, 0.5}, 1, middle);
    ASSERT_TRUE(seen);
    EXPECT_NEAR(seen->center().x(), 540, 0.01);
    EXPECT_NEAR(seen->top(), 0.3 * 1920, 0.01);
    EXPECT_NEAR(seen->width(), 192 * 1920.0 / 1080, 0.01);
    // A punch-in about the centre makes it larger by the zoom.
    const auto zoomed = faceInPicture(source, reel, {0.5, 0.5}, 1.25, middle);
    ASSERT_TRUE(zoomed);
    EXPECT_NEAR(zoomed->width(), seen->width() * 1.25, 0.01);
    EXPECT_NEAR(zoomed->center().y(), seen->center().y() * 1.25 - 0.125 * 1920, 0.01);
    // A face outside the crop is not in the picture; one across its edge is cut there.
    EXPECT_FALSE(faceInPicture(source, reel, {0.5, 0.5}, 1, QRectF(0.05, 0.3, 0.1, 0.2)));
    const auto edge = faceInPicture(source, reel, {0.5, 0.5}, 1, QRectF(0.3, 0.3, 0.1, 0.2));
    ASSERT_TRUE(edge);
    EXPECT_NEAR(edge->left(), 0, 0.01);
}

TEST(PopUpPlace, TheExportsPopUpLeavesTheFaceAfterAPunchIn) {
    editor::EditProject project = threeLines();
    project.settings.captions = false;
    project.keywords["1F0C7A2B:1"] = "Two";
    project.clips[0].faceX = 0.5;
    // A speaker close to the camera: the face over the middle third of the height.
    project.clips[0].faceBox = QRectF(0.4, 0.25, 0.2, 0.4);
    const RenderPlan plan = makePlan(project);
    const QStringList found = events(plan.overlay);
    ASSERT_FALSE(found.isEmpty());
    const QString pop = found[0];
    ASSERT_TRUE(pop.contains(",Pop,")) << pop.toStdString();
    const int from = int(pop.indexOf("\\pos(")) + 5;
    const QStringList xy = pop.mid(from, pop.indexOf(')', from) - from).split(',');
    const double y = xy.value(1).toDouble();
    // Where the face is at the punch-in's full zoom of 1.18.
    const auto face = faceInPicture(QSize(1920, 1080), plan.size, plan.pieces[1].centre,
                                    plan.pieces[1].zoom, *project.clips[0].faceBox);
    ASSERT_TRUE(face);
    EXPECT_TRUE(y < face->top() || y > face->bottom())
        << y << " within " << face->top() << "–" << face->bottom();
    // Without a face box the phrase stays where it always was.
    project.clips[0].faceBox.reset();
    EXPECT_TRUE(events(makePlan(project).overlay)[0].contains(
        QStringLiteral("\\pos(540,%1)").arg(std::lround(0.34 * 1920))));
}

TEST(FaceFinding, TheBoxIsTheMedianOfTheFacesSeen) {
    using Box = std::optional<QRectF>;
    const Box none;
    const std::vector<Box> seen{QRectF(0.30, 0.20, 0.10, 0.20), none,
                                QRectF(0.32, 0.22, 0.10, 0.20), QRectF(0.90, 0.80, 0.05, 0.05),
                                QRectF(0.31, 0.21, 0.12, 0.22), QRectF(0.31, 0.21, 0.11, 0.21)};
    const FaceFinding found = steadyFace(seen);
    ASSERT_TRUE(found.x && found.box);
    EXPECT_NEAR(found.box->left(), 0.31, 1e-9);
    EXPECT_NEAR(found.box->top(), 0.21, 1e-9);
    EXPECT_NEAR(found.box->right(), 0.42, 1e-9);
    EXPECT_NEAR(found.box->bottom(), 0.42, 1e-9);
    EXPECT_NEAR(*found.x, 0.37, 1e-9);  // the median of the centres
    EXPECT_FALSE(steadyFace(std::vector<Box>{QRectF(0.3, 0.2, 0.1, 0.1), none, none, none, none,
                                             none, none, none, none})
                     .box);
}

// The sound of each piece in samples: cut pieces start at their own source time and fade; a
// piece that continues the one before takes its sound from exactly where that one stopped.
TEST(Sound, PiecesMapOutputSamplesToTheSourceWithoutSeams) {
    RenderPlan plan;
    const auto piece = [](int clip, double from, double to, double at, bool in, bool out) {
        Piece p;
        p.clip = clip;
        p.sourceStart = from;
        p.sourceEnd = to;
        p.outputStart = at;
        p.outputEnd = at + (to - from);
        p.fadeIn = in;
        p.fadeOut = out;
        return p;
    };
    plan.pieces = {piece(0, 1.00002, 2.00001, 0, true, false),
                   piece(0, 2.00001, 3.0, 0.99999, false, true),
                   piece(1, 0.5, 0.51, 1.99998, true, true)};
    const std::vector<SoundPiece> sounds = soundPieces(plan);
    ASSERT_EQ(sounds.size(), 3u);
    const struct {
        SoundPiece got;
        int clip;
        int64_t outputStart, length, sourceStart;
    } cases[] = {
        {sounds[0], 0, 0, 48000, 48001},
        // Rounded on its own, 2.00001 s is sample 96000, which the piece before played already.
        {sounds[1], 0, 48000, 47999, 96001},
        {sounds[2], 1, 95999, 480, 24000},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.got.clip, c.clip);
        EXPECT_EQ(c.got.outputStart, c.outputStart);
        EXPECT_EQ(c.got.length, c.length);
        EXPECT_EQ(c.got.sourceStart, c.sourceStart);
    }
    EXPECT_EQ(sounds[0].outputStart + sounds[0].length, sounds[1].outputStart);

    const int ramp = int(std::lround(kFade * kSampleRate));
    const struct {
        const char* what;
        const SoundPiece& sound;
        int64_t at;
        float gain;
    } gains[] = {
        {"a cut's first sample is silent", sounds[0], 0, 0.0f},
        {"half way up the fade", sounds[0], ramp / 2, 0.5f},
        {"after the fade", sounds[0], ramp, 1.0f},
        {"no fade out into a continuation", sounds[0], 47999, 1.0f},
        {"no fade in from the piece before", sounds[1], 0, 1.0f},
        {"the last sample before a cut is silent", sounds[1], 47998, 0.0f},
        {"a short piece fades over half its length each way", sounds[2], 240, 239.0f / 240},
        {"…and is silent at its ends", sounds[2], 479, 0.0f},
    };
    for (const auto& g : gains) EXPECT_NEAR(g.sound.gain(g.at), g.gain, 1e-6) << g.what;
}

}  // namespace
}  // namespace pelix::render
