#include "app/Menu.h"

#include "core/Sentences.h"

namespace pelix {

QList<MenuItem> menuItems(const DesktopFacts& facts) {
    QList<MenuItem> items;
    if (!facts.keysSeen) {
        items.append({sentences::kKeysOff, MenuAction::keysOff});
    }
    items.append({sentences::kTeachTap, MenuAction::teachTap, false, false, false});
    items.append({sentences::kTeachHold, MenuAction::teachHold, false, false, false});
    items.append({"Open Pelix", MenuAction::openPelix});
    items.append({facts.badgeShown ? "Hide the badge" : "Show the badge", MenuAction::toggleBadge});
    items.append({"Type into the app I'm in", MenuAction::toggleInsert, true, facts.insertIntoApp});
    items.append(
        {"Send prompts to Claude and ChatGPT", MenuAction::toggleRelay, true, facts.relay});
    items.append(
        {"Import notes…", MenuAction::importNotes, false, false, true, sentences::kImportNotesTip});
    items.append({"Transcribe a video…", MenuAction::transcribeVideo});
    items.append({"Video editor", MenuAction::videoEditor});
    if (facts.recordingsReadable) {
        items.append({"Send new voice memos to Pelix", MenuAction::toggleVoiceMemos, true,
                      facts.voiceMemosOn, true, sentences::kVoiceMemosTip});
    } else {
        items.append({sentences::kAllowRecordings, MenuAction::allowRecordings});
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
    if (facts.keysSeen) return sentences::kKeysSeenEvdev;
    if (facts.inputDevices == 0) return sentences::kKeysNoKeyboard;
    if (facts.inputReadable == 0) return sentences::kKeysForbidden;
    return sentences::kKeysUnreadable;
}

}  // namespace

QStringList permissionLines(const DesktopFacts& facts) {
    QStringList lines = {
        facts.microphone ? sentences::kMicrophoneAllowed : sentences::kMicrophoneNotAllowed,
        facts.speechModel ? sentences::kSpeechAllowed : sentences::kSpeechNotAllowed,
    };
    if (facts.wayland) {
        lines << waylandKeysLine(facts)
              << (facts.typing ? sentences::kTypingWayland : sentences::kNoTypingWayland)
              << (facts.pasting ? sentences::kPastingWayland : sentences::kNoPastingWayland)
              << (facts.frontKnown ? sentences::kFrontKnown : sentences::kFrontUnknown);
    } else {
        lines << (facts.keysSeen ? sentences::kKeysSeenX11 : sentences::kKeysNotSeenX11)
              << (facts.typing ? sentences::kTypingX11 : sentences::kNoTypingX11);
    }
    lines << (facts.installed ? sentences::installedIn(facts.program)
                              : sentences::runningFrom(facts.program))
          << (facts.token ? sentences::kTokenSet : sentences::kTokenNotSet);
    return lines;
}

}  // namespace pelix
