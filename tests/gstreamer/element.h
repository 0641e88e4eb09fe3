// The element velajpegenc in a harness, frames for it, and what the easy layer makes of them.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vela/easy.h"

namespace test {

using Bytes = std::vector<uint8_t>;

/// Caps of raw video at 30 frames per second; more begins with a comma or is empty.
std::string rawCaps(const std::string& format, int width, int height, const std::string& more = "");

/// A format's name there and here.
struct FormatPair {
    const char* name;
    VelaFormat ours;
};
inline constexpr FormatPair kNv12 = {"NV12", VELA_FORMAT_NV12};
inline constexpr FormatPair kBgrx = {"BGRx", VELA_FORMAT_BGRX32};
inline constexpr FormatPair kFormatPairs[] = {
    {"GRAY8", VELA_FORMAT_GRAY8},  {"RGB", VELA_FORMAT_RGB24},   {"BGR", VELA_FORMAT_BGR24},
    {"RGBx", VELA_FORMAT_RGBX32},  {"BGRx", VELA_FORMAT_BGRX32}, {"xRGB", VELA_FORMAT_XRGB32},
    {"xBGR", VELA_FORMAT_XBGR32},  {"RGBA", VELA_FORMAT_RGBX32}, {"BGRA", VELA_FORMAT_BGRX32},
    {"ARGB", VELA_FORMAT_XRGB32},  {"ABGR", VELA_FORMAT_XBGR32}, {"RGB16", VELA_FORMAT_RGB565},
    {"RGB15", VELA_FORMAT_RGB555}, {"I420", VELA_FORMAT_I420},   {"YV12", VELA_FORMAT_YV12},
    {"Y42B", VELA_FORMAT_I422},    {"Y444", VELA_FORMAT_I444},   {"NV12", VELA_FORMAT_NV12},
    {"NV21", VELA_FORMAT_NV21},    {"NV16", VELA_FORMAT_NV16},   {"NV61", VELA_FORMAT_NV61},
    {"YUY2", VELA_FORMAT_YUYV},    {"YVYU", VELA_FORMAT_YVYU},   {"UYVY", VELA_FORMAT_UYVY},
    {"VYUY", VELA_FORMAT_VYUY}};

/// A frame of smooth noise, in full range unless it says otherwise; what lies between rows and planes is wild.
class Frame {
public:
    /// Rows and planes as GStreamer lays them out, or with gaps and a GstVideoMeta that tells of them.
    Frame(const FormatPair& format, int width, int height, unsigned seed = 1, int gap = 0);

    /// A new reference, for the harness, which takes it.
    GstBuffer* buffer() const { return gst_buffer_ref(buffer_.get()); }
    GstBuffer* own() { return buffer_.get(); }
    /// The same pixels for the easy layer.
    VelaImage image() const { return image_; }
    /// As a sender's crop does; even offsets.
    VelaImage crop(int x, int y, int width, int height) const;

private:
    GstVideoInfo info_;
    std::unique_ptr<GstBuffer, void (*)(GstBuffer*)> buffer_;
    VelaImage image_{};
};

/// The easy layer's own stream, of usualOptions() where none are given.
Bytes easyStream(const VelaImage& image);
Bytes easyStream(const VelaImage& image, const VelaOptions& options);
/// Options as the element has them if it is not told otherwise.
VelaOptions usualOptions();

/// Caps of frames as Frame makes them: the range of YCbCr is said to be full.
std::string frameCaps(const FormatPair& format, int width, int height);

/// What a stream's first segment of a kind holds, without its length; empty if there is none.
Bytes segment(const Bytes& stream, uint8_t marker);

class Element {
public:
    /// properties as gst-launch-1.0 has them.
    explicit Element(const std::string& properties = "");
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
    ~Element();

    void setCaps(const std::string& caps);
    GstFlowReturn push(const Frame& frame) { return gst_harness_push(harness_, frame.buffer()); }
    /// The stream that came out next; empty if there is none.
    Bytes pull();
    Bytes encode(const Frame& frame) { return push(frame) == GST_FLOW_OK ? pull() : Bytes(); }
    /// What was posted, "error: " or "warning: " before it; empty if there is nothing (more).
    std::string message();
    /// Of what comes out.
    std::string outputCaps() const;

    template <class Value>
    void set(const char* property, Value value) {
        g_object_set(harness_->element, property, value, nullptr);
    }
    GstHarness* harness() { return harness_; }
    GstElement* element() { return harness_->element; }

private:
    GstHarness* harness_;
    GstBus* bus_;
};

} // namespace test
