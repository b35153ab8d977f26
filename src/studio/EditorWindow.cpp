#include "studio/EditorWindow.h"

#include "core/Counted.h"
#include "core/Dates.h"
#include "core/Sentences.h"
#include "dictation/LiveDictation.h"
#include "studio/EditorJobs.h"
#include "studio/EditorModel.h"
#include "studio/ExportPath.h"
#include "studio/PreviewPane.h"
#include "studio/PreviewPlayer.h"
#include "ui/Glyphs.h"
#include "ui/Theme.h"

#include <QAbstractItemView>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QDoubleSpinBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QStandardPaths>
#include <QStyledItemDelegate>
#include <QUrl>
#include <QUuid>
#include <QVBoxLayout>

namespace pelix::studio {

namespace theme = ui::theme;

namespace {

enum Role { kCut = Qt::UserRole, kNumber, kKeyword, kFixed };

constexpr int kNumberWidth = 40;
// What the clip chooser offers: what FFmpeg here reads, under the names cameras and phones use.
constexpr auto kVideoFiles =
    "Video files (*.mp4 *.MP4 *.mov *.MOV *.m4v *.mkv *.webm *.avi *.mts *.MTS);;All files (*)";
constexpr int kPad = theme::kSpace2;

// Draws a transcript line: its number, its text (struck through and dimmed when cut, marked when
// corrected) and its pop-up phrase; edits the text in a field.
class LineDelegate final : public QStyledItemDelegate {
public:
    LineDelegate(QListWidget& view, EditorModel& model)
        : QStyledItemDelegate(&view),
          view_(view),
          model_(model),
          body_(theme::font(theme::Type::body)),
          small_(theme::font(theme::Type::small)) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        painter->save();
        const QRect r = option.rect.adjusted(kPad, kPad / 2, -kPad, -kPad / 2);
        if (option.state & QStyle::State_MouseOver) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(theme::kRaised);
            painter->setRenderHint(QPainter::Antialiasing);
            painter->drawRoundedRect(option.rect.adjusted(2, 1, -2, -1), theme::kRadiusSmall,
                                     theme::kRadiusSmall);
        }
        const bool cut = index.data(kCut).toBool();
        painter->setFont(theme::font(theme::Type::small));
        painter->setPen(theme::kFaint);
        painter->drawText(QRect(r.left(), r.top(), kNumberWidth - kPad, lineHeight()),
                          Qt::AlignRight | Qt::AlignVCenter, index.data(kNumber).toString());

        QFont body = theme::font(theme::Type::body);
        body.setStrikeOut(cut);
        painter->setFont(body);
        painter->setPen(cut ? theme::kFaint : theme::kText);
        const QRect textRect = this->textRect(r);
        const QString text = index.data(Qt::DisplayRole).toString();
        const QRect drawn =
            painter->boundingRect(textRect, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop, text);
        painter->drawText(textRect, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop, text);
        if (index.data(kFixed).toBool()) {
            painter->setPen(QPen(theme::kBlue, 1, Qt::DotLine));
            painter->drawLine(textRect.left(), drawn.bottom() + 2, drawn.right(),
                              drawn.bottom() + 2);
        }
        const QString keyword = index.data(kKeyword).toString();
        if (!keyword.isEmpty()) {
            painter->setFont(theme::font(theme::Type::small));
            const QString chip = core::sentences::popUpChip(keyword);
            const int w = painter->fontMetrics().horizontalAdvance(chip) + 2 * theme::kSpace2;
            const QRect chipRect(textRect.left(), drawn.bottom() + theme::kSpace1 + 2, w,
                                 chipHeight());
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(Qt::NoPen);
            QColor fill = theme::kAmber;
            fill.setAlpha(cut ? 24 : 40);
            painter->setBrush(fill);
            painter->drawRoundedRect(chipRect, chipHeight() / 2.0, chipHeight() / 2.0);
            painter->setPen(cut ? theme::kFaint : theme::kAmber);
            painter->drawText(chipRect, Qt::AlignCenter, chip);
        }
        painter->restore();
    }

