#pragma once

#include <QString>
#include <QStringList>

// Every sentence the user reads: status lines, dialogs, hints, command-line messages and the
// messages of errors. Fixed texts are constants (UTF-8); texts that take a value are made by the
// functions beside them. Log lines, preference keys and protocol strings are not here.
namespace pelix::core::sentences {

// The title of Pelix's windows.
inline constexpr auto kPelix = "Pelix";

// ---- Files, folders and programs ----------------------------------------------------------------

QString couldntWrite(const QString& file, const QString& why);  // "Couldn't write F: why"
QString couldntMakePrivate(const QString& path);
QString couldntCreateFolder(const QString& folder);
QString temporaryFolderMissing(const QString& folder);
QString temporaryNotMadeIn(const QString& folder, const QString& why);
QString couldntMakeTemporaryFile(const QString& path, const QString& why);
QString couldntRemoveFile(const QString& file);
QString couldntRead(const QString& name, const QString& why);  // "Couldn't read N: why."
QString couldntStart(const QString& program, const QString& why);
// A command-line mode that a later version brings.
QString notInThisBuild(const QString& what);

// ---- The desktop: microphone, keys, links, remote files -----------------------------------------

inline constexpr auto kNoMicrophone = "There is no microphone.";
inline constexpr auto kInputDeviceNotOpened = "The input device could not be opened.";
inline constexpr auto kInputDeviceStopped = "The input device stopped delivering sound.";
inline constexpr auto kSoundServerFailed = "The sound server failed.";
inline constexpr auto kNoXDisplay = "There is no X display to watch the keys on.";
inline constexpr auto kNoXInput2 = "The X display has no XInput 2, so the keys can't be seen.";
inline constexpr auto kNoKeyboard = "No keyboard was found under /dev/input.";
inline constexpr auto kNoShortcutsPortal = "The desktop offers no shortcuts portal.";
// The shortcuts as the desktop's shortcut settings list them.
inline constexpr auto kBraindumpShortcut = "Pelix: tap to start and end a braindump";
inline constexpr auto kDictateShortcut = "Pelix: hold to dictate into the app you're in";
inline constexpr auto kKeyboardsForbidden =
    "Pelix may not read the keyboards: add yourself to the input group (sudo usermod -aG input "
    "$USER), then log in again.";
// Why no window can be opened, after "Couldn't open a window: " (`couldntOpenWindow`).
inline constexpr auto kNoDisplaySet = "there is none here ($DISPLAY is not set)";
QString displayNotAnswering(const QString& display);
// The comment of the login start's desktop entry.
inline constexpr auto kAutostartComment = "Tap Alt, talk, then tap Alt again.";
QString couldntOpenLink(const QString& reason);
// An empty `why` says there was no reason given.
QString couldntFetch(const QString& name, const QString& why);

// ---- The backend and its connection -------------------------------------------------------------

inline constexpr auto kSignInFirst = "Sign in first: tray icon → Sign in…";
// Put before the description of a failure to reach the backend; `Api::describe` does.
inline constexpr auto kCouldntReachPelix = "Couldn't reach Pelix: ";
inline constexpr auto kNotAKey =
    "That is not a Pelix key: it begins pelix_ and holds only letters, digits, dots, dashes and "
    "underscores.";
inline constexpr auto kNotAKeyGiven =
    "Couldn't use the key given with --token: a Pelix key begins pelix_ and holds only letters, "
    "digits, dots, dashes and underscores.";
inline constexpr auto kTimedOut = "The request timed out.";
inline constexpr auto kConnectionFailed = "The connection failed.";
inline constexpr auto kCouldntReadBody = "Couldn't read what was to be sent.";
inline constexpr auto kHeaderLineBreak = "A request header held a line break.";
inline constexpr auto kNotHttp = "The answer was not HTTP.";
inline constexpr auto kClosedWithoutAnswer = "The server closed the connection without answering.";
inline constexpr auto kBrokeOff = "The answer broke off before its end.";
QString headersTooLarge(qint64 kilobytes);
QString headerLineTooLong(qint64 kilobytes);
QString answerTooLarge(qint64 megabytes);
QString silentFor(int seconds);
inline constexpr auto kRequestCancelled = "The request was cancelled.";
// Why a base address may not be used: `shown` as the user typed it.
QString notAWebAddress(const QString& shown);
QString plainHttpElsewhere(const QString& shown);
// An answer of the backend with a status but no word of its own.
QString pelixAnswered(int status);
// An answer that lacks what its caller needed (`what`: "the edit plan"), so nothing was changed.
QString pelixAnsweredWithout(int status, const QString& what);
// An answer to a caller that needs no member, whose status and body say it was not done.
QString pelixDidNotSayDone(int status);

// ---- Hearing speech -----------------------------------------------------------------------------

inline constexpr auto kListeningCancelled = "Listening was cancelled.";
inline constexpr auto kPocketSphinxRefused = "Couldn't start listening: PocketSphinx refused.";
inline constexpr auto kPocketSphinxFailed = "Couldn't make out the speech: PocketSphinx failed.";
inline constexpr auto kServerNeedsAddress =
    "Transcribing on a server needs its address: set the preference speech.server.";
inline constexpr auto kCouldntRemoveServerKey = "Couldn't remove the transcription server's key.";
inline constexpr auto kServerKeyRefused =
    "Couldn't keep the transcription server's key: a key is one word of letters, digits and "
    "punctuation.";
inline constexpr auto kTypeServerAddress = "Type the server's address first.";
inline constexpr auto kServerHeardNothing =
    "The server answered, but heard nothing in the test recording.";
QString serverHeard(const QString& words);
QString needsSpeechModel(const QString& package);
QString needsSpeechModelIn(const QString& language, const QString& folder);
QString couldntStartPocketSphinx(const QString& modelFolder);
QString couldntLoadSpeechModel(const QString& modelFolder);
// Without a full stop: the caller ends the sentence.
QString serverUnreachable(const QString& reason);
QString serverRefusedSaying(const QString& message);
// A refusal without a message of the server's own, by its HTTP status (200: an answer that is
// not a transcription). `endpoint` is named when nothing transcribes there.
QString serverRefused(int status, const QString& endpoint);

// ---- Sound and video files ----------------------------------------------------------------------

// Why a file could not be opened as sound or video.
enum class Unopened { missing, folder, forbidden, notMedia };
QString couldntOpenMedia(const QString& name, Unopened why);
QString noSoundIn(const QString& name);
QString couldntGetSound(const QString& name, const QString& reason);
inline constexpr auto kUnknownError = "Unknown error";
inline constexpr auto kNoSoundDecoder = "There is no decoder for its sound.";
inline constexpr auto kTemporarySoundNotMade = "The temporary sound file could not be made.";
inline constexpr auto kTemporarySoundNotWritten = "The temporary sound file could not be written.";
QString stretchEmpty(const QString& name);
QString stretchAfterTheEnd(const QString& name);

// ---- Dictation ----------------------------------------------------------------------------------

inline constexpr auto kRecognitionUnavailable = "Speech recognition isn't available right now.";
inline constexpr auto kServerTooSlow =
    "Couldn't hear back from the transcription server in time, so dictation kept this "
    "computer's words.";
inline constexpr auto kOnClipboard =
    "Typing into other applications isn't available in this session: the text is on the "
    "clipboard.";

// ---- The badge and the speech window ------------------------------------------------------------

inline constexpr auto kBadgeTip = "Pelix: click to tell or ask, drop a recording to send it";
inline constexpr auto kSpeechAbout =
    "On this computer, with nothing to set up. A transcription server (a whisper.cpp server, "
    "speaches, or a hosted service) hears better: name it here and it transcribes files and "
    "finishes each dictation.";
inline constexpr auto kServerAddressHint = "empty: on this computer";
inline constexpr auto kKeyKeptHint = "a key is kept; type to replace it";
inline constexpr auto kNoKeyHint = "none (a local server needs none)";
inline constexpr auto kKeyForgotten = "The key is forgotten.";
inline constexpr auto kTesting = "Testing…";

// ---- Transcribing a video -----------------------------------------------------------------------

inline constexpr auto kGettingReady = "Getting ready…";
inline constexpr auto kGettingTheSoundOut = "Getting the sound out…";
inline constexpr auto kListening = "Listening…";
inline constexpr auto kTranscribingCancelled = "Transcribing was cancelled.";
inline constexpr auto kNoSpeech = "No speech in this one.";
inline constexpr auto kSavedInVideos = "Saved to Pelix, in Videos.";
inline constexpr auto kTooMuchToSort =
    "That's a lot for one go. Select the part with the plans in it, then sort that.";
inline constexpr auto kWordsComeHere = "The words come here as the file is heard.";
inline constexpr auto kCopiedTheSelection = "Copied the selection.";
inline constexpr auto kCopied = "Copied.";
inline constexpr auto kStoppedListening = "Stopped. The text is what was heard until then.";
// After "Save as…": the file written.
QString savedAs(const QString& name);
inline constexpr auto kEngineLocalOrServer = "Couldn't transcribe: --engine is local or server.";
inline constexpr auto kNothingSaved = "Nothing was saved to Pelix.";
QString cantTranscribe(const QString& language);
QString couldntReadSoundFrom(const QString& name);
// `read` and `stated` as the clock shows them ("1:05").
QString endsEarly(const QString& name, const QString& read, const QString& stated);
QString listeningAt(int percent);
QString wordsFrom(int words, const QString& length);
// The closing line of --transcribe.
QString piecesIn(int pieces, double seconds);

// ---- Voice memos and dropped recordings ---------------------------------------------------------

inline constexpr auto kLetPelixRead =
    "Let Pelix read your recordings folder and your voice memos come in by themselves.";
inline constexpr auto kChooseRecordingsFolder = "Choose the recordings folder…";
inline constexpr auto kDropFileHere = "Drop file here";
inline constexpr auto kSendingAMemo = "Sending a voice memo…";
inline constexpr auto kMemoNotHeard = "A voice memo could not be heard. It will be tried again.";
inline constexpr auto kMemoHadNoWords = "A voice memo had no words in it.";
inline constexpr auto kCouldNotBeHeard = "could not be heard";
// A memo's line in the chooser.
inline constexpr auto kWaiting = "Waiting";
inline constexpr auto kSending = "Sending…";
inline constexpr auto kInPelix = "In Pelix";
inline constexpr auto kNotSentTickIt = "Not sent, tick it to try again";
inline constexpr auto kNotSentTickAgain = "Not sent. Tick it to try again.";
inline constexpr auto kNotSentDropAgain = "Not sent. Drop it again to try once more.";
QString cantReadRecordingsFolder(const QString& folder);
// `why` is ended with a full stop when it has none.
QString memoNotSent(const QString& why);
// One minute or less is said without its length.
QString memoIsIn(qint64 minutes);
QString sendingMemo(const QString& title);
QString sendingOf(qint64 number, qint64 count);
QString completeOne(const QString& name);
QString completeAll(qint64 count);
QString someSentTickAgain(qint64 sent, qint64 count);
QString someSentDropAgain(qint64 sent, qint64 count);
// --memo
QString noSuchRecording(const QString& file);
QString folderNotRecording(const QString& file);
QString notAPieceLength(const QString& given, double seconds);
QString pieceTooShort(const QString& given);
QString tooManyPieces(const QString& name, qint64 pieces, double seconds);
QString secondsInPieces(qint64 seconds, qint64 pieces);

// ---- Bringing notes over ------------------------------------------------------------------------

// The notes command's script runs where Notes is (a Mac reached over ssh, say); these say what
// its refusals mean there.
inline constexpr auto kNotesNeedPermission =
    "The notes command was not allowed to read Notes: on the Mac that holds them, let the program "
    "that runs the export script control Notes (its privacy settings, under Automation).";
inline constexpr auto kNotesNotSignedIn =
    "Couldn't read the notes: is Notes signed in on the Mac that holds them, and are the notes "
    "downloaded?";
inline constexpr auto kNotesEmpty = "Nothing to bring over: there were no notes to read.";
inline constexpr auto kNotesProgramStopped =
    "Couldn't read the notes: the program was stopped before it finished.";
// What an import says first: what it reads.
inline constexpr auto kReadingAppleNotes = "Reading Apple Notes…";
inline constexpr auto kRunningNotesCommand = "Running the notes command…";
QString readingNotesIn(const QString& fileName);
inline constexpr auto kNoNotesToRead =
    "Couldn't find any notes to read: give a JSON file with --from, a command with --command, or "
    "set the preference notes.command.";
QString notesNotRead(const QString& errorOutput);
QString notesProgramFailed(int exitStatus);
// How long the program was given, in whole minutes when it is some.
QString notesTookTooLong(double seconds);
// The program printed more than any export of notes holds (`megabytes`).
QString notesPrintedTooMuch(qint64 megabytes);
QString notesFileTooLarge(const QString& fileName, qint64 megabytes);
// An empty `parserError`: JSON of another shape.
QString notesNotAList(const QString& parserError);
QString noteWithoutText(qsizetype number, const QString& key);
QString bringingOver(int upTo, int total);
QString stoppedAfter(int sent, int total);
// "Brought over 5 pearls: 1 new, 4 already here."
QString broughtOver(int sent, int created, int updated, int unchanged, int foldersCreated);

// ---- The video editor's projects and passes -----------------------------------------------------

inline constexpr auto kFirstPassDone = "First pass done.";
inline constexpr auto kDone = "Done.";
inline constexpr auto kNoChangeMade =
    "I couldn't turn that into a change. Try saying it another way.";
QString projectInTheWay(const QString& name);
QString couldntOpenProject(const QString& name, const QString& why);
QString projectNotJson(const QString& name, const QString& why, qsizetype line, qsizetype column);
QString projectNotAnObject(const QString& name);
QString couldntReadProject(const QString& name, const QString& why);
QString projectNotSaved(const QString& why);
QString exportFolderMissing(const QString& folder);
QString exportNameTooLong(const QString& name);
QString exportOverInput(const QString& name);
QString exportOverFolder(const QString& name);
QString exportWouldReplace(const QString& name);
QString replaceQuestion(const QString& name);
QString couldntMakeFolderFor(const QString& folder);

// ---- Drawing and exporting videos ---------------------------------------------------------------

inline constexpr auto kPixelFormatUnsupported =
    "Couldn't draw a picture: its pixel format is not supported.";
inline constexpr auto kScalerRefused = "Couldn't draw a picture: the scaler refused its size.";
inline constexpr auto kFacePictureNotScaled =
    "Couldn't look for faces: the picture could not be scaled.";
inline constexpr auto kExportStopped = "The export was stopped.";
// Reasons for `couldntExport` and `couldntDraw`.
inline constexpr auto kEveryLineCut = "every line is cut, so there is nothing to show.";
QString clipMissing(const QString& path);
QString captionsNotWritten(const QString& why);
QString couldntExport(const QString& reason);
QString couldntDraw(const QString& reason);
QString picturesUnreadable(const QString& name, const QString& why);
QString noPicturesAt(const QString& name, double seconds);
QString soundUnreadable(const QString& name, const QString& why);
QString hasNoPictures(const QString& name);
QString noPicturesForFaces(const QString& name);
QString faceDataMissing(const QString& file);
QString notMovedIntoPlace(const QString& name);
QString nothingPlaysAt(double seconds);
QString framingFolderNotMade(const QString& folder);
QString couldntWriteInto(const QString& name, const QString& folder);
QString ofAnotherVersion(const QString& path);
// An empty `why`: the renderer is not installed.
QString couldntLoadRenderer(const QString& module, const QString& why);

// ---- The Tell/Ask panel -------------------------------------------------------------------------

inline constexpr auto kGreeting =
    "G'day. Tell me anything and I'll file it. Ask me anything and I'll say what's there.";
inline constexpr auto kNoticedHeading = "WHAT PELIX HAS NOTICED";
inline constexpr auto kHavingALook = "Having a look…";
inline constexpr auto kNothingYet = "Nothing yet. A few tells in, I start to see shapes.";
inline constexpr auto kThinking = "…";
inline constexpr auto kFiling = "Filing…";
inline constexpr auto kPanelFooter =
    "Alt: braindump · hold Ctrl: type into the app you're in · private to your account";
inline constexpr auto kTellOrAsk = "Tell or ask Pelix something";
inline constexpr auto kModeChipTip = "Tell files it. Ask answers from memory. Click to switch.";
inline constexpr auto kMicTip = "Tap to start, tap again to stop";
inline constexpr auto kSettingsTip = "Settings";
inline constexpr auto kOpenFullWindowTip = "Open the full window";

// ---- Prompts from the phone into chat assistants ------------------------------------------------

// Where a prompt goes, as the lines below name it.
inline constexpr auto kNewChatInChatGpt = "a new chat in ChatGPT";
inline constexpr auto kNewChatInClaude = "a new chat in Claude";
inline constexpr auto kTheClaudeSession = "the Claude session";
inline constexpr auto kTheConversation = "the conversation";
QString sendingTo(const QString& place, int seconds);
QString couldNotOpen(const QString& place);
QString didNotOpenInTime(const QString& place);
QString nowhereToType(const QString& place);
QString couldNotType(const QString& place);
QString sentTo(const QString& place);

// ---- Braindumps: tap Alt, talk, tap Alt ---------------------------------------------------------

inline constexpr auto kSetTokenFirst = "Set your Pelix token first: tray icon → Set Pelix token…";
inline constexpr auto kTooShort = "Too short. Tap Alt, talk, then tap Alt again.";
inline constexpr auto kRecordingUnreadable = "Couldn't read the recording.";
inline constexpr auto kDropped = "Dropped that one.";
// A braindump that could not reach the account waits in the outbox.
inline constexpr auto kSavedForLater = "Saved; Pelix will file it when it can reach your account.";
inline constexpr auto kSendNow = "Send now";
inline constexpr auto kDiscard = "Discard";
// The tray menu's line over "Send now" and "Discard": "2 braindumps waiting".
QString braindumpsWaiting(int count);
QString couldntStartMicrophone(const QString& why);

// ---- The video editor: its window and `pelix --edit` --------------------------------------------

inline constexpr auto kNoFirstPass = "Couldn't make the first pass: the service is not available.";
inline constexpr auto kNoRevision = "Couldn't change the edit: the service is not available.";
inline constexpr auto kTranscriptHint =
    "Click a line to cut or restore it, its number to watch it · F2 corrects · Ctrl+Z undoes";
inline constexpr auto kTellTheEditor = "Tell the editor what to change";
inline constexpr auto kSayWhatToChangeTip = "Say what to change";
inline constexpr auto kWorkingOnTheEdit = "Working on the edit…";
inline constexpr auto kStillTranscribing = "Still transcribing; drop more clips when it is done.";
inline constexpr auto kNoClipsWithoutRecognition =
    "Couldn't add the clips: speech recognition isn't available here.";
inline constexpr auto kListeningForChange =
    "Listening… click the microphone again when you're done.";
inline constexpr auto kFindingTheSpeaker = "Finding the speaker…";
inline constexpr auto kDropVideosHere = "Drop video files here to start a new video.";
inline constexpr auto kDropToAddClips = "Drop the files to add them as clips";
inline constexpr auto kAddClipsTip = "Choose video files to add as clips (Ctrl+O)";
inline constexpr auto kNothingToShow = "Every line is cut, so there is nothing to show.";
inline constexpr auto kDrawing = "Drawing…";
inline constexpr auto kNoPreviewHere = "The preview isn't available here.";
inline constexpr auto kExporting = "Exporting…";
inline constexpr auto kMakingStopped = "Making the video was stopped.";
inline constexpr auto kSayWhichClips = "Say which clips: pelix --edit new CLIP…";
inline constexpr auto kSayWhatToDo = "Say what to do: pelix --edit help lists the commands.";
inline constexpr auto kSayWhichOperations =
    "Say which operations to apply: pelix --edit apply PROJECT OPS.json.";
inline constexpr auto kSayWhatToChange =
    "Say what to change: pelix --edit revise PROJECT \"cut the second line\".";
inline constexpr auto kNothingToTranslate =
    "The captions are as spoken, so there is nothing to translate; set captionLanguage first.";
QString popUpChip(const QString& keyword);
QString exported(const QString& file);
// "Exporting… 40%"
QString atPercent(const QString& what, int percent);
// A progress line of one clip of several: "NAME: line".
QString aboutClip(const QString& name, const QString& line);
QString noSuchClip(const QString& file);
QString noSuchProject(const QString& name);
// `name` fits each of `candidates` ("Morning (1F0C7A2B)").
QString whichProject(const QString& name, const QStringList& candidates);
inline constexpr auto kNoProjectsYet =
    "There are no saved projects yet; pelix --edit new CLIP... makes one.";
QString noSuchFormat(const QString& format);
QString notAScale(const QString& scale);
QString noEditorCommand(const QString& command);
QString sayWhichProject(const QString& command);
QString couldntReadOperations(const QString& name, const QString& why);
QString operationsNotAList(const QString& name);
QString nothingChanged(const QString& name);
QString couldntReadRules(const QString& name, const QString& why);
QString rulesNotText(const QString& name);
QString couldntSaveRules(const QString& why);
QString savedRules(qsizetype count);
QString alreadyIn(const QString& language);
QString translated(qint64 done, qint64 missing, const QString& language);

// ---- The web window -----------------------------------------------------------------------------

inline constexpr auto kDropTestTitle = "Pelix (drop test)";
inline constexpr auto kYourVoiceMemos = "Your voice memos";
// The page shown in place of one that could not be reached.
inline constexpr auto kOffline = "Pelix can't reach the internet.";
inline constexpr auto kCheckTheConnection = "Check the connection, then try again.";
inline constexpr auto kTryAgain = "Try again";
QString couldntLoadWebEngine(const QString& why);

// ---- The tray: menu, sign-in, links, login start ------------------------------------------------

inline constexpr auto kNoTray =
    "This desktop has no tray, so Pelix runs without an icon: run pelix again, or click the "
    "badge, to open it.";
inline constexpr auto kKeysOff = "⚠ The keys are off — see why…";
inline constexpr auto kTeachTap = "Tap Alt — braindump, filed into Pelix";
inline constexpr auto kTeachHold = "Hold Ctrl and talk — typed into the app you're in";
inline constexpr auto kAllowRecordings = "⚠ Allow Pelix to read the recordings folder…";
inline constexpr auto kImportNotesTip =
    "Copies your notes into Pelix, same folders, original dates: those the command in the "
    "preference notes.command prints, else those of an exported JSON file. Run it again and only "
    "what changed comes over.";
inline constexpr auto kVoiceMemosTip =
    "Every recording that lands in your recordings folder, from your phone or this computer, is "
    "transcribed here and filed in Pelix by itself.";
inline constexpr auto kConnected = "Connected. Tap Alt anywhere and talk.";
inline constexpr auto kLinkWithoutKey = "That link did not carry a Pelix key.";
// A "pelix-mac:" link given on the command line with a line break or another control character.
// Opening at login, for a program whose path holds a control character.
inline constexpr auto kProgramPathUnwritable =
    "Pelix's path has a control character in it, which a login entry cannot hold.";
inline constexpr auto kLinkNotOneLine =
    "That link has a line break or another control character in it, so Pelix did not open it.";
// A "connect" link whose key would replace the one stored.
inline constexpr auto kReplaceKeyTitle = "Use the key from this link?";
inline constexpr auto kReplaceKeyText =
    "The link carries another Pelix key than the one Pelix has now. Use it only if you just signed "
    "in from the web app.";
inline constexpr auto kReplaceKey = "Use the new key";
inline constexpr auto kKeepKey = "Keep the key I have";
inline constexpr auto kKeptKey = "Kept the key Pelix had.";
inline constexpr auto kPasteTheKey =
    "Paste the key from the Pelix sign-in page (it begins pelix_):";
inline constexpr auto kSignInTitle = "Sign in to Pelix";
inline constexpr auto kSignInAgainTitle = "Sign in to Pelix again";
inline constexpr auto kSignInText =
    "Your browser opens Pelix. Sign in, or create an account if you are new - no phone needed. "
    "Then click \"Connect this computer\" and you land back here, connected.";
inline constexpr auto kSignIn = "Sign in";
inline constexpr auto kCancel = "Cancel";
inline constexpr auto kLater = "Later";
inline constexpr auto kPasteAKey = "Paste a key instead…";
inline constexpr auto kFinishSigningIn = "Finish signing in in your browser.";
inline constexpr auto kOpensAtLogin = "Pelix will open at login.";
inline constexpr auto kChooseTheRecordingsFolder = "Choose the folder your recordings are in";
inline constexpr auto kAlreadyImporting = "Already bringing them over…";
inline constexpr auto kBringNotesOver = "Bring your notes into Pelix?";
inline constexpr auto kBringNotesOverText =
    "Pelix runs the notes command (the preference notes.command) and copies every note it prints, "
    "same folders, original dates. Run it again and only what changed comes over.";
inline constexpr auto kBringThemOver = "Bring them over";
inline constexpr auto kChooseExportedNotes = "Choose the exported notes to bring over";
inline constexpr auto kExportedNotesFilter = "Exported notes (*.json)";
inline constexpr auto kTranscribeAVideo = "Transcribe a video";
QString couldntChangeThat(const QString& why);
QString readsRecordingsFrom(const QString& folder);
// A file dialog's filter: "Videos and sound (*.mp4 *.ogg …)".
QString videosAndSoundFilter(const QString& patterns);

// ---- The permission report ("Check permissions"), one line a check ------------------------------

inline constexpr auto kMicrophoneAllowed = "Microphone: allowed";
inline constexpr auto kMicrophoneNotAllowed =
    "Microphone: not allowed (no input device; check the sound settings)";
inline constexpr auto kSpeechAllowed = "Speech recognition: allowed (speech model installed)";
inline constexpr auto kSpeechNotAllowed =
    "Speech recognition: not allowed (install pocketsphinx-en-us)";
inline constexpr auto kKeysSeenX11 = "Alt key: seen (XInput 2 on the X display)";
inline constexpr auto kKeysNotSeenX11 =
    "Alt key: NOT seen - log in to an X11 session (Xorg); Pelix needs XInput 2";
inline constexpr auto kTypingX11 = "Typing: possible (XTest on the X display)";
inline constexpr auto kNoTypingX11 = "Typing: NOT possible - the X display has no XTest extension";
inline constexpr auto kKeysSeenEvdev = "Alt key: seen (the keyboards under /dev/input)";
inline constexpr auto kKeysNoKeyboard =
    "Alt key: NOT seen - no keyboard was found under /dev/input";
inline constexpr auto kKeysForbidden =
    "Alt key: NOT seen - Pelix may not read the keyboards: run sudo usermod -aG input $USER, then "
    "log out and in again";
inline constexpr auto kKeysUnreadable =
    "Alt key: NOT seen - Pelix could not read the keyboards under /dev/input";
inline constexpr auto kTypingWayland = "Typing: possible (the compositor's virtual keyboard)";
inline constexpr auto kTypingFakeInput = "Typing: possible (typing through KDE's fake input)";
inline constexpr auto kTypingPortal =
    "Typing: possible (typing through the remote-desktop portal; the desktop asks once)";
inline constexpr auto kKeysSeenPortal =
    "Alt key: through the desktop's shortcuts (the shortcuts portal: Pelix's two shortcuts in the "
    "desktop's keyboard settings)";
// Why Pelix asks KWin for its fake input, which KWin may show the user.
inline constexpr auto kFakeInputReason = "Pelix types what you dictate into the app you're in.";
inline constexpr auto kNoTypingWayland =
    "Typing: NOT possible - this Wayland desktop lets no application type into others; dictated "
    "text goes to the clipboard";
inline constexpr auto kPastingWayland = "Pasting: possible (the compositor's data control)";
inline constexpr auto kNoPastingWayland =
    "Pasting: NOT possible - this Wayland desktop keeps the clipboard from applications in the "
    "background";
inline constexpr auto kFrontKnown = "App in front: known (the compositor's window list)";
inline constexpr auto kFrontUnknown = "App in front: unknown - typing goes to the focused window";
inline constexpr auto kFrontAccessibility =
    "App in front: known (the accessibility bus names the focused application)";
inline constexpr auto kTokenSet = "Token: set";
inline constexpr auto kTokenNotSet = "Token: not set";
QString installedIn(const QString& program);
QString runningFrom(const QString& program);

// ---- The command line ---------------------------------------------------------------------------

inline constexpr auto kNoStandardInput = "Couldn't read standard input.";
inline constexpr auto kCallBodyNotObject =
    "The body of --call must be a JSON object, like '{\"key\":\"value\"}'.";
inline constexpr auto kFontDidNotLoad =
    "Couldn't draw the pictures: the bundled font did not load.";
inline constexpr auto kSampleTookTooLong =
    "Couldn't draw transcript.png: hearing the sample took too long.";
QString trayNeedsDesktop(const QString& problem);
QString noSocket(const QString& address);
QString noSuchOption(const QString& option);
// `option` given without the value it takes (`value` as the usage writes it: "LOCALE").
QString optionNeedsValue(const QString& option, const QString& value);
QString couldntOpenWindow(const QString& problem);
QString picturesFolderNotWritable(const QString& folder);
QString noSampleVideo(const QString& file);

}  // namespace pelix::core::sentences
