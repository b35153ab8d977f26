#include "app/Usage.h"
#include "app/Cli.h"
#include "support/TestSupport.h"

namespace pelix::app::usage {
namespace {

TEST(Usage, DocumentsEveryModeInTheOrderTheyAreTested) {
    QStringList documented;
    for (const Mode& mode : pelix().modes) documented << mode.flag;
    EXPECT_EQ(documented, modeFlags());
}

TEST(Usage, HelpFitsEightyColumns) {
    const Usage wide{
        .synopsis = "pelix [MODE]",
        .description = {QString("a long description in many words ").repeated(6)},
        .modes = {{"--x",
                   "--a-synopsis-wider-than-its-column VALUE",
                   "its text goes below it",
                   {},
                   {{"--o", "a short option"}}}},
    };
    for (const Usage* usage : {&pelix(), &wide}) {
        for (const QString& line : helpText(*usage).split('\n')) {
            EXPECT_LE(line.size(), 80) << line.toStdString();
        }
    }
    const QStringList lines = helpText(wide).split('\n');
    const qsizetype at = lines.indexOf("  --a-synopsis-wider-than-its-column VALUE");
    ASSERT_GE(at, 0) << helpText(wide).toStdString();
    EXPECT_EQ(lines.at(at + 1).trimmed(), "its text goes below it");
    EXPECT_EQ(lines.at(at + 2), QString("      --o").leftJustified(30) + "a short option");
}

TEST(Usage, ManualPageIsSafeRoff) {
    const Usage usage{
        .synopsis = "pelix",
        .summary = "a test",
        .description = {".starts with a dot", "'starts with a quote", "back\\slash, dash-dash…"},
        .modes = {{"--memo",
                   "--memo PATH",
                   "hear a recording",
                   "Then more.",
                   {{"--piece SECONDS", "pieces"}, {"--call FUNCTION [JSON]", "a call"}}}},
    };
    const QString page = manualPage(usage, {.version = "1.2.3", .date = "2026-01-02"});
    const QStringList lines = page.split('\n');
    const struct {
        const char* line;
        const char* why;
    } wanted[] = {
        {R"(.TH PELIX 1 "2026-01-02" "pelix 1.2.3" "User Commands")", "title"},
        {R"(\&.starts with a dot)", "a leading dot is not a request"},
        {R"(\&'starts with a quote)", "nor a leading quote"},
        {R"(back\eslash, dash\-dash\[u2026])", "backslash, minus, beyond ASCII"},
        {R"(\fBpelix\fR \fB\-\-memo\fR \fIPATH\fR [\fB\-\-piece\fR \fISECONDS\fR] )"
         R"([\fB\-\-call\fR \fIFUNCTION\fR [\fIJSON\fR]])",
         "synopsis: typed words bold, placeholders italic"},
        {"Hear a recording. Then more.", "the summary as a sentence, then the details"},
    };
    for (const auto& w : wanted) {
        EXPECT_TRUE(lines.contains(w.line)) << w.why << "\n" << page.toStdString();
    }
}

}  // namespace
}  // namespace pelix::app::usage