    // The list lays out every row again whenever one row's data changes, so heights are kept
    // per row and measured again only when the row's text, phrase or the width changed.
    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
        const int width = view_.viewport()->width();
        const QString text = index.data(Qt::DisplayRole).toString();
        const QString keyword = index.data(kKeyword).toString();
        const auto row = size_t(index.row());
        if (measured_.size() <= row) measured_.resize(row + 1);
        Measured& m = measured_[row];
        if (m.width != width || m.text != text || m.keyword != keyword) {
            const QRect r(kPad, 0, width - 2 * kPad, 100000);
            const QRect bounds =
                bodyMetrics().boundingRect(textRect(r), Qt::TextWordWrap | Qt::AlignLeft, text);
            int height = std::max(bounds.height(), lineHeight()) + kPad;
            if (!keyword.isEmpty()) height += chipHeight() + theme::kSpace2;
            m = Measured{text, keyword, width, height + theme::kSpace1};
        }
        return {width, m.height};
    }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex&) const override {
        return new QLineEdit(parent);
    }
    void setEditorData(QWidget* editor, const QModelIndex& index) const override {
        static_cast<QLineEdit*>(editor)->setText(model_.lineText(index.row()));
    }
    void setModelData(QWidget* editor, QAbstractItemModel*,
                      const QModelIndex& index) const override {
        model_.fixLine(index.row(), static_cast<QLineEdit*>(editor)->text());
    }
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex&) const override {
        const QRect r = option.rect.adjusted(kPad, kPad / 2, -kPad, -kPad / 2);
        editor->setGeometry(textRect(r).adjusted(-4, -4, 4, 0).intersected(option.rect));
    }

private:
    struct Measured {
        QString text;
        QString keyword;
        int width = -1;
        int height = 0;
    };

    const QFontMetrics& bodyMetrics() const { return body_; }
    int lineHeight() const { return body_.height(); }
    int chipHeight() const { return small_.height() + theme::kSpace1; }
    static QRect textRect(const QRect& r) { return r.adjusted(kNumberWidth, 0, 0, 0); }

    QListWidget& view_;
    EditorModel& model_;
    QFontMetrics body_;
    QFontMetrics small_;
    mutable std::vector<Measured> measured_;
};

QLabel* label(const QString& text, const char* role = nullptr) {
    auto* l = new QLabel(text);
    if (role) theme::setRole(l, role);
    return l;
}

// The local files among dropped links.
QStringList localFiles(const QMimeData* data) {
    QStringList files;
    if (!data || !data->hasUrls()) return files;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile()) {
            files << url.toLocalFile();
        }
    }
    return files;
}

// Remembers where the last press on the transcript was, so that a click on a line's number can
// be told from a click on its text.
class PressSpy final : public QObject {
public:
    using QObject::QObject;
    int x = -1;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonPress ||
            event->type() == QEvent::MouseButtonRelease) {
            x = int(static_cast<QMouseEvent*>(event)->position().x());
        }
        return false;
    }
};

// The outline over the whole window while files are dragged over it, saying what a drop does.
// Mouse events (drags too) pass through to the window below.
class DropOutline final : public QWidget {
public:
    explicit DropOutline(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("dropHighlight"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        hide();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor wash = theme::kAccent;
        wash.setAlpha(28);
        painter.setBrush(wash);
        painter.setPen(QPen(theme::kAccent, 3, Qt::DashLine));
        painter.drawRoundedRect(QRectF(rect()).adjusted(3, 3, -3, -3), theme::kRadius,
                                theme::kRadius);
        const QString text = core::sentences::kDropToAddClips;
        QFont font = theme::font(theme::Type::title);
        painter.setFont(font);
        const QRect box = painter.fontMetrics().boundingRect(text).adjusted(
            -theme::kSpace6, -theme::kSpace4, theme::kSpace6, theme::kSpace4);
        const QRect centred(rect().center() - box.center(), box.size());
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme::kAccent);
        painter.drawRoundedRect(centred, theme::kRadius, theme::kRadius);
        painter.setPen(theme::kOnAccent);
        painter.drawText(centred, Qt::AlignCenter, text);
    }
};

