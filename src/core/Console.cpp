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

}  // namespace

QString printable(QString text) {
    text.removeIf(
        [](QChar c) { return c.category() == QChar::Other_Control && c != u'\n' && c != u'\t'; });
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
