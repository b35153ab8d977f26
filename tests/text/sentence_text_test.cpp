#include "text/SentenceText.h"

#include "support/QStringPrinting.h"

#include <gtest/gtest.h>

namespace pelix::text {
namespace {

struct Case {
    const char* heard;
    const char* partial;   // while the dictation goes on
    const char* finished;  // once it is done
};

TEST(SentenceText, SentencesCapitalsIAndTheFullStop) {
    const Case cases[] = {
        {"hello world this is a test", "Hello world this is a test", "Hello world this is a test."},
        // The trailing space stays after the stop.
        {"hello world ", "Hello world ", "Hello world. "},
        // Already punctuated, or a closing quote after punctuation.
        {"is it raining?", "Is it raining?", "Is it raining?"},
        // Every sentence, after the punctuation a server puts in; quotes and brackets between.
        {"yes. no! maybe? fine… ok", "Yes. No! Maybe? Fine… Ok", "Yes. No! Maybe? Fine… Ok."},
        {"he said \"stop.\" then left", "He said \"stop.\" Then left",
         "He said \"stop.\" Then left."},
        // "I" alone and in contractions, nowhere else.
        {"so i think i'm sure i've i'll i'd", "So I think I'm sure I've I'll I'd",
         "So I think I'm sure I've I'll I'd."},
        // Letters outside Latin and outside the basic plane.
        {"𐐨𐐯 ok", "𐐀𐐯 ok", "𐐀𐐯 ok."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.heard);
        const QString heard = QString::fromUtf8(c.heard);
        EXPECT_EQ(asSentences(heard, false), QString::fromUtf8(c.partial));
        EXPECT_EQ(asSentences(heard, true), QString::fromUtf8(c.finished));
        EXPECT_EQ(asSentences(QString::fromUtf8(c.finished), true), QString::fromUtf8(c.finished));
    }
}

}  // namespace
}  // namespace pelix::text
