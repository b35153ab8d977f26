#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace pelix::core {

// The process arguments, matched as whole words anywhere in the list. An option that takes a
// value takes the argument directly after it.
class Args {
public:
    explicit Args(QStringList all) : all_(std::move(all)) {}

    bool has(const QString& flag) const { return all_.contains(flag); }

    // The argument directly after the first `flag`, or none when the flag is absent or last.
    std::optional<QString> value(const QString& flag) const {
        const qsizetype at = all_.indexOf(flag);
        if (at < 0 || at + 1 >= all_.size()) return std::nullopt;
        return all_.at(at + 1);
    }

    // Every argument after the first `flag`.
    QStringList after(const QString& flag) const {
        const qsizetype at = all_.indexOf(flag);
        return at < 0 ? QStringList() : all_.mid(at + 1);
    }

    const QStringList& all() const { return all_; }

private:
    QStringList all_;
};

}  // namespace pelix::core
