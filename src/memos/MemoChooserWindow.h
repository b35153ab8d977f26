#pragma once

#include "core/Timers.h"
#include "memos/DropCatcher.h"
#include "memos/Drops.h"
#include "memos/MemoChooserModel.h"

#include <QDialog>

#include <functional>

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::memos {

class MemoChooserView;

// The memo chooser: the recordings of the folder to tick and send by hand, the switch for
// automatic sending, and a place to drop recordings onto. Reads the folder again each time it
// becomes the active window. Closing only hides it, so sends under way go on.
class MemoChooserWindow : public QDialog {
    Q_OBJECT
public:
    struct Parts {
        core::Prefs& prefs;
        core::Timers& timers;
        // Sends one memo: the memo sender's `send`.
        MemoChooserModel::Send send;
        // Switches automatic sending on or off.
        std::function<void(bool)> setAuto;
        // Fetches recordings dropped from places that are not local files.
        drops::Fetch fetch;
        // Plays the chime of a finished drop.
        std::function<void()> chime;
    };

    explicit MemoChooserWindow(Parts parts, QWidget* parent = nullptr);
    ~MemoChooserWindow() override;

    MemoChooserModel& model() { return model_; }
    MemoChooserView& view() { return *view_; }
    DropCatcher& drops() { return *drops_; }

Q_SIGNALS:
    // The user asked to choose another recordings folder.
    void chooseFolder();

protected:
    bool event(QEvent* event) override;

private:
    // A file chooser for recordings, opened on `start`; the chosen ones are sent as dropped ones.
    void chooseFiles(const QString& start);

    MemoChooserModel model_;
    MemoChooserView* view_;
    DropCatcher* drops_;
    drops::Sender sender_;
};

}  // namespace pelix::memos
