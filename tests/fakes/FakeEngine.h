#pragma once

#include "speech/SpeechEngine.h"

namespace pelix::testing {

// An engine that only knows its locales: for the choosing of engines and languages.
class FakeEngine final : public speech::SpeechEngine {
public:
    bool isLive = true;
    bool answers = true;

    FakeEngine(QString name, QStringList locales, bool installed = true)
        : name_(std::move(name)), locales_(std::move(locales)), installed_(installed) {}

    QString name() const override { return name_; }
    QStringList supportedLocales() const override { return locales_; }
    std::optional<QString> supportedLocale(const QString& requested) const override {
        if (locales_.contains(requested)) return requested;
        return std::nullopt;
    }
    bool installed(const QString&) const override { return installed_; }
    QString installHint(const QString&) const override { return "Install the fake model."; }
    bool live() const override { return isLive; }
    bool reachable() const override { return answers; }
    Result<std::unique_ptr<speech::SpeechSession>> start(const QString&,
                                                         const speech::SessionOptions&,
                                                         speech::SessionEvents) override {
        return fail(speech::kSpeechEngineFailed, "The fake engine does not listen.");
    }

private:
    QString name_;
    QStringList locales_;
    bool installed_;
};

}  // namespace pelix::testing
