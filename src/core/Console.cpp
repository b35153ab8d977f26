#include "core/Console.h"

#include "core/Sentences.h"

#include <QCoreApplication>

#include <cstdio>

#include <unistd.h>

namespace pelix::core::console {
namespace {

void write(FILE* stream, const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

int hexValue(QChar c) {
    if (c >= u'0' && c <= u'9') return c.unicode() - u'0';
    if (c >= u'a' && c <= u'f') return c.unicode() - u'a' + 10;
    if (c >= u'A' && c <= u'F') return c.unicode() - u'A' + 10;
    return -1;
}

// The value of `digits` hex digits at `at`, or -1.
int hexAt(const QString& text, qsizetype at, int digits) {
    if (at + digits > text.size()) return -1;
    int value = 0;
    for (int i = 0; i < digits; ++i) {
        const int digit = hexValue(text[at + i]);
        if (digit < 0) return -1;
        value = value * 16 + digit;
    }
    return value;
}

// How many characters of `text` from `at` spell `c` in one of the forms a server may echo it
// in, or 0.
qsizetype spelled(const QString& text, qsizetype at, QChar c) {
    const QChar here = text[at];
    if (here == c) return 1;
    if (here == u'+' && c == u' ') return 1;
    if (here == u'%' && c.unicode() < 0x80 && hexAt(text, at + 1, 2) == c.unicode()) return 3;
    if (here == u'\\' && at + 1 < text.size()) {
        if (text[at + 1] == c) return 2;
        if (text[at + 1] == u'u' && hexAt(text, at + 2, 4) == c.unicode()) return 6;
    }
    return 0;
}

}  // namespace

QString withoutSecret(const QString& text, const QString& secret) {
    if (secret.isEmpty()) return text;
    QString out;
    out.reserve(text.size());
    qsizetype at = 0;
    while (at < text.size()) {
        qsizetype end = at;
        for (const QChar c : secret) {
            const qsizetype n = end < text.size() ? spelled(text, end, c) : 0;
            if (n == 0) {
                end = -1;
                break;
            }
            end += n;
        }
        if (end > at) {
            out += QStringLiteral("…");
            at = end;
        } else {
            out += text[at++];
        }
    }
    return out;
}

QString printable(QString text) {
    text.removeIf(
        [](QChar c) { return c.category() == QChar::Other_Control && c != u'\n' && c != u'\t'; });
    return text;
}

QString printableLine(QString text) {
    text = printable(std::move(text));
    text.replace(u'\n', u' ').replace(u'\t', u' ');
    return text;
}

void out(const QString& line) {
    write(stdout, printable(line).toUtf8() + '\n');
}
void err(const QString& line) {
    write(stderr, printable(line).toUtf8() + '\n');
}
void raw(const QByteArray& bytes) {
    write(stdout, bytes);
}

std::optional<bool> confirm(const QString& question) {
    if (!isatty(STDIN_FILENO)) return std::nullopt;
    write(stderr, printable(question).toUtf8() + " [y/N] ");
    char answer[64] = {};
    if (!std::fgets(answer, sizeof answer, stdin)) return false;
    return answer[0] == 'y' || answer[0] == 'Y';
}

int runUntilAnswered(const std::function<void(Answer)>& start) {
    int status = 1;
    start([&status](Result<QString> answer) {
        if (answer) {
            out(*answer);
            status = 0;
        } else {
            err(answer.error().message);
        }
        QCoreApplication::exit(status);
    });
    QCoreApplication::exec();
    return status;
}

int notInThisBuild(const QString& what) {
    err(core::sentences::notInThisBuild(what));
    return 2;
}

}  // namespace pelix::core::console