// A scroll area as tall as what it holds when there is room, and down to a few rows when not.
class FittingScroll final : public QScrollArea {
public:
    QSize sizeHint() const override {
        const QSize inside = widget() ? widget()->sizeHint() : QSize();
        return inside + QSize(verticalScrollBar()->sizeHint().width(), 2 * frameWidth());
    }
    QSize minimumSizeHint() const override { return {sizeHint().width(), kFewRows}; }

private:
    static constexpr int kFewRows = 120;
};

QComboBox* choices(std::initializer_list<const char*> labels) {
    auto* box = new QComboBox;
    int i = 0;
    for (const char* text : labels) box->addItem(QString::fromUtf8(text), i++);
    return box;
}

}  // namespace

QString clockText(double seconds) {
    const int whole = int(std::lround(std::max(0.0, seconds)));
    const int h = whole / 3600, m = whole / 60 % 60, s = whole % 60;
    if (h > 0)
        return QStringLiteral("%1:%2:%3")
            .arg(h)
            .arg(m, 2, 10, QChar('0'))
            .arg(s, 2, 10, QChar('0'));
    return QStringLiteral("%1:%2").arg(m).arg(s, 2, 10, QChar('0'));
}

EditorWindow::EditorWindow(EditorModel& model, EditorTools tools, QWidget* parent)
    : QWidget(parent), model_(model), tools_(std::move(tools)) {
    setWindowTitle(QStringLiteral("Video editor"));
    setMinimumSize(kMinimum);
    QSize initial(kWidth, kHeight);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        initial = initial.boundedTo(screen->availableSize()).expandedTo(kMinimum);
    }
    resize(initial);
    setAutoFillBackground(true);
    setAcceptDrops(true);
    if (tools_.exportFolder.isEmpty()) {
        tools_.exportFolder = defaultExportFolder();
    }
    if (!tools_.showInFolder) {
        tools_.showInFolder = [](const QString& file) {
            QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()));
        };
    }

    auto* root = new QHBoxLayout(this);
    root->setContentsMargins(theme::kSpace4, theme::kSpace4, theme::kSpace4, theme::kSpace4);
    root->setSpacing(theme::kSpace4);

    // The saved videos.
    auto* left = new QVBoxLayout;
    left->setSpacing(theme::kSpace2);
    left->addWidget(label(QStringLiteral("VIDEOS"), "heading"));
    auto* newVideo = new QPushButton(QStringLiteral("New video"));
    theme::setRole(newVideo, "primary");
    connect(newVideo, &QPushButton::clicked, this, [this] {
        this->newVideo();
        Q_EMIT newVideoClicked();
    });
    left->addWidget(newVideo);
    auto* addClips = new QAction(QStringLiteral("Add clips…"), this);
    addClips->setShortcut(QKeySequence::Open);
    addClips->setShortcutContext(Qt::WindowShortcut);
    connect(addClips, &QAction::triggered, this, &EditorWindow::chooseClips);
    addAction(addClips);
    auto* add = new QPushButton(addClips->text());
    add->setObjectName(QStringLiteral("addClips"));
    add->setToolTip(core::sentences::kAddClipsTip);
    connect(add, &QPushButton::clicked, addClips, &QAction::trigger);
    left->addWidget(add);
    videoList_ = new QListWidget;
    videoList_->setContextMenuPolicy(Qt::ActionsContextMenu);
    videoList_->addAction(addClips);
    videoList_->setObjectName(QStringLiteral("videos"));
    videoList_->setFrameShape(QFrame::NoFrame);
    videoList_->setFont(theme::font(theme::Type::small));
    videoList_->setSpacing(2);
    videoList_->setWordWrap(true);
    videoList_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(videoList_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        const size_t i = size_t(videoList_->row(item));
        if (i >= videos_.size() || videos_[i].error) return;
        if (auto project = editor::ProjectStore::open(videos_[i].id)) {
            model_.open(std::move(*project));
        } else {
            status_->setText(project.error().message);
        }
    });
    left->addWidget(videoList_, 1);
    auto* leftBox = new QWidget;
    leftBox->setFixedWidth(200);
    leftBox->setLayout(left);
    left->setContentsMargins(0, 0, 0, 0);
    root->addWidget(leftBox);

    // The transcript.
    auto* middle = new QVBoxLayout;
    middle->setContentsMargins(0, 0, 0, 0);
    middle->setSpacing(theme::kSpace2);
    name_ = new QLabel;
    name_->setWordWrap(true);
    name_->setFont(theme::font(theme::Type::title));
    middle->addWidget(name_);
    totals_ = label({}, "muted");
    totals_->setWordWrap(true);
    middle->addWidget(totals_);
    importing_ = label({}, "muted");
    importing_->setObjectName(QStringLiteral("importing"));
    importing_->setWordWrap(true);
    importing_->hide();
    middle->addWidget(importing_);
    transcript_ = new QListWidget;
    transcript_->setFrameShape(QFrame::NoFrame);
    transcript_->setMouseTracking(true);
    transcript_->setSelectionMode(QAbstractItemView::NoSelection);
    transcript_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    transcript_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // A fixed width for the text, so that line heights measured once stay right.
    transcript_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    transcript_->setResizeMode(QListView::Adjust);
    transcript_->setEditTriggers(QAbstractItemView::EditKeyPressed);
    transcript_->setItemDelegate(new LineDelegate(*transcript_, model_));
    transcript_->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* correct = new QAction(QStringLiteral("Correct the text"), transcript_);
    connect(correct, &QAction::triggered, this, [this] {
        if (QListWidgetItem* item = transcript_->currentItem()) transcript_->editItem(item);
    });
    transcript_->addAction(correct);
    auto* spy = new PressSpy(transcript_);
    transcript_->viewport()->installEventFilter(spy);
    connect(transcript_, &QListWidget::itemClicked, this, [this, spy](QListWidgetItem* item) {
        const int row = transcript_->row(item);
        // A click on the number only shows the line; on the text it also cuts or restores it.
        const int x = spy->x - transcript_->visualItemRect(item).left();
        if (x >= kPad + kNumberWidth) model_.toggleCut(row);
        preview_->showAt(model_.lineOutput(row));
    });
    middle->addWidget(transcript_, 1);
    auto* hint = label(core::sentences::kTranscriptHint, "faint");
    hint->setWordWrap(true);  // the column narrows with the window
    middle->addWidget(hint);
    root->addLayout(middle, 1);

    // The preview and the export.
    preview_ = new PreviewPane(model_, tools_.renderer, tools_.exportFolder, tools_.showInFolder);
    root->addWidget(preview_);

    // Settings and the conversation.
    auto* right = new QVBoxLayout;
    right->setContentsMargins(0, 0, 0, 0);
    right->setSpacing(theme::kSpace2);
    right->addWidget(label(QStringLiteral("SETTINGS"), "heading"));
    settingsCard_ = makeSettings();
    // The settings scroll when the window is too low for all of them and the conversation.
    auto* settingsScroll = new FittingScroll;
    settingsScroll->setObjectName(QStringLiteral("settings"));
    settingsScroll->setWidgetResizable(true);
    settingsScroll->setFrameShape(QFrame::NoFrame);
    settingsScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    settingsScroll->setWidget(settingsCard_);
    settingsScroll->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    right->addWidget(settingsScroll);
    right->addSpacing(theme::kSpace2);
    right->addWidget(label(QStringLiteral("EDIT BY TALKING"), "heading"));
    auto* chatBox = new QWidget;
    chat_ = new QVBoxLayout(chatBox);
    chat_->setContentsMargins(0, 0, 0, 0);
    chat_->setSpacing(theme::kSpace1);
    chat_->addStretch(1);
    chatScroll_ = new QScrollArea;
    chatScroll_->setObjectName(QStringLiteral("chat"));
    chatScroll_->setWidgetResizable(true);
    chatScroll_->setFrameShape(QFrame::NoFrame);
    chatScroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    chatScroll_->setWidget(chatBox);
    chatScroll_->setMinimumHeight(120);
    right->addWidget(chatScroll_, 1);
    status_ = label({}, "muted");
    status_->setWordWrap(true);
    right->addWidget(status_);
    auto* field = new QHBoxLayout;
    instruction_ = new QLineEdit;
    instruction_->setPlaceholderText(core::sentences::kTellTheEditor);
    send_ = new QPushButton(QStringLiteral("Send"));
    send_->setObjectName(QStringLiteral("send"));
    theme::setRole(send_, "primary");
    connect(send_, &QPushButton::clicked, this, &EditorWindow::send);
    connect(instruction_, &QLineEdit::returnPressed, this, &EditorWindow::send);
    mic_ = new QPushButton;
    mic_->setObjectName(QStringLiteral("microphone"));
    mic_->setIcon(ui::glyphIcon(ui::Glyph::microphone, theme::kText));
    mic_->setToolTip(core::sentences::kSayWhatToChangeTip);
    mic_->setCheckable(true);
    connect(mic_, &QPushButton::clicked, this, &EditorWindow::microphone);
    field->addWidget(mic_);
    field->addWidget(instruction_, 1);
    field->addWidget(send_);
    right->addLayout(field);
    auto* rightBox = new QWidget;
    rightBox->setFixedWidth(330);
    rightBox->setLayout(right);
    root->addWidget(rightBox);

    auto* undo = new QShortcut(QKeySequence::Undo, this);
    connect(undo, &QShortcut::activated, &model_, &EditorModel::undo);
    auto* redo = new QShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+Z")), this);
    connect(redo, &QShortcut::activated, &model_, &EditorModel::redo);

    connect(&model_, &EditorModel::changed, this, &EditorWindow::showProject);
    connect(&model_, &EditorModel::busyChanged, this, [this] {
        send_->setEnabled(!model_.busy());
        status_->setText(model_.busy() ? QString(core::sentences::kWorkingOnTheEdit) : QString());
    });
    connect(&model_, &EditorModel::failed, status_, &QLabel::setText);
    // The newest turn of the conversation stays in sight.
    connect(chatScroll_->verticalScrollBar(), &QScrollBar::rangeChanged, this,
            [this](int, int most) { chatScroll_->verticalScrollBar()->setValue(most); });
    dropHighlight_ = new DropOutline(this);
    showProject();
}

