#pragma once

// The typing target window (typing_target.cpp) as a child process.
#include <QByteArrayList>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QThread>

#include <functional>
#include <vector>

namespace pelix::testing {

class TargetWindow {
public:
    struct Seen {  // one text the window held, and when
        qint64 ms;
        QString text;
    };

    explicit TargetWindow(const QString& program,
                          const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
                          const QStringList& args = {}) {
        clock_.start();
        process_.setProcessEnvironment(env);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(&process_, &QProcess::readyReadStandardOutput, [this] { read(); });
        process_.start(program, args);
    }
    ~TargetWindow() {
        process_.closeWriteChannel();
        if (!process_.waitForFinished(2000)) process_.kill();
        process_.waitForFinished(1000);
    }

    bool ready(int timeoutMs = 10000) { return waitForLine("ready", timeoutMs); }
    bool focus() {
        readies_ = 0;
        send("focus");
        return ready();
    }
    void clear() {
        const qsizetype before = lines_.count("cleared");
        send("clear");
        spin([&] { return lines_.count("cleared") > before; }, 3000);
        history_.clear();
    }
    QString text() const { return history_.empty() ? QString() : history_.back().text; }
    const std::vector<Seen>& history() const { return history_; }
    bool waitForText(const QString& want, int timeoutMs = 10000) {
        return spin([&] { return text() == want; }, timeoutMs);
    }
    void send(const QByteArray& command) { process_.write(command + '\n'); }
    bool said(const QByteArray& line) const { return lines_.contains(line); }
    bool waitForLine(const QByteArray& line, int timeoutMs = 5000) {
        return spin([&] { return lines_.contains(line) && (line != "ready" || readies_ > 0); },
                    timeoutMs);
    }
    qint64 pid() const { return process_.processId(); }
    qint64 elapsed() const { return clock_.elapsed(); }

    static bool spin(const std::function<bool()>& done, int timeoutMs) {
        QDeadlineTimer deadline(timeoutMs);
        while (!done()) {
            if (deadline.hasExpired()) return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            QThread::usleep(500);
        }
        return true;
    }

private:
    void read() {
        buffer_ += process_.readAllStandardOutput();
        for (qsizetype end; (end = buffer_.indexOf('\n')) >= 0;) {
            const QByteArray line = buffer_.left(end);
            buffer_.remove(0, end + 1);
            if (line.startsWith("text ")) {
                history_.push_back(
                    {clock_.elapsed(), QString::fromUtf8(QByteArray::fromBase64(line.mid(5)))});
            } else {
                if (line == "ready") ++readies_;
                lines_ << line;
            }
        }
    }

    QProcess process_;
    QElapsedTimer clock_;
    QByteArray buffer_;
    QByteArrayList lines_;
    int readies_ = 0;
    std::vector<Seen> history_;
};

}  // namespace pelix::testing
