#include "support/TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <limits>

#include <signal.h>
#include <sys/stat.h>
#include <time.h>

#include <stdexcept>

namespace pelix::testing {
namespace {

const char* const kIsolated[] = {"HOME",           "XDG_CONFIG_HOME", "XDG_DATA_HOME",
                                 "XDG_CACHE_HOME", "PELIX_API_BASE",  "PELIX_EDITOR_DIR"};

}  // namespace

IsolatedHome::IsolatedHome() : saved_(QProcessEnvironment::systemEnvironment()) {
    if (!dir_.isValid()) throw std::runtime_error("no temporary folder for the test's home");
    qputenv("HOME", dir_.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (dir_.path() + "/config").toUtf8());
    qputenv("XDG_DATA_HOME", (dir_.path() + "/data").toUtf8());
    qputenv("XDG_CACHE_HOME", (dir_.path() + "/cache").toUtf8());
    qunsetenv("PELIX_API_BASE");
    qunsetenv("PELIX_EDITOR_DIR");
}

IsolatedHome::~IsolatedHome() {
    for (const char* name : kIsolated) {
        if (saved_.contains(name)) {
            qputenv(name, saved_.value(name).toUtf8());
        } else {
            qunsetenv(name);
        }
    }
}

namespace {

void startPelix(QProcess& process, const QStringList& args, const QProcessEnvironment& extraEnv) {
    const QString program = qEnvironmentVariable("PELIX_BIN");
    if (program.isEmpty()) throw std::runtime_error("PELIX_BIN is not set: run the tests by ctest");
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(extraEnv);
    process.setProcessEnvironment(env);
    process.start(program, args);
    if (!process.waitForStarted()) throw std::runtime_error("pelix did not start");
}

}  // namespace

ProcessResult runPelix(const QStringList& args, const QByteArray& input,
                       const QProcessEnvironment& extraEnv, int timeoutMs) {
    QProcess process;
    startPelix(process, args, extraEnv);
    process.write(input);
    process.closeWriteChannel();
    ProcessResult result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.err = "timed out\n";
    }
    result.out = process.readAllStandardOutput();
    result.err += process.readAllStandardError();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

QString writeFile(const QString& folder, const QString& name, const QByteArray& bytes,
                  const QDateTime& modified) {
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        throw std::runtime_error("cannot write the test file " + path.toStdString());
    }
    file.flush();  // a flush at close would move the time again
    if (modified.isValid()) file.setFileTime(modified, QFileDevice::FileModificationTime);
    return path;
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList spokenWords(const QString& text) {
    return text.toLower()
        .remove(QRegularExpression("[^\\p{L}\\p{N}' ]"))
        .split(' ', Qt::SkipEmptyParts);
}

double wordErrorRate(const QStringList& reference, const QStringList& heard) {
    if (reference.isEmpty()) return 0;
    // One row of the edit-distance table at a time.
    std::vector<qsizetype> row(heard.size() + 1);
    for (qsizetype j = 0; j <= heard.size(); ++j) row[j] = j;
    for (qsizetype i = 1; i <= reference.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i;
        for (qsizetype j = 1; j <= heard.size(); ++j) {
            const qsizetype above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1,
                               diagonal + (reference[i - 1] == heard[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return static_cast<double>(row[heard.size()]) / reference.size();
}

void endProcess(QProcess& process, int graceMs) {
    if (process.state() == QProcess::NotRunning) return;
    pid_t target = pid_t(process.processId());
    if (QFileInfo(process.program()).fileName() == QLatin1String("runuser")) {
        // runuser's one child is the program (`env` replaces itself with it).
        QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(target));
        if (children.open(QIODevice::ReadOnly)) {
            if (const pid_t child = children.readAll().trimmed().split(' ').value(0).toInt())
                target = child;
        }
    }
    ::kill(target, SIGTERM);
    if (!process.waitForFinished(graceMs)) {
        ::kill(target, SIGKILL);
        process.kill();
    }
    process.waitForFinished(1000);
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

Interrupted interruptOnceAFileAppears(const QStringList& args, const QProcessEnvironment& extraEnv,
                                      const QString& folder, int signal, int timeoutMs) {
    QProcess process;
    startPelix(process, args, extraEnv);
    Interrupted result;
    const QDir dir(folder);
    const auto files = [&] {
        return dir.entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    };
    waitUntil(
        [&] {
            const QStringList now = files();
            if (!now.isEmpty()) {
                result.file = now.first();
                struct stat info {};
                if (::stat(QFile::encodeName(dir.filePath(result.file)).constData(), &info) == 0) {
                    result.mode = int(info.st_mode & 07777);
                }
            }
            return !now.isEmpty() || process.state() == QProcess::NotRunning;
        },
        timeoutMs);
    ::kill(pid_t(process.processId()), signal);
    process.waitForFinished(timeoutMs);
    result.endedBySignal = process.exitStatus() == QProcess::CrashExit;
    result.left = files();
    result.err = process.readAllStandardError();
    return result;
}

bool makeCertificate(const QString& dir) {
    QProcess openssl;
    openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                              "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                              "-keyout", dir + "/key.pem", "-out", dir + "/cert.pem"});
    if (openssl.waitForFinished(60000) && openssl.exitCode() == 0) return true;
    std::fprintf(stderr, "openssl could not make a certificate (scripts/setup installs it): %s\n",
                 openssl.readAllStandardError().constData());
    return false;
}

double leastCpuSeconds(const std::function<void()>& work, int runs) {
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i < runs; ++i) {
        timespec start{}, end{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
        work();
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
        least = std::min(
            least, double(end.tv_sec - start.tv_sec) + double(end.tv_nsec - start.tv_nsec) / 1e9);
    }
    return least;
}

}  // namespace pelix::testing
