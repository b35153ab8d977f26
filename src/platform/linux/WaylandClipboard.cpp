#include "platform/linux/WaylandClipboard.h"

#include "platform/linux/WaylandSession.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>
#include <QStringList>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cerrno>
#include <ctime>

namespace pelix::platform {

struct WaylandClipboard::Offer {
    zwlr_data_control_offer_v1* offer = nullptr;
    QStringList formats;
    ~Offer() {
        if (offer) zwlr_data_control_offer_v1_destroy(offer);
    }
};

struct WaylandClipboard::Source {
    WaylandClipboard* owner = nullptr;
    zwlr_data_control_source_v1* source = nullptr;
    QList<std::pair<QString, QByteArray>> formats;
    ~Source() {
        if (source) zwlr_data_control_source_v1_destroy(source);
    }
};

namespace {

// Writes bytes into a reader's pipe as it takes them, then closes it; goes when done. A reader
// that goes away early ends the writing without a signal to this process.
class PipeWriter : public QObject {
public:
    PipeWriter(int fd, QByteArray bytes) : fd_(fd), bytes_(std::move(bytes)) {
        ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
        notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Write, this);
        connect(notifier_, &QSocketNotifier::activated, this, &PipeWriter::write);
        write();
    }
    ~PipeWriter() override { ::close(fd_); }

private:
    void write() {
        // A write to a pipe whose reader has gone raises SIGPIPE: keep it pending for this
        // thread and take it back, rather than let it end the process.
        sigset_t pipe, old;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, &old);
        bool done = false;
        while (at_ < bytes_.size()) {
            const ssize_t wrote = ::write(fd_, bytes_.constData() + at_, bytes_.size() - at_);
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote < 0 && errno == EAGAIN) break;
            if (wrote <= 0) {
                done = true;
                break;
            }
            at_ += wrote;
        }
        if (at_ >= bytes_.size()) done = true;
        timespec none{};
        while (sigtimedwait(&pipe, nullptr, &none) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
        if (done) {
            notifier_->setEnabled(false);
            deleteLater();
        }
    }

    int fd_;
    QByteArray bytes_;
    qsizetype at_ = 0;
    QSocketNotifier* notifier_ = nullptr;
};

void onFormat(void* data, zwlr_data_control_offer_v1*, const char* format) {
    static_cast<WaylandClipboard::Offer*>(data)->formats.append(QString::fromUtf8(format));
}
const zwlr_data_control_offer_v1_listener kOffer = {onFormat};

const zwlr_data_control_source_v1_listener kSource = {&WaylandClipboard::send,
                                                      &WaylandClipboard::cancelled};

const zwlr_data_control_device_v1_listener kDevice = {
    &WaylandClipboard::offered, &WaylandClipboard::selected, &WaylandClipboard::finished};

// Reads a pipe to its end, until `deadline`; none when it does not end in time.
std::optional<QByteArray> readAll(int fd, const QDeadlineTimer& deadline) {
    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        pollfd wait{fd, POLLIN, 0};
        const int ready = ::poll(&wait, 1, int(deadline.remainingTime()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return std::nullopt;
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) return bytes;
        bytes.append(buffer, got);
    }
}

}  // namespace

WaylandClipboard::WaylandClipboard(WaylandSession& session) : session_(session) {
    if (!session_.offers().dataControl) return;
    device_ = zwlr_data_control_manager_v1_get_data_device(session_.dataControl(), session_.seat());
    zwlr_data_control_device_v1_add_listener(device_, &kDevice, this);
    // The first selection comes right away.
    session_.roundtrip();
}

WaylandClipboard::~WaylandClipboard() {
    incoming_.reset();
    selection_.reset();
    mine_.reset();
    if (device_) zwlr_data_control_device_v1_destroy(device_);
    session_.flush();
}

