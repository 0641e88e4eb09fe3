// Every format, layout and colour, as the easy layer encodes the same pixels, and as others see them.
#include <gtest/gtest.h>

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

} // namespace
