#include "panel/PanelWindow.h"

#include "core/Sentences.h"
#include "panel/PanelModel.h"
#include "ui/Glyphs.h"
#include "ui/Theme.h"

#include <QAbstractButton>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextLayout>
#include <QTimer>

#include <algorithm>

namespace pelix::panel {
namespace {

namespace theme = ui::theme;
using theme::Type;

// Lines of `text` wrapped to `width`, at most `maxLines`, the last one ended with "…" when the
// text goes on.
QStringList wrapped(const QString& text, const QFont& font, int width, int maxLines) {
    QStringList lines;
    if (text.isEmpty() || width <= 0) return lines;
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    for (;;) {
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        line.setLineWidth(width);
        if (lines.size() == maxLines - 1) {
            const QString rest = text.mid(line.textStart()).simplified();
            lines << QFontMetrics(font).elidedText(rest, Qt::ElideRight, width);
            break;
        }
        lines << text.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return lines;
}

int lineHeight(const QFont& font) {
    return QFontMetrics(font).height() + 2;
}

void drawLines(QPainter& p, const QStringList& lines, const QFont& font, const QColor& ink,
               QPointF at) {
    p.setFont(font);
    p.setPen(ink);
    const QFontMetrics metrics(font);
    for (const QString& line : lines) {
        p.drawText(at + QPointF(0, metrics.ascent() + 1), line);
        at.ry() += lineHeight(font);
    }
}

// One bubble of the conversation: the user's on the right in the accent colour, Pelix's on
// the left. Right-click copies its text.
class BubbleView final : public QWidget {
public:
    static constexpr int kPadX = 12;
    static constexpr int kPadY = 8;

    BubbleView(const QString& text, bool mine, QWidget* parent)
        : QWidget(parent), text_(text), mine_(mine) {
        QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
        policy.setHeightForWidth(true);
        setSizePolicy(policy);
    }

    void setText(const QString& text, bool waiting) {
        text_ = text;
        waiting_ = waiting;
        updateGeometry();
        update();
    }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override {
        return static_cast<int>(lines(width).size()) * lineHeight(font()) + 2 * kPadY;
    }
    QSize sizeHint() const override { return {240, heightForWidth(240)}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QStringList shown = lines(width());
        int textWidth = 0;
        const QFontMetrics metrics(font());
        for (const QString& line : shown) {
            textWidth = std::max(textWidth, metrics.horizontalAdvance(line));
        }
        const int w = textWidth + 2 * kPadX + 1;
        const QRectF box(mine_ ? width() - w : 0, 0, w, height());
        p.setPen(mine_ ? Qt::NoPen : QPen(theme::kBorder, 1));
        p.setBrush(mine_ ? theme::kAccent : theme::kSurface);
        p.drawPath(shape(box.adjusted(0.5, 0.5, -0.5, -0.5)));
        const QColor ink = mine_ ? theme::kOnAccent : waiting_ ? theme::kMuted : theme::kText;
        drawLines(p, shown, font(), ink, box.topLeft() + QPointF(kPadX, kPadY));
    }

    void contextMenuEvent(QContextMenuEvent* event) override {
        QMenu menu(this);
        menu.addAction(QStringLiteral("Copy"),
                       [this] { QGuiApplication::clipboard()->setText(text_); });
        menu.exec(event->globalPos());
    }

private:
    QStringList lines(int width) const {
        const int most = static_cast<int>(width * 0.82) - 2 * kPadX;
        QStringList all;
        for (const QString& paragraph : text_.split(QLatin1Char('\n'))) {
            const QStringList some = wrapped(paragraph, font(), most, 1000);
            all << (some.isEmpty() ? QStringList{QString()} : some);
        }
        return all;
    }

    // Round corners, but the one nearest the speaker's side is tighter.
    QPainterPath shape(const QRectF& r) const {
        constexpr double big = 14, small = 4;
        const double bl = mine_ ? big : small, br = mine_ ? small : big;
        QPainterPath path;
        path.moveTo(r.left() + big, r.top());
        path.lineTo(r.right() - big, r.top());
        path.quadTo(r.topRight(), QPointF(r.right(), r.top() + big));
        path.lineTo(r.right(), r.bottom() - br);
        path.quadTo(r.bottomRight(), QPointF(r.right() - br, r.bottom()));
        path.lineTo(r.left() + bl, r.bottom());
        path.quadTo(r.bottomLeft(), QPointF(r.left(), r.bottom() - bl));
        path.lineTo(r.left(), r.top() + big);
        path.quadTo(r.topLeft(), QPointF(r.left() + big, r.top()));
        return path;
    }

    QString text_;
    bool mine_;
    bool waiting_ = false;
};

struct KindLook {
    ui::Glyph glyph;
    QColor colour;
    const char* label;
};

KindLook kindLook(InsightStyle style) {
    switch (style) {
        case InsightStyle::pattern:
            return {ui::Glyph::pattern, theme::kViolet, "Pattern"};
        case InsightStyle::people:
            return {ui::Glyph::people, theme::kTeal, "People"};
        case InsightStyle::nudge:
            return {ui::Glyph::nudge, theme::kAmber, "Nudge"};
        case InsightStyle::connection:
            break;
    }
    return {ui::Glyph::link, theme::kBlue, "Connection"};
}

// One insight: a tile with the kind's drawing and colour, the title with the kind beside it, and
// the first line of the body; a click shows the whole body. Unseen ones have a border in the
// kind's colour and a dot on the tile.
class InsightCard final : public QWidget {
public:
    static constexpr int kPad = 10;
    static constexpr int kTile = 30;
    static constexpr int kOpenLines = 8;

    InsightCard(Insight insight, QWidget* parent) : QWidget(parent), insight_(std::move(insight)) {
        setObjectName(QStringLiteral("insightCard"));
        QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
        policy.setHeightForWidth(true);
        setSizePolicy(policy);
        setCursor(Qt::PointingHandCursor);
    }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override {
        const int h = kPad + lineHeight(titleFont()) +
                      static_cast<int>(bodyLines(width).size()) * lineHeight(bodyFont()) + kPad;
        return std::max(h, kPad * 2 + kTile);
    }
    QSize sizeHint() const override { return {320, heightForWidth(320)}; }

protected:
    void mouseReleaseEvent(QMouseEvent*) override {
        open_ = !open_;
        updateGeometry();
        update();
    }

    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const KindLook look = kindLook(insight_.style());
        QColor edge = look.colour;
        edge.setAlpha(120);
        p.setPen(QPen(insight_.unseen ? edge : theme::kBorder, 1));
        p.setBrush(theme::kSurface);
        p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), theme::kRadius,
                          theme::kRadius);

