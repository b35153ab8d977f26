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

}  // namespace
}  // namespace pelix::render
