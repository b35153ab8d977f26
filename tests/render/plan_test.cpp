#include "render/AssScript.h"
#include "render/FaceFinder.h"
#include "render/RenderPlan.h"

#include "editor/EditorTestSupport.h"

#include <QRegularExpression>

namespace pelix::render {
namespace {

using pelix::testing::clipOf;
using pelix::testing::evenClip;
using pelix::testing::projectOf;

QString show(const QRectF& r) {
    return QString("%1,%2 %3×%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

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
    const QSize reel(1080, 1920), wide(1920, 1080);
    const std::tuple<QSize, QPointF, double, QString> cases[] = {
        {wide, {0.5, 0.5}, 1, "656.25,0 607.5×1080"},  // the whole height, around the middle
        {wide, {0.25, 0.5}, 1, "176.25,0 607.5×1080"},
        // A face near the edge: the crop stops at the edge rather than showing beyond it.
        {wide, {0.02, 0.5}, 1, "0,0 607.5×1080"},
        {wide, {1, 0.5}, 1, "1312.5,0 607.5×1080"},
        {wide, {0.5, 0.5}, 1.25, "717,108 486×864"},     // a punch-in shrinks it about its centre
        {wide, {0.5, 0.5}, 0.5, "656.25,0 607.5×1080"},  // below 1 would show beyond the picture
        {reel, {0.5, 0.5}, 1, "0,656.25 1080×607.5"},    // a tall picture in a wide format
    };
    for (const auto& [source, centre, zoom, crop] : cases) {
        const QSize output = source == wide ? reel : wide;
        EXPECT_EQ(show(cropRect(source, output, centre, zoom)), crop) << crop.toStdString();
    }
}

// Three lines of one clip.
editor::EditProject threeLines() {
    editor::EditProject project =
        projectOf({clipOf({{0.5, 0.9, "One."}, {2.0, 2.4, "Two."}, {2.5, 2.9, "Three."}}, 10)});
    project.clips[0].width = 1920;
    project.clips[0].height = 1080;
    return project;
}

// A piece's zoom (eased from → to), centre and fades ("<" in, ">" out).
QString show(const std::vector<Piece>& pieces) {
    QStringList shown;
    for (const Piece& p : pieces) {
        const QString zoom = QString::number(p.zoomFrom) + "→" + QString::number(p.zoom);
        const QString centre = QString::number(p.centre.x()) + "," + QString::number(p.centre.y());
        shown << zoom + " " + centre + " " + (p.fadeIn ? "<" : "-") + (p.fadeOut ? ">" : "-");
    }
    return shown.join(" | ");
}

TEST(Plan, PiecesCarryZoomsFramingAndFades) {
    editor::EditProject project = threeLines();
    project.keywords["1F0C7A2B:1"] = "Two";
    project.clips[0].faceX = 0.3;
    // A second clip framed by hand, which wins over its face, and whose pop-up starts at its own
    // zoom rather than easing from the first clip's; a third framed out of range, kept within
    // the picture; a fourth with neither, centred.
    editor::SourceClip second = clipOf({{0.5, 0.9, "Again."}}, 5, 1);
    second.faceX = 0.2;
    second.framing = editor::Framing{0.7, 0.4, 1.3};
    editor::SourceClip third = clipOf({{0.5, 0.9, "Last."}}, 5, 2);
    third.framing = editor::Framing{1.7, -1, 0.2};
    project.clips.insert(project.clips.end(),
                         {second, third, clipOf({{0.5, 0.9, "Plain."}}, 5, 3)});
    project.keywords[QString(editor::upperUuid(second.id).left(8)) + ":0"] = "Again";
    const RenderPlan plan = makePlan(project, 0.5);
    EXPECT_EQ(plan.size, QSize(540, 960));
    // Lines two and three play back to back (0.1 s apart at pace tight): no fade between them.
    // Lines at odd places without a pop-up punch in by 1.1, times the clip's own zoom.
    EXPECT_EQ(show(plan.pieces),
              "1→1 0.3,0.5 <> | 1→1.18 0.3,0.5 <- | 1.18→1 0.3,0.5 -> | "
              "1.534→1.534 0.7,0.4 <> | 1→1 1,0 <> | 1.1→1.1 0.5,0.5 <>");
    const Piece& two = plan.pieces[1];
    EXPECT_DOUBLE_EQ(two.outputStart, plan.pieces[0].outputEnd);
    EXPECT_DOUBLE_EQ(plan.total, plan.pieces[5].outputEnd);
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

TEST(FaceFinding, OneStrayDetectionNeitherSetsNorMovesTheFraming) {
    using Seen = std::vector<std::optional<double>>;
    const std::optional<double> no;
    const std::pair<Seen, std::optional<double>> cases[] = {
        {{}, no},
        {{no, no, 0.9, no, no, no, no, no, no, no, no, no}, no},        // one stray face in twelve
        {{0.3, 0.3, no, no, no, no, no, no, no, no, no, no}, no},       // two: below a quarter
        {{0.3, no, 0.32, no, no, 0.31, no, no, no, no, no, no}, 0.31},  // three of twelve
        {{0.3, 0.31, 0.9, 0.3, 0.29, 0.3, 0.31}, 0.3},  // a stray among steady faces
        {{0.2, 0.4, 0.3, 0.5}, 0.35},                   // an even count takes the middle two
    };
    for (const auto& [seen, x] : cases) {
        SCOPED_TRACE(seen.size());
        const FaceFinding found = steadyFace(seen);
        EXPECT_EQ(found.x.has_value(), x.has_value());
        EXPECT_NEAR(found.x.value_or(0), x.value_or(0), 1e-9);
        EXPECT_EQ(found.sampled, int(seen.size()));
    }

    // The box is the median of the boxes seen, its centre the median of the centres.
    using Box = std::optional<QRectF>;
    const std::vector<Box> boxes{QRectF(0.30, 0.20, 0.10, 0.20), std::nullopt,
                                 QRectF(0.32, 0.22, 0.10, 0.20), QRectF(0.90, 0.80, 0.05, 0.05),
                                 QRectF(0.31, 0.21, 0.12, 0.22), QRectF(0.31, 0.21, 0.11, 0.21)};
    const FaceFinding found = steadyFace(boxes);
    ASSERT_TRUE(found.x && found.box);
    EXPECT_EQ(show(*found.box), "0.31,0.21 0.11×0.21");
    EXPECT_NEAR(*found.x, 0.37, 1e-9);
    EXPECT_FALSE(steadyFace(std::vector<Box>{QRectF(0.3, 0.2, 0.1, 0.1), {}, {}, {}, {}}).box);
}

QString script(const editor::EditProject& project) {
    const std::vector<editor::Line> all = editor::lines(project.clips);
    return assScript(project, editor::Timeline(editor::segments(project, all)), all,
                     QSize(1080, 1920));
}
QStringList events(const editor::EditProject& project) {
    return script(project).split('\n').filter(QRegularExpression("^Dialogue:"));
}

TEST(Overlay, BoldCaptionsLightTheWordBeingSpoken) {
    editor::EditProject project = projectOf({evenClip({"one", "two", "three"}, 0.3, 0.1)});
    const QStringList bold = events(project);
    ASSERT_EQ(bold.size(), 3);  // one event per word, back to back
    EXPECT_TRUE(bold[0].endsWith(",Bold,,0,0,0,,{\\1c&H00D4FF&}one{\\1c&HFFFFFF&} two three"));
    EXPECT_TRUE(bold[1].endsWith("one {\\1c&H00D4FF&}two{\\1c&HFFFFFF&} three"));
    EXPECT_EQ(bold[0].section(',', 2, 2), bold[1].section(',', 1, 1));

    project.settings.captionStyle = editor::CaptionStyle::clean;
    const QStringList clean = events(project);
    ASSERT_EQ(clean.size(), 1);
    EXPECT_TRUE(clean[0].endsWith(",Clean,,0,0,0,,one two three"));
    project.settings.captions = false;
    EXPECT_TRUE(events(project).isEmpty());

    project = projectOf({evenClip({"hello", "world."}, 0.3, 0.1)});
    project.settings.captionLanguage = editor::CaptionLanguage::zhHans;
    project.translations["zh-Hans"]["1F0C7A2B:0"] = "你好 世界";
    const QStringList chinese = events(project);
    ASSERT_EQ(chinese.size(), 1);
    EXPECT_TRUE(chinese[0].endsWith(QStringLiteral("{\\fn%1}你好世界").arg(kCjkFont)))
        << "unspaced, in a CJK font";
}

TEST(Overlay, StylesFollowSizeAndPosition) {
    editor::EditProject project = projectOf({evenClip({"one"}, 0.3, 0.1)});
    // A style's size, alignment and margin from the bottom, or its border style.
    auto style = [&](const char* name, std::initializer_list<int> fields) {
        const QStringList line = script(project)
                                     .split('\n')
                                     .filter(QStringLiteral("Style: %1,").arg(name))
                                     .value(0)
                                     .split(',');
        QStringList picked;
        for (const int field : fields) picked << line.value(field);
        return picked.join(' ');
    };
    // 7.5% of the width, bottom centre, a fifth of the height up; clean captions on a box.
    EXPECT_EQ(style("Bold", {2, 18, 21}), "81 2 384");
    EXPECT_EQ(style("Clean", {15}), "3");
    project.settings.captionSize = 1.6;
    project.settings.captionPosition = editor::CaptionPosition::middle;
    EXPECT_EQ(style("Bold", {2, 18, 21}), "130 5 0");
}

TEST(Overlay, HookPopUpsAndProgressBar) {
    editor::EditProject project = threeLines();
    project.settings.captions = false;
    project.hook = "Watch {this}\\now";
    project.keywords["1F0C7A2B:1"] = "Two";
    project.settings.progressBar = true;
    const QStringList found = events(project);
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
    const QRectF under(340, 500, 400, 600), filling(0, 100, 1080, 1500);
    const std::tuple<QSize, std::optional<QRectF>, double, QPointF> cases[] = {
        // No face, or a face below or above the phrase's band: the middle at a third.
        {reel, std::nullopt, 0, {540, 652.8}},
        {reel, QRectF(340, 760, 400, 500), 0, {540, 652.8}},
        {reel, QRectF(340, 100, 400, 450), 0, {540, 652.8}},
        {wide, QRectF(1500, 200, 300, 400), 0, {960, 367.2}},  // beside it on a wide picture
        {reel, under, 0, {540, 500 - 0.02 * 1920 - 60}},       // just above the face
        // A punched-in face with no room above: just below it.
        {reel, QRectF(200, 150, 680, 800), 0, {540, 950 + 0.02 * 1920 + 60}},
        {reel, filling, 0, {540, 0.04 * 1920 + 60}},  // a face filling the picture: at the top
        // The hook (its bottom at 400) above the face: below the face; no room: under the hook.
        {reel, under, 400, {540, 1100 + 0.02 * 1920 + 60}},
        {reel, filling, 400, {540, 400 + 60}},
    };
    for (const auto& [size, face, clearBelow, want] : cases) {
        const QPointF at = popUpPlace(size, QSizeF(600, 120), face, clearBelow);
        EXPECT_NEAR(at.x(), want.x(), 0.01) << want.y();
        EXPECT_NEAR(at.y(), want.y(), 0.01) << want.y();
    }
}

TEST(PopUpPlace, TheFaceIsWhereTheFramingPutsIt) {
    const QSize source(1920, 1080), reel(1080, 1920);
    const auto seen = [&](double zoom, const QRectF& face) {
        const auto in = faceInPicture(source, reel, {0.5, 0.5}, zoom, face);
        return in ? show(*in) : QString("none");
    };
    // 192 × 216 pixels around the centre. Unzoomed, the crop is 607.5 × 1080 and fills
    // 1080 × 1920: 16/9 times larger; a punch-in about the centre makes it larger by the zoom.
    EXPECT_EQ(seen(1, QRectF(0.45, 0.3, 0.1, 0.2)), "369.333,576 341.333×384");
    EXPECT_EQ(seen(1.25, QRectF(0.45, 0.3, 0.1, 0.2)), "326.667,480 426.667×480");
    // A face outside the crop is not in the picture; one across its edge is cut there.
    EXPECT_EQ(seen(1, QRectF(0.05, 0.3, 0.1, 0.2)), "none");
    EXPECT_EQ(seen(1, QRectF(0.3, 0.3, 0.1, 0.2)), "0,576 198.667×384");
}

TEST(PopUpPlace, TheExportsPopUpLeavesTheFaceAfterAPunchIn) {
    editor::EditProject project = threeLines();
    project.settings.captions = false;
    project.keywords["1F0C7A2B:1"] = "Two";
    project.clips[0].faceX = 0.5;
    // A speaker close to the camera: the face over the middle third of the height.
    project.clips[0].faceBox = QRectF(0.4, 0.25, 0.2, 0.4);
    const RenderPlan plan = makePlan(project);
    const QString pop = plan.overlay.split('\n').filter(",Pop,").value(0);
    const int from = int(pop.indexOf("\\pos(")) + 5;
    const double y = pop.mid(from, pop.indexOf(')', from) - from).section(',', 1, 1).toDouble();
    // Where the face is at the punch-in's full zoom of 1.18.
    const auto face = faceInPicture(QSize(1920, 1080), plan.size, plan.pieces[1].centre,
                                    plan.pieces[1].zoom, *project.clips[0].faceBox);
    ASSERT_TRUE(face && from > 4) << pop.toStdString();
    EXPECT_TRUE(y < face->top() || y > face->bottom())
        << y << " within " << face->top() << "–" << face->bottom();
    // Without a face box the phrase stays where it always was.
    project.clips[0].faceBox.reset();
    EXPECT_TRUE(makePlan(project).overlay.split('\n').filter(",Pop,").value(0).contains(
        QStringLiteral("\\pos(540,%1)").arg(std::lround(0.34 * 1920))));
}

// The sound of each piece in samples: cut pieces start at their own source time and fade; a
// piece that continues the one before takes its sound from exactly where that one stopped.
TEST(Sound, PiecesMapOutputSamplesToTheSourceWithoutSeams) {
    RenderPlan plan;
    const auto piece = [](int clip, double from, double to, double at, bool in, bool out) {
        return Piece{clip, from, to, at, at + (to - from), 1, 1, {0.5, 0.5}, in, out};
    };
    plan.pieces = {piece(0, 1.00002, 2.00001, 0, true, false),
                   piece(0, 2.00001, 3.0, 0.99999, false, true),
                   piece(1, 0.5, 0.51, 1.99998, true, true)};
    const std::vector<SoundPiece> sounds = soundPieces(plan);
    // Rounded on its own, 2.00001 s is sample 96000, which the piece before played already.
    EXPECT_EQ(sounds, (std::vector<SoundPiece>{{0, 0, 48000, 48001, true, false},
                                               {0, 48000, 47999, 96001, false, true},
                                               {1, 95999, 480, 24000, true, true}}));
    ASSERT_EQ(sounds.size(), 3u);

    const int ramp = int(std::lround(kFade * kSampleRate));
    const std::tuple<const char*, int, int64_t, float> gains[] = {
        {"a cut's first sample is silent", 0, 0, 0.0f},
        {"half way up the fade", 0, ramp / 2, 0.5f},
        {"after the fade", 0, ramp, 1.0f},
        {"no fade out into a continuation", 0, 47999, 1.0f},
        {"no fade in from the piece before", 1, 0, 1.0f},
        {"the last sample before a cut is silent", 1, 47998, 0.0f},
        {"a short piece fades over half its length each way", 2, 240, 239.0f / 240},
        {"…and is silent at its ends", 2, 479, 0.0f},
    };
    for (const auto& [what, i, at, gain] : gains) {
        EXPECT_NEAR(sounds[size_t(i)].gain(at), gain, 1e-6) << what;
    }
}

}  // namespace
}  // namespace pelix::render
