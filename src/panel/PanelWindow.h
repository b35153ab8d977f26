#pragma once

#include <QElapsedTimer>
#include <QRect>
#include <QWidget>

class QAbstractButton;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace pelix::panel {

class PanelModel;

// The Tell/Ask panel: a small window that drops from the tray icon, with what Pelix has noticed
// (the insight cards) above the conversation, and a field to tell or ask. Escape or a click
// elsewhere hides it. Draws `model` and forwards the user's actions to it.
class PanelWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 392;
    static constexpr int kHeight = 640;

    explicit PanelWindow(PanelModel& model, QWidget* parent = nullptr);
    ~PanelWindow() override;

    // Opens the panel next to the tray icon at `icon` (an empty rectangle when the desktop does
    // not say where it is), and refreshes the insights unless they are recent. Hides it when it
    // is open. A click on the icon that itself closed the panel a moment ago leaves it closed.
    void toggle(const QRect& icon);
    void open(const QRect& icon);

    QLineEdit* input() const { return input_; }
    QPushButton* sendButton() const { return sendBtn_; }

Q_SIGNALS:
    // The settings button, to pop up the tray menu beside it.
    void settingsClicked(QWidget* anchor);
    void openMainClicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void bubbleAdded(int index);
    void bubbleChanged(int index);
    void showInsights();
    void showMode();
    void showPending();
    void scrollToEnd();
    void send();

    PanelModel& model_;
    QScrollArea* insightsScroll_ = nullptr;
    QVBoxLayout* insightsBox_ = nullptr;
    QLabel* insightsNote_ = nullptr;
    QLabel* loading_ = nullptr;
    QScrollArea* stackScroll_ = nullptr;
    QVBoxLayout* messages_ = nullptr;
    QLineEdit* input_ = nullptr;
    QPushButton* modeChip_ = nullptr;
    QPushButton* sendBtn_ = nullptr;
    QAbstractButton* micBtn_ = nullptr;
    QList<QWidget*> bubbles_;
    QElapsedTimer hiddenAt_;
};

}  // namespace pelix::panel
