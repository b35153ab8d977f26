#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

// Dates as every window shows them.
namespace pelix::core::dates {

// A moment as a person reads it in `locale`: the day, the month's short name and the year, then
// the time to the minute, in the locale's own order and clock ("Nov 20, 2026, 9:41 AM" in
// American English, "20 Nov 2026, 09:41" in British English). Shown at the date's own offset
// from UTC, so a local time reads as local time. Empty for an invalid date.
QString shortDateTime(const QDateTime& date, const QLocale& locale = QLocale());

// A length as a clock shows it, rounded down to the second: "0:07", "1:15", "1:35:00".
QString clock(double seconds);

}  // namespace pelix::core::dates
