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
        {"", "", ""},
        {"   ", "   ", "   "},
        {"hello world this is a test", "Hello world this is a test", "Hello world this is a test."},
        // The trailing space stays after the stop.
        {"hello world ", "Hello world ", "Hello world. "},
        // Already punctuated, or ending in a closing quote after punctuation.
        {"is it raining?", "Is it raining?", "Is it raining?"},
        {"he said \"stop.\"", "He said \"stop.\"", "He said \"stop.\""},
        {"wait,", "Wait,", "Wait,"},
        // Every sentence, after the punctuation a server puts in; quotes and brackets between.
        {"yes. no! maybe? fine… ok", "Yes. No! Maybe? Fine… Ok", "Yes. No! Maybe? Fine… Ok."},
        {"(really.) then we go", "(Really.) Then we go", "(Really.) Then we go."},
        {"he said \"stop.\" then left", "He said \"stop.\" Then left",
         "He said \"stop.\" Then left."},
        // Not sentence ends: a number, abbreviations, titles.
        {"it costs 3.50 today", "It costs 3.50 today", "It costs 3.50 today."},
        {"bring fruit, e.g. apples", "Bring fruit, e.g. apples", "Bring fruit, e.g. apples."},
        {"ask mr. smith", "Ask mr. smith", "Ask mr. smith."},
        // "I" alone and in contractions, nowhere else.
        {"so i think i'm sure i've i'll i'd", "So I think I'm sure I've I'll I'd",
         "So I think I'm sure I've I'll I'd."},
        {"i", "I", "I."},
        {"it is in iowa, hawai'i and item i-95", "It is in iowa, hawai'i and item i-95",
         "It is in iowa, hawai'i and item i-95."},
        {"i'mm i's i’m", "I'mm i's I’m", "I'mm i's I’m."},
        // What is capital stays; numbers start no capital after them.
        {"NASA said so", "NASA said so", "NASA said so."},
        {"3 apples", "3 apples", "3 apples."},
        // Letters outside Latin and outside the basic plane.
        {"élan vital. über alles", "Élan vital. Über alles", "Élan vital. Über alles."},
        {"ǆungla", "ǅungla", "ǅungla."},
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

TEST(SentenceText, TheFirstLetterKeepsTheCaseItWasTypedWith) {
    // Typed, wanted, and what is kept.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"hello there", "Hello there.", "hello there."},
        {"Hello there", "hello there, friend.", "Hello there, friend."},
        {"\"hi", "\"Hi!\"", "\"hi!\""},
        {"", "Hello.", "Hello."},
        {"hello", "Goodbye.", "Goodbye."},       // another letter: the new text as it is
        {"a hello", "Hello.", "Hello."},         // another place
        {"élan", "Élan vital.", "élan vital."},  // beyond ASCII
        {"123", "123 go.", "123 go."},
    };
    for (const auto& [typed, wanted, kept] : cases) {
        EXPECT_EQ(withFirstLetterOf(QString::fromUtf8(typed), QString::fromUtf8(wanted)),
                  QString::fromUtf8(kept))
            << typed;
    }
}

}  // namespace
}  // namespace pelix::text
