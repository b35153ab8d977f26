#include "notes/AppleNotesImport.h"

#include <gtest/gtest.h>

namespace pelix {
namespace {

using AppleNotesImport::finalMessage;
using AppleNotesImport::plainText;
using AppleNotesImport::Totals;

struct Conversion {
    const char* name;
    QString html;
    QString text;
};
void PrintTo(const Conversion& c, std::ostream* out) {
    *out << c.name;
}

class PlainText : public ::testing::TestWithParam<Conversion> {};

TEST_P(PlainText, Converts) {
    EXPECT_EQ(plainText(GetParam().html), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PlainText,
    ::testing::Values(
        // "&amp;" is decoded after the tags are gone and before "&lt;".
        Conversion{"EscapedEntityBecomesLessThan", "a &amp;lt; b", "a < b"},
        Conversion{"EscapedTagStaysText", "&lt;b&gt;bold&lt;/b&gt;", "<b>bold</b>"},
        Conversion{"NumericReferencesOtherThanTwoAreDropped", "it&#39;s&#160;ok &#8364;5 &#x20AC;",
                   "it's ok 5 &#x20AC;"},
        Conversion{"SelfClosingBreaksSplitLines", "one<br/>two<BR />three<br>four",
                   "one\ntwo\nthree\nfour"},
        Conversion{"BlankLinesCollapseToOne", "<p>a</p><p></p><p></p><p>b</p>", "a\n\nb"},
        Conversion{"TrailingSpacesTabsAndNoBreakSpacesGo", QString("a \t\u00A0\nb&nbsp;\n  c"),
                   "a\nb\n  c"},
        Conversion{"ListsAndTables",
                   "<ul><li>milk</li><li class=\"x\">eggs</li></ul><table><tr><td>1</td>"
                   "<td>2</td></tr></table>",
                   "- milk\n- eggs\n\n1\t2"},
        Conversion{"ScriptsStylesImagesAndObjectsAcrossLines",
                   "<SCRIPT>\nvar x = '<p>';\n</script><style>\np { }\n</style>x<img "
                   "src=\"a.png\">y<object data=\"f\">inner</object>",
                   "x[image]y[attachment]"},
        Conversion{"HeadingsAndQuotesEndLines", "<h1>Title</h1><blockquote>q</blockquote>z",
                   "Title\nq\nz"},
        Conversion{"QuotesAndApostrophes", "&quot;hi&quot; &apos;there&apos; &amp;amp;",
                   "\"hi\" 'there' &amp;"},
        Conversion{"OnlyMarkupIsEmpty", "<div><br></div>\n<div> </div>", ""}),
    [](const ::testing::TestParamInfo<Conversion>& info) { return std::string(info.param.name); });

TEST(FinalMessage, NamesOnlyTheCountsThatAreThere) {
    const std::pair<Totals, QString> cases[] = {
        {{5, 1, 0, 4, 0}, "Brought over 5 pearls: 1 new, 4 already here."},
        {{1, 1, 0, 0, 1}, "Brought over 1 pearl: 1 new. 1 folder made to match."},
        {{250, 200, 30, 20, 3},
         "Brought over 250 pearls: 200 new, 30 updated, 20 already here. 3 folders made to match."},
        {{7, 0, 0, 7, 0}, "Brought over 7 pearls: 7 already here."},
        {{2, 0, 0, 0, 0}, "Brought over 2 pearls."},
    };
    for (const auto& [totals, text] : cases) EXPECT_EQ(finalMessage(totals), text);
}

}  // namespace
}  // namespace pelix
