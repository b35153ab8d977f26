#pragma once

// Snapshots always run on Qt's off-screen platform with the environment's scaling switched off,
// and apply the theme first. Each file is written atomically. The pictures are the same bytes
// from run to run; snapshot_tests compares them with tests/app/snapshots/, and
// scripts/update-snapshots draws them anew when a look changes on purpose. With --framing the
// modes table then runs render::runFramingSnapshot, a frame of a clip rather than a window.

#include <QString>

#include <functional>
#include <memory>
#include <vector>

class QWidget;

namespace pelix::core {
class Args;
}  // namespace pelix::core
namespace pelix::service {
class ServiceContext;
}  // namespace pelix::service

namespace pelix::app {

// One picture of `pelix --snapshot DIR`: a window made with sample content at a fixed size.
struct SnapshotPicture {
    // The option that asks for the picture ("--memos"); empty for the pictures always drawn.
    QString qualifier;
    // The file name in the folder ("panel.png").
    QString file;
    // None when the picture cannot be made; it has then said why on standard error.
    std::function<std::unique_ptr<QWidget>(service::ServiceContext&)> make;
};

// Every picture, in the order they are drawn. A window joins by adding a line here.
const std::vector<SnapshotPicture>& snapshotPictures();

// pelix --snapshot DIR [--drop-ui] [--memos] [--editor] [--framing] [--video]: draws the
// pictures into DIR (made when missing), prints each file's path, and returns 0; 1 with one
// sentence when DIR can't be written.
int runSnapshotCli(const core::Args& args, service::ServiceContext& backend);

}  // namespace pelix::app
