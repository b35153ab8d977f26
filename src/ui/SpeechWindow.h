#pragma once

#include "speech/SpeechSettings.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace pelix::ui {

// The small window of the tray's "Speech" item: the transcription server's address, model and
// key, a "Test" that has the server transcribe a built-in recording, and "Save". An empty
// address means speech is heard on this computer.
class SpeechWindow : public QWidget {
public:
    explicit SpeechWindow(speech::SpeechSettings& settings, QWidget* parent = nullptr);

    QLineEdit* address() const { return address_; }
    QLineEdit* model() const { return model_; }
    QLineEdit* key() const { return key_; }
    QPushButton* testButton() const { return test_; }
    QPushButton* saveButton() const { return save_; }
    QLabel* status() const { return status_; }

private:
    speech::SpeechSettings::Values values() const;
    void showKeyState();
    void test();
    void save();

    speech::SpeechSettings& settings_;
    QLineEdit* address_;
    QLineEdit* model_;
    QLineEdit* key_;
    QPushButton* forget_;
    QPushButton* test_;
    QPushButton* save_;
    QLabel* status_;
};

}  // namespace pelix::ui
