#include "text/SelfTest.h"

namespace pelix::text {

const std::vector<CleanUpCase>& cleanUpCases() {
    static const std::vector<CleanUpCase> cases{
        {"Actually, I think we should go.", "I think we should go."},
        {"Actually I think we should go.", "I think we should go."},
        {"We left. Actually, it was fine.", "We left. It was fine."},
        {"first line\nactually the second", "first line\nThe second"},
        {"I actually went to the gym.", "I went to the gym."},
        {"What is actually at stake here?", "What is at stake here?"},
        {"I did, actually.", "I did."},
        {"It was, actually, fine.", "It was, fine."},
        {"Yes, actually, I did.", "Yes, I did."},
        {"That is what I actually said", "That is what I said"},
        {"ACTUALLY that works", "That works"},
        {"Actually. Let me start over.", "Let me start over."},
        {"That is factually wrong.", "That is factually wrong."},
        {"Nothing to change here.", "Nothing to change here."},
        {"", ""},
        {R"({"title":"Actually a plan","body":"I actually think so."})",
         R"({"title":"A plan","body":"I think so."})"},
        {R"({"body":"first line\nactually the second"})", R"({"body":"first line\nThe second"})"},
    };
    return cases;
}

QString quotedLiteral(const QString& text) {
    QString out = "\"";
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '\\':
                out += "\\\\";
                break;
            case '"':
                out += "\\\"";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += c;
        }
    }
    return out + "\"";
}

int runCleanUpSelfTest(const std::function<QString(const QString&)>& cleanUp,
                       const std::function<void(const QString&)>& out) {
    const auto& cases = cleanUpCases();
    int failed = 0;
    for (const CleanUpCase& c : cases) {
        const QString got = cleanUp(c.input);
        if (got == c.want) continue;
        ++failed;
        out("FAIL " + quotedLiteral(c.input) + " -> " + quotedLiteral(got) + ", want " +
            quotedLiteral(c.want));
    }
    const auto total = QString::number(cases.size());
    out(failed == 0 ? "words: " + total + " ok"
                    : "words: " + QString::number(failed) + " of " + total + " failed");
    return failed;
}

}  // namespace pelix::text
