#include "platform/linux/QtClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QThread>

#include <functional>

namespace pelix::platform {
namespace {

bool bookkeeping(const QString& format) {
    static const QStringList skipped{"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS",
                                     "application/x-qt-image"};
    return skipped.contains(format);
}

// Qt takes the X selection with the newest server time it has seen. A program that took it a
// moment ago may hold a newer time that Qt learns only from an event still waiting in the queue;
// until then the server refuses the take. So events are handled first, and a refused take is
// tried again for a short while.
void take(const std::function<void()>& set) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    for (int attempt = 0; attempt < 10; ++attempt) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        set();
        if (clipboard->ownsClipboard()) return;
        QThread::msleep(10);
    }
}

}  // namespace

Clipboard::Contents QtClipboard::save() const {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!data) return std::nullopt;
    QList<std::pair<QString, QByteArray>> formats;
    for (const QString& format : data->formats()) {
        if (bookkeeping(format)) continue;
        const QByteArray bytes = data->data(format);
        // A format that hands over nothing is not kept, also if an earlier one of its name was.
        formats.removeIf([&](const auto& kept) { return kept.first == format; });
        if (!bytes.isNull()) formats.append({format, bytes});
    }
    if (formats.isEmpty() && data->formats().isEmpty()) return std::nullopt;
    return formats;
}

void QtClipboard::setText(const QString& text) {
    take([&text] { QGuiApplication::clipboard()->setText(text); });
}

void QtClipboard::restore(const Contents& contents) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!contents) {
        clipboard->clear();
        return;
    }
    take([&contents, clipboard] {
        auto* data = new QMimeData;
        for (const auto& [format, bytes] : *contents) data->setData(format, bytes);
        clipboard->setMimeData(data);
    });
}

}  // namespace pelix::platform
