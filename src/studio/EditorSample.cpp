#include "studio/EditorSample.h"

#include "core/Sentences.h"
#include "editor/SampleProject.h"
#include "editor/Timeline.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"
#include "studio/PreviewPane.h"
#include "studio/PreviewPlayer.h"
#include "ui/Theme.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace pelix::studio {

namespace {

// Keeps the model and its timers as long as the window that draws them.
class SampleHolder final : public QObject {
public:
    explicit SampleHolder(QObject* parent) : QObject(parent) {}
    core::QtTimers timers;
    EditorModel model{timers, nullptr};
};

editor::ProjectStore::Entry entry(const char* name, int day, bool mediaMissing) {
    editor::ProjectStore::Entry e;
    e.name = QString::fromUtf8(name);
    e.file = e.name + QStringLiteral(".json");
    e.modified = QDateTime(QDate(2026, 11, day), QTime(9 + day % 8, 15), Qt::UTC);
    e.mediaMissing = mediaMissing;
    return e;
}

// A picture of the edit as the preview shows it, drawn by hand since the sample has no media:
// the speaker, the hook at the top and a caption with its spoken word in yellow.
QImage samplePicture() {
    namespace theme = ui::theme;
    QImage picture(PreviewPane::kWidth, PreviewPane::kPictureHeight, QImage::Format_RGB32);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient wall(0, 0, 0, picture.height());
    wall.setColorAt(0, QColor(0x4a, 0x55, 0x6e));
    wall.setColorAt(1, QColor(0x1d, 0x22, 0x2e));
    painter.fillRect(picture.rect(), wall);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xc9, 0x9a, 0x7c));
    painter.drawEllipse(QRectF(97, 185, 76, 96));
    painter.setBrush(QColor(0x2f, 0x3b, 0x52));
    QPainterPath shoulders;
    shoulders.moveTo(40, 480);
    shoulders.cubicTo(40, 250, 230, 250, 230, 480);
    painter.drawPath(shoulders);

    QFont hook = theme::font(theme::Type::title);
    hook.setPixelSize(15);
    painter.setFont(hook);
    const QString hookText = QStringLiteral("One honest story");
    const int hookWidth = painter.fontMetrics().horizontalAdvance(hookText) + 20;
    const QRect hookBox((picture.width() - hookWidth) / 2, 40, hookWidth, 28);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(hookBox, 6, 6);
    painter.setPen(QColor(0x16, 0x16, 0x1b));
    painter.drawText(hookBox, Qt::AlignCenter, hookText);

    QFont caption = theme::font(theme::Type::display);
    caption.setPixelSize(22);
    caption.setBold(true);
    const QStringList words{QStringLiteral("Take"), QStringLiteral("time"), QStringLiteral("for"),
                            QStringLiteral("the")};
    const QFontMetrics metrics(caption);
    const int space = metrics.horizontalAdvance(QLatin1Char(' '));
    int width = -space;
    for (const QString& word : words) width += metrics.horizontalAdvance(word) + space;
    double x = (picture.width() - width) / 2.0;
    for (int i = 0; i < words.size(); ++i) {
        QPainterPath text;
        text.addText(x, 384, caption, words[i]);
        painter.strokePath(
            text, QPen(QColor(0x10, 0x10, 0x14), 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.fillPath(text, i == 1 ? QColor(0xff, 0xd6, 0x2e) : QColor(Qt::white));
        x += metrics.horizontalAdvance(words[i]) + space;
    }
    return picture;
}

}  // namespace

std::unique_ptr<QWidget> sampleEditorWindow() {
    auto holder = std::make_unique<SampleHolder>(nullptr);
    editor::EditProject project = editor::sampleProject(420, 2, 7);
    project.name = QStringLiteral("Start with one honest story");
    project.settings.captions = true;
    const std::vector<editor::Line> spoken = editor::lines(project.clips);
    project.cut.insert(spoken[0].id);
    project.cut.insert(spoken[1].id);
    project.fixes[spoken[3].id] = QStringLiteral("Want to build it? Take time for the story.");
    project.keywords[spoken[5].id] = QStringLiteral("honest every");
    project.settings.targetSeconds = 60;
    project.chat = {
        {core::sentences::kFirstPassDone, false},
        {QStringLiteral("Make it snappier and cut the intro"), true},
        {QStringLiteral("Cut the first two lines and tightened the pace."), false},
    };
    holder->model.open(std::move(project));
    auto window = std::make_unique<EditorWindow>(holder->model);
    window->showVideos({entry("Start with one honest story", 21, false),
                        entry("Camera light in five minutes", 18, false),
                        entry("Why your next video starts here", 12, true)});
    window->preview()->player().showPicture(samplePicture());
    // As a laptop with a 1280×720 screen shows it, maximised.
    window->resize(1280, 720);
    holder.release()->setParent(window.get());
    return window;
}

}  // namespace pelix::studio
