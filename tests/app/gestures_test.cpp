// The Alt tap and the Ctrl hold, fed with modifier changes at chosen times.
#include "app/Gestures.h"
#include "support/TestSupport.h"

namespace pelix::app {
namespace {

constexpr int A = Mods::kAlt, S = Mods::kShift, O = Mods::kOther, C = Mods::kControl;

struct Step {
    int mods;
    double at;
    Outcome want;
};

Step at(int mods, double time, Outcome want) {
    return {mods, time, want};
}

struct TapCase {
    const char* name;
    std::vector<Step> steps;
};

class TapTable : public ::testing::TestWithParam<TapCase> {};

TEST_P(TapTable, GivesEachOutcome) {
    TapGesture tap;
    for (size_t i = 0; i < GetParam().steps.size(); ++i) {
        const Step& step = GetParam().steps[i];
        EXPECT_EQ(tap.modifiers(Mods{step.mods}, step.at), step.want) << "step " << i;
    }
}

constexpr Outcome N = Outcome::nothing, F = Outcome::startFiled, T = Outcome::startTyped,
                  X = Outcome::stop;

INSTANTIATE_TEST_SUITE_P(
    Tap, TapTable,
    ::testing::Values(
        TapCase{"tapJustUnderTapMaxCounts", {at(A, 10.0, N), at(0, 10.39, F)}},
        TapCase{"halfSecondPressDoesNothing", {at(A, 10.0, N), at(0, 10.5, N)}},
        TapCase{"secondTapWithinSettleIsIgnoredThirdStops",
                {at(A, 10.0, N), at(0, 10.1, F), at(A, 10.3, N), at(0, 10.4, N), at(A, 10.9, N),
                 at(0, 11.0, X)}},
        TapCase{"superDuringPressSpoilsIt",
                {at(A, 10.0, N), at(A | O, 10.1, N), at(A, 10.15, N), at(0, 10.2, N),
                 at(A, 11.0, N), at(0, 11.1, F)}},
        TapCase{"pressBegunWithCapsLockOnIsSpoiled", {at(A | O, 10.0, N), at(O, 10.1, N)}},
        TapCase{"shiftHeldStillTaps", {at(S, 9.0, N), at(A | S, 10.0, N), at(S, 10.1, F)}},
        TapCase{"shiftAddedDuringPressStillTaps",
                {at(A, 10.0, N), at(A | S, 10.05, N), at(A, 10.1, N), at(0, 10.2, F)}},
        TapCase{"ctrlAddedDuringPressStartsTyped",
                {at(A, 10.0, N), at(A | C, 10.1, N), at(C, 10.2, T), at(0, 10.3, N)}},
        TapCase{"ctrlHeldBeforeAltStartsTyped",
                {at(C, 9.0, N), at(A | C, 10.0, N), at(C, 10.1, T)}},
        TapCase{"typedChoiceDoesNotLeakIntoNextStart",
                {at(A | C, 10.0, N), at(C, 10.1, T), at(0, 10.2, N), at(A, 11.0, N), at(0, 11.1, X),
                 at(A, 12.0, N), at(0, 12.1, F)}},
        TapCase{"longPressWhileRecordingDoesNotStop",
                {at(A, 10.0, N), at(0, 10.1, F), at(A, 11.0, N), at(0, 12.0, N), at(A, 13.0, N),
                 at(0, 13.1, X)}},
        TapCase{"releaseWithoutPressIsNothing", {at(0, 10.0, N), at(S, 10.1, N)}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(TapGesture, KeyTypedWhileAltIsDownSpoilsThePress) {
    TapGesture tap;
    tap.modifiers(Mods{A}, 10.0);
    tap.spoil();
    EXPECT_EQ(tap.modifiers(Mods{0}, 10.1), Outcome::nothing);
    // The spoil lasts one press only.
    tap.modifiers(Mods{A}, 11.0);
    EXPECT_EQ(tap.modifiers(Mods{0}, 11.1), Outcome::startFiled);
    // A key between presses spoils nothing.
    tap.spoil();
    tap.modifiers(Mods{A}, 12.0);
    EXPECT_EQ(tap.modifiers(Mods{0}, 12.1), Outcome::stop);
}

struct HoldStepCase {
    const char* name;
    std::vector<std::pair<int, HoldStep>> steps;  // mods, expected step
    double fireAt;                                // the timer, 10.0 being the first step
    bool holds;
};

class HoldTable : public ::testing::TestWithParam<HoldStepCase> {};

TEST_P(HoldTable, ArmsCancelsAndFires) {
    HoldGesture hold;
    double at = 10.0;
    for (const auto& [mods, want] : GetParam().steps) {
        EXPECT_EQ(hold.modifiers(Mods{mods}, at), want) << "mods " << mods;
        at += 0.05;
    }
    EXPECT_EQ(hold.fire(GetParam().fireAt), GetParam().holds);
    EXPECT_EQ(hold.isHolding, GetParam().holds);
}

INSTANTIATE_TEST_SUITE_P(
    Hold, HoldTable,
    ::testing::Values(
        HoldStepCase{"ctrlAloneHolds", {{C, HoldStep::arm}}, 10.28, true},
        HoldStepCase{"tooEarly", {{C, HoldStep::arm}}, 10.2, false},
        HoldStepCase{"shiftAddedSpendsEvenWhenLetGo",
                     {{C, HoldStep::arm}, {C | S, HoldStep::cancel}, {C, HoldStep::arm}},
                     10.4,
                     false},
        HoldStepCase{
            "altWithCtrlSpends", {{C | A, HoldStep::cancel}, {C, HoldStep::arm}}, 10.4, false},
        HoldStepCase{
            "letGoBeforeTheTimer", {{C, HoldStep::arm}, {0, HoldStep::cancel}}, 10.28, false},
        HoldStepCase{"freshPressAfterSpentOneHolds",
                     {{C | S, HoldStep::cancel}, {0, HoldStep::cancel}, {C, HoldStep::arm}},
                     10.1 + 0.28,
                     true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(HoldGesture, ReleaseEndsTheHoldAndOtherKeysNoLongerSpendIt) {
    HoldGesture hold;
    hold.modifiers(Mods{C}, 10.0);
    ASSERT_TRUE(hold.fire(10.28));
    hold.spoil();  // a key typed while dictating
    EXPECT_FALSE(hold.spent);
    EXPECT_EQ(hold.modifiers(Mods{C | S}, 10.5), HoldStep::cancel);
    EXPECT_TRUE(hold.isHolding);
    EXPECT_EQ(hold.modifiers(Mods{0}, 11.0), HoldStep::release);
    EXPECT_FALSE(hold.isHolding);
    EXPECT_FALSE(hold.fire(12.0));
}

}  // namespace
}  // namespace pelix::app
