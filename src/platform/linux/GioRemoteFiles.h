#pragma once

#include "platform/RemoteFiles.h"

namespace pelix::platform {

// Through GIO, which reaches every location the file manager shows (MTP, SMB, SFTP, WebDAV,
// HTTP) by way of the session's virtual file system service.
class GioRemoteFiles final : public RemoteFiles {
public:
    Result<QString> fetch(const QUrl& location, const QString& target) override;
};

}  // namespace pelix::platform
