#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <functional>

namespace pelix::testing {

// A private home for one test: HOME and the XDG folders point into a temporary folder, and no
// backend address is inherited. Restores the environment when it goes.
class IsolatedHome {
public:
    IsolatedHome();
    ~IsolatedHome();
    QString path() const { return dir_.path(); }
    QString dataDir() const;    // $XDG_DATA_HOME/Pelix
    QString configDir() const;  // $XDG_CONFIG_HOME/Pelix

private:
    QTemporaryDir dir_;
    QProcessEnvironment saved_;
};

struct ProcessResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs the pelix program built with these tests ($PELIX_BIN) with the current environment plus
// `extraEnv`, feeding `input` to its standard input.
ProcessResult runPelix(const QStringList& args, const QByteArray& input = {},
                       const QProcessEnvironment& extraEnv = {}, int timeoutMs = 60000);

// The lower-case words of a text, punctuation other than apostrophes dropped.
QStringList spokenWords(const QString& text);

// Word error rate: the word edits (insertions, deletions, substitutions) that turn `reference`
// into `heard`, over the number of words in `reference` (0 for an empty reference).
double wordErrorRate(const QStringList& reference, const QStringList& heard);

// Runs the Qt event loop until `done` is true; false on time-out.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000);

}  // namespace pelix::testing
