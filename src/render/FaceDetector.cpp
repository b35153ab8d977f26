// Face finding over OpenCV, part of the renderer's module.
#include "render/FaceFinder.h"

#include "core/Sentences.h"
#include "media/FFmpeg.h"
#include "render/Decoding.h"
#include "render/RenderModule.h"
#include "render/Renderer.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include <QFile>

#include <algorithm>

namespace pelix::render {
namespace {

// Pictures are scaled to this width before looking for faces: enough for a face that fills a
// tenth of the height, and quick.
constexpr int kLookWidth = 640;

// The gray picture the detector looks at.
Result<cv::Mat> grayOf(const AVFrame* in, std::unique_ptr<SwsContext, SwsFreer>& scaler) {
    const int width = std::min(kLookWidth, in->width);
    const int height = std::max(2, int(double(in->height) * width / in->width));
    // A view of a buffer laid out for the scaler's whole-vector stores.
    const PictureLayout layout = pictureLayout(width, height, 1);
    cv::Mat buffer(int(layout.bytes / size_t(layout.stride)), layout.stride, CV_8UC1);
    cv::Mat gray = buffer(cv::Rect(0, 0, width, height));
    scaler.reset(sws_getCachedContext(scaler.release(), in->width, in->height,
                                      AVPixelFormat(in->format), width, height, AV_PIX_FMT_GRAY8,
                                      SWS_AREA, nullptr, nullptr, nullptr));
    if (!scaler) return fail(kRenderFailed, core::sentences::kFacePictureNotScaled);
    uint8_t* planes[4] = {gray.data, nullptr, nullptr, nullptr};
    const int strides[4] = {int(gray.step[0]), 0, 0, 0};
    sws_scale(scaler.get(), in->data, in->linesize, 0, in->height, planes, strides);
    return gray;
}

}  // namespace

namespace loaded {

Result<FaceFinding> findFace(const QString& file, int samples) {
    const QString cascadeFile = faceCascade();
    cv::CascadeClassifier detector;
    if (!QFile::exists(cascadeFile) ||
        !detector.load(QFile::encodeName(cascadeFile).toStdString())) {
        return fail(kRenderFailed, core::sentences::faceDataMissing(cascadeFile));
    }
    auto reader = VideoReader::open(file);
    if (!reader) return std::unexpected(reader.error());
    if (!*reader)
        return fail(kRenderFailed, core::sentences::noPicturesForFaces(media::ff::nameOf(file)));
    const double length = (*reader)->duration();
    std::unique_ptr<SwsContext, SwsFreer> scaler;
    std::vector<std::optional<QRectF>> perPicture;
    for (int i = 0; i < samples; ++i) {
        auto picture = (*reader)->near(length * (i + 0.5) / samples);
        if (!picture) return std::unexpected(picture.error());
        auto gray = grayOf(*picture, scaler);
        if (!gray) return std::unexpected(gray.error());
        cv::equalizeHist(*gray, *gray);
        std::vector<cv::Rect> faces;
        // Faces down to a sixteenth of the height: a speaker seen from across a room.
        const int smallest = std::max(20, gray->rows / 16);
        detector.detectMultiScale(*gray, faces, 1.1, 4, 0, cv::Size(smallest, smallest));
        if (faces.empty()) {
            perPicture.push_back(std::nullopt);
            continue;
        }
        const cv::Rect& face = *std::ranges::max_element(faces, {}, &cv::Rect::area);
        const double w = gray->cols, h = gray->rows;
        perPicture.push_back(QRectF(face.x / w, face.y / h, face.width / w, face.height / h));
    }
    return steadyFace(perPicture);
}

}  // namespace loaded
}  // namespace pelix::render
