#include "core/Dates.h"

#include <QHash>

#include <unicode/dtptngen.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace pelix::core::dates {
namespace {

QString fromIcu(const icu::UnicodeString& text) {
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

// The locale's pattern for the fields wanted; working it out reads the locale's data, so each
// thread keeps the patterns it has made.
const icu::UnicodeString* pattern(const QLocale& locale, const icu::Locale& where) {
    thread_local QHash<QString, icu::UnicodeString> made;
    const QString key = locale.bcp47Name();
    if (const auto found = made.constFind(key); found != made.constEnd()) return &*found;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(where, status));
    if (U_FAILURE(status)) return nullptr;
    // Year, short month, day; the locale's hour (12 or 24) and minutes.
    const icu::UnicodeString best = generator->getBestPattern(u"yMMMdjmm", status);
    if (U_FAILURE(status)) return nullptr;
    return &*made.insert(key, best);
}

}  // namespace

QString shortDateTime(const QDateTime& date, const QLocale& locale) {
    if (!date.isValid()) return {};
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale where = icu::Locale::forLanguageTag(locale.bcp47Name().toStdString(), status);
    const icu::UnicodeString* fields = U_SUCCESS(status) ? pattern(locale, where) : nullptr;
    if (!fields) return locale.toString(date, QLocale::ShortFormat);
    icu::SimpleDateFormat format(*fields, where, status);
    if (U_FAILURE(status)) return locale.toString(date, QLocale::ShortFormat);
    format.adoptTimeZone(new icu::SimpleTimeZone(date.offsetFromUtc() * 1000, u"offset"));
    icu::UnicodeString out;
    format.format(static_cast<UDate>(date.toMSecsSinceEpoch()), out);
    // Newer locale data puts narrow no-break spaces before "AM"; the fonts of the windows may
    // not draw them, so they read as plain spaces.
    QString text = fromIcu(out);
    text.replace(QChar(0x202F), u' ');
    return text;
}

QString clock(double seconds) {
    const auto whole = static_cast<qint64>(std::floor(std::max(0.0, seconds)));
    const qint64 hours = whole / 3600;
    const qint64 minutes = whole % 3600 / 60;
    const qint64 rest = whole % 60;
    if (hours == 0) return QString::asprintf("%lld:%02lld", minutes, rest);
    return QString::asprintf("%lld:%02lld:%02lld", hours, minutes, rest);
}

}  // namespace pelix::core::dates
