#include "memos/MemoChooserView.h"

#include "core/Dates.h"
#include "core/Sentences.h"
#include "memos/MemoChooserModel.h"
#include "ui/Theme.h"

#include <QAbstractListModel>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QStackedLayout>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace pelix::memos {

namespace theme = ui::theme;

// The memos as rows of a list view.
class MemoRows : public QAbstractListModel {
public:
    enum Role { kName = Qt::UserRole, kDate, kState, kPicked, kPickable };

    explicit MemoRows(MemoChooserModel& model) : model_(model) {}

    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(model_.memos().size());
    }

    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || index.row() >= model_.memos().size()) return {};
        const VoiceMemo& memo = model_.memos().at(index.row());
        const QString name = MemoChooserModel::nameOf(memo);
        switch (role) {
            case Qt::DisplayRole:
                return memo.title;
            case kName:
                return name;
            case kDate:
                return MemoChooserView::dateText(memo.date);
            case kState:
                return MemoChooserModel::stateLine(model_.state(name));
            case kPicked:
                return model_.picked(name);
            case kPickable:
                return model_.canPick(name);
            default:
                return {};
        }
    }

    // Tells the view what changed: the same memos with new states, or another list.
    void refresh() {
        QList<QString> names;
        names.reserve(model_.memos().size());
        for (const VoiceMemo& memo : model_.memos()) names << MemoChooserModel::nameOf(memo);
        if (names == names_) {
            if (!names.isEmpty()) Q_EMIT dataChanged(index(0), index(rowCount({}) - 1));
            return;
        }
        beginResetModel();
        names_ = std::move(names);
        endResetModel();
    }

private:
    MemoChooserModel& model_;
    QList<QString> names_;
};

namespace {

constexpr int kRowHeight = 58;
constexpr int kBox = 18;

// One memo: tick box, title, date, and the state line.
class MemoRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {option.rect.width(), kRowHeight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect row = option.rect.adjusted(0, 2, 0, -2);
        const bool picked = index.data(MemoRows::kPicked).toBool();
        const bool pickable = index.data(MemoRows::kPickable).toBool();
        const bool hovered = option.state & QStyle::State_MouseOver;
        if (picked || hovered) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(picked ? theme::kRaised : theme::kSurface);
            painter->drawRoundedRect(QRectF(row), theme::kRadiusSmall, theme::kRadiusSmall);
        }

        const int left = row.left() + theme::kSpace3;
        const QRectF box(left, row.center().y() - kBox / 2.0 + 0.5, kBox, kBox);
        painter->setPen(QPen(picked ? theme::kAccent : theme::kMuted, 1.5));
        painter->setBrush(picked ? theme::kAccent : Qt::transparent);
        if (!pickable) painter->setOpacity(0.4);
        painter->drawRoundedRect(box.adjusted(0.75, 0.75, -0.75, -0.75), 4, 4);
        if (picked) {
            QPainterPath tick;
            tick.moveTo(box.left() + 4.5, box.center().y() + 0.5);
            tick.lineTo(box.left() + 7.8, box.bottom() - 5);
            tick.lineTo(box.right() - 4, box.top() + 5);
            painter->setPen(QPen(theme::kOnAccent, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter->setBrush(Qt::NoBrush);
            painter->drawPath(tick);
        }
        painter->setOpacity(1);

        const int textLeft = left + kBox + theme::kSpace3;
        const QString date = index.data(MemoRows::kDate).toString();
        const QFont small = theme::font(theme::Type::small);
        const int dateWidth = QFontMetrics(small).horizontalAdvance(date);
        const QRect top(textLeft, row.top() + 10, row.right() - theme::kSpace3 - textLeft, 18);
        const QRect bottom(textLeft, row.top() + 30, top.width(), 16);

        painter->setFont(small);
        painter->setPen(theme::kMuted);
        painter->drawText(top, Qt::AlignRight | Qt::AlignVCenter, date);
        const QFont body = theme::font(theme::Type::body);
        painter->setFont(body);
        painter->setPen(theme::kText);
        const QRect titleBox = top.adjusted(0, 0, -(dateWidth + theme::kSpace3), 0);
        painter->drawText(titleBox, Qt::AlignLeft | Qt::AlignVCenter,
                          QFontMetrics(body).elidedText(index.data().toString(), Qt::ElideRight,
                                                        titleBox.width()));

        const QString state = index.data(MemoRows::kState).toString();
        if (!state.isEmpty()) {
            painter->setFont(small);
            QColor colour = theme::kMuted;
            if (state == MemoChooserModel::stateLine(MemoChooserModel::State::sent)) {
                colour = theme::kLive;
            } else if (state == MemoChooserModel::stateLine(MemoChooserModel::State::failed)) {
                colour = theme::kRecording;
            }
            painter->setPen(colour);
            painter->drawText(bottom, Qt::AlignLeft | Qt::AlignVCenter, state);
        }
        painter->restore();
    }
};

}  // namespace

