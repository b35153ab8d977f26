// Counts as the windows and the command line write them, and text from outside as the command
// line prints it.
#include "core/Console.h"
#include "core/Counted.h"
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
        {counted(3, u"person", u"people"), "3 people"},
        {s::completeAll(1), "Complete: it is in Pelix"},
        {s::completeAll(2), "Complete: both are in Pelix"},
        {s::completeAll(5), "Complete: all 5 are in Pelix"},
        {s::someSentTickAgain(1, 2), "1 of 2 sent. Tick the other to try again."},
        {s::someSentTickAgain(1, 3), "1 of 3 sent. Tick the others to try again."},
        {s::stoppedAfter(0, 1), "Stopped after bringing over 0 of 1 note."},
    };
    for (const auto& [said, want] : cases) EXPECT_EQ(said, want);
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
