// The Alt tap, fed with modifier changes at chosen times.
#include "app/Gestures.h"
#include "support/TestSupport.h"

namespace pelix::app {
namespace {

constexpr int A = Mods::kAlt, S = Mods::kShift, O = Mods::kOther, C = Mods::kControl;
constexpr Outcome N = Outcome::nothing, F = Outcome::startFiled, T = Outcome::startTyped,
                  X = Outcome::stop;
constexpr int kSpoil = -1;  // a key typed: spoils a press under way, and only that one

struct Step {
    int mods;
    double at;
    Outcome want;
};

TEST(TapGesture, GivesEachOutcome) {
    const struct {
        const char* name;
        std::vector<Step> steps;
    } cases[] = {
        {"just under the tap limit", {{A, 10.0, N}, {0, 10.39, F}}},
        {"a second tap inside the settle time is ignored, a third stops",
         {{A, 10.0, N}, {0, 10.1, F}, {A, 10.3, N}, {0, 10.4, N}, {A, 10.9, N}, {0, 11.0, X}}},
        {"Super during the press spoils it",
         {{A, 10.0, N}, {A | O, 10.1, N}, {A, 10.15, N}, {0, 10.2, N}, {A, 11.0, N}, {0, 11.1, F}}},
        {"a press begun with Caps Lock on is spoiled", {{A | O, 10.0, N}, {O, 10.1, N}}},
        {"Shift held still taps", {{S, 9.0, N}, {A | S, 10.0, N}, {S, 10.1, F}}},
        {"a key typed with Alt down spoils that press, a key between presses nothing",
         {{A, 10.0, N},
          {kSpoil, 0, N},
          {0, 10.1, N},
          {A, 11.0, N},
          {0, 11.1, F},
          {kSpoil, 0, N},
          {A, 12.0, N},
          {0, 12.1, X}}},
        {"Ctrl added starts a typed recording",
         {{A, 10.0, N}, {A | C, 10.1, N}, {C, 10.2, T}, {0, 10.3, N}}},
        {"the typed choice does not leak into the next start",
         {{A | C, 10.0, N},
          {C, 10.1, T},
          {0, 10.2, N},
          {A, 11.0, N},
          {0, 11.1, X},
          {A, 12.0, N},
          {0, 12.1, F}}},
        {"a long press while recording does not stop",
         {{A, 10.0, N}, {0, 10.1, F}, {A, 11.0, N}, {0, 12.0, N}, {A, 13.0, N}, {0, 13.1, X}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TapGesture tap;
        for (size_t i = 0; i < c.steps.size(); ++i) {
            if (c.steps[i].mods == kSpoil) {
                tap.spoil();
                continue;
            }
            EXPECT_EQ(tap.modifiers(Mods{c.steps[i].mods}, c.steps[i].at), c.steps[i].want)
                << "step " << i;
        }
    }
}

}  // namespace
}  // namespace pelix::app
