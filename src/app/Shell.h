#pragma once

#include "core/Error.h"
#include "ui/Sounds.h"
#include "ui/TrayLook.h"

#include <QString>

namespace pelix {

// What the application shows and plays: the status line, the tray icon's look, the sounds.
class Shell {
public:
    virtual ~Shell() = default;
    virtual void show(const QString& line) = 0;
    virtual void setLook(ui::TrayLook look) = 0;
    virtual void play(ui::Sound sound) = 0;
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

}  // namespace pelix
