// The web engine's side of the web window: a QWebEngineView whose page asks its owner about
// every navigation, new window, file choice and failed load, and carries the relay bridge.
// Built as a module of its own and loaded when the window is first opened.
//
// The view keeps a persistent profile "pelix" (so the web app's sign-in lasts), adds " Pelix/"
// and the version to the user agent and draws on a transparent background. The page asks
// `navigate` for every main-frame navigation and every clicked link in a frame (other frame loads
// go ahead), `newWindow` for pages that open windows (a throw-away page learns the address), and
// `unreachable` when a main-frame load fails for the connection or the host name (not for
// certificate errors, which keep the engine's page, nor for cancelled loads). The file chooser
// takes the page's hint from the bridge, which hears it as the page sets it; failing that it runs
// the hint script in the page, in a nested event loop of at most 5 s (the engine asks for files
// synchronously), then asks `pick`. The bridge's script is injected at document
// creation into the main world of the main frame only, so scripts in a frame find no
// window.webkit; a message that is ignored is never answered.
#include "web/WebSurface.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPointer>
#include <QQuickWindow>
#include <QTimer>
#include <QWebChannel>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <QWebEngineView>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace pelix::web {

namespace {

// The OpenGL renderer of the display, or why there is none.
QString openGlRenderer() {
    QOpenGLContext context;
    QOffscreenSurface surface;
    surface.create();
    if (!context.create() || !context.makeCurrent(&surface)) return QStringLiteral("no OpenGL");
    const auto* name = reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
    const QString renderer = QString::fromLatin1(name ? name : "no OpenGL renderer");
    context.doneCurrent();
    return renderer;
}

// Qt Quick shows the engine's frames, with OpenGL unless told otherwise. Where OpenGL is a
// software rasterizer (Xvfb, most virtual machines, remote sessions) or missing, the engine's GPU
// thread cannot make its command buffers and the window stays unpainted; Qt Quick's own software
// renderer paints there. Decided before the engine starts, and left alone when the user chose a
// renderer through Qt's variables.
void chooseRenderer() {
    if (!QQuickWindow::sceneGraphBackend().isEmpty() ||
        !qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND")) {
        return;
    }
    const QString renderer = openGlRenderer();
    const auto drawsInSoftware = [&renderer](const char* word) {
        return renderer.contains(QLatin1String(word), Qt::CaseInsensitive);
    };
    constexpr std::array kSoftware = {"llvmpipe", "softpipe", "swrast", "software", "no OpenGL"};
    if (std::ranges::none_of(kSoftware, drawsInSoftware)) {
        return;
    }
    qInfo("web: drawing without the GPU (the display's OpenGL is %s)", qPrintable(renderer));
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

// The page's side of the bridge: the WebKit-style handler the web app calls, over a
// QWebChannel. Each message gets a number; the answer comes back through `answered`.
constexpr auto kShim = R"JS(
(function () {
  window.pelixVersion = %1;
  // The chooser's hint goes to the window as soon as the page sets it, so that the chooser
  // need not ask the page while the page waits for it.
  var hint = '', bridge = null;
  Object.defineProperty(window, '__pelixPick', {
    configurable: true,
    get: function () { return hint; },
    set: function (v) {
      hint = v === undefined || v === null ? '' : String(v);
      if (bridge) bridge.hint(hint);
    }
  });
  if (!window.qt || !window.qt.webChannelTransport) return;
  var pending = {}, next = 1, queue = [];
  function send(id, body) {
    bridge.post(JSON.stringify(body === undefined ? null : body), id, window === window.top);
  }
  new QWebChannel(window.qt.webChannelTransport, function (channel) {
    bridge = channel.objects.pelixRelay;
    bridge.answered.connect(function (id, reply) {
      var resolve = pending[id];
      if (!resolve) return;
      delete pending[id];
      resolve(reply);
    });
    queue.forEach(function (m) { send(m[0], m[1]); });
    queue = [];
    if (hint) bridge.hint(hint);
  });
  var handler = {
    postMessage: function (body) {
      return new Promise(function (resolve) {
        var id = next++;
        pending[id] = resolve;
        if (bridge) send(id, body); else queue.push([id, body]);
      });
    }
  };
  window.webkit = window.webkit || {};
  window.webkit.messageHandlers = window.webkit.messageHandlers || {};
  window.webkit.messageHandlers.pelixRelay = handler;
})();
)JS";

class RelayBridge : public QObject {
    Q_OBJECT
public:
    RelayBridge(QWebEnginePage* page, const WebSurfaceHooks& hooks, QString& pickHint)
        : QObject(page), page_(page), hooks_(hooks), pickHint_(pickHint) {}

