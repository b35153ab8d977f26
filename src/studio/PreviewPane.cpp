#include "studio/PreviewPane.h"

#include "core/Sentences.h"
#include "render/RenderPlan.h"
#include "studio/EditorJobs.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"
#include "studio/ExportPath.h"
#include "studio/PreviewPlayer.h"
#include "ui/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

namespace pelix::studio {

namespace theme = ui::theme;

namespace {

// Scrubber steps per second of the edit.
constexpr int kSteps = 10;

// The picture, fitted and centred on black; before the first picture, the shape of the format
// with a line saying why there is none.
class Picture final : public QWidget {
public:
    Picture(EditorModel& model, PreviewPlayer& player, bool drawn)
        : model_(model), player_(player), drawn_(drawn) {
        // As large as the pane is wide; lower when the window is, down to half.
        setMinimumSize(PreviewPane::kWidth / 2, PreviewPane::kPictureHeight / 2);
        setMaximumSize(PreviewPane::kWidth, PreviewPane::kPictureHeight);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    }
    QSize sizeHint() const override { return {PreviewPane::kWidth, PreviewPane::kPictureHeight}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const editor::EditProject& project = model_.project();
        const QSize format = render::formatSize(
            project.settings.format, project.clips.empty() ? QSize()
                                                           : QSize(project.clips.front().width,
                                                                   project.clips.front().height));
        const QRect frame =
            QRect(QPoint(), format.scaled(size(), Qt::KeepAspectRatio))
                .translated((width() - format.scaled(size(), Qt::KeepAspectRatio).width()) / 2, 0);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(frame, theme::kRadiusSmall, theme::kRadiusSmall);
        const QImage& picture = player_.picture();
        if (!picture.isNull() && player_.problem().isEmpty()) {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(frame, picture);
            return;
        }
        painter.setPen(theme::kFaint);
        painter.setFont(theme::font(theme::Type::small));
        QString text = player_.problem();
        if (project.clips.empty()) {
            text = core::sentences::kDropVideosHere;
        } else if (model_.total() <= 0) {
            text = core::sentences::kNothingToShow;
        } else if (text.isEmpty()) {
            text = drawn_ ? core::sentences::kDrawing : core::sentences::kNoPreviewHere;
        }
        painter.drawText(frame.adjusted(theme::kSpace4, 0, -theme::kSpace4, 0),
                         Qt::AlignCenter | Qt::TextWordWrap, text);
    }

private:
    EditorModel& model_;
    PreviewPlayer& player_;
    bool drawn_;
};

}  // namespace

PreviewPane::PreviewPane(EditorModel& model, render::Renderer* renderer, QString exportFolder,
                         std::function<void(const QString&)> showInFolder, QWidget* parent)
    : QWidget(parent),
      model_(model),
      renderer_(renderer),
      exportFolder_(std::move(exportFolder)),
      showInFolder_(std::move(showInFolder)),
      player_(std::make_unique<PreviewPlayer>(renderer, QSize(kWidth, kPictureHeight))) {
    setFixedWidth(kWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(theme::kSpace2);
    auto* heading = new QLabel(QStringLiteral("PREVIEW"));
    theme::setRole(heading, "heading");
    column->addWidget(heading);
    picture_ = new Picture(model_, *player_, renderer_ != nullptr);
    column->addWidget(picture_);

    auto* controls = new QHBoxLayout;
    controls->setSpacing(theme::kSpace2);
    play_ = new QPushButton(QStringLiteral("Play"));
    play_->setObjectName(QStringLiteral("play"));
    play_->setFixedWidth(64);
    connect(play_, &QPushButton::clicked, this, [this] {
        if (player_->playing()) {
            player_->pause();
        } else {
            player_->play();
        }
    });
    // Space plays and pauses anywhere in the window but in a text field, which keeps its spaces.
    auto* space = new QShortcut(QKeySequence(Qt::Key_Space), this);
    space->setContext(Qt::WindowShortcut);
    connect(space, &QShortcut::activated, this, [this] {
        if (play_->isEnabled()) play_->click();
    });
    play_->setToolTip(QStringLiteral("Play or pause (Space)"));
    scrubber_ = new QSlider(Qt::Horizontal);
    scrubber_->setObjectName(QStringLiteral("scrubber"));
    connect(scrubber_, &QSlider::sliderMoved, this,
            [this](int step) { player_->seek(double(step) / kSteps); });
    connect(scrubber_, &QSlider::actionTriggered, this, [this](int action) {
        if (action == QAbstractSlider::SliderMove) return;
        player_->seek(double(scrubber_->sliderPosition()) / kSteps);
    });
    controls->addWidget(play_);
    controls->addWidget(scrubber_, 1);
    column->addLayout(controls);
    time_ = new QLabel;
    time_->setObjectName(QStringLiteral("time"));
    theme::setRole(time_, "muted");
    time_->setFont(theme::font(theme::Type::small));
    column->addWidget(time_);

    column->addSpacing(theme::kSpace2);
    export_ = new QPushButton(QStringLiteral("Export video"));
    theme::setRole(export_, "primary");
    connect(export_, &QPushButton::clicked, this, &PreviewPane::startExport);
    column->addWidget(export_);
    auto* running = new QHBoxLayout;
    progress_ = new QProgressBar;
    progress_->setRange(0, 100);
    progress_->setTextVisible(false);
    progress_->setFixedHeight(6);
    cancel_ = new QPushButton(QStringLiteral("Cancel"));
    connect(cancel_, &QPushButton::clicked, this, &PreviewPane::cancelExport);
    running->addWidget(progress_, 1);
    running->addWidget(cancel_);
    column->addLayout(running);
    show_ = new QPushButton(QStringLiteral("Show in folder"));
    show_->setObjectName(QStringLiteral("showInFolder"));
    connect(show_, &QPushButton::clicked, this, [this] {
        if (showInFolder_ && !exported_.isEmpty()) showInFolder_(exported_);
    });
    column->addWidget(show_);
    status_ = new QLabel;
    theme::setRole(status_, "muted");
    status_->setFont(theme::font(theme::Type::small));
    status_->setWordWrap(true);
    column->addWidget(status_);
    column->addStretch(1);

    connect(player_.get(), &PreviewPlayer::pictureChanged, picture_, qOverload<>(&QWidget::update));
    connect(player_.get(), &PreviewPlayer::positionChanged, this, &PreviewPane::showPosition);
    connect(player_.get(), &PreviewPlayer::durationChanged, this, &PreviewPane::showPosition);
    connect(player_.get(), &PreviewPlayer::playingChanged, this, [this] {
        play_->setText(player_->playing() ? QStringLiteral("Pause") : QStringLiteral("Play"));
    });
    connect(&model_, &EditorModel::changed, this, &PreviewPane::projectChanged);
    projectPending_ = true;
    catchUp();
    showExport();
}

PreviewPane::~PreviewPane() = default;

void PreviewPane::projectChanged() {
    projectPending_ = true;
    schedule();
}

void PreviewPane::showAt(double t) {
    seekPending_ = t;
    schedule();
}

void PreviewPane::schedule() {
    if (scheduled_) return;
    scheduled_ = true;
    QTimer::singleShot(0, this, &PreviewPane::catchUp);
}

void PreviewPane::catchUp() {
    scheduled_ = false;
    if (projectPending_) {
        projectPending_ = false;
        player_->setProject(model_.project(), model_.total());
        picture_->update();
        if (!job_) showExport();
    }
    if (seekPending_) {
        player_->seek(*seekPending_);
        seekPending_.reset();
    }
    showPosition();
}

void PreviewPane::showPosition() {
    const double duration = player_->duration();
    scrubber_->setRange(0, int(std::lround(duration * kSteps)));
    if (!scrubber_->isSliderDown()) {
        scrubber_->setValue(int(std::lround(player_->position() * kSteps)));
    }
    time_->setText(clockText(player_->position()) + QStringLiteral(" / ") + clockText(duration));
    play_->setEnabled(renderer_ && duration > 0);
}

bool PreviewPane::startExport() {
    if (job_ || !renderer_ || model_.total() <= 0) return false;
    auto target = exportPath(model_.project(), exportFolder_);
    if (!target) {
        status_->setText(target.error().message);
        return false;
    }
    exported_.clear();
    job_ = std::make_unique<VideoExport>(*renderer_, model_.project(), *target);
    connect(job_.get(), &VideoExport::progress, progress_, &QProgressBar::setValue);
    connect(job_.get(), &VideoExport::finished, this, [this](const Status& status) {
        const QString target = job_->target();
        job_.release()->deleteLater();
        if (status) {
            exported_ = target;
            status_->setText(core::sentences::exported(target));
        } else {
            status_->setText(status.error().message);
        }
        showExport();
        Q_EMIT exportEnded(exported_);
    });
    progress_->setValue(0);
    status_->setText(core::sentences::kExporting);
    showExport();
    return true;
}

void PreviewPane::cancelExport() {
    if (job_) job_->cancel();
}

void PreviewPane::showExport() {
    const bool running = job_ != nullptr;
    export_->setEnabled(!running && renderer_ && model_.total() > 0);
    progress_->setVisible(running);
    cancel_->setVisible(running);
    show_->setVisible(!running && !exported_.isEmpty());
}

}  // namespace pelix::studio
