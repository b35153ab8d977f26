#include "render/Decoding.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace pelix::render {
namespace {

struct FrameFreer {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};

// The scaler writes whole vectors: at widths that are not a multiple of its vector (the
// preview's 540, the framing picture's 270) it stores past the end of a tight line. The layout
// leaves room for that, checked by guard bytes after the buffer.
TEST(Picture, TheScalerStaysInsideItsBufferAtEveryWidth) {
    constexpr size_t kGuard = 512;
    for (const auto& [width, height] :
         {std::pair{540, 960}, {270, 480}, {97, 7}, {1080, 1920}, {2, 2}, {1, 1}}) {
        SCOPED_TRACE(::testing::Message() << width << "×" << height);
        // A 4:2:0 picture, mid-grey with a brighter last column, as the renderer's output is.
        std::unique_ptr<AVFrame, FrameFreer> frame(av_frame_alloc());
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = width;
        frame->height = height;
        ASSERT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
        for (int plane : {0, 1, 2}) {
            const int rows = plane ? (height + 1) / 2 : height,
                      bytes = plane ? (width + 1) / 2 : width;
            for (int y = 0; y < rows; ++y)
                std::memset(frame->data[plane] + y * frame->linesize[plane], 128, bytes);
        }
        for (int y = 0; y < height; ++y) frame->data[0][y * frame->linesize[0] + width - 1] = 200;
        const PictureLayout layout = pictureLayout(width, height);
        ASSERT_GE(layout.stride, width * 4);
        std::vector<uint8_t> buffer(layout.bytes + kGuard, 0xAB);
        ASSERT_TRUE(toBgra(frame.get(), buffer.data(), layout.stride));
        for (size_t i = layout.bytes; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 0xAB) << i;
        // The last pixel of the last line was written, brighter than the rest.
        const uint8_t* last = buffer.data() + size_t(height - 1) * layout.stride + (width - 1) * 4;
        const uint8_t* first = buffer.data();
        EXPECT_TRUE(width == 1 || last[1] > first[1]);
        EXPECT_EQ(first[3], 255);

        const QImage image = toImage(frame.get());
        ASSERT_EQ(image.size(), QSize(width, height));
        EXPECT_EQ(image.pixel(width - 1, height - 1), QColor(last[2], last[1], last[0]).rgb());
    }
}

}  // namespace
}  // namespace pelix::render
