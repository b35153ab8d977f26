#include "platform/linux/GioRemoteFiles.h"

#include "core/Sentences.h"

#include <QFile>

#include <gio/gio.h>

#include <memory>

namespace pelix::platform {
namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using FileRef = std::unique_ptr<GFile, Unref>;

}  // namespace

Result<QString> GioRemoteFiles::fetch(const QUrl& location, const QString& target) {
    const QString name = location.fileName(QUrl::FullyDecoded);
    const FileRef source(g_file_new_for_uri(location.toEncoded().constData()));
    const FileRef copy(g_file_new_for_path(QFile::encodeName(target).constData()));
    GError* error = nullptr;
    if (!g_file_copy(source.get(), copy.get(), G_FILE_COPY_NONE, nullptr, nullptr, nullptr,
                     &error)) {
        const QString why = error ? QString::fromUtf8(error->message) : QString();
        g_clear_error(&error);
        QFile::remove(target);
        return fail(1, core::sentences::couldntFetch(name, why));
    }
    return target;
}

}  // namespace pelix::platform
