#include "core/Counted.h"

namespace pelix::core {

QString countedWord(qint64 count, QStringView one, QStringView many) {
    if (count == 1) return one.toString();
    return many.isEmpty() ? one.toString() + u's' : many.toString();
}

QString counted(qint64 count, QStringView one, QStringView many) {
    return QString::number(count) + u' ' + countedWord(count, one, many);
}

}  // namespace pelix::core
