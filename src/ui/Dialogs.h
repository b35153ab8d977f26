#pragma once

#include <QDialog>
#include <QStringList>

class QAction;
class QLabel;
class QLineEdit;
class QPushButton;

namespace pelix::ui {

// Pelix's own alert in the theme: a title, the text, and buttons on the right with the first
// one the default. No icon: the words say what it is about. Which button was pressed is
// `pressed()` (-1 when the dialog was closed another way).
class MessageDialog : public QDialog {
    Q_OBJECT
public:
    // `buttons` left to right as they read, the first the default (Return) and drawn primary.
    MessageDialog(const QString& title, const QString& text, const QStringList& buttons,
                  QWidget* parent = nullptr);

    int pressed() const { return pressed_; }
    QPushButton* button(int index) const { return buttons_.value(index); }
    QString text() const;

Q_SIGNALS:
    // Once, with the button's index, or -1 when the dialog closed without one.
    void answered(int index);

protected:
    void done(int result) override;

private:
    QLabel* text_;
    QList<QPushButton*> buttons_;
    int pressed_ = -1;
    bool told_ = false;
};

// Asks for a secret, such as the key from the sign-in page: the field hides what is typed, and
// an eye at its end shows it while the user checks it, and hides it again.
class SecretDialog : public QDialog {
    Q_OBJECT
public:
    SecretDialog(const QString& label, const QString& confirm, QWidget* parent = nullptr);

    QLineEdit* field() const { return field_; }
    // The eye at the end of the field.
    QAction* showAction() const { return show_; }
    QPushButton* confirmButton() const { return confirm_; }
    bool shown() const;

Q_SIGNALS:
    // The text as typed, when the user confirms.
    void entered(const QString& text);

private:
    void setShown(bool shown);

    QLineEdit* field_;
    QAction* show_;
    QPushButton* confirm_;
};

}  // namespace pelix::ui
