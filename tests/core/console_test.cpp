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

}  // namespace
}  // namespace pelix::core::console