EditorWindow::~EditorWindow() {
    if (dictating_ && tools_.dictation) tools_.dictation->cancel(false);
}

void EditorWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (localFiles(event->mimeData()).isEmpty()) return;
    event->acceptProposedAction();
    dropHighlight_->setGeometry(rect());
    dropHighlight_->raise();
    dropHighlight_->show();
}

void EditorWindow::dragLeaveEvent(QDragLeaveEvent*) {
    dropHighlight_->hide();
}

void EditorWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    dropHighlight_->setGeometry(rect());
}

QFileDialog* EditorWindow::chooseClips() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (!QFileInfo(folder).isDir()) folder = QDir::homePath();
    auto* dialog = new QFileDialog(this, QStringLiteral("Add clips"), folder,
                                   QString::fromLatin1(kVideoFiles));
    dialog->setObjectName(QStringLiteral("clipChooser"));
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this,
            [this](const QStringList& files) { addFiles(files); });
    dialog->open();
    return dialog;
}

void EditorWindow::dropEvent(QDropEvent* event) {
    dropHighlight_->hide();
    const QStringList files = localFiles(event->mimeData());
    if (files.isEmpty()) return;
    event->acceptProposedAction();
    addFiles(files);
}

void EditorWindow::newVideo() {
    if (import_) return;
    editor::EditProject project;
    project.id = QUuid::createUuid();
    project.name = QStringLiteral("New video");
    model_.open(std::move(project));
}

