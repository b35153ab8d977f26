#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "ui/Theme.h"

#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSaveFile>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTextCursor>
#include <QVBoxLayout>

namespace pelix::transcribe {

namespace theme = ui::theme;

namespace {

using FileKind = TranscriptModel::FileKind;

// The kinds "Save as…" offers, in the order of its list.
const std::pair<FileKind, QString>& filterFor(int index) {
    static const std::pair<FileKind, QString> filters[] = {
        {FileKind::text, QStringLiteral("Text (*.txt)")},
        {FileKind::srt, QStringLiteral("SubRip subtitles (*.srt)")},
        {FileKind::vtt, QStringLiteral("WebVTT subtitles (*.vtt)")},
    };
    return filters[index];
}
constexpr int kFilters = 3;

FileKind kindOfFilter(const QString& filter) {
    for (int i = 0; i < kFilters; ++i) {
        if (filterFor(i).second == filter) return filterFor(i).first;
    }
    return FileKind::text;
}

// "0:04  Please bring the report."
QString pieceLine(const transcribe::Spoken& piece) {
    return TranscriptModel::clock(piece.start) + QStringLiteral("  ") + piece.text;
}

}  // namespace

TranscriptWindow::TranscriptWindow(const speech::SpeechEngines& engines, core::Worker& worker,
                                   service::Api& api, core::Prefs& prefs, const core::Clock& clock,
                                   const QString& file, QWidget* parent)
    : QWidget(parent), model_(engines, worker, api, prefs, clock, file) {
    setWindowTitle(title(file));
    setAttribute(Qt::WA_DeleteOnClose, false);
    resize(620, 560);

    auto* heading = new QLabel(QFileInfo(file).fileName());
    heading->setFont(theme::font(theme::Type::title));
    language_ = new QComboBox;
    language_->setMinimumContentsLength(16);
    language_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    auto* top = new QHBoxLayout;
    top->addWidget(heading, 1);
    top->addWidget(language_);

    pieces_ = new QListWidget;
    pieces_->setObjectName(QStringLiteral("pieces"));
    pieces_->setFont(theme::font(theme::Type::small));
    pieces_->setWordWrap(true);
    pieces_->setSpacing(theme::kSpace1);
    pieces_->setFrameShape(QFrame::NoFrame);
    pieces_->setSelectionMode(QAbstractItemView::NoSelection);
    pieces_->setFocusPolicy(Qt::NoFocus);
    pieces_->setToolTip(QStringLiteral("Each piece heard, from the moment it starts"));

    text_ = new QPlainTextEdit;
    text_->setFont(theme::font(theme::Type::body));
    text_->setFrameShape(QFrame::NoFrame);
    text_->document()->setDocumentMargin(theme::kSpace3);
    text_->setPlaceholderText(core::sentences::kWordsComeHere);
    status_ = new QLabel;
    theme::setRole(status_, "muted");
    status_->setFont(theme::font(theme::Type::small));
    status_->setWordWrap(true);

    save_ = new QPushButton(model_.saveTitle());
    theme::setRole(save_, "primary");
    sort_ = new QPushButton(QStringLiteral("Sort it"));
    copy_ = new QPushButton(QStringLiteral("Copy"));
    stop_ = new QPushButton(QStringLiteral("Stop"));
    stop_->setToolTip(QStringLiteral("Stop hearing the file; the text heard so far stays"));
    stop_->setVisible(false);
    saveAs_ = new QPushButton(QStringLiteral("Save as…"));
    saveAs_->setToolTip(QStringLiteral("Save the text, or the pieces as SRT or WebVTT subtitles"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(status_, 1);
    buttons->addWidget(stop_);
    buttons->addWidget(saveAs_);
    buttons->addWidget(copy_);
    buttons->addWidget(sort_);
    buttons->addWidget(save_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::kSpace5, theme::kSpace4, theme::kSpace5, theme::kSpace4);
    layout->setSpacing(theme::kSpace3);
    layout->addLayout(top);
    auto* split = new QSplitter(Qt::Horizontal);
    split->setChildrenCollapsible(false);
    split->addWidget(pieces_);
    split->addWidget(text_);
    split->setStretchFactor(1, 1);
    split->setSizes({190, 390});
    layout->addWidget(split, 1);
    layout->addLayout(buttons);

    connect(&model_, &TranscriptModel::statusChanged, status_, &QLabel::setText);
    connect(&model_, &TranscriptModel::cleared, this, [this] {
        text_->clear();
        pieces_->clear();
    });
    connect(&model_, &TranscriptModel::appended, this,
            [this](const QString& piece, const transcribe::Spoken& heard) {
                QTextCursor end(text_->document());
                end.movePosition(QTextCursor::End);
                end.insertText(piece);
                pieces_->addItem(pieceLine(heard));
            });
    connect(&model_, &TranscriptModel::replaced, this, [this](const QString& text) {
        text_->setPlainText(text);
        pieces_->clear();
        for (const transcribe::Spoken& piece : model_.pieces()) pieces_->addItem(pieceLine(piece));
    });
    connect(&model_, &TranscriptModel::listeningChanged, stop_, &QWidget::setVisible);
    connect(stop_, &QPushButton::clicked, &model_, &TranscriptModel::stop);
    connect(saveAs_, &QPushButton::clicked, this, &TranscriptWindow::saveAs);
    connect(&model_, &TranscriptModel::savedToPelix, this, [this] {
        save_->setText(model_.saveTitle());
        Q_EMIT saved();
    });
    connect(save_, &QPushButton::clicked, this, [this] { model_.save(text_->toPlainText()); });
    connect(sort_, &QPushButton::clicked, this, [this] { model_.sort(selectedOrAll()); });
    connect(copy_, &QPushButton::clicked, this, &TranscriptWindow::copyIt);
    connect(language_, &QComboBox::activated, this,
            [this](int index) { model_.chooseLanguage(language_->itemData(index).toString()); });
}

TranscriptWindow::~TranscriptWindow() = default;

QString TranscriptWindow::title(const QString& file) {
    return QFileInfo(file).fileName() + QStringLiteral(" — Transcript");
}

void TranscriptWindow::start() {
    model_.start();
    fillLanguages();
}

void TranscriptWindow::fillLanguages() {
    const QSignalBlocker quiet(language_);
    language_->clear();
    for (const QString& locale : model_.languages()) {
        language_->addItem(speech::localeDisplayName(locale), locale);
    }
    language_->setCurrentIndex(language_->findData(model_.language()));
}

QString TranscriptWindow::selectedOrAll() const {
    const QString selected = text_->textCursor().selectedText();
    // The selection marks line ends with the paragraph separator.
    if (!selected.isEmpty()) return QString(selected).replace(QChar::ParagraphSeparator, '\n');
    return text_->toPlainText();
}

void TranscriptWindow::copyIt() {
    const bool selection = text_->textCursor().hasSelection();
    QGuiApplication::clipboard()->setText(selectedOrAll());
    model_.showStatus(selection ? core::sentences::kCopiedTheSelection : core::sentences::kCopied);
}

void TranscriptWindow::saveAs() {
    auto* dialog = new QFileDialog(this, QStringLiteral("Save the transcript"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    QStringList filters;
    for (int i = 0; i < kFilters; ++i) filters << filterFor(i).second;
    dialog->setNameFilters(filters);
    const QFileInfo media(model_.file());
    dialog->setDirectory(media.absolutePath());
    const auto suggest = [dialog, name = media.completeBaseName()](const QString& filter) {
        dialog->selectFile(name + u'.' + TranscriptModel::extension(kindOfFilter(filter)));
    };
    suggest(filters.front());
    connect(dialog, &QFileDialog::filterSelected, dialog, suggest);
    connect(dialog, &QFileDialog::fileSelected, this,
            [this, dialog](const QString& file) { writeFile(file, dialog->selectedNameFilter()); });
    dialog->open();
}

void TranscriptWindow::writeFile(QString file, const QString& filter) {
    // A name that says its kind is written as that kind; any other gets the kind chosen.
    std::optional<FileKind> kind = TranscriptModel::kindOf(file);
    if (!kind) {
        kind = kindOfFilter(filter);
        file += u'.' + TranscriptModel::extension(*kind);
    }
    QSaveFile out(file);
    const QByteArray bytes =
        TranscriptModel::fileText(*kind, text_->toPlainText(), model_.pieces()).toUtf8();
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit()) {
        return model_.showStatus(
            core::sentences::couldntWrite(QFileInfo(file).fileName(), out.errorString() + u'.'));
    }
    model_.showStatus(core::sentences::savedAs(QFileInfo(file).fileName()));
}

void TranscriptWindow::closeEvent(QCloseEvent* event) {
    model_.stop();
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

}  // namespace pelix::transcribe
