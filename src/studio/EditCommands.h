#pragma once

// The commands of `pelix --edit` that make projects, talk to the backend and export; for
// EditCli.cpp only.

#include "core/Args.h"
#include "core/Error.h"
#include "editor/EditProject.h"
#include "service/ServiceContext.h"

#include <QString>
#include <QStringList>

namespace pelix::studio::editcli {

// A project named on the command line and the file it came from.
struct Opened {
    editor::EditProject project;
    QString path;
};

Result<Opened> openProject(const QString& name);
// Writes a changed project back where it came from.
Status saveOpened(const Opened& opened, const editor::EditProject& changed);
// Writes the sentence to standard error; returns exit status 1.
int failWith(const QString& sentence);

// Each returns the exit status. `words` are the command and its operands.
int makeNew(const QStringList& words, const core::Args& args);
int plan(service::ServiceContext& context, const Opened& opened);
int revise(service::ServiceContext& context, const Opened& opened, const QStringList& words);
int translate(service::ServiceContext& context, const Opened& opened);
int style(service::ServiceContext& context, const core::Args& args);
int exportVideo(const Opened& opened, const core::Args& args);

}  // namespace pelix::studio::editcli
