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
    EXPECT_EQ(plan.pieceAt(two.outputStart), 1);
    EXPECT_EQ(plan.pieceAt(plan.total), -1);

    // The ease: from the zoom before to the new one within kZoomEase, never past it.
    EXPECT_DOUBLE_EQ(two.zoomAt(two.outputStart), 1.0);
    EXPECT_NEAR(two.zoomAt(two.outputStart + kZoomEase / 2), 1.135, 0.045);
    EXPECT_DOUBLE_EQ(two.zoomAt(two.outputStart + kZoomEase), 1.18);
}

TEST(FaceFinding, OneStrayDetectionNeitherSetsNorMovesTheFraming) {
    using Seen = std::vector<std::optional<double>>;
    const std::optional<double> no;
    const std::pair<Seen, std::optional<double>> cases[] = {
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

TEST(Overlay, HookAndPopUps) {
    editor::EditProject project = threeLines();
    project.settings.captions = false;
    project.hook = "Watch {this}\\now";
    project.keywords["1F0C7A2B:1"] = "Two";
    const QStringList found = events(project);
    ASSERT_EQ(found.size(), 2);
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
}

// A pop-up keeps clear of the speaker's face: above it when there is room, else below it, never
// into the top edge or the captions' band.
TEST(PopUpPlace, KeepsClearOfTheFace) {
    const QSize reel(1080, 1920);
    const QRectF under(340, 500, 400, 600), filling(0, 100, 1080, 1500);
    const std::tuple<QSize, std::optional<QRectF>, double, QPointF> cases[] = {
        // No face: the middle at a third.
        {reel, std::nullopt, 0, {540, 652.8}},
        {reel, under, 0, {540, 500 - 0.02 * 1920 - 60}},  // just above the face
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

}  // namespace
}  // namespace pelix::render