MemoChooserView::MemoChooserView(MemoChooserModel& model, QWidget* parent)
    : QWidget(parent), model_(model), rows_(new MemoRows(model)) {
    rows_->setParent(this);

    closed_ = new QWidget;
    closedText_ = new QLabel;
    closedText_->setWordWrap(true);
    closedText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    chooseFolder_ = new QPushButton(core::sentences::kChooseRecordingsFolder);
    theme::setRole(chooseFolder_, "primary");
    lookAgain_ = new QPushButton(QStringLiteral("Look again"));
    auto* closedButtons = new QHBoxLayout;
    closedButtons->addWidget(chooseFolder_);
    closedButtons->addWidget(lookAgain_);
    closedButtons->addStretch();
    auto* closedLayout = new QVBoxLayout(closed_);
    closedLayout->setContentsMargins(theme::kSpace5, theme::kSpace5, theme::kSpace5,
                                     theme::kSpace5);
    closedLayout->setSpacing(theme::kSpace4);
    closedLayout->addWidget(closedText_);
    closedLayout->addLayout(closedButtons);
    closedLayout->addStretch();

    open_ = new QWidget;
    list_ = new QListView;
    list_->setModel(rows_);
    list_->setItemDelegate(new MemoRowDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setMouseTracking(true);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setSelectionMode(QAbstractItemView::NoSelection);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->installEventFilter(this);
    status_ = new QLabel;
    theme::setRole(status_, "muted");
    status_->setFont(theme::font(theme::Type::small));
    auto_ = new QCheckBox(QStringLiteral("Send new memos by themselves"));
    send_ = new QPushButton;
    theme::setRole(send_, "primary");
    send_->setDefault(true);
    send_->setAutoDefault(true);
    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(theme::kSpace4, 0, theme::kSpace4, 0);
    bottom->addWidget(auto_);
    bottom->addStretch();
    bottom->addWidget(send_);
    auto* openLayout = new QVBoxLayout(open_);
    openLayout->setContentsMargins(0, theme::kSpace2, 0, 0);
    openLayout->setSpacing(theme::kSpace3);
    openLayout->addWidget(list_, 1);
    auto* statusRow = new QHBoxLayout;
    statusRow->setContentsMargins(theme::kSpace4, 0, theme::kSpace4, 0);
    statusRow->addWidget(status_);
    openLayout->addLayout(statusRow);
    openLayout->addLayout(bottom);

    // Recordings from anywhere, whether or not the folder can be read: chosen, or dropped.
    chooseFiles_ = new QPushButton(QStringLiteral("Choose files…"));
    auto* dropHint = new QLabel(QStringLiteral("or drop recordings onto this window"));
    theme::setRole(dropHint, "muted");
    dropHint->setFont(theme::font(theme::Type::small));
    auto* filesRow = new QHBoxLayout;
    filesRow->setContentsMargins(theme::kSpace4, 0, theme::kSpace4, theme::kSpace4);
    filesRow->setSpacing(theme::kSpace3);
    filesRow->addWidget(chooseFiles_);
    filesRow->addWidget(dropHint, 1);

    pages_ = new QStackedLayout;
    pages_->addWidget(open_);
    pages_->addWidget(closed_);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(theme::kSpace3);
    whole->addLayout(pages_, 1);
    whole->addLayout(filesRow);

    connect(list_, &QListView::clicked, this, [this](const QModelIndex& index) {
        model_.toggle(index.data(MemoRows::kName).toString());
    });
    connect(send_, &QPushButton::clicked, this, [this] { model_.sendPicked(); });
    connect(auto_, &QCheckBox::clicked, this, [this](bool on) { model_.setAutoSend(on); });
    connect(lookAgain_, &QPushButton::clicked, this, [this] { model_.load(); });
    connect(chooseFolder_, &QPushButton::clicked, this, &MemoChooserView::chooseFolder);
    connect(chooseFiles_, &QPushButton::clicked, this, &MemoChooserView::chooseFiles);
    connect(&model_, &MemoChooserModel::changed, this, &MemoChooserView::refresh);
    refresh();
}

MemoChooserView::~MemoChooserView() = default;

QString MemoChooserView::closedText() const {
    return core::sentences::cantReadRecordingsFolder(model_.folder());
}

QString MemoChooserView::dateText(const QDateTime& date) {
    return core::dates::shortDateTime(date.toLocalTime());
}

bool MemoChooserView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == list_ && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Space && list_->currentIndex().isValid()) {
            model_.toggle(list_->currentIndex().data(MemoRows::kName).toString());
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void MemoChooserView::refresh() {
    pages_->setCurrentWidget(model_.canRead() ? open_ : closed_);
    closedText_->setText(closedText());
    rows_->refresh();
    status_->setText(model_.status());
    status_->setVisible(!model_.status().isEmpty());
    auto_->setChecked(model_.autoSend());
    send_->setText(model_.sendTitle());
    send_->setEnabled(!model_.sending() && model_.pickedCount() > 0);
}

}  // namespace pelix::memos
