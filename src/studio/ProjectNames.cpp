#include "studio/ProjectNames.h"

#include "core/Sentences.h"

#include <QStringList>

#include <algorithm>

namespace pelix::studio::projectnames {
namespace {

QString shortId(const QUuid& id) {
    return editor::upperUuid(id).left(kShortId);
}

}  // namespace

Result<QUuid> find(const std::vector<editor::ProjectStore::Entry>& saved, const QString& given) {
    const QString wanted = given.trimmed();
    std::vector<const editor::ProjectStore::Entry*> named, started;
    for (const editor::ProjectStore::Entry& entry : saved) {
        if (entry.error) continue;
        const QString id = editor::upperUuid(entry.id);
        if (!wanted.isEmpty() && QUuid::fromString(wanted) == entry.id) return entry.id;
        if (entry.name.compare(wanted, Qt::CaseInsensitive) == 0) named.push_back(&entry);
        if (!wanted.isEmpty() && id.startsWith(wanted, Qt::CaseInsensitive))
            started.push_back(&entry);
    }
    // A name said in full goes before the start of an id.
    const auto& fits = named.empty() ? started : named;
    if (fits.size() == 1) return fits.front()->id;
    if (fits.empty()) return fail(kUnclear, core::sentences::noSuchProject(given));
    QStringList candidates;
    for (const editor::ProjectStore::Entry* entry : fits) {
        candidates << entry->name + " (" + shortId(entry->id) + ')';
    }
    candidates.sort(Qt::CaseInsensitive);
    return fail(kUnclear, core::sentences::whichProject(given, candidates));
}

QString table(const std::vector<Row>& rows, int nameWidth) {
    if (rows.empty()) return QString(core::sentences::kNoProjectsYet) + '\n';
    const auto fitted = [nameWidth](const QString& name) {
        return name.size() <= nameWidth ? name : name.left(nameWidth - 1) + u'…';
    };
    qsizetype nameColumn = 4, clipsColumn = 5, lengthColumn = 6, changedColumn = 7;
    for (const Row& row : rows) {
        nameColumn = std::max(nameColumn, fitted(row.name).size());
        clipsColumn = std::max(clipsColumn, row.clips.size());
        lengthColumn = std::max(lengthColumn, row.length.size());
        changedColumn = std::max(changedColumn, row.changed.size());
    }
    const auto line = [&](const QString& name, const QString& clips, const QString& length,
                          const QString& changed, const QString& id) {
        return (fitted(name).leftJustified(nameColumn) + "  " + clips.rightJustified(clipsColumn) +
                "  " + length.rightJustified(lengthColumn) + "  " +
                changed.leftJustified(changedColumn) + "  " + id)
                   .trimmed() +
               '\n';
    };
    QString out = line("NAME", "CLIPS", "LENGTH", "CHANGED", "ID");
    for (const Row& row : rows) out += line(row.name, row.clips, row.length, row.changed, row.id);
    return out;
}

}  // namespace pelix::studio::projectnames