        QColor wash = look.colour;
        wash.setAlpha(40);
        const QRectF tile(kPad, kPad, kTile, kTile);
        p.setPen(Qt::NoPen);
        p.setBrush(wash);
        p.drawRoundedRect(tile, 8, 8);
        ui::drawGlyph(p, look.glyph, tile.adjusted(6, 6, -6, -6), look.colour);
        if (insight_.unseen) {
            p.setPen(QPen(theme::kSurface, 2));
            p.setBrush(theme::kAccent);
            p.drawEllipse(tile.topRight() + QPointF(-1, 1), 4, 4);
        }

        const int x = textLeft();
        const QFont kindFont = theme::font(Type::caption);
        const QString kind = QString::fromLatin1(look.label);
        const int kindWidth = QFontMetrics(kindFont).horizontalAdvance(kind);
        const int titleWidth = width() - x - kPad - kindWidth - theme::kSpace2;
        const QFontMetrics titleMetrics(titleFont());
        drawLines(p, {titleMetrics.elidedText(insight_.title, Qt::ElideRight, titleWidth)},
                  titleFont(), theme::kText, QPointF(x, kPad - 1));
        const double kindTop = kPad - 1 + (titleMetrics.ascent() - QFontMetrics(kindFont).ascent());
        drawLines(p, {kind}, kindFont, look.colour, QPointF(width() - kPad - kindWidth, kindTop));
        drawLines(p, bodyLines(width()), bodyFont(), theme::kMuted,
                  QPointF(x, kPad - 1 + lineHeight(titleFont())));
    }

private:
    static int textLeft() { return kPad + kTile + 10; }
    static QFont titleFont() {
        QFont f = theme::font(Type::body);
        f.setWeight(QFont::DemiBold);
        return f;
    }
    static QFont bodyFont() { return theme::font(Type::small); }
    QStringList bodyLines(int width) const {
        return wrapped(insight_.body, bodyFont(), width - textLeft() - kPad,
                       open_ ? kOpenLines : 1);
    }

