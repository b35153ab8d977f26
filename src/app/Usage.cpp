#include "app/Usage.h"

#include <QRegularExpression>

namespace pelix::app::usage {

const Usage& pelix() {
    static const Usage usage{
        .synopsis = "pelix [MODE] [OPTIONS]",
        .summary = "speech into text that goes somewhere useful, from the tray",
        .description =
            {
                "Without a mode, Pelix starts in the tray of an X11 session: tap Alt, talk and tap "
                "Alt again to file a braindump into your Pelix account; hold Ctrl and talk to "
                "type into the window in front.",
                "Pelix runs once per user. Running pelix again opens the menu of the running "
                "copy, and a pelix-mac: link given on the command line (the desktop entry hands "
                "these links to pelix) goes to the running copy. The menu signs you in, checks "
                "what the keys and the microphone need, and, for an installed copy, opens Pelix "
                "at login.",
                "pelix --dictate starts live dictation in the running copy (starting Pelix "
                "first when it is not running), and ends the recording when one runs: bind it to "
                "a shortcut in the desktop's keyboard settings where Pelix can't see the keys "
                "(a Wayland session without access to /dev/input, a tiling compositor).",
                "With a mode, Pelix does one job without the tray and ends. Modes and options "
                "are whole words anywhere in the arguments, an option's value is the word after "
                "it, and the first mode found in the order below runs. Results go to standard "
                "output, messages to standard error.",
            },
        .modes =
            {
                {"--help", "--help", "print the usage", {}, {}},
                {"--version", "--version", "print the version", {}, {}},
                {"--self-test",
                 "--self-test words",
                 "check the transcript clean-up with its cases",
                 "Prints a FAIL line for each case whose result is not the one wanted, then a "
                 "summary such as \"words: 17 ok\"; the exit status is 1 when a case failed.",
                 {}},
                {"--drop-test",
                 "--drop-test",
                 "open the Pelix window to try dropping recordings",
                 "Opens the web app in the window titled \"Pelix (drop test)\": recordings dropped "
                 "onto it are sent like voice memos. Ends when the window is closed.",
                 {}},
                {"--memo",
                 "--memo PATH",
                 "transcribe a recording as a voice memo",
                 "Says \"N s, M pieces\" on standard error, sends the recording to the backend in "
                 "pieces to be transcribed, hears it on this machine when the backend cannot, "
                 "and prints the transcript; prints \"could not be heard\" and exits with status "
                 "1 when nothing was heard.",
                 {
                     {"--piece SECONDS", "send pieces of this many seconds (360)"},
                     {"--token TOKEN", "this token, not the stored one"},
                 }},
                {"--transcribe",
                 "--transcribe PATH",
                 "transcribe a video or audio file",
                 "Prints each piece as it is heard with its start time, then the text in "
                 "paragraphs (a pause of more than 1.5 s starts a new one) and a summary such as "
                 "\"3 pieces in 2.4s\". The file goes to the transcription server of the "
                 "preference speech.server when one is set and answers, else it is heard on this "
                 "machine: English comes from the pocketsphinx-en-us package; other languages "
                 "from the models folder (see FILES).",
                 {
                     {"--lang LOCALE", "its language, such as en-US"},
                     {"--engine local|server", "hear it on this machine, or on the server"},
                     {"--save", "file the text into Pelix as a note in \"Videos\""},
                 }},
                {"--edit",
                 "--edit COMMAND PROJECT ...",
                 "the video editor (pelix --edit help)",
                 "PROJECT is a project file, or a saved project named by its name or by the "
                 "start of its id; the result is one JSON document on standard output (see "
                 "EDITOR COMMANDS), except for list, which prints a table.",
                 {
                     {"--name NAME", "new: the project's name"},
                     {"--format FORMAT", "new: reel, youtubeShort, rednote, youtube, original"},
                     {"--lang LOCALE", "new: the clips' language"},
                     {"--out FILE", "export: into this file"},
                     {"--scale F", "export: a smaller draft, F of the size"},
                     {"--force", "export: replace the --out file without asking"},
                     {"--set FILE", "style: replace the rules with those of FILE"},
                     {"--json", "list: as JSON"},
                     {"--srt", "captions: as a SubRip subtitle file"},
                     {"--vtt", "captions: as a WebVTT subtitle file"},
                     {"--state", "numbered: with each line's state"},
                     {"--write", "apply: save the changed project"},
                 }},
                {"--snapshot",
                 "--snapshot DIR",
                 "draw windows into PNG files in DIR",
                 "Draws each window with sample content at a fixed size, off the screen, and "
                 "prints the path of each picture.",
                 {
                     {"--drop-ui", "also the drop target"},
                     {"--memos", "also the memo chooser"},
                     {"--editor", "also the editor window"},
                     {"--framing CLIP...", "also each clip framed on its speaker"},
                     {"--video", "also the transcript window"},
                 }},
                {"--clean-up", "--clean-up", "clean up a transcript on standard input", {}, {}},
                {"--call",
                 "--call FUNCTION [JSON]",
                 "call a backend function, print its answer",
                 "JSON is the request's body, a JSON object ({} when left out). An answer of "
                 "401, 403 or 5xx that is not the backend's own JSON (a proxy's page, a "
                 "gateway's refusal) is printed and ends with exit status 1.",
                 {
                     {"--token TOKEN", "this token, not the stored one"},
                 }},
                {"--import-notes",
                 "--import-notes",
                 "copy notes into Pelix",
                 "Sends the notes in batches of 100 with the stored token; running it again "
                 "brings over only what changed. Without --from or --command, the notes come "
                 "from the preference notes.command.",
                 {
                     {"--from FILE", "the notes from a JSON file"},
                     {"--command CMD", "the notes a command prints"},
                 }},
            },
        .environment =
            {
                {"PELIX_API_BASE", "the backend's base address (else the preference api.base)"},
                {"PELIX_EDITOR_DIR", "the folder of the edit projects"},
                {"PELIX_SPEECH_SYSTEM_MODELS", "the folder of the system's speech models"},
                {"XDG_CONFIG_HOME, XDG_DATA_HOME, XDG_CACHE_HOME", "where the files below are"},
            },
        .files =
            {
                {"~/.config/Pelix/Pelix.conf", "the preferences (INI)"},
                {"~/.local/share/Pelix/token", "the token (folder 0700, file 0600)"},
                {"~/.local/share/Pelix/window-key", "the web window's key"},
                {"~/.local/share/Pelix/speech-key", "the transcription server's key (0600)"},
                {"~/.local/share/Pelix/models/LOCALE/",
                 "a speech model added by hand: an acoustic model folder, a *.lm.bin "
                 "language model, a *.dict dictionary"},
                {"~/.local/share/Pelix/Editor/", "the edit projects, one JSON file each"},
                {"~/.config/autostart/pelix.desktop", "written by \"Open at login\""},
                {"~/.cache/Pelix/borrowed-keys", "key codes lent to typing"},
            },
        .preferences =
            {
                {"api.base", "the backend's base address"},
                {"insert.enabled", "dictation types into the window in front (true)"},
                {"dictation.sentences",
                 "dictation and transcript pieces begin with a capital, write \"I\" and end "
                 "with a full stop (true)"},
                {"voiceMemos.on", "file new recordings of the recordings folder (false)"},
                {"voiceMemos.folder", "the recordings folder"},
                {"notes.command", "a command that prints the notes for --import-notes"},
                {"speech.server", "an OpenAI-compatible transcription server's address"},
                {"speech.model", "the model the server is asked for (whisper-1)"},
                {"speech.uploadLimitMB", "the largest request the server takes (25)"},
                {"web.signIn", "the web app's sign-in page"},
                {"badge.x, badge.y", "where the badge was left"},
                {"ax.asked, login.asked, signIn.asked", "kept by Pelix so that it asks only once"},
                {"voiceMemos.since, voiceMemos.sent, voiceMemos.refused",
                 "kept by Pelix to file each recording once"},
            },
        .exitStatus =
            {
                {"0", "success"},
                {"1", "failure, said in a sentence on standard error"},
                {"2",
                 "an unknown option, an option without its value, a project name that fits "
                 "none or several, or a mode not in this build"},
            },
    };
    return usage;
}

namespace {

constexpr int kWidth = 80;
constexpr int kColumn = 30;

// Words of `text` in lines of at most `width` characters (a longer word stands alone).
QStringList wrapped(const QString& text, int width) {
    QStringList lines;
    QString line;
    for (const QString& word : text.split(' ', Qt::SkipEmptyParts)) {
        if (!line.isEmpty() && line.size() + 1 + word.size() > width) {
            lines << line;
            line.clear();
        }
        line += (line.isEmpty() ? "" : " ") + word;
    }
    if (!line.isEmpty()) lines << line;
    return lines;
}

// "  NAME      text", the text in a column of its own; NAME too wide puts the text below it.
void addRow(QString& out, int indent, const QString& name, const QString& text) {
    QString row = QString(indent, ' ') + name;
    const QStringList lines = wrapped(text, kWidth - kColumn);
    if (row.size() >= kColumn - 1) {
        out += row + '\n';
        row.clear();
    }
    for (const QString& line : lines) {
        out += row.leftJustified(kColumn, ' ') + line + '\n';
        row.clear();
    }
    if (lines.isEmpty()) out += row + '\n';
}

void addEntries(QString& out, const QString& title, const QList<Entry>& entries) {
    out += '\n' + title + ":\n";
    for (const Entry& e : entries) addRow(out, 2, e.name, e.text);
}

// Text made safe for roff: backslashes, minus signs, characters beyond ASCII as named glyphs,
// and a line never starting with a control character.
QString roff(const QString& text) {
    QString out;
    for (const char32_t c : text.toUcs4()) {
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else if (c > 0x7f) {
            out += "\\[u" + QString::number(uint(c), 16).toUpper().rightJustified(4, '0') + ']';
        } else {
            out += QChar(c);
        }
    }
    if (out.startsWith('.') || out.startsWith('\'')) out.prepend("\\&");
    return out;
}

// A synopsis in roff: words the user types as they stand in bold, placeholders (capitals) in
// italics, brackets and other punctuation plain.
QString roffSynopsis(const QString& synopsis) {
    static const QRegularExpression word(R"([A-Za-z0-9_.\-]+)");
    QString out;
    qsizetype at = 0;
    for (auto m = word.globalMatch(synopsis); m.hasNext();) {
        const auto match = m.next();
        out += roff(synopsis.mid(at, match.capturedStart() - at));
        const QString w = match.captured();
        const bool placeholder = w == w.toUpper() && w.contains(QRegularExpression("[A-Z]"));
        if (w == "...") {
            out += w;
        } else {
            out += (placeholder ? "\\fI" : "\\fB") + roff(w) + "\\fR";
        }
        at = match.capturedEnd();
    }
    return out + roff(synopsis.mid(at));
}

// A short line of --help as a sentence of the manual.
QString sentence(const QString& text) {
    if (text.isEmpty()) return text;
    QString s = text.at(0).toUpper() + text.mid(1);
    if (!s.endsWith('.')) s += '.';
    return s;
}

void addManualEntries(QString& out, const QString& title, const QList<Entry>& entries,
                      const char* font) {
    out += ".SH " + title + "\n";
    for (const Entry& e : entries) {
        out += ".TP\n" + QString(font) + roff(e.name) + "\\fR\n" + roff(sentence(e.text)) + "\n";
    }
}

}  // namespace

QString helpText(const Usage& usage) {
    QString out = "Usage: " + usage.synopsis + "\n\n";
    out += wrapped(usage.description.value(0), kWidth).join('\n') + "\n\n";
    out += "Modes, tested in this order:\n";
    for (const Mode& mode : usage.modes) {
        addRow(out, 2, mode.synopsis, mode.summary);
        for (const Option& option : mode.options) addRow(out, 6, option.synopsis, option.text);
    }
    addEntries(out, "Environment", usage.environment);
    addEntries(out, "Files", usage.files);
    addEntries(out, "Exit status", usage.exitStatus);
    out += "\nThe manual, man pelix, says more about each mode and lists the preferences.\n";
    return out;
}

QString manualPage(const Usage& usage, const ManualInfo& info) {
    QString out = QStringLiteral(".TH PELIX 1 \"%1\" \"pelix %2\" \"User Commands\"\n")
                      .arg(info.date, info.version);
    out += ".SH NAME\npelix \\- " + roff(usage.summary) + "\n";

    out += ".SH SYNOPSIS\n\\fBpelix\\fR\n";
    for (const Mode& mode : usage.modes) {
        QString line = "pelix " + mode.synopsis;
        for (const Option& option : mode.options) line += " [" + option.synopsis + "]";
        out += ".br\n" + roffSynopsis(line) + "\n";
    }

    out += ".SH DESCRIPTION\n";
    for (const QString& paragraph : usage.description) out += ".PP\n" + roff(paragraph) + "\n";

    out += ".SH MODES\n";
    for (const Mode& mode : usage.modes) {
        out += ".TP\n" + roffSynopsis(mode.synopsis) + "\n" + roff(sentence(mode.summary));
        if (!mode.details.isEmpty()) out += ' ' + roff(mode.details);
        out += '\n';
        if (mode.options.isEmpty()) continue;
        out += ".RS\n";
        for (const Option& option : mode.options) {
            out +=
                ".TP\n" + roffSynopsis(option.synopsis) + "\n" + roff(sentence(option.text)) + "\n";
        }
        out += ".RE\n";
    }

    if (!info.extraTitle.isEmpty()) {
        out += ".SH " + roff(info.extraTitle.toUpper()) + "\n.nf\n";
        for (const QString& line : info.extraText.split('\n')) out += roff(line) + "\n";
        out += ".fi\n";
    }
    addManualEntries(out, "ENVIRONMENT", usage.environment, "\\fB");
    addManualEntries(out, "FILES", usage.files, "\\fI");
    addManualEntries(out, "PREFERENCES", usage.preferences, "\\fB");
    addManualEntries(out, "EXIT STATUS", usage.exitStatus, "\\fB");
    out += ".SH SEE ALSO\n\\fBxdg\\-open\\fR(1), \\fBxdg\\-mime\\fR(1)\n";
    return out;
}

QStringList optionWords(const Usage& usage) {
    static const QRegularExpression word(R"(--[a-z\-]+)");
    QStringList words;
    for (const Mode& mode : usage.modes) {
        for (const Option& option : mode.options) {
            for (auto m = word.globalMatch(option.synopsis); m.hasNext();) {
                const QString w = m.next().captured();
                if (!words.contains(w)) words << w;
            }
        }
    }
    return words;
}

QString valueOf(const QString& synopsis) {
    return synopsis.section(' ', 1, 1, QString::SectionSkipEmpty);
}

}  // namespace pelix::app::usage
