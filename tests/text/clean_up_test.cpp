#include "support/TestSupport.h"
#include "text/CleanUp.h"
#include "text/SelfTest.h"

#include <random>

using pelix::text::withoutActually;

namespace {

TEST(WithoutActually, RequiredAndFurtherCases) {
    for (const auto& c : pelix::text::cleanUpCases()) {
        EXPECT_EQ(withoutActually(c.input), c.want) << c.input.toStdString();
    }
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        // Double spaces survive when the word is absent: the early exit skips every repair.
        {u"Nothing  here,  at all.", u"Nothing  here,  at all."},
        // "factually" passes the quick test, so the later repairs do run.
        {u"factually  so", u"factually so"},
        {u"the token actually2 stays", u"the token actually2 stays"},
        {u"the token 2actually stays", u"the token 2actually stays"},
        {u"keep _actually here", u"keep _actually here"},
        {u"I did, actually", u"I did"},
        {u"He left.\" Actually, no.", u"He left.\" No."},
        {u"(Done.) actually we stay", u"(Done.) We stay"},
        {u"She said “actually fine”", u"She said “Fine”"},
        // Full upper-casing of the opening letter: one letter may become two.
        {u"Actually ßo it goes", u"SSo it goes"},
        {u"Actually éclair", u"Éclair"},
        {u"Well… actually, yes.", u"Well… Yes."},
        // Tabs and line breaks are not collapsed; only blanks are.
        {u"a\t\tb actually  c", u"a\t\tb c"},
        {u"Actually fine.  ", u"Fine. "},
        // An accented letter is not an ASCII word character.
        {u"éactually", u"é"},
        {u"actually", u""},
        {u"ACTUALLY, ACTUALLY.", u""},
    };
    for (const auto& [input, want] : cases) {
        EXPECT_EQ(withoutActually(QString::fromUtf16(input)), QString::fromUtf16(want))
            << QString::fromUtf16(input).toStdString();
    }
}

// The fast path tries the word patterns only at the few places before each occurrence of the
// word where a match can start; on random text built from the characters the patterns care
// about (every kind of white space among them) it must agree with the engine's own search of
// the whole text.
TEST(WithoutActually, SearchingAtTheWordMatchesSearchingEverywhere) {
    const QStringList pieces = {
        "actually", "Actually", "ACTUALLY", "factually", "actually2", ",",  ".",      "!",
        "?",        "…",        ";",        ":",         " ",         "  ", "   ",    "\n",
        "\n",       "\n\n ",    "\t",       "\r",        "\v",        "\f", "\u0085", "\u00A0",
        "\u2028",   "\u3000",   "\u200B",   "\\n",       "\\N",       "\"", "“",      "”",
        "'",        ")",        "]",        "(",         "word",      "é",  "ß",      "_",
        "7",        "😀",        "ǆ"};
    std::mt19937 random(20261121);
    std::uniform_int_distribution<qsizetype> piece(0, pieces.size() - 1);
    std::uniform_int_distribution<int> length(0, 16);
    for (int i = 0; i < 30000; ++i) {
        QString text;
        for (int n = length(random); n > 0; --n) text += pieces[piece(random)];
        ASSERT_EQ(withoutActually(text), pelix::text::detail::withoutActually(text, true))
            << pelix::text::quotedLiteral(text).toStdString();
    }
}

// White space that cannot be followed by a match used to cost a scan per character: the time
// at ten times the length must be about ten times the time, not a hundred.
TEST(WithoutActually, TakesLinearTimeOnLongRunsOfWhiteSpace) {
    const std::pair<const char*, std::function<QString(int)>> inputs[] = {
        {"spaces before actuallyx", [](int n) { return QString(n, ' ') + "actuallyx"; }},
        {"line breaks before the word", [](int n) { return QString(n, '\n') + "actually"; }},
        {"line breaks around the word and no letter",
         [](int n) { return QString(n, '\n') + "actually" + QString(n, '\n') + "1"; }},
        {"the word, spaces and a digit", [](int n) { return "actually" + QString(n, ' ') + "1"; }},
        {"sentence ends and spaces", [](int n) { return QString(".  ").repeated(n) + "actually"; }},
        {"the word again and again",
         [](int n) { return QString(" actually,\n").repeated(n / 10) + "x"; }},
    };
    for (const auto& [name, make] : inputs) {
        const QString small = make(20000), large = make(200000);
        const double one = pelix::testing::leastCpuSeconds([&] { withoutActually(small); });
        const double ten = pelix::testing::leastCpuSeconds([&] { withoutActually(large); });
        EXPECT_LT(ten, pelix::testing::kTenfoldInputLimit * std::max(one, 1e-4))
            << name << ": " << one << " s, then " << ten << " s";
    }
}

TEST(CleanUpSelfTest, ReportsABrokenCaseWithEscapedLiterals) {
    // A clean-up that breaks case 8 (it drops the comma it must keep).
    auto broken = [](const QString& text) {
        const QString out = withoutActually(text);
        return out == "It was, fine." ? QString("It was fine.") : out;
    };
    QStringList lines;
    EXPECT_EQ(pelix::text::runCleanUpSelfTest(broken, [&](const QString& l) { lines << l; }), 1);
    EXPECT_EQ(
        lines,
        QStringList({R"(FAIL "It was, actually, fine." -> "It was fine.", want "It was, fine.")",
                     "words: 1 of 17 failed"}));
    EXPECT_EQ(pelix::text::quotedLiteral("a\"b\\c\nd"), R"("a\"b\\c\nd")");
}

}  // namespace
