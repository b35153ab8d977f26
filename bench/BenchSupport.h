#pragma once

// Helpers the benchmarks share for making their media with the bare tools.
#include <QProcess>
#include <QString>
#include <QStringList>

#include <stdexcept>

namespace pelix::bench {

// Runs a tool to its end; throws with its standard error when it fails.
inline void run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(-1) || process.exitCode() != 0) {
        throw std::runtime_error(
            (program + " failed: " + process.readAllStandardError()).toStdString());
    }
}

}  // namespace pelix::bench
