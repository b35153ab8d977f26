#include "web/WebWindow.h"

#include "core/Log.h"
#include "core/Sentences.h"
#include "memos/DropCatcher.h"
#include "web/WebEngineLoader.h"

#include <QChildEvent>
#include <QEvent>
#include <QVBoxLayout>

namespace pelix::web {

namespace {

// Gives the drop layer the drags that arrive at the web view and at every widget the engine
// makes inside it (its page takes drops itself).
class DragWatch : public QObject {
public:
    DragWatch(QWidget* view, memos::DropCatcher* catcher) : QObject(view), catcher_(catcher) {
        watch(view);
        for (QWidget* child : view->findChildren<QWidget*>()) watch(child);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        // Sent once the child is a whole widget (the engine makes its own later).
        if (event->type() == QEvent::ChildPolished) {
            if (auto* child = qobject_cast<QWidget*>(static_cast<QChildEvent*>(event)->child()))
                watch(child);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void watch(QWidget* widget) {
        widget->installEventFilter(this);
        catcher_->watchDrags(widget);
    }

    memos::DropCatcher* catcher_;
};

}  // namespace

Result<std::unique_ptr<WebWindow>> WebWindow::make(WebWindowParts parts) {
    std::unique_ptr<WebWindow> window(new WebWindow(std::move(parts)));
    WebSurfaceSetup setup{window->parts_.storage, window->parts_.version, window->hooks()};
    Result<std::unique_ptr<WebSurface>> surface = makeWebSurface(setup);
    if (!surface) return std::unexpected(surface.error());
    window->attach(std::move(*surface));
    return window;
}

WebWindow::WebWindow(WebWindowParts parts) : parts_(std::move(parts)) {
    setWindowTitle(core::sentences::kPelix);
    resize(1100, 760);
}

WebWindow::~WebWindow() {
    // The view belongs to the surface, which goes with the engine's profile.
    if (surface_) surface_->widget()->setParent(nullptr);
}

WebSurfaceHooks WebWindow::hooks() {
    QPointer<WebWindow> self(this);
    return WebSurfaceHooks{
        .navigate = [self](const QUrl& url,
                           bool mainFrame) { return !self || self->navigate(url, mainFrame); },
        .newWindow =
            [self](const QUrl& url) {
                // A page's new window stays in this one, unless the rules send it elsewhere. Which
                // frame opened it is not known: it hands nothing to the application's handlers.
                if (self && self->navigate(url, false)) self->surface_->load(url);
            },
        .relayMessage =
            [self](const QUrl& page, bool mainFrame, const QJsonValue& body,
                   std::function<void(QString)> reply) {
                if (self) self->relayMessage(page, mainFrame, body, std::move(reply));
            },
        .pick =
            [self](const QString& hint, bool multiple, const QStringList& accept) {
                return self ? self->pick(hint, multiple, accept) : QStringList();
            },
        .unreachable =
            [self](const QUrl& url) {
                if (!self) return;
                core::logLine("web",
                              "could not reach " +
                                  url.toDisplayString(QUrl::RemoveQuery | QUrl::RemoveFragment));
                self->loadLimit_.reset();
                self->surface_->showHtml(offlinePage(url));
            },
    };
}

void WebWindow::attach(std::unique_ptr<WebSurface> surface) {
    surface_ = std::move(surface);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    QWidget* view = surface_->widget();
    layout->addWidget(view);
    drops_ = new memos::DropCatcher(this, parts_.timers, parts_.fetch, parts_.library);
    new DragWatch(view, drops_);
    if (parts_.chime) drops_->onChime(parts_.chime);
    sender_ = std::make_unique<memos::drops::Sender>(parts_.send);
    connect(drops_, &memos::DropCatcher::audio, sender_.get(),
            [this](const QStringList& files) { sender_->sendDropped(files); });
    connect(sender_.get(), &memos::drops::Sender::show, drops_, &memos::DropCatcher::showPill);
    surface_->onLoaded([this](bool) { loadLimit_.reset(); });
}

void WebWindow::open() {
    if (!loaded_) {
        loaded_ = true;
        surface_->load(parts_.places.base);
        core::logLine("web", "opened");
    }
    show();
    raise();
    activateWindow();
}

bool WebWindow::finishSignIn(const QUrl& callback) {
    const std::optional<QUrl> target = signIn_.finish(callback, parts_.places);
    if (!target) {
        core::logLine("web", "a sign-in link that no sign-in here asked for was left alone");
        return false;
    }
    loaded_ = true;
    show();
    raise();
    activateWindow();
    loadWithin(*target, SignIn::kLoadLimit);
    core::logLine("web", "finishing the sign-in");
    return true;
}

void WebWindow::loadWithin(const QUrl& url, double seconds) {
    surface_->load(url);
    QPointer<WebWindow> self(this);
    loadLimit_ = parts_.timers.after(seconds, [self, url] {
        if (!self) return;
        core::logLine("web", "the sign-in page did not load in time");
        self->surface_->stop();
        self->surface_->showHtml(offlinePage(url));
    });
}

bool WebWindow::navigate(const QUrl& url, bool mainFrame) {
    const bool fromWebApp = acceptsRelayMessage(surface_->url(), mainFrame, parts_.places);
    switch (navigation(url, fromWebApp, parts_.places)) {
        case Navigation::allow:
            return true;
        case Navigation::refuse:
            core::logLine("web", "a link from outside the web app's page was not followed: " +
                                     url.scheme() + ':');
            return false;
        case Navigation::macLink:
            if (parts_.onMacLink) parts_.onMacLink(url);
            return false;
        case Navigation::signIn:
            startSignIn();
            return false;
        case Navigation::desktop:
        case Navigation::browser:
            openOutside(url);
            return false;
    }
    return false;
}

void WebWindow::startSignIn() {
    const QUrl page = signIn_.start(parts_.places);
    core::logLine("web", "signing in through the browser");
    openOutside(page);
}

void WebWindow::openOutside(const QUrl& url) {
    if (const Status opened = parts_.apps.open(url); !opened)
        core::logLine("web",
                      "could not open a " + url.scheme() + " address: " + opened.error().message);
}

void WebWindow::relayMessage(const QUrl& page, bool mainFrame, const QJsonValue& body,
                             std::function<void(QString)> reply) {
    if (!acceptsRelayMessage(page, mainFrame, parts_.places)) {
        core::logLine("web", "a relay message from " + page.scheme() + "://" + page.host() +
                                 (mainFrame ? QString() : QStringLiteral(" (a frame)")) +
                                 " was ignored");
        Q_EMIT relayIgnored(page);
        return;
    }
    const std::optional<RelayAccountMessage> message = relayAccountMessage(body);
    if (!message || !parts_.onRelayAccount) {
        reply(QStringLiteral("off"));
        return;
    }
    parts_.onRelayAccount(*message, std::move(reply));
}

QStringList WebWindow::pick(const QString& hint, bool multiple, const QStringList& accept) {
    if (!parts_.chooseFiles) return {};
    FilePick request{{}, {}, multiple, accept};
    if (hint == QLatin1String(kVoiceMemosHint)) {
        request.start = parts_.recordings;
        request.label = core::sentences::kYourVoiceMemos;
    }
    return parts_.chooseFiles(request);
}

}  // namespace pelix::web
