// Cutting text for typing, the prefix diff of dictation, and Insert's choices, without a display.
#include "core/Graphemes.h"
#include "dictation/Insert.h"
#include "fakes/TextFakes.h"
#include "support/TestSupport.h"

namespace pelix::dictation {
namespace {

TEST(Paced, CutEvery512CharactersNeverInsideOne) {
    const QString thumb = QString::fromUtf8("👍🏽");  // four code units, one character
    const QString combined = QString::fromUtf8("e\u0301");
    struct Case {
        QString text;
        QList<qsizetype> characters;  // per piece
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
        QList<qsizetype> counts;
        QString joined;
        for (const Insert::Piece& piece : Insert::paced(c.text, {})) {
            counts << core::graphemeCount(piece.text);
            joined += piece.text;
        }
        EXPECT_EQ(counts, c.characters) << c.text.size();
        EXPECT_EQ(joined, c.text);
    }
}

// The pause after a piece grows with the bytes the window holds by then, up to text-input's
// 4,000, times the piece's characters; the default is a fixed pause after 512 characters.
TEST(Paced, EachPieceWaitsForTheWindowsWorkOnIt) {
    using std::chrono::nanoseconds;
    const platform::Pacing portal{.piece = 100, .pause{}, .perKeyPerHeldByte = nanoseconds(600)};
    const platform::Pacing big{.piece = 1000, .pause{}, .perKeyPerHeldByte = nanoseconds(600)};
    const platform::Pacing fixedToo{.piece = 100,
                                    .pause = std::chrono::microseconds(1000),
                                    .perKeyPerHeldByte = nanoseconds(600)};
    const platform::Pacing shrinking{.piece = 100, .pause{}, .pieceBytes = 20000};
    const platform::Pacing tiny{.piece = 100, .pause{}, .pieceBytes = 50};
    const QString umlaut = QString::fromUtf8("ä");
    struct Case {
        QString text;
        platform::Pacing pacing;
        QList<std::pair<qsizetype, qint64>> pieces;  // characters and microseconds
    } cases[] = {
        {"", {}, {{0, 6000}}},
        {"hello", portal, {{5, 15}}},
        {QString(250, 'x'), portal, {{100, 6000}, {100, 12000}, {50, 7500}}},
        {QString(250, 'x'), fixedToo, {{100, 7000}, {100, 13000}, {50, 8500}}},
        // Two bytes a character.
        {umlaut.repeated(150), portal, {{100, 12000}, {50, 9000}}},
        // Pieces shrink as the text grows, to at most 20,000 (or 50) bytes sent back, the keys
        // times the bytes held before them, and never below one key.
        {QString(500, 'x'),
         shrinking,
         {{100, 0}, {100, 0}, {100, 0}, {66, 0}, {54, 0}, {47, 0}, {33, 0}}},
        {QString(103, 'x'), tiny, {{100, 0}, {1, 0}, {1, 0}, {1, 0}}},
        // No more than for 4,000 bytes.
        {QString(5500, 'x'),
         big,
         {{1000, 600000},
          {1000, 1200000},
          {1000, 1800000},
          {1000, 2400000},
          {1000, 2400000},
          {500, 1200000}}},
    };
    for (const Case& c : cases) {
        const QList<Insert::Piece> pieces = Insert::paced(c.text, c.pacing);
        QList<std::pair<qsizetype, qint64>> seen;
        for (const Insert::Piece& piece : pieces) {
            seen.append({core::graphemeCount(piece.text), piece.pause.count()});
        }
        EXPECT_EQ(seen, c.pieces) << c.text.size();
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

    // A route that paces its texts itself.
    typist.log.clear();
    typist.pace = {.piece = 100, .pause{}, .perKeyPerHeldByte = std::chrono::nanoseconds(600)};
    Insert::type(typist, QString(150, 'a'));
    EXPECT_EQ(typist.log, QStringList({"type " + QString(100, 'a'), "pause 6000",
                                       "type " + QString(50, 'a'), "pause 4500"}));
}

}  // namespace
}  // namespace pelix::dictation