bool EditorWindow::addFiles(const QStringList& files) {
    if (files.isEmpty()) return false;
    if (import_) {
        status_->setText(core::sentences::kStillTranscribing);
        return false;
    }
    if (!tools_.engines) {
        status_->setText(core::sentences::kNoClipsWithoutRecognition);
        return false;
    }
    const bool intoOpen = !model_.project().clips.empty();
    const editor::EditSettings settings = model_.project().settings;
    import_ = std::make_unique<ClipImport>(*tools_.engines, files,
                                           settings.spokenLanguage.value_or(QString()));
    importing_->setText(core::sentences::kGettingReady);
    importing_->show();
    connect(import_.get(), &ClipImport::progress, importing_, &QLabel::setText);
    connect(import_.get(), &ClipImport::finished, this,
            [this, intoOpen, settings](const Result<editor::EditProject>& made) {
                import_.release()->deleteLater();
                importing_->hide();
                if (!made) {
                    status_->setText(made.error().message);
                    return;
                }
                if (intoOpen) {
                    model_.addClips(made->clips);
                    return;
                }
                editor::EditProject project = *made;
                project.settings.format = settings.format;
                model_.start(std::move(project));
                // The new video joins the list once it is in the folder.
                connect(&model_, &EditorModel::saved, this, &EditorWindow::refreshVideos,
                        Qt::SingleShotConnection);
                model_.firstPass();
            });
    return true;
}

