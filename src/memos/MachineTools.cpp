#include "memos/MemoTools.h"

namespace pelix {

// Until the media layer and the transcriber are part of the build, nothing can be measured,
// cut or heard on this machine.
MemoTools machineTools() {
    const auto missing = [] {
        return fail(2, "Hearing recordings on this machine is not in this build yet.");
    };
    return MemoTools{
        [missing](const QString&) -> Result<double> { return missing(); },
        [missing](const QString&, double, double) -> Result<QString> { return missing(); },
        [](const QString&) -> std::optional<QDateTime> { return std::nullopt; },
        [missing](const QString&, const QString&, const QStringList&) -> Result<QString> {
            return missing();
        },
    };
}

}  // namespace pelix
