#include "gstreamer/element.h"

#include <gtest/gtest.h>

#include <random>

namespace test {
namespace {

/// The plugin is looked for when tests run, not when they are listed.
class GStreamer : public testing::Environment {
public:
    void SetUp() override {
        g_log_set_always_fatal(
            GLogLevelFlags(int{G_LOG_LEVEL_CRITICAL} | int{G_LOG_LEVEL_WARNING}));
        gst_init(nullptr, nullptr);
    }
    void TearDown() override { gst_deinit(); } // where GStreamer's tracer tells of leaks
};
const testing::Environment* const gstreamer = testing::AddGlobalTestEnvironment(new GStreamer);

} // namespace

std::string rawCaps(const std::string& format, int width, int height, const std::string& more) {
    return "video/x-raw,format=" + format + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=30/1" + more;
}

Frame::Frame(const FormatPair& format, int width, int height, unsigned seed, int gap)
    : buffer_(nullptr, gst_buffer_unref) {
    gst_video_info_set_format(&info_, gst_video_format_from_string(format.name), guint(width),
                              guint(height));
    const guint planes = GST_VIDEO_INFO_N_PLANES(&info_);
    if (gap > 0) {
        gsize at = gsize(gap);
        for (guint p = 0; p < planes; p++) {
            const gint rows = GST_VIDEO_FORMAT_INFO_SCALE_HEIGHT(info_.finfo, p, height);
            info_.stride[p] += gap + gint(p);
            info_.offset[p] = at;
            at += gsize(info_.stride[p] * rows + gap);
        }
        info_.size = at;
    }
    auto* const memory = static_cast<uint8_t*>(g_malloc(info_.size));
    std::mt19937 random(seed);
    for (gsize i = 0; i < info_.size; i++)
        memory[i] = uint8_t(random());
    image_.format = format.ours;
    image_.width = width;
    image_.height = height;
    for (guint p = 0; p < planes; p++) {
        const gint rows = GST_VIDEO_FORMAT_INFO_SCALE_HEIGHT(info_.finfo, p, height);
        const gint stride = info_.stride[p];
        for (gint y = 0; y < rows; y++)
            for (gint x = 0; x < stride - gap - gint(p); x++)
                memory[info_.offset[p] + gsize(y * stride + x)] =
                    uint8_t(40 * p + unsigned(x + 2 * y) + random() % 40);
        image_.plane[p] = memory + info_.offset[p];
        image_.stride[p] = stride;
    }
    buffer_.reset(gst_buffer_new_wrapped(memory, info_.size));
    if (gap > 0)
        gst_buffer_add_video_meta_full(buffer_.get(), GST_VIDEO_FRAME_FLAG_NONE,
                                       GST_VIDEO_INFO_FORMAT(&info_), guint(width), guint(height),
                                       planes, info_.offset, info_.stride);
}

VelaImage Frame::crop(int x, int y, int width, int height) const {
    VelaImage image = image_;
    image.width = width;
    image.height = height;
    for (guint p = 0; p < GST_VIDEO_INFO_N_PLANES(&info_); p++) {
        const bool packed422 = image.format >= VELA_FORMAT_YUYV;
        const guint down = GST_VIDEO_FORMAT_INFO_H_SUB(info_.finfo, p);
        const guint across = GST_VIDEO_FORMAT_INFO_W_SUB(info_.finfo, p);
        const gint bytes =
            packed422 ? 2 * x : (x >> across) * GST_VIDEO_FORMAT_INFO_PSTRIDE(info_.finfo, p);
        image.plane[p] =
            static_cast<const uint8_t*>(image.plane[p]) + (y >> down) * image.stride[p] + bytes;
    }
    return image;
}

VelaOptions usualOptions() {
    VelaOptions options;
    velaOptionsInit(&options);
    options.quality = 85;
    return options;
}

std::string frameCaps(const FormatPair& format, int width, int height) {
    return rawCaps(format.name, width, height,
                   format.ours >= VELA_FORMAT_I420 ? ",colorimetry=1:4:0:0" : "");
}

Bytes segment(const Bytes& stream, uint8_t marker) {
    for (size_t at = 2; at + 4 <= stream.size() && stream[at] == 0xff;) {
        const size_t length = size_t(stream[at + 2] << 8 | stream[at + 3]);
        if (stream[at + 1] == marker)
            return {&stream[at + 4], &stream[at + 2 + length]};
        if (stream[at + 1] == 0xda) // the scan
            break;
        at += 2 + length;
    }
    return {};
}

Bytes easyStream(const VelaImage& image) {
    return easyStream(image, usualOptions());
}

Bytes easyStream(const VelaImage& image, const VelaOptions& options) {
    VelaEncoder* const encoder = velaEncoderNew();
    const uint8_t* jpeg = nullptr;
    size_t size = 0;
    const int32_t status = velaEncodeToMemory(encoder, &image, &options, &jpeg, &size);
    EXPECT_EQ(status, ENC_STATUS_OK) << velaErrorText(encoder);
    Bytes bytes(jpeg, jpeg + size);
    velaEncoderDelete(encoder);
    return bytes;
}

Element::Element(const std::string& properties) : bus_(gst_bus_new()) {
    GstElement* const element =
        gst_parse_launch(("velajpegenc " + properties).c_str(), nullptr); // not in a bin
    EXPECT_NE(element, nullptr) << properties;
    harness_ = gst_harness_new_with_element(element, "sink", "src");
    gst_object_unref(element);
    gst_element_set_bus(harness_->element, bus_);
}

Element::~Element() {
    gst_element_set_bus(harness_->element, nullptr);
    gst_object_unref(bus_);
    gst_harness_teardown(harness_);
}

void Element::setCaps(const std::string& caps) {
    gst_harness_set_src_caps(harness_, gst_caps_from_string(caps.c_str()));
}

Bytes Element::pull() {
    GstBuffer* const buffer = gst_harness_try_pull(harness_);
    if (buffer == nullptr)
        return {};
    GstMapInfo map;
    EXPECT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
    Bytes bytes(map.data, map.data + map.size);
    gst_buffer_unmap(buffer, &map);
    gst_buffer_unref(buffer);
    return bytes;
}

std::string Element::message() {
    GstMessage* const message = gst_bus_pop_filtered(
        bus_, GstMessageType(int{GST_MESSAGE_ERROR} | int{GST_MESSAGE_WARNING}));
    if (message == nullptr)
        return "";
    const bool isError = GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR;
    GError* error = nullptr;
    (isError ? gst_message_parse_error : gst_message_parse_warning)(message, &error, nullptr);
    const std::string text = std::string(isError ? "error: " : "warning: ") + error->message;
    g_error_free(error);
    gst_message_unref(message);
    return text;
}

std::string Element::outputCaps() const {
    GstCaps* const caps = gst_pad_get_current_caps(harness_->sinkpad);
    if (caps == nullptr)
        return "";
    gchar* const text = gst_caps_to_string(caps);
    std::string result = text;
    g_free(text);
    gst_caps_unref(caps);
    return result;
}

} // namespace test