    // The page set (or cleared) its hint for the next file chooser.
    Q_INVOKABLE void hint(const QString& value) { pickHint_ = value; }

    Q_INVOKABLE void post(const QString& json, int id, bool mainFrame) {
        if (!hooks_.relayMessage) return;
        // A document holds only arrays and objects: the body is read as the one item of one.
        const QJsonDocument doc = QJsonDocument::fromJson(("[" + json + "]").toUtf8());
        const QJsonValue body = doc.isArray() ? doc.array().at(0) : QJsonValue();
        QPointer<RelayBridge> self(this);
        hooks_.relayMessage(page_->url(), mainFrame, body, [self, id](const QString& reply) {
            if (self) Q_EMIT self->answered(id, reply);
        });
    }

Q_SIGNALS:
    void answered(int id, const QString& reply);

private:
    QWebEnginePage* page_;
    const WebSurfaceHooks& hooks_;
    QString& pickHint_;
};

// A page made for a new window only to learn where it was going.
class NewWindowPage : public QWebEnginePage {
public:
    NewWindowPage(QWebEngineProfile* profile, const WebSurfaceHooks& hooks, QObject* parent)
        : QWebEnginePage(profile, parent), hooks_(hooks) {}

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType, bool) override {
        if (!url.isEmpty() && !handed_) {
            handed_ = true;
            if (hooks_.newWindow) hooks_.newWindow(url);
            deleteLater();
        }
        return false;
    }

private:
    const WebSurfaceHooks& hooks_;
    bool handed_ = false;
};

class Page : public QWebEnginePage {
public:
    Page(QWebEngineProfile* profile, const WebSurfaceHooks& hooks, QObject* parent)
        : QWebEnginePage(profile, parent), hooks_(hooks) {}

