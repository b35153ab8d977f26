#pragma once

#include <QList>
#include <QString>
#include <QStringView>

namespace pelix::core {

// Where the user-perceived characters (extended grapheme clusters) of `text` begin, as UTF-16
// offsets, followed by the length of the text: n characters give n + 1 offsets, the empty text
// the single offset 0. Linear in the length.
QList<qsizetype> graphemeBounds(QStringView text);

// The number of user-perceived characters in `text`.
qsizetype graphemeCount(QStringView text);

}  // namespace pelix::core
