// What tag events bring into the streams.
#include <gst/tag/tag.h>
#include <gtest/gtest.h>

#include "gstreamer/element.h"
#include "support/jpeg_reader.h"

namespace {

using namespace test;

constexpr uint8_t kComment = 0xfe, kExif = 0xe1;

void tag(Element& element, GstTagList* tags) {
    EXPECT_TRUE(gst_harness_push_event(element.harness(), gst_event_new_tag(tags)));
}

/// GStreamer's own reading of the Exif segment.
std::string orientationOf(const Bytes& stream) {
    const Bytes exif = segment(stream, kExif);
    if (exif.size() < 6)
        return "";
    GstBuffer* const tiff = gst_buffer_new_memdup(&exif[6], exif.size() - 6);
    GstTagList* const tags = gst_tag_list_from_exif_buffer_with_tiff_header(tiff);
    gst_buffer_unref(tiff);
    std::string orientation = "not to be read";
    gchar* value = nullptr;
    if (tags != nullptr && gst_tag_list_get_string(tags, GST_TAG_IMAGE_ORIENTATION, &value))
        orientation = value;
    g_free(value);
    gst_clear_tag_list(&const_cast<GstTagList*&>(tags));
    return orientation;
}

class GStreamerMetadata : public testing::Test {
protected:
    GStreamerMetadata() : frame(kNv12, 64, 48) { element.setCaps(frameCaps(kNv12, 64, 48)); }

    std::string comment() {
        const Bytes stream = element.encode(frame);
        EXPECT_EQ(readCoefficients(stream).error, "");
        const Bytes bytes = segment(stream, kComment);
        return {bytes.begin(), bytes.end()};
    }

    Element element;
    Frame frame;
};

TEST_F(GStreamerMetadata, HasEveryOrientation) {
    EXPECT_EQ(orientationOf(element.encode(frame)), "");
    for (const char* orientation :
         {"rotate-0", "rotate-90", "rotate-180", "rotate-270", "flip-rotate-0", "flip-rotate-90",
          "flip-rotate-180", "flip-rotate-270"}) {
        tag(element, gst_tag_list_new(GST_TAG_IMAGE_ORIENTATION, orientation, nullptr));
        EXPECT_EQ(orientationOf(element.encode(frame)), orientation);
    }
    EXPECT_EQ(element.message(), "");
}

TEST_F(GStreamerMetadata, KeepsTagsUntilAnotherStreamBegins) {
    EXPECT_EQ(comment(), "");
    tag(element,
        gst_tag_list_new(GST_TAG_COMMENT, "Zürich, noon", GST_TAG_TITLE, "not this", nullptr));
    EXPECT_EQ(comment(), "Zürich, noon");
    tag(element, gst_tag_list_new(GST_TAG_IMAGE_ORIENTATION, "rotate-90", nullptr));
    EXPECT_EQ(comment(), "Zürich, noon"); // which the second list did not speak of

    gst_harness_push_event(element.harness(), gst_event_new_flush_start());
    gst_harness_push_event(element.harness(), gst_event_new_flush_stop(TRUE));
    GstSegment times;
    gst_segment_init(&times, GST_FORMAT_TIME);
    gst_harness_push_event(element.harness(), gst_event_new_segment(&times));
    EXPECT_EQ(comment(), "Zürich, noon");
    EXPECT_EQ(orientationOf(element.encode(frame)), "rotate-90");

    gst_harness_push_event(element.harness(), gst_event_new_stream_start("another"));
    EXPECT_TRUE(element.encode(frame) == easyStream(frame.image()));
}

TEST_F(GStreamerMetadata, CutsALongCommentWhereACharacterEnds) {
    for (size_t before = 0; before < 4; before++) { // letters, ahead of characters of three bytes
        std::string text(before, 'x');
        while (text.size() < 70000)
            text += "€";
        tag(element, gst_tag_list_new(GST_TAG_COMMENT, text.c_str(), nullptr));
        const std::string written = comment();
        EXPECT_EQ(written.size(), before + (65533 - before) / 3 * 3);
        EXPECT_TRUE(text.starts_with(written));
    }
}

} // namespace
