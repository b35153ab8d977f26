#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

namespace pelix::relay {

class RelayBanner;

// The countdown banner on screen: a small frameless window at the top centre of the screen,
// above other windows, that never takes the keyboard focus from the application in front. Its
// "Cancel" button cancels the countdown.
class RelayBannerWindow : public QWidget {
    Q_OBJECT
public:
    explicit RelayBannerWindow(RelayBanner& banner);
    ~RelayBannerWindow() override;

    // Gap between the top of the screen's free area and the banner.
    static constexpr int kTopGap = 12;

private:
    void follow();

    RelayBanner& banner_;
    QLabel* label_;
    QPushButton* cancel_;
};

}  // namespace pelix::relay