    Insight insight_;
    bool open_ = false;
};

// The chip that shows whether the next send tells or asks; a ring in the mode's colour when the
// user chose it.
class ModeChip final : public QPushButton {
public:
    explicit ModeChip(QWidget* parent) : QPushButton(parent) {
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::NoFocus);
        setFont(theme::font(Type::small));
    }
    void setMode(PanelModel::Mode mode, bool chosen) {
        mode_ = mode;
        chosen_ = chosen;
        setText(mode == PanelModel::Mode::ask ? QStringLiteral("Ask") : QStringLiteral("Tell"));
        updateGeometry();
        update();
    }
    QSize sizeHint() const override {
        QFont f = font();
        f.setWeight(QFont::DemiBold);
        const int w = std::max(QFontMetrics(f).horizontalAdvance(QStringLiteral("Tell")),
                               QFontMetrics(f).horizontalAdvance(QStringLiteral("Ask")));
        return {w + 30, 24};
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QColor colour = mode_ == PanelModel::Mode::ask ? theme::kTeal : theme::kAccent;
        QColor wash = colour;
        wash.setAlpha(underMouse() ? 60 : 40);
        const QRectF pill = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        p.setPen(chosen_ ? QPen(colour, 1) : Qt::NoPen);
        p.setBrush(wash);
        p.drawRoundedRect(pill, pill.height() / 2, pill.height() / 2);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(QPointF(11, pill.center().y()), 3, 3);
        QFont f = font();
        f.setWeight(QFont::DemiBold);
        p.setFont(f);
        p.setPen(theme::kText);
        p.drawText(QRectF(18, 0, width() - 24, height()), Qt::AlignVCenter | Qt::AlignLeft, text());
    }

private:
    PanelModel::Mode mode_ = PanelModel::Mode::tell;
    bool chosen_ = false;
};

// The microphone: a quiet drawing at rest, a red disc with a stop square while recording.
class MicButton final : public QAbstractButton {
public:
    explicit MicButton(QWidget* parent) : QAbstractButton(parent) {
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::NoFocus);
        setFixedSize(28, 28);
    }
    void setRecording(bool recording) {
        recording_ = recording;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF disc = QRectF(rect()).adjusted(1, 1, -1, -1);
        if (recording_) {
            p.setPen(Qt::NoPen);
            p.setBrush(theme::kRecording);
            p.drawEllipse(disc);
            ui::drawGlyph(p, ui::Glyph::stop, disc.adjusted(5, 5, -5, -5), theme::kOnAccent);
            return;
        }
        if (underMouse()) {
            p.setPen(Qt::NoPen);
            p.setBrush(theme::kRaised);
            p.drawEllipse(disc);
        }
        ui::drawGlyph(p, ui::Glyph::microphone, disc.adjusted(4, 4, -4, -4),
                      underMouse() ? theme::kText : theme::kMuted);
    }
    void enterEvent(QEnterEvent*) override { update(); }
    void leaveEvent(QEvent*) override { update(); }

private:
    bool recording_ = false;
};

// A scroll area as tall as what it holds, up to `most` pixels, and never less: the conversation
// below it, whose wish grows with every bubble, is what gives way in a short panel.
//
// Its size follows what it holds, so it tells the panel's layout whenever that changes. Cards
// added to a panel on the screen show only a moment later (Qt shows a new child of a visible
// window from the event loop), so at the time they are added the holder is still as good as
// empty; a size read then, and kept by the panel's layout, left the cards a sliver after every
// refresh, for good.
class FitScrollArea final : public QScrollArea {
public:
    FitScrollArea(int most, QWidget* parent) : QScrollArea(parent), most_(most) {}
    QSize sizeHint() const override {
        const int width = viewport()->width() > 0 ? viewport()->width() : 360;
        const int content = widget() ? widget()->heightForWidth(width) : 0;
        return {width, std::min(content > 0 ? content : widget()->sizeHint().height(), most_)};
    }
    QSize minimumSizeHint() const override { return {0, sizeHint().height()}; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == widget() && event->type() == QEvent::LayoutRequest) updateGeometry();
        return QScrollArea::eventFilter(watched, event);
    }

