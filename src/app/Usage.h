#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// The program's command line described once: `pelix --help` prints it and the build turns it into
// the manual page pelix(1).
namespace pelix::app::usage {

// An option that qualifies a mode.
struct Option {
    QString synopsis{};  // "--piece SECONDS"
    QString text{};      // what it does, one short line
};

struct Mode {
    QString flag{};      // the word that selects it, "--memo"
    QString synopsis{};  // "--memo PATH"
    QString summary{};   // one short line
    QString details{};   // a paragraph for the manual, or empty
    QList<Option> options{};
};

// A name and a line about it: a variable, a file, a preference, an exit status.
struct Entry {
    QString name{};
    QString text{};
};

struct Usage {
    QString synopsis{};         // "pelix [MODE] [OPTIONS]"
    QString summary{};          // what the program is, in one line
    QStringList description{};  // paragraphs; the first is also in --help
    QList<Mode> modes{};        // in the order they are tested
    QList<Entry> environment{};
    QList<Entry> files{};
    QList<Entry> preferences{};  // only in the manual
    QList<Entry> exitStatus{};
};

// Pelix's own command line.
const Usage& pelix();

// The text of --help.
QString helpText(const Usage& usage);

// What the manual page has beyond the usage.
struct ManualInfo {
    QString version{};  // "0.1.0"
    QString date{};     // "2026-11-23"
    // A section printed as it stands, under its title (the editor's own command list).
    QString extraTitle{};
    QString extraText{};
};

// The manual page in roff (man macros), section 1.
QString manualPage(const Usage& usage, const ManualInfo& info);

// Every option word ("--piece") that qualifies some mode.
QStringList optionWords(const Usage& usage);

// What a synopsis names after its first word: "SECONDS" of "--piece SECONDS", "PATH" of
// "--memo PATH"; empty for a word that takes no value ("--save").
QString valueOf(const QString& synopsis);

}  // namespace pelix::app::usage
