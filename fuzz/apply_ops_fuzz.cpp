// Edit operations of any shape on a sample project: never crash, and the edited project saves
// to a file that loads again.
#include "FuzzSupport.h"
#include "editor/EditOps.h"
#include "editor/SampleProject.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace pelix;
using namespace pelix::editor;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const EditProject base = sampleProject(60, 2, 7);
    const QJsonDocument document = QJsonDocument::fromJson(fuzzing::bytes(data, size));
    const QJsonArray ops =
        document.isArray() ? document.array() : document.object().value("ops").toArray();
    const Applied applied = applyOps(ops, base);
    if (applied.skipped < 0 || applied.skipped > ops.size()) fuzzing::broken("a skipped count");
    const QByteArray saved = QJsonDocument(toJson(applied.project)).toJson(QJsonDocument::Compact);
    const Result<EditProject> again = projectFromJson(QJsonDocument::fromJson(saved).object());
    if (!again) fuzzing::broken("an edited project does not load", again.error().message);
    linePayload(applied.project, true);
    return 0;
}
