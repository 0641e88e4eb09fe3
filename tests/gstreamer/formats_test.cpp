// Every format, layout and colour, as the easy layer encodes the same pixels, and as others see them.
#include <gtest/gtest.h>

#include <atomic>
#include <string_view>

#include "gstreamer/element.h"

namespace {

using namespace test;

TEST(GStreamerFormats, TakesEveryFormatInEverySizeAndLayout) {
    for (const FormatPair& format : kFormatPairs)
        for (const auto& [width, height] : {std::pair(64, 48), {61, 35}, {1, 1}, {17, 1}})
            for (const int gap : {0, 5, 64}) {
                SCOPED_TRACE(testing::Message() << format.name << " " << width << " x " << height
                                                << ", gaps of " << gap);
                Element element;
                element.setCaps(
                    rawCaps(format.name, width, height,
                            format.ours >= VELA_FORMAT_I420 ? ",colorimetry=1:4:0:0" : ""));
                const Frame frame(format, width, height, unsigned(width + gap), gap);
                const Bytes stream = element.encode(frame);
                EXPECT_TRUE(stream == easyStream(frame.image()));
                EXPECT_EQ(element.message(), "");
            }
}

TEST(GStreamerFormats, FollowsCropsOnTheGridOfChroma) {
    struct Region {
        int x, y, width, height;
    };
    for (const FormatPair& format : kFormatPairs)
        for (const Region& crop : {Region{0, 0, 20, 10}, {16, 8, 31, 21}, {2, 6, 62, 42}}) {
            SCOPED_TRACE(testing::Message() << format.name << " from " << crop.x << ", " << crop.y);
            Frame frame(format, 64, 48, 1, 3);
            GstVideoCropMeta* const meta = gst_buffer_add_video_crop_meta(frame.own());
            meta->x = guint(crop.x);
            meta->y = guint(crop.y);
            meta->width = guint(crop.width);
            meta->height = guint(crop.height);
            Element element;
            element.setCaps(frameCaps(format, 64, 48));
            const VelaImage expected = frame.crop(crop.x, crop.y, crop.width, crop.height);
            EXPECT_TRUE(element.encode(frame) == easyStream(expected));
            EXPECT_NE(element.outputCaps().find("width=(int)" + std::to_string(crop.width)),
                      std::string::npos)
                << element.outputCaps();

            // One to the right and one down: chroma, where it is halved, stays where it was.
            const GstVideoFormatInfo* const info =
                gst_video_format_get_info(gst_video_format_from_string(format.name));
            const bool halvedAcross =
                info->n_components > 1 && GST_VIDEO_FORMAT_INFO_W_SUB(info, 1) > 0;
            const bool halvedDown =
                info->n_components > 1 && GST_VIDEO_FORMAT_INFO_H_SUB(info, 1) > 0;
            meta->x++;
            meta->y++;
            meta->width--;
            meta->height--;
            const VelaImage odd =
                frame.crop(crop.x + (halvedAcross ? 0 : 1), crop.y + (halvedDown ? 0 : 1),
                           crop.width - 1, crop.height - 1);
            EXPECT_TRUE(element.encode(frame) == easyStream(odd));
            EXPECT_EQ(element.message(), "");
        }
}

// As cameras give them: a plane each, at the end of which the memory ends, of more rows than are to be seen.
TEST(GStreamerFormats, TakesPlanesFromMemoriesOfTheirOwn) {
    constexpr int kWidth = 64, kHeight = 40, kStride = 80, kRows = 48;
    const Frame large(kNv12, kStride, kRows);
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_NV12, kStride, kRows);
    GstBuffer* const whole = large.buffer();
    GstBuffer* const buffer = gst_buffer_new();
    GstBuffer* const withoutLayout = gst_buffer_new();
    for (const auto& [offset, size] :
         {std::pair<gsize, gsize>(0, info.offset[1]), {info.offset[1], kStride * kRows / 2}}) {
        GstMemory* const memory =
            gst_memory_copy(gst_buffer_peek_memory(whole, 0), gssize(offset), gssize(size));
        gst_buffer_append_memory(withoutLayout, gst_memory_ref(memory));
        gst_buffer_append_memory(buffer, memory);
    }
    gst_buffer_unref(whole);
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_NV12,
                                   kStride, kRows, 2, info.offset, info.stride);

    // GStreamer tells of every copy of a frame's size, the one that it has to make itself as well.
    std::atomic<int> copies{0};
    const GstLogFunction count = [](GstDebugCategory*, GstDebugLevel, const gchar*, const gchar*,
                                    gint, GObject*, GstDebugMessage* message, gpointer counter) {
        const std::string_view text = gst_debug_message_get(message);
        if (text.find("copy") != text.npos || text.find("memcpy") != text.npos)
            ++*static_cast<std::atomic<int>*>(counter);
    };
    gst_debug_set_threshold_for_name("GST_PERFORMANCE", GST_LEVEL_DEBUG);
    (gst_debug_add_log_function)(count, &copies, nullptr); // not the macro of that name

    Element element;
    element.setCaps(frameCaps(kNv12, kWidth, kHeight));
    EXPECT_EQ(gst_harness_push(element.harness(), buffer), GST_FLOW_OK);
    EXPECT_TRUE(element.pull() == easyStream(large.crop(0, 0, kWidth, kHeight)));
    EXPECT_EQ(copies, 0);

    element.setCaps(frameCaps(kNv12, kStride, kRows));
    EXPECT_EQ(gst_harness_push(element.harness(), withoutLayout), GST_FLOW_OK);
    EXPECT_TRUE(element.pull() == easyStream(large.image()));
    EXPECT_GT(copies, 0);
    gst_debug_remove_log_function_by_data(&copies);
    gst_debug_unset_threshold_for_name("GST_PERFORMANCE");
}

TEST(GStreamerFormats, FollowsRowsThatGoUpwards) {
    const Frame frame(kBgrx, 64, 48);
    GstBuffer* const buffer = frame.buffer();
    GstBuffer* const upwards = gst_buffer_copy(buffer);
    gst_buffer_unref(buffer);
    gsize offset[] = {64 * 4 * 47};
    gint stride[] = {-64 * 4};
    gst_buffer_add_video_meta_full(upwards, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_BGRx, 64,
                                   48, 1, offset, stride);
    VelaImage image = frame.image();
    image.plane[0] = static_cast<const uint8_t*>(image.plane[0]) + offset[0];
    image.stride[0] = stride[0];
    Element element;
    element.setCaps(frameCaps(kBgrx, 64, 48));
    EXPECT_EQ(gst_harness_push(element.harness(), upwards), GST_FLOW_OK);
    EXPECT_TRUE(element.pull() == easyStream(image));
}

} // namespace
