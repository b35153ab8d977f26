#pragma once

// What every test program uses: GoogleTest, the Qt classes the tests handle files, folders and
// JSON with, and the helpers below.
#include "support/QStringPrinting.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

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

// What became of a pelix run interrupted by a signal once it had made a file.
struct Interrupted {
    QString file;   // the first file that appeared in the watched folder (empty: none)
    int mode = -1;  // its mode bits then (0600 is 0600)
    bool endedBySignal = false;
    QStringList left;  // what the folder held after the process ended
    QByteArray err;
};

// Starts pelix with `args`, waits until a file appears in `folder`, sends `signal` and waits for
// the process to end: for checking that temporary files are private and do not outlive an
// interruption.
Interrupted interruptOnceAFileAppears(const QStringList& args, const QProcessEnvironment& extraEnv,
                                      const QString& folder, int signal, int timeoutMs = 60000);

// Writes a file with `bytes` into `folder`, and returns its path; with a valid `modified`, sets
// its modification time.
QString writeFile(const QString& folder, const QString& name, const QByteArray& bytes = "x",
                  const QDateTime& modified = {});

// The bytes of a file; empty when it cannot be read.
QByteArray readFile(const QString& path);

// The lower-case words of a text, punctuation other than apostrophes dropped.
QStringList spokenWords(const QString& text);

// Word error rate: the word edits (insertions, deletions, substitutions) that turn `reference`
// into `heard`, over the number of words in `reference` (0 for an empty reference).
double wordErrorRate(const QStringList& reference, const QStringList& heard);

// The processor time this thread spends in `work`, in seconds: the least of `runs` runs, so that
// a busy machine disturbs it little. For tests that compare the time of work of two sizes.
double leastCpuSeconds(const std::function<void()>& work, int runs = 3);

// How many times longer work on ten times the input may take and still count as linear. Linear
// work takes about ten times as long, more once the large input leaves the cache or a sanitizer's
// allocator adds its share; quadratic work takes a hundred times as long.
inline constexpr double kTenfoldInputLimit = 40;

// Ends `process` (SIGTERM, then SIGKILL after `graceMs`) and waits for it. A program run through
// `runuser` is ended itself: runuser passes a signal on but then waits two seconds before it
// kills, where it follows a program that ends at once.
void endProcess(QProcess& process, int graceMs = 3000);

// Runs the Qt event loop until `done` is true; false on time-out.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000);

// Runs the Qt event loop for `ms` milliseconds.
inline void pause(int ms) {
    waitUntil([] { return false; }, ms);
}

// Starts work that hands its result to a callback, `start(done)`, and waits for the result;
// none on time-out.
template <class T, class Start>
std::optional<T> awaited(Start start, int timeoutMs = 15000) {
    auto result = std::make_shared<std::optional<T>>();
    start([result](T value) { *result = std::move(value); });
    waitUntil([&] { return result->has_value(); }, timeoutMs);
    return *result;
}

// A self-signed certificate for 127.0.0.1 made by openssl: `dir`/cert.pem and `dir`/key.pem.
// False, with openssl's words on standard error, when it cannot be made.
bool makeCertificate(const QString& dir);

}  // namespace pelix::testing
