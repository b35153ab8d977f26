#include "render/AssScript.h"

#include "editor/Captions.h"
#include "editor/Emphasis.h"

#include <QTextStream>

#include <algorithm>
#include <cmath>

namespace pelix::render {
namespace {

// Colours are &HAABBGGRR, alpha 00 opaque.
constexpr auto kWhite = "&H00FFFFFF";
constexpr auto kBlack = "&H00000000";
constexpr auto kYellow = "&H0000D4FF";  // #FFD400
constexpr auto kInk = "&H00101010";
constexpr auto kSoftBox = "&H55000000";  // black, a third see-through
constexpr auto kShadow = "&H99000000";
// The same colours in override tags, which take &HBBGGRR&.
constexpr auto kYellowTag = "&H00D4FF&";
constexpr auto kWhiteTag = "&HFFFFFF&";

int px(double value) {
    return std::max(1, int(std::lround(value)));
}

struct Style {
    const char* name;
    const char* font;
    int size;
    const char* primary;
    const char* outlineColour;
    const char* back;
    bool bold;
    int borderStyle;  // 1: outline and shadow, 3: a box behind the text
    int outline;
    int shadow;
    int alignment;  // numpad layout: 2 bottom centre, 5 middle, 8 top centre
    int marginSide;
    int marginV;
};

void writeStyle(QTextStream& out, const Style& s) {
    out << "Style: " << s.name << ',' << s.font << ',' << s.size << ',' << s.primary << ','
        << s.primary << ',' << s.outlineColour << ',' << s.back << ',' << (s.bold ? -1 : 0)
        << ",0,0,0,100,100,0,0," << s.borderStyle << ',' << s.outline << ',' << s.shadow << ','
        << s.alignment << ',' << s.marginSide << ',' << s.marginSide << ',' << s.marginV << ",1\n";
}

void writeEvent(QTextStream& out, int layer, double start, double end, const char* style,
                const QString& text) {
    if (assTime(end) == assTime(start)) return;  // shorter than the script can say
    out << "Dialogue: " << layer << ',' << assTime(start) << ',' << assTime(end) << ',' << style
        << ",,0,0,0,," << text << '\n';
}

class Writer {
public:
    Writer(const editor::EditProject& project, QSize size)
        : project_(project),
          w_(size.width()),
          h_(size.height()),
          base_(std::min(size.width(), size.height())) {}

    void captions(const std::vector<editor::CaptionCue>& cues) {
        const bool bold = project_.settings.captionStyle == editor::CaptionStyle::bold;
        const char* style = bold ? "Bold" : "Clean";
        for (const editor::CaptionCue& cue : cues) {
            const QString lead =
                cue.unspaced ? QStringLiteral("{\\fn%1}").arg(kCjkFont) : QString();
            if (!bold || !cue.times || cue.words.isEmpty()) {
                writeEvent(out_, 0, cue.start, cue.end, style, lead + join(cue, -1));
                continue;
            }
            // One event per spoken word, with that word highlighted.
            const std::vector<double>& times = *cue.times;
            for (qsizetype k = 0; k < cue.words.size(); ++k) {
                const double start = k == 0 ? cue.start : times[size_t(k)];
                const double end = k + 1 < cue.words.size() ? times[size_t(k + 1)] : cue.end;
                if (end > start) writeEvent(out_, 0, start, end, style, lead + join(cue, k));
            }
        }
    }

    void popUps(const std::vector<editor::PopUp>& pops, double total, const FaceAt& faceAt,
                bool hooked) {
        const int size = popSize();
        for (size_t i = 0; i < pops.size(); ++i) {
            const editor::PopUp& p = pops[i];
            // A phrase spoken in a blink still stays long enough to read.
            const double until = i + 1 < pops.size() ? pops[i + 1].start : total;
            const double end = std::max(p.end, std::min(p.start + kPopUpSeconds, until));
            const QString text = p.text.toUpper();
            // Bold capitals run about 0.7 of the size wide; the outline adds to both sides.
            const QSizeF measure(std::min(double(w_) - 2 * side(), 0.7 * size * text.size()),
                                 1.3 * size);
            // While the hook shows at the top, a phrase moved up stays below it.
            const double clearBelow = hooked && p.start < kHookSeconds ? hookBottom() : 0;
            const QPointF at =
                popUpPlace(QSize(w_, h_), measure,
                           faceAt ? faceAt(p.start, end) : std::optional<QRectF>(), clearBelow);
            const QString pop = QStringLiteral(
                                    "{\\pos(%1,%2)\\fad(60,120)\\fscx70\\fscy70"
                                    "\\t(0,140,\\fscx100\\fscy100)}")
                                    .arg(std::lround(at.x()))
                                    .arg(std::lround(at.y()));
            writeEvent(out_, 1, p.start, end, "Pop", pop + assText(text));
        }
    }

    void hook(const QString& text, double total) {
        writeEvent(out_, 2, 0, std::min(kHookSeconds, total), "Hook",
                   "{\\fad(0,250)}" + assText(text));
    }

    void progressBar(double total) {
        const int thick = std::max(2, px(0.006 * h_));
        const QString shape = QStringLiteral("m 0 0 l %1 0 %1 %2 0 %2").arg(w_).arg(thick);
        const QString at = QStringLiteral("{\\an7\\pos(0,%1)\\bord0\\shad0").arg(h_ - thick);
        writeEvent(out_, 3, 0, total, "Bar", at + "\\1a&HB0&\\p1}" + shape);
        writeEvent(out_, 4, 0, total, "Bar",
                   at +
                       QStringLiteral("\\1c%1\\clip(0,0,0,%2)\\t(0,%3,\\clip(0,0,%4,%2))\\p1}")
                           .arg(kYellowTag, QString::number(h_),
                                QString::number(std::llround(total * 1000)), QString::number(w_)) +
                       shape);
    }

