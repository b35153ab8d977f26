#include "app/Menu.h"

namespace pelix {

QList<MenuItem> menuItems(const DesktopFacts& facts) {
    QList<MenuItem> items;
    if (!facts.keysSeen) {
        items.append({"⚠ The keys are off — see why…", MenuAction::keysOff});
    }
    items.append(
        {"Tap Alt — braindump, filed into Pelix", MenuAction::teachTap, false, false, false});
    items.append({"Hold Ctrl and talk — typed into the app you're in", MenuAction::teachHold, false,
                  false, false});
    items.append({"Open Pelix", MenuAction::openPelix});
    items.append({facts.badgeShown ? "Hide the badge" : "Show the badge", MenuAction::toggleBadge});
    items.append({"Type into the app I'm in", MenuAction::toggleInsert, true, facts.insertIntoApp});
    items.append(
        {"Send prompts to Claude and ChatGPT", MenuAction::toggleRelay, true, facts.relay});
    items.append({"Import notes…", MenuAction::importNotes, false, false, true, kImportNotesTip});
    items.append({"Transcribe a video…", MenuAction::transcribeVideo});
    items.append({"Video editor", MenuAction::videoEditor});
    if (facts.recordingsReadable) {
        items.append({"Send new voice memos to Pelix", MenuAction::toggleVoiceMemos, true,
                      facts.voiceMemosOn, true, kVoiceMemosTip});
    } else {
        items.append({"⚠ Allow Pelix to read the recordings folder…", MenuAction::allowRecordings});
    }
    items.append({"Send voice memos…", MenuAction::chooseMemos});
    items.append(
        {facts.speechServer ? "Speech: transcription server…" : "Speech: on this computer…",
         MenuAction::speech});
    items.append({facts.token ? "Sign in again…" : "Sign in…", MenuAction::signIn});
    items.append({"Set Pelix token…", MenuAction::setToken});
    items.append({"Check permissions", MenuAction::checkPermissions});
    if (facts.installed) {
        items.append({"Open at login", MenuAction::openAtLogin, true, facts.openAtLogin});
    }
    items.append({"Quit Pelix", MenuAction::quit});
    return items;
}

namespace {

QString waylandKeysLine(const DesktopFacts& facts) {
    if (facts.keysSeen) return "Alt key: seen (the keyboards under /dev/input)";
    if (facts.inputDevices == 0)
        return "Alt key: NOT seen - no keyboard was found under /dev/input";
    if (facts.inputReadable == 0) {
        return "Alt key: NOT seen - Pelix may not read the keyboards: run sudo usermod -aG input "
               "$USER, then log out and in again";
    }
    return "Alt key: NOT seen - Pelix could not read the keyboards under /dev/input";
}

}  // namespace

QStringList permissionLines(const DesktopFacts& facts) {
    QStringList lines = {
        facts.microphone ? "Microphone: allowed"
                         : "Microphone: not allowed (no input device; check the sound settings)",
        facts.speechModel ? "Speech recognition: allowed (speech model installed)"
                          : "Speech recognition: not allowed (install pocketsphinx-en-us)",
    };
    if (facts.wayland) {
        lines << waylandKeysLine(facts)
              << (facts.typing ? "Typing: possible (the compositor's virtual keyboard)"
                               : "Typing: NOT possible - this Wayland desktop lets no application "
                                 "type into others; dictated text goes to the clipboard")
              << (facts.pasting ? "Pasting: possible (the compositor's data control)"
                                : "Pasting: NOT possible - this Wayland desktop keeps the "
                                  "clipboard from applications in the background")
              << (facts.frontKnown ? "App in front: known (the compositor's window list)"
                                   : "App in front: unknown - typing goes to the focused window");
    } else {
        lines << (facts.keysSeen
                      ? "Alt key: seen (XInput 2 on the X display)"
                      : "Alt key: NOT seen - log in to an X11 session (Xorg); Pelix needs XInput 2")
              << (facts.typing ? "Typing: possible (XTest on the X display)"
                               : "Typing: NOT possible - the X display has no XTest extension");
    }
    lines << (facts.installed ? "Installed in " + facts.program
                              : "Running from " + facts.program +
                                    " - install the package that scripts/package builds so the "
                                    "link handler and login start stick")
          << (facts.token ? "Token: set" : "Token: not set");
    return lines;
}

}  // namespace pelix
