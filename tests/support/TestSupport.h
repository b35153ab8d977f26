#pragma once

// What every test program uses: GoogleTest, Qt's file, folder and JSON classes, and the helpers.
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

// HOME and the XDG folders in a temporary folder, no inherited backend address; restored after.
class IsolatedHome {
public:
    IsolatedHome();
    ~IsolatedHome();
    QString path() const { return dir_.path(); }
    QString dataDir() const { return dir_.path() + "/data/Pelix"; }
    QString configDir() const { return dir_.path() + "/config/Pelix"; }

private:
    QTemporaryDir dir_;
    QProcessEnvironment saved_;
};

struct ProcessResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs $PELIX_BIN in the current environment plus `extraEnv`, with `input` on its standard input.
ProcessResult runPelix(const QStringList& args, const QByteArray& input = {},
                       const QProcessEnvironment& extraEnv = {}, int timeoutMs = 60000);

// What became of a pelix run interrupted by a signal once it had made a file.
struct Interrupted {
    QString file;   // the first file that appeared (empty: none)
    int mode = -1;  // its mode bits then
    bool endedBySignal = false;
    QStringList left;  // what the folder held after the process ended
    QByteArray err;
};

// Starts pelix, sends `signal` once a file appears in `folder` and waits for it to end: do
// temporary files stay private and go with an interruption?
Interrupted interruptOnceAFileAppears(const QStringList& args, const QProcessEnvironment& extraEnv,
                                      const QString& folder, int signal, int timeoutMs = 60000);

// Writes `folder`/`name` (modified at `modified` when valid) and returns its path.
QString writeFile(const QString& folder, const QString& name, const QByteArray& bytes = "x",
                  const QDateTime& modified = {});

QByteArray readFile(const QString& path);

// The lower-case words of a text, punctuation other than apostrophes dropped.
QStringList spokenWords(const QString& text);

// Word error rate: the word edits that turn `reference` into `heard`, over `reference`'s size.
double wordErrorRate(const QStringList& reference, const QStringList& heard);

// This thread's processor seconds in `work`, the least of `runs` runs (a busy machine adds).
double leastCpuSeconds(const std::function<void()>& work, int runs = 3);

// How much longer ten times the input may take and still count as linear: about 10, more with
// cache misses and a sanitizer's allocator; quadratic work takes 100.
inline constexpr double kTenfoldInputLimit = 40;

// SIGTERM, then SIGKILL after `graceMs`. Through `runuser` the program itself is signalled: runuser
// would wait two seconds after passing the signal on.
void endProcess(QProcess& process, int graceMs = 3000);

// Runs the Qt event loop until `done`; false on time-out.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000);

inline void pause(int ms) {
    waitUntil([] { return false; }, ms);
}

// `start(done)` with a callback, and the result it hands over; none on time-out.
template <class T, class Start>
std::optional<T> awaited(Start start, int timeoutMs = 15000) {
    auto result = std::make_shared<std::optional<T>>();
    start([result](T value) { *result = std::move(value); });
    waitUntil([&] { return result->has_value(); }, timeoutMs);
    return *result;
}

// A self-signed certificate for 127.0.0.1: `dir`/cert.pem and `dir`/key.pem (false: openssl
// failed).
bool makeCertificate(const QString& dir);

}  // namespace pelix::testing
