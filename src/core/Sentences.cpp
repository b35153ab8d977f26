#include "core/Sentences.h"

#include "core/Counted.h"

#include <QStringList>

#include <cmath>

namespace pelix::core::sentences {

// ---- Files and folders

QString couldntWrite(const QString& file, const QString& why) {
    return QStringLiteral("Couldn't write %1: %2").arg(file, why);
}

QString couldntMakePrivate(const QString& path) {
    return QStringLiteral("Couldn't make %1 private.").arg(path);
}

QString couldntCreateFolder(const QString& folder) {
    return QStringLiteral("Couldn't create the folder %1.").arg(folder);
}

QString temporaryFolderMissing(const QString& folder) {
    return QStringLiteral("the folder %1 doesn't exist.").arg(folder);
}

QString temporaryNotMadeIn(const QString& folder, const QString& why) {
    return QStringLiteral("its temporary file could not be made in %1 (%2).").arg(folder, why);
}

QString couldntMakeTemporaryFile(const QString& path, const QString& why) {
    return QStringLiteral("Couldn't make the temporary file %1: %2.").arg(path, why);
}

QString couldntRemoveFile(const QString& file) {
    return QStringLiteral("The file %1 could not be removed.").arg(file);
}

QString couldntRead(const QString& name, const QString& why) {
    return "Couldn't read " + name + ": " + why + ".";
}

QString couldntStart(const QString& program, const QString& why) {
    return "Couldn't start " + program + ": " + why + ".";
}

QString notInThisBuild(const QString& what) {
    return what + " is not in this build of Pelix yet.";
}

// ---- The desktop

QString couldntOpenLink(const QString& reason) {
    return "Couldn't open the link: " + reason;
}

QString couldntFetch(const QString& name, const QString& why) {
    return "Couldn't fetch " + name + ": " + (why.isEmpty() ? QStringLiteral("no reason") : why);
}

QString displayNotAnswering(const QString& display) {
    return QStringLiteral("the display %1 does not answer (is its X server running?)").arg(display);
}

// ---- The backend

QString headersTooLarge(qint64 kilobytes) {
    return QStringLiteral("The answer's headers were larger than %1 KB, so it was not read.")
        .arg(kilobytes);
}

QString headerLineTooLong(qint64 kilobytes) {
    return QStringLiteral(
               "A line of the answer's headers was longer than %1 KB, so it was not "
               "read.")
        .arg(kilobytes);
}

QString answerTooLarge(qint64 megabytes) {
    return QStringLiteral("The answer was larger than %1 MB, so it was not read.").arg(megabytes);
}

QString silentFor(int seconds) {
    return "The server sent nothing for " + counted(seconds, u"second") + ", so Pelix gave up.";
}

QString notAWebAddress(const QString& shown) {
    return QStringLiteral("\"%1\" is not a web address Pelix can use; it begins https://.")
        .arg(shown);
}

QString plainHttpElsewhere(const QString& shown) {
    return QStringLiteral(
               "%1 is plain http to another computer, which would show your key to the network; "
               "use https (plain http is only for this computer).")
        .arg(shown);
}

QString pelixAnswered(int status) {
    return QStringLiteral("Pelix answered %1.").arg(status);
}

QString pelixAnsweredWithout(int status, const QString& what) {
    return QStringLiteral("Pelix answered %1 without %2, so nothing was changed.")
        .arg(status)
        .arg(what);
}

QString pelixDidNotSayDone(int status) {
    return QStringLiteral("Pelix answered %1 and did not say it was done.").arg(status);
}

// ---- Hearing speech

QString serverHeard(const QString& words) {
    return "The server heard: “" + words + "”";
}

QString needsSpeechModel(const QString& package) {
    return QStringLiteral("Transcribing needs a speech model: install %1.").arg(package);
}

QString needsSpeechModelIn(const QString& language, const QString& folder) {
    return "Transcribing in " + language +
           " needs a speech model: put its acoustic model, language model and dictionary into " +
           folder + ".";
}

QString couldntStartPocketSphinx(const QString& modelFolder) {
    return "Couldn't start PocketSphinx with the model in " + modelFolder + ".";
}

QString couldntLoadSpeechModel(const QString& modelFolder) {
    return "Couldn't load the speech model in " + modelFolder + ".";
}

QString serverUnreachable(const QString& reason) {
    return "Couldn't reach the transcription server: " + reason;
}

QString serverRefusedSaying(const QString& message) {
    return "Couldn't transcribe on the server: " + message;
}

QString serverRefused(int status, const QString& endpoint) {
    QString why;
    if (status == 200) {
        why = "its answer couldn't be read";
    } else if (status == 401 || status == 403) {
        why = "it did not accept the key";
    } else if (status == 404 || status == 405) {
        why = "nothing transcribes at " + endpoint;
    } else if (status == 413) {
        why = "the sound was more than it takes at once";
    } else if (status == 429) {
        why = "it is busy or over its limit, try again later";
    } else if (status >= 500) {
        why = "something went wrong on its side";
    } else if (status >= 300 && status <= 399) {
        why = "it sent Pelix on to another address, which Pelix does not follow with your key";
    } else {
        why = "it refused the request";
    }
    return serverRefusedSaying(why);
}

// ---- Sound and video files

QString couldntOpenMedia(const QString& name, Unopened why) {
    switch (why) {
        case Unopened::missing:
            return "Couldn't open " + name + ": there is no such file.";
        case Unopened::folder:
            return "Couldn't open " + name + ": it is a folder, not a file.";
        case Unopened::forbidden:
            return "Couldn't open " + name + ": it can't be read (no permission).";
        case Unopened::notMedia:
            break;
    }
    return "Couldn't open " + name + ". Is it a video or audio file?";
}

QString noSoundIn(const QString& name) {
    return name + " has no sound in it, so there's nothing to transcribe.";
}

QString couldntGetSound(const QString& name, const QString& reason) {
    return "Couldn't get the sound out of " + name + ": " + reason;
}

QString stretchEmpty(const QString& name) {
    return "Couldn't cut " + name + ": the stretch is empty.";
}

QString stretchAfterTheEnd(const QString& name) {
    return "Couldn't cut " + name + ": the stretch starts after the end of the sound.";
}

// ---- Transcribing a video

QString cantTranscribe(const QString& language) {
    return "This computer can't transcribe " + language + ". Pick another language.";
}

QString couldntReadSoundFrom(const QString& name) {
    return "Couldn't read the sound from " + name + ".";
}

QString endsEarly(const QString& name, const QString& read, const QString& stated) {
    return name + " ends early: only " + read + " of its " + stated + " could be read.";
}

QString listeningAt(int percent) {
    return atPercent(kListening, percent);
}

QString wordsFrom(int words, const QString& length) {
    return counted(words, u"word") + " from " + length +
           ". Change anything you like, then save it.";
}

QString savedAs(const QString& name) {
    return "Saved as " + name + '.';
}

QString piecesIn(int pieces, double seconds) {
    return counted(pieces, u"piece") + QString::asprintf(" in %.1fs", seconds);
}

// ---- Voice memos and dropped recordings

QString cantReadRecordingsFolder(const QString& folder) {
    return "Pelix can't read your recordings folder, " + folder +
           ". Make sure it is there and that you can open it, or choose the folder your "
           "recordings are in. Then look again.";
}

QString memoNotSent(const QString& why) {
    QString reason = why.trimmed();
    if (reason.isEmpty() || !QStringLiteral(".!?…").contains(reason.back())) reason += '.';
    return "A voice memo could not be sent: " + reason + " It will be tried again.";
}

QString memoIsIn(qint64 minutes) {
    if (minutes < 2) return QStringLiteral("Your voice memo is in Pelix.");
    return QStringLiteral("Your %1-minute voice memo is in Pelix.").arg(minutes);
}

QString sendingMemo(const QString& title) {
    return "Sending " + title + "…";
}

QString sendingOf(qint64 number, qint64 count) {
    return QStringLiteral("Sending %1 of %2…").arg(number).arg(count);
}

QString completeOne(const QString& name) {
    return "Complete: " + name + " is in Pelix";
}

QString completeAll(qint64 count) {
    if (count == 1) return QStringLiteral("Complete: it is in Pelix");
    if (count == 2) return QStringLiteral("Complete: both are in Pelix");
    return QStringLiteral("Complete: all %1 are in Pelix").arg(count);
}

QString someSentTickAgain(qint64 sent, qint64 count) {
    return QStringLiteral("%1 of %2 sent. Tick the %3 to try again.")
        .arg(sent)
        .arg(count)
        .arg(count - sent == 1 ? "other" : "others");
}

QString someSentDropAgain(qint64 sent, qint64 count) {
    return QStringLiteral("%1 of %2 sent. Drop the %3 again.")
        .arg(sent)
        .arg(count)
        .arg(count - sent == 1 ? "other" : "others");
}

QString noSuchRecording(const QString& file) {
    return "Couldn't read " + file + ": there is no such file.";
}

QString folderNotRecording(const QString& file) {
    return "Couldn't read " + file + ": it is a folder, not a recording.";
}

QString notAPieceLength(const QString& given, double seconds) {
    return QStringLiteral("--piece %1 is not a length in seconds, so the pieces are %2 s long.")
        .arg(given)
        .arg(seconds);
}

QString pieceTooShort(const QString& given) {
    return QStringLiteral("Couldn't send pieces of %1 s: a piece is at least 1 s long.").arg(given);
}

QString tooManyPieces(const QString& name, qint64 pieces, double seconds) {
    return QStringLiteral(
               "Couldn't send %1: %2 pieces of %3 s are too many; give a longer --piece.")
        .arg(name)
        .arg(pieces)
        .arg(seconds);
}

QString secondsInPieces(qint64 seconds, qint64 pieces) {
    return QStringLiteral("%1 s, ").arg(seconds) + counted(pieces, u"piece");
}

// ---- Bringing notes over

QString readingNotesIn(const QString& fileName) {
    return "Reading the notes in " + fileName + "…";
}

QString notesNotRead(const QString& errorOutput) {
    return "Couldn't read the notes: " + errorOutput;
}

QString notesProgramFailed(int exitStatus) {
    return QStringLiteral(
               "Couldn't read the notes: the program failed (exit status %1) without "
               "saying why.")
        .arg(exitStatus);
}

QString notesTookTooLong(double seconds) {
    const auto whole = static_cast<qint64>(std::llround(seconds));
    const QString limit =
        whole % 60 == 0 && whole >= 60 ? counted(whole / 60, u"minute") : counted(whole, u"second");
    return "Couldn't read the notes: the program gave no notes within " + limit +
           ", so it was stopped.";
}

QString notesPrintedTooMuch(qint64 megabytes) {
    return QStringLiteral(
               "Couldn't read the notes: the program printed more than %1 MB, more than any "
               "export of notes holds, so it was stopped.")
        .arg(megabytes);
}

QString notesFileTooLarge(const QString& fileName, qint64 megabytes) {
    return QStringLiteral(
               "Couldn't read %1: it is larger than %2 MB, more than any export of notes holds.")
        .arg(fileName)
        .arg(megabytes);
}

QString notesNotAList(const QString& parserError) {
    return "Couldn't read the notes: they are not a JSON list (" +
           (parserError.isEmpty() ? QStringLiteral("another shape") : parserError) + ").";
}

QString noteWithoutText(qsizetype number, const QString& key) {
    return "Couldn't read the notes: note " + QString::number(number) + " has no text \"" + key +
           "\".";
}

QString bringingOver(int upTo, int total) {
    return "Bringing over " + QString::number(upTo) + " of " + QString::number(total) + "…";
}

QString stoppedAfter(int sent, int total) {
    return "Stopped after bringing over " + QString::number(sent) + " of " +
           counted(total, u"note") + '.';
}

QString broughtOver(int sent, int created, int updated, int unchanged, int foldersCreated) {
    QStringList parts;
    if (created) parts << QString::number(created) + " new";
    if (updated) parts << QString::number(updated) + " updated";
    if (unchanged) parts << QString::number(unchanged) + " already here";
    QString message = "Brought over " + counted(sent, u"pearl");
    if (!parts.isEmpty()) message += ": " + parts.join(", ");
    if (foldersCreated)
        return message + ". " + counted(foldersCreated, u"folder") + " made to match.";
    return message + '.';
}

// ---- The video editor's projects and passes

QString projectInTheWay(const QString& name) {
    return QStringLiteral(
               "Couldn't save the project: %1 is there and is not a project file, so it "
               "is left as it is.")
        .arg(name);
}

QString couldntOpenProject(const QString& name, const QString& why) {
    return QStringLiteral("Couldn't open the project %1: %2.").arg(name, why);
}

QString projectNotJson(const QString& name, const QString& why, qsizetype line, qsizetype column) {
    return QStringLiteral(
               "Couldn't read the project %1: it is not JSON (%2 at line %3, column %4).")
        .arg(name, why)
        .arg(line)
        .arg(column);
}

QString projectNotAnObject(const QString& name) {
    return QStringLiteral("Couldn't read the project %1: it is JSON but not an object.").arg(name);
}

QString couldntReadProject(const QString& name, const QString& why) {
    return QStringLiteral("Couldn't read the project %1: %2.").arg(name, why);
}

QString projectNotSaved(const QString& why) {
    return QStringLiteral("Couldn't save the project, as it would not open again: %1.").arg(why);
}

QString exportFolderMissing(const QString& folder) {
    return QStringLiteral("Couldn't export there: the folder %1 doesn't exist.").arg(folder);
}

QString exportNameTooLong(const QString& name) {
    return QStringLiteral(
               "Couldn't export there: the name %1 is longer than the file system "
               "allows.")
        .arg(name);
}

QString exportOverInput(const QString& name) {
    return QStringLiteral(
               "Couldn't export over %1: the video is made from it, so choose another file.")
        .arg(name);
}

QString exportOverFolder(const QString& name) {
    return QStringLiteral("Couldn't export there: %1 is a folder.").arg(name);
}

QString exportWouldReplace(const QString& name) {
    return QStringLiteral("%1 is there already; add --force to replace it.").arg(name);
}

QString replaceQuestion(const QString& name) {
    return QStringLiteral("%1 is there already. Replace it?").arg(name);
}

QString couldntMakeFolderFor(const QString& folder) {
    return "Couldn't make the folder " + folder + " for the video.";
}

// ---- Drawing and exporting videos

QString clipMissing(const QString& path) {
    return "its clip " + path + " is missing.";
}

QString captionsNotWritten(const QString& why) {
    return "the captions could not be written: " + why;
}

QString couldntExport(const QString& reason) {
    return "Couldn't export the video: " + reason;
}

QString couldntDraw(const QString& reason) {
    return "Couldn't draw the video: " + reason;
}

QString picturesUnreadable(const QString& name, const QString& why) {
    return "Couldn't read the pictures of " + name + ": " + why;
}

QString noPicturesAt(const QString& name, double seconds) {
    return picturesUnreadable(name,
                              "there are none at " + QString::number(seconds, 'f', 2) + " s.");
}

QString soundUnreadable(const QString& name, const QString& why) {
    return "Couldn't read the sound of " + name + ": " + why;
}

QString hasNoPictures(const QString& name) {
    return name + " has no pictures.";
}

QString noPicturesForFaces(const QString& name) {
    return "Couldn't look for faces: " + hasNoPictures(name);
}

QString faceDataMissing(const QString& file) {
    return "Couldn't look for faces: the face detector's data " + file +
           " is missing (install opencv-data).";
}

QString notMovedIntoPlace(const QString& name) {
    return couldntWrite(name, QStringLiteral("it could not be moved into place."));
}

QString nothingPlaysAt(double seconds) {
    return "Couldn't draw the video at " + QString::number(seconds, 'f', 2) +
           " s: nothing plays then.";
}

QString framingFolderNotMade(const QString& folder) {
    return "Couldn't draw the framing: the folder " + folder + " could not be made.";
}

QString couldntWriteInto(const QString& name, const QString& folder) {
    return "Couldn't write " + name + " into " + folder + ".";
}

QString ofAnotherVersion(const QString& path) {
    return path + " is of another version";
}

QString couldntLoadRenderer(const QString& module, const QString& why) {
    return "Couldn't load Pelix's renderer (" + module + "): " +
           (why.isEmpty() ? QStringLiteral("it is not installed.")
                          : why + (why.endsWith('.') ? "" : "."));
}

// ---- Prompts from the phone into chat assistants

QString sendingTo(const QString& place, int seconds) {
    return QStringLiteral("Sending to %1 in %2…").arg(place).arg(seconds);
}

QString couldNotOpen(const QString& place) {
    return "Could not open " + place + ".";
}

QString didNotOpenInTime(const QString& place) {
    return place + " did not open in time. It is still on your phone.";
}

QString nowhereToType(const QString& place) {
    return "Could not find where to type in " + place + ". It is still on your phone.";
}

QString couldNotType(const QString& place) {
    return "Could not type into " + place + ". It is still on your phone.";
}

QString sentTo(const QString& place) {
    return "Sent to " + place + ".";
}

// ---- Braindumps

QString couldntStartMicrophone(const QString& why) {
    return "Couldn't start the microphone: " + why;
}

QString braindumpsWaiting(int count) {
    return counted(count, u"braindump") + QStringLiteral(" waiting");
}

// ---- The video editor

QString popUpChip(const QString& keyword) {
    return "Pop-up: " + keyword;
}

QString exported(const QString& file) {
    return QStringLiteral("Exported %1.").arg(file);
}

QString atPercent(const QString& what, int percent) {
    return QStringLiteral("%1 %2%").arg(what).arg(percent);
}

QString aboutClip(const QString& name, const QString& line) {
    return name + ": " + line;
}

QString noSuchClip(const QString& file) {
    return "Couldn't find " + file + ": there is no such file.";
}

QString noSuchProject(const QString& name) {
    return QStringLiteral(
               "Couldn't find the project %1: it is neither a file nor the name or the start "
               "of the id of a saved project (pelix --edit list shows them).")
        .arg(name);
}

QString whichProject(const QString& name, const QStringList& candidates) {
    QString fits = candidates.mid(0, candidates.size() - 1).join(", ");
    if (!fits.isEmpty()) fits += " or ";
    fits += candidates.value(candidates.size() - 1);
    return "Couldn't tell which project " + name + " is: it could be " + fits +
           "; give more of the id.";
}

QString noSuchFormat(const QString& format) {
    return "There is no format " + format +
           "; say reel, youtubeShort, rednote, youtube or original.";
}

QString notAScale(const QString& scale) {
    return "The scale " + scale + " is not a number from 0.1 to 1.";
}

QString noEditorCommand(const QString& command) {
    return QStringLiteral("The editor has no command %1; pelix --edit help lists them.")
        .arg(command);
}

QString sayWhichProject(const QString& command) {
    return QStringLiteral("Say which project: pelix --edit %1 PROJECT.").arg(command);
}

QString couldntReadOperations(const QString& name, const QString& why) {
    return QStringLiteral("Couldn't read the operations in %1: %2.").arg(name, why);
}

QString operationsNotAList(const QString& name) {
    return QStringLiteral(
               "Couldn't read the operations in %1: they are not a JSON list of "
               "operations.")
        .arg(name);
}

QString nothingChanged(const QString& name) {
    return "Nothing changed, so " + name + " is left as it was.";
}

QString couldntReadRules(const QString& name, const QString& why) {
    return "Couldn't read the style rules in " + name + ": " + why + ".";
}

QString rulesNotText(const QString& name) {
    return "Couldn't read the style rules in " + name +
           ": the list holds something that is not text.";
}

QString couldntSaveRules(const QString& why) {
    return "Couldn't save your style rules: " + why;
}

QString savedRules(qsizetype count) {
    return "Saved " + counted(count, u"style rule") + '.';
}

QString alreadyIn(const QString& language) {
    return "Every caption is already in " + language + ".";
}

QString translated(qint64 done, qint64 missing, const QString& language) {
    return "Translated " + QString::number(done) + " of " + counted(missing, u"caption") +
           " into " + language + '.';
}

// ---- The web window

QString couldntLoadWebEngine(const QString& why) {
    return "Couldn't load the web engine: " + why;
}

// ---- The tray

QString couldntChangeThat(const QString& why) {
    return "Couldn't change that: " + why;
}

QString readsRecordingsFrom(const QString& folder) {
    return "Pelix reads your recordings from " + folder + " now.";
}

QString videosAndSoundFilter(const QString& patterns) {
    return "Videos and sound (" + patterns + ")";
}

// ---- The permission report

QString installedIn(const QString& program) {
    return "Installed in " + program;
}

QString runningFrom(const QString& program) {
    return "Running from " + program +
           " - install the package that scripts/package builds so the link handler and login "
           "start stick";
}

// ---- The command line

QString trayNeedsDesktop(const QString& problem) {
    return "Pelix lives in the tray of a desktop session, and " + problem +
           "; pelix --help lists what runs without one.";
}

QString noSocket(const QString& address) {
    return "Couldn't start Pelix: its socket " + address + " can't be made.";
}

QString noSuchOption(const QString& option) {
    return "Pelix has no option " + option + "; pelix --help lists them.";
}

QString optionNeedsValue(const QString& option, const QString& value) {
    return "Pelix's option " + option + " needs a value after it: " + option + ' ' + value + '.';
}

QString couldntOpenWindow(const QString& problem) {
    return "Couldn't open a window: " + problem + ".";
}

QString picturesFolderNotWritable(const QString& folder) {
    return "Couldn't draw the pictures: " + folder + " is not a folder Pelix can write to.";
}

QString noSampleVideo(const QString& file) {
    return "Couldn't draw transcript.png: there is no " + file +
           "; make it with scripts/make-sample (or name one in PELIX_SAMPLE_VIDEO).";
}

}  // namespace pelix::core::sentences
