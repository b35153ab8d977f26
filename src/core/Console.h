#pragma once

#include "core/Error.h"

#include <QString>

#include <functional>
#include <optional>

namespace pelix::core::console {

// `text` without control characters (C0, DEL and C1: escape sequences, carriage returns, NUL),
// line breaks and tabs kept: text from outside (servers, transcripts, files) can then be printed
// without retitling the terminal, writing its clipboard or overwriting what was printed before.
QString printable(QString text);
// As `printable`, with line breaks and tabs made spaces too: for a name in one row of a table.
QString printableLine(QString text);

// `text` with every occurrence of `secret` (a key, a token) replaced by "…", in the forms a
// server may echo it back in: as it is, percent-encoded in whole or in part (either case of hex
// digits, "+" for a space), or JSON-escaped ("\u0070", "\/"). For every error and log text that
// could hold a secret.
QString withoutSecret(const QString& text, const QString& secret);

// Writes one line (a line break is added) to standard output or standard error, as UTF-8,
// printable.
void out(const QString& line);
void err(const QString& line);
// Writes bytes to standard output as they are.
void raw(const QByteArray& bytes);

// Asks `question` on the terminal and reads the answer: true for one starting with "y" or
// "Y", false for any other. None when standard input is not a terminal, so a script is never
// left waiting.
std::optional<bool> confirm(const QString& question);

using Answer = std::function<void(Result<QString>)>;

// For a command-line mode whose work ends in one callback: starts the work with `start`, runs the
// Qt event loop until the work answers, prints the answer's text to standard output (exit status
// 0) or its error's sentence to standard error (exit status 1).
int runUntilAnswered(const std::function<void(Answer)>& start);

// For a mode that a later version brings: says so in one sentence and returns exit status 2.
int notInThisBuild(const QString& what);

}  // namespace pelix::core::console
