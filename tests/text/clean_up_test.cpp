#include "support/TestSupport.h"
#include "text/CleanUp.h"
#include "text/SelfTest.h"

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
        // Full upper-casing of the opening letter: one letter may become two.
        {u"Actually ßo it goes", u"SSo it goes"},
    };
    for (const auto& [input, want] : cases) {
        EXPECT_EQ(withoutActually(QString::fromUtf16(input)), QString::fromUtf16(want))
            << QString::fromUtf16(input).toStdString();
    }
}

// White space that cannot be followed by a match used to cost a scan per character: the time
// at ten times the length must be about ten times the time, not a hundred.
TEST(WithoutActually, TakesLinearTimeOnLongRunsOfWhiteSpace) {
    const std::pair<const char*, std::function<QString(int)>> inputs[] = {
        {"spaces before actuallyx", [](int n) { return QString(n, ' ') + "actuallyx"; }},
        {"line breaks around the word and no letter",
         [](int n) { return QString(n, '\n') + "actually" + QString(n, '\n') + "1"; }},
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

}  // namespace