    QString script() {
        const double size = project_.settings.captionSize;
        const bool lower = project_.settings.captionPosition == editor::CaptionPosition::lower;
        const int boldSize = px(0.075 * base_ * size);
        const int cleanSize = px(0.05 * base_ * size);
        const int popSize = this->popSize();
        const int hookSize = this->hookSize();
        const int captionAlign = lower ? 2 : 5;
        const int captionMargin = lower ? px(0.2 * h_) : 0;
        const int side = this->side();
        const Style styles[] = {
            {"Bold", kFont, boldSize, kWhite, kBlack, kShadow, true, 1, px(boldSize * 0.09),
             px(boldSize * 0.04), captionAlign, side, captionMargin},
            {"Clean", kFont, cleanSize, kWhite, kSoftBox, kSoftBox, false, 3, px(cleanSize * 0.3),
             0, captionAlign, side, captionMargin},
            {"Pop", kFont, popSize, kYellow, kBlack, kShadow, true, 1, px(popSize * 0.1),
             px(popSize * 0.05), 5, side, 0},
            {"Hook", kFont, hookSize, kInk, kWhite, kWhite, true, 3, px(hookSize * 0.35), 0, 8,
             px(0.1 * w_), hookTop()},
            {"Bar", kFont, 10, kWhite, kBlack, kBlack, false, 1, 0, 0, 7, 0, 0},
        };
        QString text;
        QTextStream head(&text);
        head << "[Script Info]\nScriptType: v4.00+\nPlayResX: " << w_ << "\nPlayResY: " << h_
             << "\nWrapStyle: 0\nScaledBorderAndShadow: yes\nYCbCr Matrix: None\n\n"
             << "[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, "
                "SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, "
                "StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, "
                "Alignment, MarginL, MarginR, MarginV, Encoding\n";
        for (const Style& s : styles) writeStyle(head, s);
        head << "\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, "
                "Effect, Text\n";
        head.flush();
        out_.flush();
        return text + events_;
    }

    bool empty() {
        out_.flush();
        return events_.isEmpty();
    }

private:
    int popSize() const { return px(0.085 * base_); }
    int side() const { return px(0.08 * w_); }
    int hookSize() const { return px(0.058 * base_); }
    int hookTop() const { return px(0.09 * h_); }
    // Below the hook's box: a line of text and the box's border above and below it, with room.
    double hookBottom() const { return hookTop() + 2.0 * hookSize(); }

    // The cue's pieces, the one at `highlight` (when not -1) in yellow.
    QString join(const editor::CaptionCue& cue, qsizetype highlight) const {
        const QString separator = cue.unspaced ? QString() : QStringLiteral(" ");
        QString text;
        for (qsizetype i = 0; i < cue.words.size(); ++i) {
            if (i > 0) text += separator;
            if (i == highlight) {
                text += QStringLiteral("{\\1c%1}").arg(kYellowTag) + assText(cue.words[i]) +
                        QStringLiteral("{\\1c%1}").arg(kWhiteTag);
            } else {
                text += assText(cue.words[i]);
            }
        }
        return text;
    }

    const editor::EditProject& project_;
    int w_, h_, base_;
    QString events_;
    QTextStream out_{&events_};
};

}  // namespace

QString assTime(double seconds) {
    const qint64 cs = std::max<qint64>(0, std::llround(seconds * 100));
    return QStringLiteral("%1:%2:%3.%4")
        .arg(cs / 360000)
        .arg(cs / 6000 % 60, 2, 10, QChar('0'))
        .arg(cs / 100 % 60, 2, 10, QChar('0'))
        .arg(cs % 100, 2, 10, QChar('0'));
}

QString assText(const QString& text) {
    QString safe;
    safe.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '{':
                safe += QChar('(');
                break;
            case '}':
                safe += QChar(')');
                break;
            case '\\':
                safe += QChar(0x2216);  // SET MINUS, which looks like a backslash
                break;
            case '\n':
            case '\r':
                safe += QChar(' ');
                break;
            default:
                safe += c;
        }
    }
    return safe;
}

QPointF popUpPlace(QSize size, QSizeF text, const std::optional<QRectF>& face, double clearBelow) {
    const double w = size.width(), h = size.height();
    const QPointF middle(w / 2, 0.34 * h);
    const auto at = [&](double y) {
        return QRectF(QPointF(middle.x() - text.width() / 2, y - text.height() / 2), text);
    };
    if (!face || !at(middle.y()).intersects(*face)) return middle;
    const double gap = 0.02 * h;
    // Clear of the top edge, and of the captions, which sit from about 0.7 of the height down.
    const double highest = std::max(0.04 * h, clearBelow) + text.height() / 2;
    const double lowest = 0.7 * h - text.height() / 2;
    const double above = face->top() - gap - text.height() / 2;
    const double below = face->bottom() + gap + text.height() / 2;
    if (above >= highest) return {middle.x(), above};
    if (below <= lowest) return {middle.x(), below};
    return {middle.x(), highest};
}

QString assScript(const editor::EditProject& project, const editor::Timeline& timeline,
                  const std::vector<editor::Line>& lines, QSize size, const FaceAt& faceAt) {
    if (timeline.total() <= 0) return {};
    Writer writer(project, size);
    if (project.settings.captions) writer.captions(editor::captions(project, timeline, lines));
    const auto hook = editor::hookText(project);
    writer.popUps(editor::popUps(project, timeline, lines), timeline.total(), faceAt,
                  hook.has_value());
    if (hook) writer.hook(*hook, timeline.total());
    if (project.settings.progressBar) writer.progressBar(timeline.total());
    if (writer.empty()) return {};
    return writer.script();
}

}  // namespace pelix::render