private:
    int most_;
};

QPushButton* iconButton(ui::Glyph glyph, const QString& tip, QWidget* parent) {
    auto* button = new QPushButton(parent);
    theme::setRole(button, "icon");
    button->setIcon(ui::glyphIcon(glyph, theme::kMuted, 16));
    button->setIconSize(QSize(16, 16));
    button->setFixedSize(28, 28);
    button->setToolTip(tip);
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::NoFocus);
    return button;
}

QLabel* label(const QString& text, QFont font, const char* role, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setFont(font);
    if (role) theme::setRole(l, role);
    return l;
}

// A small mark beside the window's name: the badge's disc with its accent dot.
class Mark final : public QWidget {
public:
    explicit Mark(QWidget* parent) : QWidget(parent) { setFixedSize(20, 20); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(theme::kBorder, 1));
        p.setBrush(theme::kSurface);
        p.drawEllipse(QRectF(0.5, 0.5, 19, 19));
        ui::drawGlyph(p, ui::Glyph::microphone, QRectF(3, 3, 14, 14), theme::kText);
        p.setPen(QPen(theme::kBackground, 1.5));
        p.setBrush(theme::kAccent);
        p.drawEllipse(QPointF(16, 4), 3, 3);
    }
};

}  // namespace

PanelWindow::PanelWindow(PanelModel& model, QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint), model_(model) {
    setObjectName("pelixPanel");
    setWindowTitle(core::sentences::kPelix);
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedSize(kWidth, kHeight);
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        // Without a compositor the corners would show; the window is cut to its outline.
        QPainterPath outline;
        outline.addRoundedRect(QRectF(rect()), theme::kRadiusLarge, theme::kRadiusLarge);
        setMask(QRegion(outline.toFillPolygon().toPolygon()));
    }

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    // Header: the mark and name, settings, the full window.
    auto* header = new QHBoxLayout;
    header->setContentsMargins(theme::kSpace4, theme::kSpace3, theme::kSpace3, theme::kSpace2);
    header->setSpacing(theme::kSpace2);
    header->addWidget(new Mark(this));
    header->addWidget(label(core::sentences::kPelix, theme::font(Type::title), nullptr, this));
    header->addStretch();
    auto* settings = iconButton(ui::Glyph::gear, core::sentences::kSettingsTip, this);
    auto* openMain = iconButton(ui::Glyph::openWindow, core::sentences::kOpenFullWindowTip, this);
    header->addWidget(settings);
    header->addWidget(openMain);
    column->addLayout(header);

    // What Pelix has noticed.
    auto* headingRow = new QHBoxLayout;
    headingRow->setContentsMargins(theme::kSpace4, theme::kSpace2, theme::kSpace4, theme::kSpace2);
    headingRow->addWidget(
        label(core::sentences::kNoticedHeading, theme::font(Type::heading), "heading", this));
    headingRow->addStretch();
    loading_ = label(core::sentences::kHavingALook, theme::font(Type::caption), "faint", this);
    headingRow->addWidget(loading_);
    column->addLayout(headingRow);

    insightsScroll_ = new FitScrollArea(254, this);
    insightsScroll_->setWidgetResizable(true);
    insightsScroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    insightsScroll_->setFrameShape(QFrame::NoFrame);
    auto* insightsHolder = new QWidget;
    insightsBox_ = new QVBoxLayout(insightsHolder);
    insightsBox_->setContentsMargins(theme::kSpace4, 0, theme::kSpace4, theme::kSpace2);
    insightsBox_->setSpacing(6);
    insightsNote_ = label(QString(), theme::font(Type::small), "muted", insightsHolder);
    insightsNote_->setWordWrap(true);
    insightsBox_->addWidget(insightsNote_);
    insightsScroll_->setWidget(insightsHolder);
    column->addWidget(insightsScroll_);

    auto* rule = new QFrame(this);
    rule->setFixedHeight(1);
    rule->setStyleSheet(QStringLiteral("background: %1;").arg(theme::kBorder.name()));
    auto* ruleRow = new QHBoxLayout;
    ruleRow->setContentsMargins(theme::kSpace4, theme::kSpace1, theme::kSpace4, 0);
    ruleRow->addWidget(rule);
    column->addLayout(ruleRow);

    // The conversation.
    stackScroll_ = new QScrollArea(this);
    stackScroll_->setWidgetResizable(true);
    stackScroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    stackScroll_->setFrameShape(QFrame::NoFrame);
    auto* stack = new QWidget;
    messages_ = new QVBoxLayout(stack);
    messages_->setContentsMargins(theme::kSpace4, theme::kSpace3, theme::kSpace4, theme::kSpace3);
    messages_->setSpacing(theme::kSpace2);
    messages_->addStretch();
    stackScroll_->setWidget(stack);
    column->addWidget(stackScroll_, 1);
    connect(stackScroll_->verticalScrollBar(), &QScrollBar::rangeChanged, this,
            [this] { scrollToEnd(); });

    // The field: mode chip, text, microphone; then Send.
    auto* composer = new QHBoxLayout;
    composer->setContentsMargins(theme::kSpace3, theme::kSpace1, theme::kSpace3, theme::kSpace2);
    composer->setSpacing(theme::kSpace2);
    auto* field = new QFrame(this);
    theme::setRole(field, "field");
    field->setFixedHeight(40);
    auto* inField = new QHBoxLayout(field);
    inField->setContentsMargins(7, 0, 6, 0);
    inField->setSpacing(theme::kSpace2);
    auto* chip = new ModeChip(field);
    chip->setToolTip(core::sentences::kModeChipTip);
    modeChip_ = chip;
    input_ = new QLineEdit(field);
    input_->setPlaceholderText(core::sentences::kTellOrAsk);
    input_->setFont(theme::font(Type::body));
    auto* mic = new MicButton(field);
    mic->setToolTip(core::sentences::kMicTip);
    micBtn_ = mic;
    inField->addWidget(chip);
    inField->addWidget(input_, 1);
    inField->addWidget(mic);
    composer->addWidget(field, 1);
    sendBtn_ = new QPushButton(QStringLiteral("Send"), this);
    theme::setRole(sendBtn_, "primary");
    sendBtn_->setFixedHeight(40);
    sendBtn_->setCursor(Qt::PointingHandCursor);
    QFont sendFont = theme::font(Type::body);
    sendFont.setWeight(QFont::DemiBold);
    sendBtn_->setFont(sendFont);
    composer->addWidget(sendBtn_);
    column->addLayout(composer);

    // The keys on one line, the promise on the next.
    QString footerText = core::sentences::kPanelFooter;
    footerText.replace(footerText.lastIndexOf(QStringLiteral(" · ")), 3, QStringLiteral("\n"));
    auto* footer = label(footerText, theme::font(Type::caption), "faint", this);
    footer->setAlignment(Qt::AlignHCenter);
    footer->setContentsMargins(theme::kSpace5, 0, theme::kSpace5, theme::kSpace3);
    column->addWidget(footer);

    for (int i = 0; i < model_.bubbles().size(); ++i) bubbleAdded(i);
    showInsights();
    showMode();
    showPending();

    connect(settings, &QPushButton::clicked, this,
            [this, settings] { Q_EMIT settingsClicked(settings); });
    connect(openMain, &QPushButton::clicked, this, [this] {
        hide();
        Q_EMIT openMainClicked();
    });
    connect(chip, &QPushButton::clicked, this, [this] { model_.switchMode(input_->text()); });
    connect(input_, &QLineEdit::textChanged, this, [this] { showMode(); });
    connect(input_, &QLineEdit::returnPressed, this, [this] { send(); });
    connect(sendBtn_, &QPushButton::clicked, this, [this] { send(); });
    connect(mic, &QAbstractButton::clicked, &model_, &PanelModel::tapMic);
    connect(&model_, &PanelModel::recordingChanged, this,
            [mic](bool on) { mic->setRecording(on); });
    mic->setRecording(model_.recording());
    connect(&model_, &PanelModel::bubbleAdded, this, &PanelWindow::bubbleAdded);
    connect(&model_, &PanelModel::bubbleChanged, this, &PanelWindow::bubbleChanged);
    connect(&model_, &PanelModel::insightsChanged, this, &PanelWindow::showInsights);
    connect(&model_, &PanelModel::modeChanged, this, &PanelWindow::showMode);
    connect(&model_, &PanelModel::pendingChanged, this, &PanelWindow::showPending);
    // What could not be told is put back for another try, unless something new is typed there.
    connect(&model_, &PanelModel::untold, this, [this](const QString& text) {
        if (input_->text().trimmed().isEmpty()) input_->setText(text);
    });
}

