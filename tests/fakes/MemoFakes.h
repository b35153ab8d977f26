#pragma once

// Stand-ins for the voice memo watcher's timer and its media and on-device hearing tools.
#include "memos/MemoTools.h"
#include "memos/Ticker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QTemporaryDir>

namespace pelix::fakes {

// A ticker that never ticks (the tests look for themselves).
class HandTicker final : public memos::Ticker {
public:
    void start(double, std::function<void()> tick) override { tick_ = std::move(tick); }
    void stop() override { tick_ = nullptr; }
    bool running() const { return bool(tick_); }

private:
    std::function<void()> tick_;
};

// Lengths by file name (30 s unless told), cuts into small files naming their span, and a
// transcript heard here (a failure when `local` is none); called from the watcher's threads.
struct FakeMemoTools {
    QMutex lock;
    QHash<QString, double> lengths;
    int cuts = 0;
    std::optional<QString> local = QString("heard here");
    QList<std::pair<QString, QStringList>> heard;  // locale and expected words of each run
    QTemporaryDir scratch;

    memos::MemoTools tools() {
        return memos::MemoTools{
            [this](const QString& file) -> Result<double> {
                QMutexLocker hold(&lock);
                return lengths.value(QFileInfo(file).fileName(), 30);
            },
            [this](const QString&, double from, double length) -> Result<QString> {
                QMutexLocker hold(&lock);
                QFile cut(QDir(scratch.path()).filePath(QString("cut-%1.m4a").arg(++cuts)));
                if (!cut.open(QIODevice::WriteOnly)) return fail(1, "no room for a piece");
                cut.write(QString("audio %1+%2").arg(from).arg(length).toUtf8());
                return cut.fileName();
            },
            [](const QString&) -> std::optional<QDateTime> { return std::nullopt; },
            [this](const QString&, const QString& locale,
                   const QStringList& words) -> Result<QString> {
                QMutexLocker hold(&lock);
                heard.push_back({locale, words});
                if (!local) return fail(9, "No speech model.");
                return *local;
            },
        };
    }
};

}  // namespace pelix::fakes