    // What the page last left in window.__pelixPick, as the bridge hears it.
    QString pickHint;

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool mainFrame) override {
        if (!mainFrame && type != NavigationTypeLinkClicked) return true;
        return !hooks_.navigate || hooks_.navigate(url, mainFrame);
    }

    QWebEnginePage* createWindow(WebWindowType) override {
        return new NewWindowPage(profile(), hooks_, this);
    }

    QStringList chooseFiles(FileSelectionMode mode, const QStringList&,
                            const QStringList& accept) override {
        // The page leaves a hint for the chooser before it opens its file input. The bridge
        // usually has it already; otherwise it is read from the page in a nested loop while the
        // chooser waits. Either way it is cleared, in the page too, as it is used.
        QString hint = std::exchange(pickHint, QString());
        if (!hint.isEmpty()) {
            runJavaScript(QStringLiteral("window.__pelixPick = ''"));
        } else {
            QEventLoop loop;
            QPointer<QEventLoop> waiting(&loop);
            runJavaScript(QString::fromLatin1(kPickHintScript),
                          [waiting, &hint](const QVariant& v) {
                              if (!waiting) return;
                              hint = v.toString();
                              waiting->quit();
                          });
            // A page that is slow to answer (a busy machine) still gets its hint read; one that
            // never answers gets the chooser without it.
            QTimer::singleShot(kPickHintWaitMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
        if (!hooks_.pick) return {};
        return hooks_.pick(hint, mode == FileSelectOpenMultiple, accept);
    }

private:
    static constexpr int kPickHintWaitMs = 5000;
    static constexpr auto kPickHintScript =
        "(() => { const h = window.__pelixPick || ''; window.__pelixPick = ''; return h; })()";
    const WebSurfaceHooks& hooks_;
};

class EngineSurface final : public WebSurface {
public:
    explicit EngineSurface(const WebSurfaceSetup& setup) : hooks_(setup.hooks) {
        profile_ = new QWebEngineProfile(QStringLiteral("pelix"));
        profile_->setPersistentStoragePath(setup.storage);
        profile_->setCachePath(setup.storage + QStringLiteral("/cache"));
        profile_->setHttpUserAgent(profile_->httpUserAgent() + QStringLiteral(" Pelix/") +
                                   setup.version);
        profile_->scripts()->insert(bridgeScript(setup.version));

        view_ = new QWebEngineView();
        page_ = new Page(profile_, hooks_, view_);
        page_->setBackgroundColor(Qt::transparent);
        auto* channel = new QWebChannel(page_);
        channel->registerObject(QStringLiteral("pelixRelay"),
                                new RelayBridge(page_, hooks_, page_->pickHint));
        page_->setWebChannel(channel, QWebEngineScript::MainWorld);
        view_->setPage(page_);

        QObject::connect(page_, &QWebEnginePage::loadingChanged, view_,
                         [this](const QWebEngineLoadingInfo& info) {
                             if (info.status() != QWebEngineLoadingInfo::LoadFailedStatus) return;
                             const auto domain = info.errorDomain();
                             if (domain != QWebEngineLoadingInfo::ConnectionErrorDomain &&
                                 domain != QWebEngineLoadingInfo::DnsErrorDomain)
                                 return;
                             if (hooks_.unreachable) hooks_.unreachable(info.url());
                         });
        // A hint is for the document that set it.
        QObject::connect(page_, &QWebEnginePage::loadStarted, view_,
                         [this] { page_->pickHint.clear(); });
        QObject::connect(page_, &QWebEnginePage::loadFinished, view_, [this](bool ok) {
            if (loaded_) loaded_(ok);
        });
    }

    ~EngineSurface() override {
        // The page goes before its profile.
        delete view_;
        delete profile_;
    }

    QWidget* widget() override { return view_; }
    void load(const QUrl& url) override { page_->load(url); }
    void showHtml(const QString& html) override { page_->setHtml(html); }
    QUrl url() const override { return page_->url(); }
    void stop() override { page_->triggerAction(QWebEnginePage::Stop); }
    void onLoaded(std::function<void(bool)> loaded) override { loaded_ = std::move(loaded); }
    void run(const QString& script, std::function<void(QString)> done) override {
        page_->runJavaScript(script, [done = std::move(done)](const QVariant& result) {
            if (done) done(result.toString());
        });
    }

private:
    static QWebEngineScript bridgeScript(const QString& version) {
        QFile api(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
        api.open(QIODevice::ReadOnly);
        const QString versionLiteral =
            QString::fromUtf8(QJsonDocument(QJsonArray{version}).toJson(QJsonDocument::Compact));
        QWebEngineScript script;
        script.setName(QStringLiteral("pelix-bridge"));
        script.setSourceCode(
            QString::fromUtf8(api.readAll()) +
            QString::fromLatin1(kShim).arg(versionLiteral.mid(1, versionLiteral.size() - 2)));
        script.setInjectionPoint(QWebEngineScript::DocumentCreation);
        script.setWorldId(QWebEngineScript::MainWorld);
        script.setRunsOnSubFrames(false);
        return script;
    }

    WebSurfaceHooks hooks_;
    QWebEngineProfile* profile_ = nullptr;
    QWebEngineView* view_ = nullptr;
    Page* page_ = nullptr;
    std::function<void(bool)> loaded_;
};

}  // namespace

}  // namespace pelix::web

extern "C" Q_DECL_EXPORT pelix::web::WebSurface* pelixMakeWebSurface(
    const pelix::web::WebSurfaceSetup* setup) {
    pelix::web::chooseRenderer();
    return new pelix::web::EngineSurface(*setup);
}

#include "WebEngineSurface.moc"
