#pragma once

#include <QString>

#include <functional>
#include <vector>

namespace pelix::text {

struct CleanUpCase {
    QString input;
    QString want;
};

// The seventeen cases the clean-up must pass, in their fixed order.
const std::vector<CleanUpCase>& cleanUpCases();

// Text written as a double-quoted source literal, with quotes, backslashes and line breaks
// escaped.
QString quotedLiteral(const QString& text);

// Runs `cleanUp` over the cases; writes a "FAIL" line for each mismatch and the summary line
// to `out`. Returns the number of failures.
int runCleanUpSelfTest(const std::function<QString(const QString&)>& cleanUp,
                       const std::function<void(const QString&)>& out);

}  // namespace pelix::text
