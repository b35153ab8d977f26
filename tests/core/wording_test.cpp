// Counts and dates as the windows and the command line write them.
#include "core/Counted.h"
#include "core/Dates.h"
#include "core/Sentences.h"

#include <gtest/gtest.h>

namespace pelix::core {
namespace {

TEST(Counted, TheWordIsSingularOnlyForOne) {
    const struct {
        qint64 count;
        const char16_t* one;
        const char16_t* many;
        QString want;
    } cases[] = {
        {1, u"piece", u"", "1 piece"},         {0, u"piece", u"", "0 pieces"},
        {2, u"piece", u"", "2 pieces"},        {-1, u"second", u"", "-1 seconds"},
        {11, u"note", u"", "11 notes"},        {1, u"person", u"people", "1 person"},
        {3, u"person", u"people", "3 people"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(counted(c.count, c.one, c.many), c.want);
    }
}

// Every sentence that counts something reads right at one, at two and beyond.
TEST(Counted, SentencesWithCountsReadRightForOneAndForMany) {
    namespace s = sentences;
    const std::pair<QString, QString> cases[] = {
        {s::piecesIn(1, 2.6), "1 piece in 2.6s"},
        {s::piecesIn(0, 0.04), "0 pieces in 0.0s"},
        {s::piecesIn(3, 2.4), "3 pieces in 2.4s"},
        {s::wordsFrom(1, "0:03"), "1 word from 0:03. Change anything you like, then save it."},
        {s::wordsFrom(12, "1:15"), "12 words from 1:15. Change anything you like, then save it."},
        {s::secondsInPieces(30, 1), "30 s, 1 piece"},
        {s::secondsInPieces(900, 3), "900 s, 3 pieces"},
        {s::completeAll(1), "Complete: it is in Pelix"},
        {s::completeAll(2), "Complete: both are in Pelix"},
        {s::completeAll(5), "Complete: all 5 are in Pelix"},
        {s::someSentTickAgain(1, 2), "1 of 2 sent. Tick the other to try again."},
        {s::someSentTickAgain(1, 3), "1 of 3 sent. Tick the others to try again."},
        {s::someSentDropAgain(2, 3), "2 of 3 sent. Drop the other again."},
        {s::someSentDropAgain(0, 3), "0 of 3 sent. Drop the others again."},
        {s::stoppedAfter(0, 1), "Stopped after bringing over 0 of 1 note."},
        {s::stoppedAfter(100, 300), "Stopped after bringing over 100 of 300 notes."},
        {s::broughtOver(1, 1, 0, 0, 1), "Brought over 1 pearl: 1 new. 1 folder made to match."},
        {s::savedRules(1), "Saved 1 style rule."},
        {s::savedRules(4), "Saved 4 style rules."},
        {s::translated(1, 1, "French"), "Translated 1 of 1 caption into French."},
        {s::translated(2, 3, "French"), "Translated 2 of 3 captions into French."},
    };
    for (const auto& [said, want] : cases) EXPECT_EQ(said, want);
}

TEST(Dates, ShortDateTimeFollowsTheLocaleAndTheDatesOwnOffset) {
    // 2026-11-20 14:31 UTC.
    const QDateTime utc(QDate(2026, 11, 20), QTime(14, 31, 59), Qt::UTC);
    const QDateTime newYork = utc.toOffsetFromUtc(-5 * 3600);
    const QDateTime tokyo = utc.toOffsetFromUtc(9 * 3600);
    const QDateTime lateTokyo = tokyo.addSecs(10 * 3600);  // past midnight there
    const struct {
        QDateTime date;
        QLocale locale;
        QString want;
    } cases[] = {
        {newYork, QLocale(QLocale::English, QLocale::UnitedStates), "Nov 20, 2026, 9:31 AM"},
        {utc, QLocale(QLocale::English, QLocale::UnitedStates), "Nov 20, 2026, 2:31 PM"},
        {newYork, QLocale(QLocale::English, QLocale::UnitedKingdom), "20 Nov 2026, 09:31"},
        {tokyo, QLocale(QLocale::English, QLocale::UnitedKingdom), "20 Nov 2026, 23:31"},
        {lateTokyo, QLocale(QLocale::English, QLocale::UnitedKingdom), "21 Nov 2026, 09:31"},
        {utc, QLocale(QLocale::German, QLocale::Germany), "20. Nov. 2026, 14:31"},
        {utc, QLocale::c(), "Nov 20, 2026, 2:31 PM"},
        {QDateTime(), QLocale(QLocale::English, QLocale::UnitedStates), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.locale.bcp47Name().toStdString());
        EXPECT_EQ(dates::shortDateTime(c.date, c.locale), c.want);
    }
}

}  // namespace
}  // namespace pelix::core
