#pragma once

#include "core/Error.h"
#include "ui/Sounds.h"
#include "ui/TrayLook.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace pelix::app {

// An alert with up to three buttons: `accept`, `reject` and an optional `other`.
struct Prompt {
    QString title;
    QString text;
    QString accept;
    QString reject;
    QString other;
};

// Which button of a `Prompt` was pressed; closing the alert counts as `reject`.
enum class PromptAnswer { accept, reject, other };

// What the application shows and plays: the status line, the tray icon's look, the sounds and
// its dialogs. Dialogs never block: answers come later on the main thread.
class Shell {
public:
    virtual ~Shell() = default;
    virtual void show(const QString& line) = 0;
    virtual void setLook(ui::TrayLook look) = 0;
    virtual void play(ui::Sound sound) = 0;

    // Shows `prompt`; `answered` runs once with the button pressed.
    virtual void ask(const Prompt& prompt, std::function<void(PromptAnswer)> answered) = 0;
    // Asks for a secret text (the pasted key) with `label`; `entered` runs only when the user
    // confirms, with the text as typed.
    virtual void askForSecret(const QString& label, std::function<void(QString)> entered) = 0;
    // A window of lines to read, such as the permission report.
    virtual void report(const QString& title, const QStringList& lines) = 0;
    // Asks for one existing file (`filter` as a file dialog's name filter, "Notes (*.json)");
    // `chosen` runs only when the user picks one.
    virtual void chooseFile(const QString& title, const QString& filter,
                            std::function<void(QString)> chosen) = 0;
    // Asks for one folder, starting in `start`; `chosen` runs only when the user picks one.
    virtual void chooseFolder(const QString& title, const QString& start,
                              std::function<void(QString)> chosen) = 0;
    // The speech settings: where speech is heard, and the transcription server's address,
    // model and key.
    virtual void editSpeech() = 0;
};

// Live dictation and typed recordings, which type what is said into the application in front.
class Dictation {
public:
    virtual ~Dictation() = default;
    // Remembers the application in front and starts listening; `typeIntoApp` from
    // "insert.enabled".
    virtual Status start(bool typeIntoApp) = 0;
    // Ends listening and types what is left.
    virtual void finish() = 0;
    // Ends listening and erases what was typed.
    virtual void cancel() = 0;
};

}  // namespace pelix::app
