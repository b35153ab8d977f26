#include "app/Menu.h"

#include "core/Sentences.h"

namespace pelix::app {

QList<MenuItem> menuItems(const DesktopFacts& facts) {
    QList<MenuItem> items;
    const auto section = [&items](const char* title) {
        items.append({title, MenuAction::section, false, false, false});
    };
    if (!facts.keysSeen) {
        items.append({core::sentences::kKeysOff, MenuAction::keysOff});
    }

    section(kRecordingSection);
    items.append({core::sentences::kTeachTap, MenuAction::teachTap, false, false, false});
    items.append({core::sentences::kTeachHold, MenuAction::teachHold, false, false, false});
    if (facts.outboxWaiting > 0) {
        items.append({core::sentences::braindumpsWaiting(facts.outboxWaiting),
                      MenuAction::outboxWaiting, false, false, false});
        items.append({core::sentences::kSendNow, MenuAction::sendOutbox});
        items.append({core::sentences::kDiscard, MenuAction::discardOutbox});
    }
    items.append({"Type into the app I'm in", MenuAction::toggleInsert, true, facts.insertIntoApp});
    items.append(
        {facts.speechServer ? "Speech: transcription server…" : "Speech: on this computer…",
         MenuAction::speech});
    items.append({facts.badgeShown ? "Hide the badge" : "Show the badge", MenuAction::toggleBadge});

    section(kFeaturesSection);
    items.append({"Open Pelix", MenuAction::openPelix});
    items.append(
        {"Send prompts to Claude and ChatGPT", MenuAction::toggleRelay, true, facts.relay});
    items.append({"Import notes…", MenuAction::importNotes, false, false, true,
                  core::sentences::kImportNotesTip});
    items.append({"Transcribe a video…", MenuAction::transcribeVideo});
    items.append({"Video editor", MenuAction::videoEditor});
    if (facts.recordingsReadable) {
        items.append({"Send new voice memos to Pelix", MenuAction::toggleVoiceMemos, true,
                      facts.voiceMemosOn, true, core::sentences::kVoiceMemosTip});
    } else {
        items.append({core::sentences::kAllowRecordings, MenuAction::allowRecordings});
    }
    items.append({"Send voice memos…", MenuAction::chooseMemos});
    // The warning above asks for the folder already.
    if (facts.recordingsReadable) {
        items.append({"Choose recordings folder…", MenuAction::chooseRecordingsFolder});
    }

    section(kAccountSection);
    items.append({facts.token ? "Sign in again…" : "Sign in…", MenuAction::signIn});
    items.append({"Set Pelix token…", MenuAction::setToken});

    section(kPelixSection);
    items.append({"Check permissions", MenuAction::checkPermissions});
    if (facts.installed) {
        items.append({"Open at login", MenuAction::openAtLogin, true, facts.openAtLogin});
    }
    items.append({"Quit Pelix", MenuAction::quit});
    return items;
}

namespace {

QString waylandKeysLine(const DesktopFacts& facts) {
    if (facts.keysByShortcuts) return core::sentences::kKeysSeenPortal;
    if (facts.keysSeen) return core::sentences::kKeysSeenEvdev;
    if (facts.inputDevices == 0) return core::sentences::kKeysNoKeyboard;
    if (facts.inputReadable == 0) return core::sentences::kKeysForbidden;
    return core::sentences::kKeysUnreadable;
}

}  // namespace

QStringList permissionLines(const DesktopFacts& facts) {
    QStringList lines = {
        facts.microphone ? core::sentences::kMicrophoneAllowed
                         : core::sentences::kMicrophoneNotAllowed,
        facts.speechModel ? core::sentences::kSpeechAllowed : core::sentences::kSpeechNotAllowed,
    };
    if (facts.wayland) {
        lines << waylandKeysLine(facts)
              << (!facts.typing        ? core::sentences::kNoTypingWayland
                  : facts.fakeInput    ? core::sentences::kTypingFakeInput
                  : facts.typingPortal ? core::sentences::kTypingPortal
                                       : core::sentences::kTypingWayland)
              << (facts.pasting ? core::sentences::kPastingWayland
                                : core::sentences::kNoPastingWayland)
              << (facts.frontKnown             ? core::sentences::kFrontKnown
                  : facts.frontByAccessibility ? core::sentences::kFrontAccessibility
                                               : core::sentences::kFrontUnknown);
    } else {
        lines << (facts.keysSeen ? core::sentences::kKeysSeenX11 : core::sentences::kKeysNotSeenX11)
              << (facts.typing ? core::sentences::kTypingX11 : core::sentences::kNoTypingX11);
    }
    lines << (facts.installed ? core::sentences::installedIn(facts.program)
                              : core::sentences::runningFrom(facts.program))
          << (facts.token ? core::sentences::kTokenSet : core::sentences::kTokenNotSet);
    return lines;
}

}  // namespace pelix::app
