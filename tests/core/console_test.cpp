#include "core/Console.h"

#include <gtest/gtest.h>

namespace pelix::core::console {
namespace {

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
    for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown) << text.toStdString();
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
        EXPECT_EQ(withoutSecret(text, secret), shown) << text.toStdString();
    }
    EXPECT_EQ(withoutSecret("nothing to hide", ""), "nothing to hide");
}

}  // namespace
}  // namespace pelix::core::console
