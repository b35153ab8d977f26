// The tray menu and the permission report follow the state of the desktop.
#include "app/Menu.h"

#include <gtest/gtest.h>

namespace pelix {
namespace {

QStringList texts(const DesktopFacts& facts) {
    QStringList out;
    for (const MenuItem& item : menuItems(facts)) out << item.text;
    return out;
}

TEST(Menu, ItemsFollowTheDesktop) {
    DesktopFacts fresh;  // no keys, no token, run from the build tree
    EXPECT_EQ(texts(fresh),
              (QStringList{"⚠ The keys are off — see why…", "Tap Alt — braindump, filed into Pelix",
                           "Sign in…", "Set Pelix token…", "Check permissions", "Quit Pelix"}));

    DesktopFacts settled{.keysSeen = true,
                         .token = true,
                         .installed = true,
                         .program = "/usr/local/bin/pelix",
                         .openAtLogin = true};
    const QList<MenuItem> items = menuItems(settled);
    EXPECT_EQ(texts(settled), (QStringList{"Tap Alt — braindump, filed into Pelix",
                                           "Sign in again…", "Set Pelix token…",
                                           "Check permissions", "Open at login", "Quit Pelix"}));
    EXPECT_TRUE(items[4].checkable && items[4].checked);
    EXPECT_FALSE(items[0].enabled);  // the teaching line is not an action
}

TEST(Menu, PermissionReportHasOneLinePerCheckInOrder) {
    const DesktopFacts bad{.program = "/work/build/pelix"};
    EXPECT_EQ(
        permissionLines(bad),
        (QStringList{"Microphone: not allowed (no input device; check the sound settings)",
                     "Speech recognition: not allowed (install pocketsphinx-en-us)",
                     "Alt key: NOT seen - log in to an X11 session (Xorg); Pelix needs XInput 2",
                     "Typing: NOT possible - the X display has no XTest extension",
                     "Running from /work/build/pelix - run cmake --install so the link handler and "
                     "login start stick",
                     "Token: not set"}));
    const DesktopFacts good{true, true, true, true, true, true, "/usr/local/bin/pelix"};
    const QStringList lines = permissionLines(good);
    EXPECT_EQ(lines.size(), 6);
    EXPECT_EQ(lines[0], "Microphone: allowed");
    EXPECT_EQ(lines[4], "Installed in /usr/local/bin/pelix");
    EXPECT_EQ(lines[5], "Token: set");
}

}  // namespace
}  // namespace pelix
