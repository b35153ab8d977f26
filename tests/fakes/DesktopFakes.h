#pragma once

// Stand-ins for the desktop's applications, accessibility, login session and clipboard.
#include "platform/Accessibility.h"
#include "platform/Apps.h"
#include "platform/Session.h"
#include "platform/Typist.h"

#include <QList>
#include <QMap>
#include <QUrl>

namespace pelix::fakes {

class FakeApps final : public platform::Apps {
public:
    std::optional<platform::FrontApp> inFront;
    QMap<QString, QString> handlers{{"https", "firefox-esr.desktop"}};  // by scheme
    std::optional<Error> refuse;
    QList<QUrl> opened;

    std::optional<platform::FrontApp> front() const override { return inFront; }
    QString handlerFor(const QUrl& url) const override { return handlers.value(url.scheme()); }
    Status open(const QUrl& url) override {
        opened << url;
        if (refuse) return std::unexpected(*refuse);
        return {};
    }
};

class FakeAccessibility final : public platform::Accessibility {
public:
    std::optional<platform::FocusedElement> focused;
    std::function<void()> asking;  // runs when asked where the focus is, before the answer

    void switchOn(std::function<void()> done) override { done(); }
    void focusedElement(
        qint64, std::function<void(std::optional<platform::FocusedElement>)> done) override {
        if (asking) asking();
        done(focused);
    }
};

class FakeSession final : public platform::Session {
public:
    bool locked = false;

    bool screenLocked() const override { return locked; }
    void onWake(std::function<void()>) override {}
    QString deviceName() const override { return "Desk"; }
};

// A clipboard of one text; "nothing" until something is set.
class FakeClipboard final : public platform::Clipboard {
public:
    Contents held;
    QStringList set;

    Contents save() const override { return held; }
    void setText(const QString& text) override {
        set << text;
        held = QList<std::pair<QString, QByteArray>>{{"text/plain", text.toUtf8()}};
    }
    void restore(const Contents& contents) override { held = contents; }
};

}  // namespace pelix::fakes
