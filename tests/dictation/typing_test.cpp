// Cutting text for typing and the prefix diff of dictation, without a display.
#include "core/Graphemes.h"
#include "dictation/Insert.h"
#include "dictation/LiveDictation.h"
#include "support/TestSupport.h"

namespace pelix::dictation {
namespace {

// By default a fixed pause after every 512 characters, never cutting one. A typist that paces
// itself pauses after a piece for the bytes the window holds by then, up to text-input's 4,000,
// times the piece's characters.
TEST(Paced, PiecesAndTheirPauses) {
    using std::chrono::nanoseconds;
    const platform::Pacing portal{.piece = 100, .pause{}, .perKeyPerHeldByte = nanoseconds(600)};
    const platform::Pacing big{.piece = 1000, .pause{}, .perKeyPerHeldByte = nanoseconds(600)};
    const platform::Pacing shrinking{.piece = 100, .pause{}, .pieceBytes = 20000};
    const QString thumb = QString::fromUtf8("👍🏽");  // four code units, one character
    struct Case {
        QString text;
        platform::Pacing pacing;
        QList<std::pair<qsizetype, qint64>> pieces;  // characters and microseconds
    } cases[] = {
        {QString(511, 'x') + thumb + "yz", {}, {{512, 6000}, {2, 6000}}},
        {QString(250, 'x'), portal, {{100, 6000}, {100, 12000}, {50, 7500}}},
        // Two bytes a character.
        {QString::fromUtf8("ä").repeated(150), portal, {{100, 12000}, {50, 9000}}},
        // Pieces shrink as the text grows, to at most 20,000 bytes sent back, the keys times the
        // bytes held before them.
        {QString(500, 'x'),
         shrinking,
         {{100, 0}, {100, 0}, {100, 0}, {66, 0}, {54, 0}, {47, 0}, {33, 0}}},
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
        QList<std::pair<qsizetype, qint64>> seen;
        QString joined;
        for (const Insert::Piece& piece : Insert::paced(c.text, c.pacing)) {
            seen.append({core::graphemeCount(piece.text), piece.pause.count()});
            joined += piece.text;
        }
        EXPECT_EQ(seen, c.pieces) << c.text.size();
        EXPECT_EQ(joined, c.text);
    }
}

TEST(Correction, ErasesBackToTheCommonPrefixOfCharacters) {
    struct Case {
        QString typed, wanted;
        qsizetype erase;
        QString insert;
    } cases[] = {
        // A surrogate pair sharing its first unit with the old one is still a new character.
        {QString::fromUtf8("a👍"), QString::fromUtf8("a👎"), 1, QString::fromUtf8("👎")},
        // A skin tone or an accent added to the last character replaces the character.
        {QString::fromUtf8("a👍"), QString::fromUtf8("a👍🏽"), 1, QString::fromUtf8("👍🏽")},
        {"cafe", QString::fromUtf8("cafe\u0301s"), 1, QString::fromUtf8("e\u0301s")},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(correction(c.typed, c.wanted), (Correction{c.erase, c.insert}))
            << c.typed.toStdString() << " -> " << c.wanted.toStdString();
    }
}

}  // namespace
}  // namespace pelix::dictation