void EditorWindow::microphone() {
    if (!tools_.dictation) {
        mic_->setChecked(false);
        status_->setText(core::sentences::kRecognitionUnavailable);
        return;
    }
    dictation::LiveDictation& dictation = *tools_.dictation;
    if (dictating_) {
        dictation.stop([this](const QString& text) {
            dictating_ = false;
            mic_->setChecked(false);
            if (!text.isEmpty()) instruction_->setText(text);
            status_->clear();
        });
        return;
    }
    dictation.onText = [this](const QString& text) { instruction_->setText(text); };
    if (const Status started = dictation.start(false); !started) {
        mic_->setChecked(false);
        status_->setText(started.error().message);
        return;
    }
    dictating_ = true;
    mic_->setChecked(true);
    status_->setText(core::sentences::kListeningForChange);
}

QWidget* EditorWindow::makeSettings() {
    auto* card = new QFrame;
    theme::setRole(card, "card");
    auto* form = new QFormLayout(card);
    form->setContentsMargins(theme::kSpace3, theme::kSpace3, theme::kSpace3, theme::kSpace3);
    form->setHorizontalSpacing(theme::kSpace3);
    form->setVerticalSpacing(theme::kSpace1);
    form->setLabelAlignment(Qt::AlignLeft);
    const auto check = [this] {
        auto* box = new QCheckBox;
        connect(box, &QCheckBox::toggled, this, &EditorWindow::settingsEdited);
        return box;
    };
    const auto combo = [this](QComboBox* box) {
        connect(box, &QComboBox::currentIndexChanged, this, &EditorWindow::settingsEdited);
        return box;
    };
    format_ =
        combo(choices({"Instagram Reel", "YouTube Short", "RedNote", "YouTube", "Original size"}));
    format_->setObjectName(QStringLiteral("format"));
    spokenLanguage_ = new QLineEdit;
    spokenLanguage_->setPlaceholderText(QStringLiteral("Detected"));
    connect(spokenLanguage_, &QLineEdit::editingFinished, this, &EditorWindow::settingsEdited);
    captions_ = check();
    captionLanguage_ = combo(new QComboBox);
    captionLanguage_->setObjectName(QStringLiteral("captionLanguage"));
    for (int i = 0; i < int(editor::RawValues<editor::CaptionLanguage>::names.size()); ++i) {
        captionLanguage_->addItem(label(editor::CaptionLanguage(i)), i);
    }
    captionStyle_ = combo(choices({"Bold", "Clean"}));
    captionSize_ = new QDoubleSpinBox;
    captionSize_->setRange(0.6, 1.6);
    captionSize_->setSingleStep(0.1);
    captionSize_->setDecimals(1);
    captionSize_->setSuffix(QStringLiteral("×"));
    connect(captionSize_, &QDoubleSpinBox::valueChanged, this, &EditorWindow::settingsEdited);
    captionPosition_ = combo(choices({"Lower third", "Middle"}));
    visuals_ = check();
    punchIns_ = check();
    keywordPops_ = check();
    hookTitle_ = check();
    progressBar_ = check();
    pace_ = combo(choices({"Natural", "Tight", "Snappy"}));
    removeFillers_ = check();
    target_ = new QDoubleSpinBox;
    target_->setRange(0, 3600);
    target_->setDecimals(0);
    target_->setSingleStep(5);
    target_->setSuffix(QStringLiteral(" s"));
    target_->setSpecialValueText(QStringLiteral("Any length"));
    connect(target_, &QDoubleSpinBox::valueChanged, this, &EditorWindow::settingsEdited);

    form->addRow(QStringLiteral("Format"), format_);
    form->addRow(QStringLiteral("Spoken language"), spokenLanguage_);
    form->addRow(QStringLiteral("Captions"), captions_);
    form->addRow(QStringLiteral("Caption language"), captionLanguage_);
    form->addRow(QStringLiteral("Caption style"), captionStyle_);
    form->addRow(QStringLiteral("Caption size"), captionSize_);
    form->addRow(QStringLiteral("Caption position"), captionPosition_);
    form->addRow(QStringLiteral("Visuals"), visuals_);
    form->addRow(QStringLiteral("Punch-ins"), punchIns_);
    form->addRow(QStringLiteral("Keyword pop-ups"), keywordPops_);
    form->addRow(QStringLiteral("Hook title"), hookTitle_);
    form->addRow(QStringLiteral("Progress bar"), progressBar_);
    form->addRow(QStringLiteral("Pace"), pace_);
    form->addRow(QStringLiteral("Remove filler words"), removeFillers_);
    form->addRow(QStringLiteral("Target length"), target_);
    return card;
}