PanelWindow::~PanelWindow() = default;

void PanelWindow::toggle(const QRect& icon) {
    if (isVisible()) {
        hide();
        return;
    }
    // The press on the tray icon that closed the panel comes here as a click right after.
    if (hiddenAt_.isValid() && hiddenAt_.elapsed() < 300) return;
    open(icon);
}

void PanelWindow::open(const QRect& icon) {
    const QScreen* screen = QGuiApplication::screenAt(icon.center());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (screen) move(panelPosition(icon, screen->availableGeometry(), size()));
    show();
    raise();
    activateWindow();
    input_->setFocus(Qt::PopupFocusReason);
    model_.refreshInsights(false);
}

void PanelWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(theme::kBorder, 1));
    p.setBrush(theme::kBackground);
    p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), theme::kRadiusLarge,
                      theme::kRadiusLarge);
}

void PanelWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PanelWindow::hideEvent(QHideEvent* event) {
    hiddenAt_.start();
    QWidget::hideEvent(event);
}

void PanelWindow::bubbleAdded(int index) {
    const auto& bubble = model_.bubbles().at(index);
    auto* view = new BubbleView(bubble.text, bubble.mine, messages_->parentWidget());
    view->setFont(theme::font(Type::body));
    view->setText(bubble.text, bubble.waiting);
    bubbles_.push_back(view);
    messages_->addWidget(view);
}

