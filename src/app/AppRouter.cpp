#include "app/AppRouter.h"

#include "app/AppFeatures.h"
#include "braindump/Braindump.h"
#include "core/Log.h"
#include "core/Sentences.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>

#include <cmath>

namespace pelix::app {

AppRouter::AppRouter(AppParts parts, QObject* parent)
    : QObject(parent),
      parts_(std::move(parts)),
      panel_(parts_.api, parts_.clock),
      outbox_(braindump::OutboxParts{
          .api = parts_.api,
          .prefs = parts_.prefs,
          .clock = parts_.clock,
          .timers = parts_.timers,
          .folder = parts_.outboxFolder,
      }),
      braindumps_(parts_.api, &outbox_) {
    // A braindump filed from the outbox says how it went like one filed at once.
    connect(&outbox_, &braindump::Outbox::filed, this, [this](const QString& line) {
        parts_.shell.show(line);
        filed(line);
        Q_EMIT uploaded(line);
    });
    // The panel's microphone starts a braindump, or ends whatever recording runs.
    connect(&panel_, &panel::PanelModel::micTapped, this, [this] {
        if (recording_) {
            endRecording();
            return;
        }
        fileIt_ = true;
        beginRecording();
    });
}

AppRouter::~AppRouter() = default;

void AppRouter::modifiersChanged(Mods mods, double now) {
    switch (gesture_.modifiers(mods, now)) {
        case Outcome::startFiled:
            fileIt_ = true;
            beginRecording();
            break;
        case Outcome::startTyped:
            fileIt_ = false;
            beginRecording();
            break;
        case Outcome::stop:
            endRecording();
            break;
        case Outcome::nothing:
            break;
    }

    switch (hold_.modifiers(mods, now)) {
        case HoldStep::arm:
            if (!holdTimer_) {
                QPointer<AppRouter> self(this);
                holdTimer_ = parts_.timers.after(kHoldCheck, [self] {
                    if (self) self->holdFired();
                });
            }
            return;
        case HoldStep::release:
            if (recording_ && !fileIt_) endRecording();
            break;
        case HoldStep::cancel:
            break;
    }
    holdTimer_.reset();
}

void AppRouter::holdFired() {
    holdTimer_.reset();
    if (!hold_.fire(parts_.clock.uptime())) return;
    if (recording_) return;
    fileIt_ = false;
    beginRecording();
    if (!recording_) hold_.isHolding = false;
}

void AppRouter::otherInput(const platform::OtherInput& input) {
    gesture_.spoil();
    hold_.spoil();
    if (recording_ && input.isEscape()) discardRecording();
}

void AppRouter::beginRecording() {
    if (recording_) return;
    if (!parts_.tokens.read()) {
        gesture_.recordingSince.reset();
        parts_.shell.show(core::sentences::kSetTokenFirst);
        return;
    }
    Status started;
    if (fileIt_) {
        started = parts_.recorder.start();
    } else if (parts_.dictation) {
        started = parts_.dictation->start(parts_.prefs.insertIntoApp());
    } else {
        // Typing what is said comes with live dictation; until then the press does nothing.
        core::logLine("dictation", "not in this build");
        gesture_.recordingSince.reset();
        return;
    }
    if (!started) {
        gesture_.recordingSince.reset();
        parts_.shell.show(core::sentences::couldntStartMicrophone(started.error().message));
        return;
    }
    recording_ = true;
    gesture_.recordingSince = parts_.clock.uptime();
    QPointer<AppRouter> self(this);
    maxTimer_ = parts_.timers.after(braindump::kLimitSeconds, [self] {
        if (self) self->endRecording();
    });
    parts_.shell.setLook(ui::TrayLook::recording);
    parts_.shell.play(ui::Sound::begin);
    recordingShown();
}

void AppRouter::toggleDictation() {
    if (recording_) return endRecording();
    fileIt_ = false;
    beginRecording();
}

void AppRouter::recordingShown() {
    panel_.setRecording(recording_ && fileIt_);
    Q_EMIT recordingChanged(recording_, fileIt_);
}

void AppRouter::endRecording() {
    if (!recording_) return;
    recording_ = false;
    maxTimer_.reset();
    // A recording ended by the time limit leaves the tap gesture waiting for a stop tap.
    gesture_.recordingSince.reset();
    parts_.shell.setLook(ui::TrayLook::idle);
    recordingShown();
    if (!fileIt_) {
        parts_.shell.play(ui::Sound::end);
        if (parts_.dictation) parts_.dictation->finish();
        return;
    }
    const std::optional<braindump::Recording> made = parts_.recorder.stop();
    if (!made) return;
    // Lengths count to the millisecond, so that 0.8 s measured as 0.7999… is long enough.
    if (std::round(made->seconds * 1000) / 1000 < braindump::kMinimumSeconds) {
        QFile::remove(made->path);
        parts_.shell.show(core::sentences::kTooShort);
        return;
    }
    parts_.shell.play(ui::Sound::end);
    upload(made->path, made->seconds);
}

void AppRouter::discardRecording() {
    if (!recording_) return;
    recording_ = false;
    gesture_.recordingSince.reset();
    hold_.isHolding = false;
    maxTimer_.reset();
    if (fileIt_) {
        parts_.recorder.cancel();
    } else if (parts_.dictation) {
        parts_.dictation->cancel();
    }
    parts_.shell.setLook(ui::TrayLook::idle);
    parts_.shell.show(core::sentences::kDropped);
    recordingShown();
}

void AppRouter::upload(const QString& path, double seconds) {
    // The sender is this router's own: it calls back only while the router is there.
    braindumps_.send(path, seconds, [this](Result<QString> line) {
        if (!line) return parts_.shell.show(line.error().message);
        parts_.shell.show(*line);
        filed(*line);
        Q_EMIT uploaded(*line);
    });
}

void AppRouter::filed(const QString& line) {
    // The line joins the panel's conversation; something new in the account may show in the
    // insights a moment later.
    panel_.addBubble(line, false);
    if (line != QLatin1String(core::sentences::kInPelix)) return;
    QPointer<AppRouter> self(this);
    insightsTimer_ = parts_.timers.after(kInsightsAfterBraindump, [self] {
        if (self) self->panel_.refreshInsights(true);
    });
}

void AppRouter::openLink(const QUrl& url) {
    const std::optional<Link> link = readLink(url);
    if (!link) return;
    switch (link->kind) {
        case Link::Kind::connect:
            if (!isPelixToken(link->token)) {
                parts_.shell.show(core::sentences::kLinkWithoutKey);
                return;
            }
            replaceToken(link->token);
            return;
        case Link::Kind::voiceMemos:
            if (parts_.features) {
                parts_.features->chooseMemos();
                return;
            }
            [[fallthrough]];
        case Link::Kind::editor:
        case Link::Kind::update:
        case Link::Kind::authCallback:
            // These open windows that this build does not have.
            core::logLine("links", url.host() + " is not in this build");
            return;
    }
}

void AppRouter::replaceToken(const QString& token) {
    // Any page or program can start a link: one that would put another account's key in place
    // of the user's asks first.
    const std::optional<QString> stored = parts_.tokens.read();
    if (!stored || *stored == token) return storeToken(token);
    const Prompt prompt{
        .title = core::sentences::kReplaceKeyTitle,
        .text = core::sentences::kReplaceKeyText,
        .accept = core::sentences::kReplaceKey,
        .reject = core::sentences::kKeepKey,
        .other = {},
    };
    QPointer<AppRouter> self(this);
    parts_.shell.ask(prompt, [self, token](PromptAnswer answer) {
        if (!self) return;
        if (answer == PromptAnswer::accept) return self->storeToken(token);
        self->parts_.shell.show(core::sentences::kKeptKey);
    });
}

void AppRouter::storeToken(const QString& token) {
    parts_.tokens.write(token);
    parts_.shell.setLook(recording_ ? ui::TrayLook::recording : ui::TrayLook::idle);
    parts_.shell.show(core::sentences::kConnected);
    panel_.refreshInsights(true, kInsightsAfterConnect);
}

void AppRouter::perform(MenuAction action) {
    switch (action) {
        case MenuAction::section:
            break;
        case MenuAction::keysOff:
        case MenuAction::checkPermissions:
            checkPermissions();
            break;
        case MenuAction::teachTap:
        case MenuAction::teachHold:
            break;
        case MenuAction::toggleInsert:
            parts_.prefs.setInsertIntoApp(!parts_.prefs.insertIntoApp());
            break;
        case MenuAction::importNotes:
            if (parts_.features) parts_.features->importNotes();
            break;
        case MenuAction::transcribeVideo:
            if (parts_.features) parts_.features->transcribeVideo();
            break;
        case MenuAction::toggleVoiceMemos:
            if (parts_.features) parts_.features->toggleVoiceMemos();
            break;
        case MenuAction::allowRecordings:
        case MenuAction::chooseRecordingsFolder:
            if (parts_.features) parts_.features->allowRecordings();
            break;
        case MenuAction::chooseMemos:
            if (parts_.features) parts_.features->chooseMemos();
            break;
        case MenuAction::toggleRelay: {
            const bool on = !parts_.prefs.relay();
            parts_.prefs.setRelay(on);
            parts_.switchRelay(on);
            break;
        }
        case MenuAction::speech:
            parts_.shell.editSpeech();
            break;
        case MenuAction::signIn:
            promptToSignIn();
            break;
        case MenuAction::setToken:
            promptForToken();
            break;
        case MenuAction::openAtLogin:
            toggleLogin();
            break;
        case MenuAction::toggleBadge:
        case MenuAction::videoEditor:
        case MenuAction::openPelix:
            // Windows of the tray application, which opens and closes them.
            break;
        case MenuAction::outboxWaiting:
            break;
        case MenuAction::sendOutbox:
            outbox_.fileNow();
            break;
        case MenuAction::discardOutbox:
            outbox_.discard();
            break;
        case MenuAction::quit:
            QCoreApplication::quit();
            break;
    }
}

Prompt AppRouter::signInPrompt(bool again) {
    return Prompt{
        .title = again ? core::sentences::kSignInAgainTitle : core::sentences::kSignInTitle,
        .text = core::sentences::kSignInText,
        .accept = core::sentences::kSignIn,
        .reject = again ? core::sentences::kCancel : core::sentences::kLater,
        .other = core::sentences::kPasteAKey,
    };
}

void AppRouter::promptToSignIn() {
    const bool again = parts_.prefs.value("signIn.asked", false).toBool();
    parts_.prefs.setValue("signIn.asked", true);
    QPointer<AppRouter> self(this);
    parts_.shell.ask(signInPrompt(again), [self](PromptAnswer answer) {
        if (!self) return;
        if (answer == PromptAnswer::accept) {
            const QString page =
                self->parts_.prefs.string("web.signIn").value_or(QString::fromLatin1(kSignInPage));
            self->parts_.openUrl(QUrl(page));
            self->parts_.shell.show(core::sentences::kFinishSigningIn);
        } else if (answer == PromptAnswer::other) {
            self->promptForToken();
        }
    });
}

void AppRouter::promptForToken() {
    QPointer<AppRouter> self(this);
    parts_.shell.askForSecret(core::sentences::kPasteTheKey, [self](const QString& text) {
        if (!self) return;
        const QString key = text.trimmed();
        if (!isPelixToken(key)) {
            self->parts_.shell.show(core::sentences::kNotAKey);
            return;
        }
        self->storeToken(key);
    });
}

void AppRouter::checkPermissions() {
    const QStringList lines = permissionLines(parts_.facts());
    for (const QString& line : lines) core::logLine("permissions", line);
    parts_.shell.report(core::sentences::kPelix, lines);
}

void AppRouter::toggleLogin() {
    platform::Autostart& autostart = parts_.autostart;
    const Status changed =
        autostart.enabled() ? autostart.disable() : autostart.enable(parts_.facts().program);
    if (!changed) {
        parts_.shell.show(core::sentences::couldntChangeThat(changed.error().message));
    } else if (autostart.enabled()) {
        parts_.shell.show(core::sentences::kOpensAtLogin);
    }
}

}  // namespace pelix::app