void EditorWindow::showVideos(const std::vector<editor::ProjectStore::Entry>& videos) {
    videos_ = videos;
    videoList_->clear();
    for (const editor::ProjectStore::Entry& entry : videos_) {
        QString text = entry.error ? entry.file : entry.name;
        text += QLatin1Char('\n') + core::dates::shortDateTime(entry.modified);
        if (entry.error) {
            text += QStringLiteral(" · can't be read");
        } else if (entry.mediaMissing) {
            text += QStringLiteral(" · media missing");
        }
        videoList_->addItem(text);
    }
}

void EditorWindow::refreshVideos() {
    showVideos(editor::ProjectStore::list());
}

void EditorWindow::showProject() {
    const editor::EditProject& project = model_.project();
    name_->setText(project.name);
    const int count = int(model_.lines().size());
    int kept = 0;
    for (int i = 0; i < count; ++i) kept += model_.isCut(i) ? 0 : 1;
    QString totals = QStringLiteral("%1 of %2 kept · length %3")
                         .arg(kept)
                         .arg(core::counted(count, u"line"), clockText(model_.total()));
    if (const auto target = model_.target())
        totals += QStringLiteral(" · target %1").arg(clockText(*target));
    totals_->setText(totals);

    // Items are reused, so a click-cut touches one row's data rather than the whole list.
    while (transcript_->count() > count) delete transcript_->takeItem(transcript_->count() - 1);
    while (transcript_->count() < count) {
        auto* item = new QListWidgetItem(transcript_);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsEditable);
    }
    for (int i = 0; i < count; ++i) {
        QListWidgetItem* item = transcript_->item(i);
        const QString text = model_.lineText(i);
        if (item->text() != text) item->setText(text);
        if (item->data(kNumber).toInt() != i + 1) item->setData(kNumber, i + 1);
        if (item->data(kCut).toBool() != model_.isCut(i)) item->setData(kCut, model_.isCut(i));
        if (item->data(kFixed).toBool() != model_.isFixed(i))
            item->setData(kFixed, model_.isFixed(i));
        const QString keyword = model_.keyword(i);
        if (item->data(kKeyword).toString() != keyword) item->setData(kKeyword, keyword);
    }
    showSettings();
    showChat();
}