void PanelWindow::bubbleChanged(int index) {
    if (index < 0 || index >= bubbles_.size()) return;
    const auto& bubble = model_.bubbles().at(index);
    static_cast<BubbleView*>(bubbles_[index])->setText(bubble.text, bubble.waiting);
}

void PanelWindow::showInsights() {
    // Cards stay while a refresh is under way; the heading says it is looking.
    const auto state = model_.insightsState();
    const bool cards =
        !model_.insights().isEmpty() &&
        (state == PanelModel::InsightsState::shown || state == PanelModel::InsightsState::loading);
    while (insightsBox_->count() > 1) {
        QLayoutItem* item = insightsBox_->takeAt(1);
        delete item->widget();
        delete item;
    }
    loading_->setVisible(cards && state == PanelModel::InsightsState::loading);
    insightsNote_->setVisible(!cards);
    insightsNote_->setText(model_.insightsNote());
    if (cards) {
        for (const Insight& insight : model_.insights()) {
            insightsBox_->addWidget(new InsightCard(insight, insightsBox_->parentWidget()));
        }
    }
    insightsScroll_->updateGeometry();
}

void PanelWindow::showMode() {
    static_cast<ModeChip*>(modeChip_)->setMode(model_.modeFor(input_->text()),
                                               model_.manualMode().has_value());
}

void PanelWindow::showPending() {
    sendBtn_->setEnabled(!model_.pending());
}

void PanelWindow::scrollToEnd() {
    QScrollBar* bar = stackScroll_->verticalScrollBar();
    bar->setValue(bar->maximum());
}

void PanelWindow::send() {
    if (model_.send(input_->text())) input_->clear();
}

}  // namespace pelix::panel
