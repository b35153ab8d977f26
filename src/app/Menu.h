#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace pelix::app {

// What the tray menu and the permission report are made from.
struct DesktopFacts {
    bool microphone = false;       // the sound server lists an input
    bool speechModel = false;      // the speech model's files are installed
    bool keysSeen = false;         // the key source hears every application's keys
    bool typing = false;           // text can be typed into other applications
    bool fakeInput = false;        // … through KWin's fake input
    bool typingPortal = false;     // … through the remote-desktop portal
    bool keysByShortcuts = false;  // the gestures come from the desktop's shortcuts
    bool wayland = false;          // a Wayland session: the rows below apply
    int inputDevices = 0;          // input devices found under /dev/input
    int inputReadable = 0;         // … of which this user may read
    bool pasting = false;          // the clipboard works while another application has the focus
    bool frontKnown = false;       // the application in front is known
    bool frontByAccessibility = false;  // … from the accessibility bus
    bool token = false;
    bool installed = false;  // run from the install prefix, not the build tree
    QString program;         // this program's path
    bool openAtLogin = false;
    bool insertIntoApp = true;       // "insert.enabled": dictation types into the window in front
    bool badgeShown = true;          // the floating badge is on the screen
    bool voiceMemosOn = false;       // "voiceMemos.on": new recordings are sent by themselves
    bool recordingsReadable = true;  // not closed: readable, or the default not made yet
    bool relay = true;          // "relay.enabled": prompts from the phone go into chat assistants
    bool speechServer = false;  // "speech.server" names a transcription server
    int outboxWaiting = 0;      // braindumps waiting in the outbox
};

enum class MenuAction {
    // A heading over the items that follow it, not an action.
    section,
    keysOff,
    teachTap,
    teachHold,
    // The number of braindumps waiting, not an action; then what to do with them.
    outboxWaiting,
    sendOutbox,
    discardOutbox,
    openPelix,
    toggleBadge,
    toggleInsert,
    importNotes,
    transcribeVideo,
    toggleVoiceMemos,
    allowRecordings,
    chooseRecordingsFolder,
    chooseMemos,
    toggleRelay,
    videoEditor,
    speech,
    signIn,
    setToken,
    checkPermissions,
    openAtLogin,
    quit
};

struct MenuItem {
    QString text;
    MenuAction action;
    bool checkable = false;
    bool checked = false;
    bool enabled = true;
    QString toolTip = {};

    bool operator==(const MenuItem&) const = default;
};

// The sections of the tray menu, in order: what the keys and the microphone do, what Pelix can
// do besides, the account, and the program itself.
inline constexpr auto kRecordingSection = "Recording";
inline constexpr auto kFeaturesSection = "Features";
inline constexpr auto kAccountSection = "Account";
inline constexpr auto kPelixSection = "Pelix";

// The tray menu, top to bottom: the warning that the keys are off, when they are, then each
// section as a `MenuAction::section` heading followed by its items.
QList<MenuItem> menuItems(const DesktopFacts& facts);

// The lines of "Check permissions", one per check.
QStringList permissionLines(const DesktopFacts& facts);

}  // namespace pelix::app
