// The application in front as the accessibility bus names it, for the desktops whose compositor
// does not: GTK windows on the test desktop, opened before Pelix follows the focus (found by
// their active window) or after (by their focus events), and brought forward again.
#include "platform/linux/AtspiAccessibility.h"
#include "support/DesktopSession.h"

namespace pelix::platform {
namespace {

struct Case {
    const char* name;
    int before;    // windows opened before the focus is followed
    int after;     // … and after
    int forward;   // the window brought forward at the end; -1 for none
    int expected;  // the window whose application is in front
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class FocusedApplication : public ::testing::TestWithParam<Case> {};

TEST_P(FocusedApplication, IsTheWindowInFront) {
    ASSERT_TRUE(testing::desktopPresent());
    const Case& c = GetParam();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("GDK_BACKEND", "x11");
    std::vector<std::unique_ptr<testing::TargetWindow>> windows;
    const auto open = [&](int count) {
        for (int i = 0; i < count; ++i) {
            windows.push_back(std::make_unique<testing::TargetWindow>(
                "/usr/bin/python3", env, QStringList{PELIX_GTK_TARGET}));
            ASSERT_TRUE(windows.back()->ready()) << "The GTK window never got the focus.";
        }
    };
    AtspiAccessibility accessibility;
    ASSERT_NO_FATAL_FAILURE(open(c.before));
    accessibility.focusedApplication();
    ASSERT_NO_FATAL_FAILURE(open(c.after));
    if (c.forward >= 0) {
        ASSERT_TRUE(windows[c.forward]->focus());
    }

    const qint64 pid = windows[c.expected]->pid();
    EXPECT_TRUE(testing::waitUntil(
        [&] {
            const std::optional<FrontWindow> front = accessibility.focusedApplication();
            return front && front->pid == pid;
        },
        5000))
        << "in front: "
        << accessibility.focusedApplication().value_or(FrontWindow{}).appId.toStdString();
    EXPECT_EQ(accessibility.focusedApplication().value_or(FrontWindow{}).appId, "gtk-target");
}

INSTANTIATE_TEST_SUITE_P(Windows, FocusedApplication,
                         ::testing::Values(Case{"AlreadyInFront", 1, 0, -1, 0},
                                           Case{"ComingForward", 0, 1, -1, 0},
                                           Case{"BroughtBack", 1, 1, 0, 0}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace pelix::platform
