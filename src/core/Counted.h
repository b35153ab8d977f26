#pragma once

#include <QString>
#include <QStringView>

namespace pelix::core {

// A count and the word it counts, made plural unless the count is one: "1 piece", "0 pieces",
// "2 pieces". `many` is the plural where adding an "s" does not make it ("1 person", "3 people").
QString counted(qint64 count, QStringView one, QStringView many = {});

// The word alone, as `counted` would write it after `count`.
QString countedWord(qint64 count, QStringView one, QStringView many = {});

}  // namespace pelix::core
