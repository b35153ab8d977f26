// Counts and dates as the windows and the command line write them, and text from outside as
// the command line prints it.
#include "core/Console.h"
#include "core/Counted.h"
#include "core/Dates.h"
#include "core/Sentences.h"

#include <gtest/gtest.h>

namespace pelix::core {
namespace {

// The counted word, and every sentence whose wording turns on a count beyond it, read right at
// one, at two and beyond.
TEST(Counted, WordsAndSentencesReadRightForOneAndForMany) {
    namespace s = sentences;
    const std::pair<QString, QString> cases[] = {
        {counted(1, u"piece", u""), "1 piece"},
        {counted(0, u"piece", u""), "0 pieces"},
        {counted(-1, u"second", u""), "-1 seconds"},
        {counted(1, u"person", u"people"), "1 person"},
        {counted(3, u"person", u"people"), "3 people"},
        {s::piecesIn(1, 2.6), "1 piece in 2.6s"},
        {s::piecesIn(0, 0.04), "0 pieces in 0.0s"},
        {s::wordsFrom(1, "0:03"), "1 word from 0:03. Change anything you like, then save it."},
        {s::completeAll(1), "Complete: it is in Pelix"},
        {s::completeAll(2), "Complete: both are in Pelix"},
        {s::completeAll(5), "Complete: all 5 are in Pelix"},
        {s::someSentTickAgain(1, 2), "1 of 2 sent. Tick the other to try again."},
        {s::someSentTickAgain(1, 3), "1 of 3 sent. Tick the others to try again."},
        {s::someSentDropAgain(2, 3), "2 of 3 sent. Drop the other again."},
        {s::someSentDropAgain(0, 3), "0 of 3 sent. Drop the others again."},
        {s::stoppedAfter(0, 1), "Stopped after bringing over 0 of 1 note."},
        {s::stoppedAfter(100, 300), "Stopped after bringing over 100 of 300 notes."},
    };
    for (const auto& [said, want] : cases) EXPECT_EQ(said, want);
}

TEST(Dates, ShortDateTimeFollowsTheLocaleAndTheDatesOwnOffset) {
    const QDateTime utc(QDate(2026, 11, 20), QTime(14, 31, 59), Qt::UTC);
    const QDateTime newYork = utc.toOffsetFromUtc(-5 * 3600);
    const QDateTime tokyo = utc.toOffsetFromUtc(9 * 3600);
    const QLocale us(QLocale::English, QLocale::UnitedStates);
    const QLocale uk(QLocale::English, QLocale::UnitedKingdom);
    const struct {
        QDateTime date;
        QLocale locale;
        QString want;
    } cases[] = {
        {newYork, us, "Nov 20, 2026, 9:31 AM"},
        {utc, us, "Nov 20, 2026, 2:31 PM"},
        {newYork, uk, "20 Nov 2026, 09:31"},
        {tokyo, uk, "20 Nov 2026, 23:31"},
        {tokyo.addSecs(10 * 3600), uk, "21 Nov 2026, 09:31"},  // past midnight there
        {utc, QLocale(QLocale::German, QLocale::Germany), "20. Nov. 2026, 14:31"},
        {utc, QLocale::c(), "Nov 20, 2026, 2:31 PM"},
        {QDateTime(), us, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.locale.bcp47Name().toStdString());
        EXPECT_EQ(dates::shortDateTime(c.date, c.locale), c.want);
    }
}

TEST(Console, TextFromOutsideIsPrintedWithoutItsControlCharacters) {
    const std::pair<QString, QString> cases[] = {
        {"plain words", "plain words"},
        {"two\nlines\tand a tab", "two\nlines\tand a tab"},
        {"title \x1b]0;owned\x07 set", "title ]0;owned set"},
        {"clipboard \x1b]52;c;aGk=\x1b\\", "clipboard ]52;c;aGk=\\"},
        {"over\rwritten", "overwritten"},
        {QString("nul") + QChar(0) + "byte", "nulbyte"},
        {QString("c1") + QChar(0x9b) + "31m and DEL" + QChar(0x7f), "c131m and DEL"},
        {"ünïcödé “quotes” 日本語", "ünïcödé “quotes” 日本語"},
    };
    for (const auto& [text, shown] : cases)
        EXPECT_EQ(console::printable(text), shown) << text.toStdString();
}

TEST(Console, ASecretIsBlankedInEveryFormAServerEchoesItIn) {
    const QString secret = "pelix_a/b+c d";
    const std::pair<QString, QString> cases[] = {
        {"bad token pelix_a/b+c d here", "bad token … here"},
        {"query ?t=pelix_a%2Fb%2Bc%20d&x", "query ?t=…&x"},
        {"lower hex pelix_a%2fb%2bc+d", "lower hex …"},
        {"every byte %70%65%6C%69%78%5F%61%2F%62%2B%63%20%64.", "every byte …."},
        {R"(json "pelix_a\/b+c d")", R"(json "…")"},
        {"twice pelix_a/b+c dpelix_a/b+c d", "twice ……"},
        // Only the whole secret: a start of it, or a different one, stays.
        {"pelix_a/b+c e and pelix_a/b", "pelix_a/b+c e and pelix_a/b"},
        {"ends at pelix_a%2", "ends at pelix_a%2"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(console::withoutSecret(text, secret), shown) << text.toStdString();
    }
    EXPECT_EQ(console::withoutSecret("nothing to hide", ""), "nothing to hide");
}

}  // namespace
}  // namespace pelix::core
