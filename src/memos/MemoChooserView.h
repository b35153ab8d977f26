#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;
class QListView;
class QPushButton;
class QStackedLayout;

namespace pelix::memos {

class MemoChooserModel;
class MemoRows;

// Draws a MemoChooserModel: the memos with their tick boxes, dates and states, the switch for
// automatic sending, the status line and the send button; or, while the folder cannot be read,
// what to do about it.
class MemoChooserView : public QWidget {
    Q_OBJECT
public:
    explicit MemoChooserView(MemoChooserModel& model, QWidget* parent = nullptr);
    ~MemoChooserView() override;

    QPushButton* sendButton() const { return send_; }
    QCheckBox* autoSwitch() const { return auto_; }
    QListView* list() const { return list_; }
    QPushButton* lookAgainButton() const { return lookAgain_; }
    QPushButton* chooseFolderButton() const { return chooseFolder_; }
    QPushButton* chooseFilesButton() const { return chooseFiles_; }
    // The text shown while the folder cannot be read.
    QString closedText() const;

    // The date as every window writes it, in local time: "Jan 6, 2026, 9:41 AM".
    static QString dateText(const QDateTime& date);

Q_SIGNALS:
    // "Choose the recordings folder…" was pressed.
    void chooseFolder();
    // "Choose files…" was pressed: recordings from anywhere, as a drop would bring them.
    void chooseFiles();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();

    MemoChooserModel& model_;
    MemoRows* rows_;
    QStackedLayout* pages_;
    QWidget* closed_;
    QWidget* open_;
    QLabel* closedText_;
    QPushButton* chooseFolder_;
    QPushButton* lookAgain_;
    QListView* list_;
    QLabel* status_;
    QCheckBox* auto_;
    QPushButton* send_;
    QPushButton* chooseFiles_;
};

}  // namespace pelix::memos
