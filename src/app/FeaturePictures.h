#pragma once

#include <QString>

#include <memory>

class QWidget;

namespace pelix::service {
class ServiceContext;
}  // namespace pelix::service

namespace pelix::app {

// The pictures of the memo chooser, the drop layer and the transcript window for
// `pelix --snapshot`, with sample content.

// Two choosers side by side: "New Recording 14" being sent, and in Pelix.
std::unique_ptr<QWidget> memosPicture();

enum class DropLook { over, sending, done };
// The chooser with a drag hovering over it, or its status pill while sending and when done.
std::unique_ptr<QWidget> dropPicture(DropLook look);

// The video the transcript picture hears: $PELIX_SAMPLE_VIDEO, else the one installed with the
// program (share/pelix/sample.mp4), else the one its build made (samples/sample.mp4 in the build
// folder). The working folder plays no part.
QString sampleVideo();
// The transcript window once it has heard the sample video; none, with one sentence on
// standard error, when there is no sample or hearing it fails to end.
std::unique_ptr<QWidget> transcriptPicture(service::ServiceContext& services);

}  // namespace pelix::app
