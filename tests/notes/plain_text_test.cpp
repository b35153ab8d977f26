#include "notes/NotesImport.h"

#include "support/TestSupport.h"

#include <random>

namespace pelix::notes {
namespace {

using NotesImport::plainText;

TEST(PlainText, ConvertsMarkupToLines) {
    const std::pair<QString, QString> cases[] = {
        // "&amp;" is decoded after the tags are gone and before "&lt;".
        {"a &amp;lt; b", "a < b"},
        {"&quot;hi&quot; &apos;there&apos; &amp;amp;", "\"hi\" 'there' &amp;"},
        // Numeric references other than the two named ones are dropped.
        {"it&#39;s&#160;ok &#8364;5 &#x20AC;", "it's ok 5 &#x20AC;"},
        {"one<br/>two<BR />three<br>four", "one\ntwo\nthree\nfour"},
        {"<p>a</p><p></p><p></p><p>b</p>", "a\n\nb"},
        {QString("a \t\u00A0\nb&nbsp;\n  c"), "a\nb\n  c"},
        {"<ul><li>milk</li><li class=\"x\">eggs</li></ul><table><tr><td>1</td><td>2</td></tr>"
         "</table>",
         "- milk\n- eggs\n\n1\t2"},
        {"<SCRIPT>\nvar x = '<p>';\n</script><style>\np { }\n</style>x<img src=\"a.png\">y"
         "<object data=\"f\">inner</object>",
         "x[image]y[attachment]"},
        {"<div><br></div>\n<div> </div>", ""},
    };
    for (const auto& [html, text] : cases) EXPECT_EQ(plainText(html), text) << html.toStdString();
}

// The conversion runs each replacement in one linear pass; on random notes built from the pieces
// the patterns care about (tags cut short, tags in other cases, letters that fold onto ASCII
// ones, every kind of line end) it must give exactly what the plain replace-alls give.
TEST(PlainText, LinearPassesGiveWhatTheReplacementsGive) {
    QStringList pieces =
        QString(
            "< > </ <> <script </script> <SCRIPT> <style> </STYLE> <img |src=x> <object <OBJECT> "
            "</object> <br <br/> <BR|/> <li <li> </li> <ul> </ol </td> </div> </p> </h3> </h7> "
            "</tr> "
            "</table> </blockquote> &amp; &lt; &gt; &#39; &#160; &#123; &# ; &nbsp; &quot; &apos; "
            "&amp;lt; x é \u017F \u212A \uFB06 \u0130 \u0660 😀 / = | || \t \u00A0 \n \n\n \r "
            "\v \f \u0085 \u2028 \u2029 <ſcript </ſcript> <ob\u212Aect> </bloc\u212Aquote>")
            .split(' ');
    for (QString& piece : pieces) piece.replace('|', ' ');  // a space inside a piece
    std::mt19937 random(20261122);
    std::uniform_int_distribution<qsizetype> piece(0, pieces.size() - 1);
    std::uniform_int_distribution<int> length(0, 24);
    for (int i = 0; i < 30000; ++i) {
        QString html;
        for (int n = length(random); n > 0; --n) html += pieces[piece(random)];
        ASSERT_EQ(plainText(html), NotesImport::detail::plainTextByPatterns(html))
            << html.toStdString();
    }
}

// Notes built to make a replace-all scan to the end from every start, one for each way a rule is
// run: the time at ten times the size must be about ten times the time, not a hundred.
TEST(PlainText, TakesLinearTimeOnHostileNotes) {
    const std::pair<const char*, std::function<QString(int)>> inputs[] = {
        {"less-than signs", [](int n) { return QString(n, '<'); }},
        {"scripts and styles never closed",
         [](int n) { return QString("<script<style").repeated(n); }},
        {"images, list items and lists never closed",
         [](int n) { return QString("<img<li</ul").repeated(n); }},
        {"blanks before a letter", [](int n) { return "a \n" + QString(8 * n, ' ') + "x"; }},
    };
    for (const auto& [name, make] : inputs) {
        const QString small = make(5000), large = make(50000);
        const double one = testing::leastCpuSeconds([&] { plainText(small); });
        const double ten = testing::leastCpuSeconds([&] { plainText(large); });
        // Below a millisecond the cache, not the algorithm, sets the ratio.
        EXPECT_LT(ten, testing::kTenfoldInputLimit * std::max(one, 1e-3))
            << name << ": " << one << " s, then " << ten << " s";
    }
}

}  // namespace
}  // namespace pelix::notes
