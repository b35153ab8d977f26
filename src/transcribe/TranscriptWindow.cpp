#include "transcribe/TranscriptWindow.h"

#include "core/Sentences.h"
#include "ui/Theme.h"

#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTextCursor>
#include <QVBoxLayout>

namespace pelix::transcribe {

namespace theme = ui::theme;

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
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(status_, 1);
    buttons->addWidget(copy_);
    buttons->addWidget(sort_);
    buttons->addWidget(save_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::kSpace5, theme::kSpace4, theme::kSpace5, theme::kSpace4);
    layout->setSpacing(theme::kSpace3);
    layout->addLayout(top);
    layout->addWidget(text_, 1);
    layout->addLayout(buttons);

    connect(&model_, &TranscriptModel::statusChanged, status_, &QLabel::setText);
    connect(&model_, &TranscriptModel::cleared, text_, &QPlainTextEdit::clear);
    connect(&model_, &TranscriptModel::appended, this, [this](const QString& piece) {
        QTextCursor end(text_->document());
        end.movePosition(QTextCursor::End);
        end.insertText(piece);
    });
    connect(&model_, &TranscriptModel::replaced, text_, &QPlainTextEdit::setPlainText);
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

void TranscriptWindow::closeEvent(QCloseEvent* event) {
    model_.stop();
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

}  // namespace pelix::transcribe