void WaylandClipboard::offered(void* data, zwlr_data_control_device_v1*,
                               zwlr_data_control_offer_v1* offer) {
    auto* self = static_cast<WaylandClipboard*>(data);
    self->incoming_ = std::make_unique<Offer>();
    self->incoming_->offer = offer;
    zwlr_data_control_offer_v1_add_listener(offer, &kOffer, self->incoming_.get());
}

void WaylandClipboard::selected(void* data, zwlr_data_control_device_v1*,
                                zwlr_data_control_offer_v1* offer) {
    auto* self = static_cast<WaylandClipboard*>(data);
    if (offer && self->incoming_ && self->incoming_->offer == offer) {
        self->selection_ = std::move(self->incoming_);
    } else {
        self->selection_.reset();
    }
}

void WaylandClipboard::finished(void* data, zwlr_data_control_device_v1*) {
    auto* self = static_cast<WaylandClipboard*>(data);
    self->incoming_.reset();
    self->selection_.reset();
    zwlr_data_control_device_v1_destroy(self->device_);
    self->device_ = nullptr;
}

void WaylandClipboard::cancelled(void* data, zwlr_data_control_source_v1*) {
    // Another client took the clipboard.
    auto* source = static_cast<Source*>(data);
    WaylandClipboard* self = source->owner;
    if (self->mine_.get() == source) self->mine_.reset();
}

Clipboard::Contents WaylandClipboard::save() const {
    if (!device_) return std::nullopt;
    // Take in what changed since, so the selection is the newest.
    session_.roundtrip();
    if (mine_) return mine_->formats;
    if (!selection_) return std::nullopt;
    QList<std::pair<QString, QByteArray>> formats;
    const QDeadlineTimer deadline(1000);
    for (const QString& format : selection_->formats) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) break;
        zwlr_data_control_offer_v1_receive(selection_->offer, format.toUtf8().constData(), ends[1]);
        session_.flush();
        ::close(ends[1]);
        const std::optional<QByteArray> bytes = readAll(ends[0], deadline);
        ::close(ends[0]);
        // A format the owner does not hand over is not kept, also if one of its name was.
        formats.removeIf([&](const auto& kept) { return kept.first == format; });
        if (bytes) formats.append({format, *bytes});
    }
    return formats;
}

void WaylandClipboard::send(void* data, zwlr_data_control_source_v1*, const char* format,
                            int32_t fd) {
    const auto* source = static_cast<WaylandClipboard::Source*>(data);
    const QString wanted = QString::fromUtf8(format);
    for (const auto& [name, bytes] : source->formats) {
        if (name == wanted) {
            new PipeWriter(fd, bytes);
            ++source->owner->handedOut_;
            return;
        }
    }
    ::close(fd);
}

void WaylandClipboard::own(const std::optional<QList<std::pair<QString, QByteArray>>>& formats) {
    if (!device_) return;
    std::unique_ptr<Source> previous = std::move(mine_);
    if (formats) {
        auto source = std::make_unique<Source>();
        source->owner = this;
        source->formats = *formats;
        source->source = zwlr_data_control_manager_v1_create_data_source(session_.dataControl());
        zwlr_data_control_source_v1_add_listener(source->source, &kSource, source.get());
        for (const auto& [name, bytes] : source->formats) {
            zwlr_data_control_source_v1_offer(source->source, name.toUtf8().constData());
        }
        zwlr_data_control_device_v1_set_selection(device_, source->source);
        mine_ = std::move(source);
    } else {
        zwlr_data_control_device_v1_set_selection(device_, nullptr);
    }
    // The earlier source goes only once the new selection replaced it: going first would
    // leave the clipboard empty for a moment.
    previous.reset();
    session_.roundtrip();
}

void WaylandClipboard::setText(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    QList<std::pair<QString, QByteArray>> formats;
    for (const char* name :
         {"text/plain;charset=utf-8", "text/plain", "UTF8_STRING", "STRING", "TEXT"}) {
        formats.append({QString::fromLatin1(name), utf8});
    }
    own(formats);
}

void WaylandClipboard::restore(const Contents& contents) {
    own(contents);
}

}  // namespace pelix::platform