void EditorWindow::showSettings() {
    const editor::EditSettings& s = model_.project().settings;
    settingsCard_->setEnabled(!model_.project().clips.empty());
    showing_ = true;
    format_->setCurrentIndex(int(s.format));
    spokenLanguage_->setText(s.spokenLanguage.value_or(QString()));
    captions_->setChecked(s.captions);
    captionLanguage_->setCurrentIndex(int(s.captionLanguage));
    captionStyle_->setCurrentIndex(int(s.captionStyle));
    captionSize_->setValue(s.captionSize);
    captionPosition_->setCurrentIndex(int(s.captionPosition));
    visuals_->setChecked(s.visuals);
    punchIns_->setChecked(s.punchIns);
    keywordPops_->setChecked(s.keywordPops);
    hookTitle_->setChecked(s.hookTitle);
    progressBar_->setChecked(s.progressBar);
    pace_->setCurrentIndex(int(s.pace));
    removeFillers_->setChecked(s.removeFillers);
    target_->setValue(s.targetSeconds.value_or(0));
    showing_ = false;
}

void EditorWindow::settingsEdited() {
    if (showing_) return;
    editor::EditSettings s = model_.project().settings;
    s.format = editor::VideoFormat(format_->currentIndex());
    const QString spoken = spokenLanguage_->text().trimmed();
    s.spokenLanguage = spoken.isEmpty() ? std::nullopt : std::optional<QString>(spoken);
    s.captions = captions_->isChecked();
    s.captionLanguage = editor::CaptionLanguage(captionLanguage_->currentIndex());
    s.captionStyle = editor::CaptionStyle(captionStyle_->currentIndex());
    s.captionSize = captionSize_->value();
    s.captionPosition = editor::CaptionPosition(captionPosition_->currentIndex());
    s.visuals = visuals_->isChecked();
    s.punchIns = punchIns_->isChecked();
    s.keywordPops = keywordPops_->isChecked();
    s.hookTitle = hookTitle_->isChecked();
    s.progressBar = progressBar_->isChecked();
    s.pace = editor::Pace(pace_->currentIndex());
    s.removeFillers = removeFillers_->isChecked();
    s.targetSeconds = target_->value() > 0 ? std::optional<double>(target_->value()) : std::nullopt;
    model_.setSettings(s);
}

void EditorWindow::showChat() {
    const std::vector<editor::ChatTurn>& turns = model_.project().chat;
    // The stretch stays last.
    while (chat_->count() > 1) {
        QLayoutItem* item = chat_->takeAt(0);
        delete item->widget();
        delete item;
    }
    int at = 0;
    for (const editor::ChatTurn& turn : turns) {
        auto* bubble = new QLabel(turn.text);
        bubble->setWordWrap(true);
        bubble->setFont(theme::font(theme::Type::small));
        bubble->setContentsMargins(theme::kSpace2, theme::kSpace1 + 2, theme::kSpace2,
                                   theme::kSpace1 + 2);
        bubble->setStyleSheet(QStringLiteral("background: %1; color: %2; border-radius: %3px;")
                                  .arg((turn.mine ? theme::kAccent : theme::kSurface).name(),
                                       (turn.mine ? theme::kOnAccent : theme::kText).name())
                                  .arg(theme::kRadiusSmall));
        // A short turn on one line; a long one wraps at the bubble's widest.
        constexpr int kWidest = 250;
        const int natural =
            bubble->fontMetrics().horizontalAdvance(turn.text) + 2 * theme::kSpace2 + 2;
        bubble->setFixedWidth(std::min(natural, kWidest));
        auto* row = new QHBoxLayout;
        row->setContentsMargins(0, 0, 0, 0);
        if (turn.mine) row->addStretch(1);
        row->addWidget(bubble);
        if (!turn.mine) row->addStretch(1);
        auto* holder = new QWidget;
        holder->setLayout(row);
        chat_->insertWidget(at++, holder);
    }
}

void EditorWindow::send() {
    const QString text = instruction_->text().trimmed();
    if (text.isEmpty() || model_.busy()) return;
    instruction_->clear();
    model_.revise(text);
}

}  // namespace pelix::studio
