// Cutting text for typing, the prefix diff of dictation, and Insert's choices, without a display.
#include "core/Graphemes.h"
#include "dictation/Insert.h"
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"

namespace pelix::dictation {
namespace {

TEST(Chunks, CutEvery512CharactersNeverInsideOne) {
    const QString thumb = QString::fromUtf8("👍🏽");  // four code units, one character
    const QString combined = QString::fromUtf8("e\u0301");
    struct Case {
        QString text;
        QList<qsizetype> characters;  // per chunk
    } cases[] = {
        {"", {0}},
        {QString(512, 'x'), {512}},
        {QString(513, 'x'), {512, 1}},
        {QString(1300, 'x'), {512, 512, 276}},
        {QString(511, 'x') + thumb + "yz", {512, 2}},
        {QString(511, 'x') + combined + thumb, {512, 1}},
        {thumb.repeated(1025), {512, 512, 1}},
    };
    for (const Case& c : cases) {
        const QStringList pieces = Insert::chunks(c.text);
        QList<qsizetype> counts;
        for (const QString& piece : pieces) counts << core::graphemeCount(piece);
        EXPECT_EQ(counts, c.characters) << c.text.size();
        EXPECT_EQ(pieces.join(""), c.text);
    }
}

TEST(Correction, ErasesBackToTheCommonPrefixOfCharacters) {
    struct Case {
        QString typed, wanted;
        qsizetype erase;
        QString insert;
    } cases[] = {
        {"I went to the", "I want to the store", 10, "ant to the store"},
        {"", "hello", 0, "hello"},
        {"hello", "", 5, ""},
        {"hello", "hello ", 0, " "},
        {"hello", "hello", 0, ""},
        // A surrogate pair sharing its first unit with the old one is still a new character.
        {QString::fromUtf8("a👍"), QString::fromUtf8("a👎"), 1, QString::fromUtf8("👎")},
        // A skin tone or an accent added to the last character replaces the character.
        {QString::fromUtf8("a👍"), QString::fromUtf8("a👍🏽"), 1, QString::fromUtf8("👍🏽")},
        {"cafe", QString::fromUtf8("cafe\u0301s"), 1, QString::fromUtf8("e\u0301s")},
        {QString::fromUtf8("日本語です"), QString::fromUtf8("日本人"), 3, QString::fromUtf8("人")},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(correction(c.typed, c.wanted), (Correction{c.erase, c.insert}))
            << c.typed.toStdString() << " -> " << c.wanted.toStdString();
    }
}

TEST(Insert, TypesEachChunkWithAPauseAfterIt) {
    fakes::FakeTypist typist;
    Insert::type(typist, QString(1300, 'a'));
    ASSERT_EQ(typist.log.size(), 6);
    EXPECT_EQ(typist.log[0], "type " + QString(512, 'a'));
    EXPECT_EQ(typist.log[4], "type " + QString(276, 'a'));
    for (int i : {1, 3, 5}) EXPECT_EQ(typist.log[i], "pause 6000");

    typist.log.clear();
    Insert::type(typist, "");
    EXPECT_EQ(typist.log, QStringList({"type ", "pause 6000"}));
}

}  // namespace
}  // namespace pelix::dictation
