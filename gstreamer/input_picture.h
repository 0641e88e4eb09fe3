// Frames of GStreamer as pictures of the easy layer.
#pragma once

#include <gst/video/video.h>

#include "vela/easy.h"

namespace vela::gst {

/// What the sink pad takes; a new reference.
GstCaps* inputCaps(VelaSubsampling subsampling);

/// The resolution of chroma that a format stores, which is the stream's as well; AUTO where any can be made
/// of it: RGB, and grey, which has none.
VelaSubsampling subsamplingOf(GstVideoFormat format);

/// "4:2:0" and so on; "auto".
const char* subsamplingName(VelaSubsampling subsampling);

/// A frame's pixels where they lie, mapped for reading as long as this lives.
class InputPicture {
public:
    InputPicture() = default;
    InputPicture(const InputPicture&) = delete;
    InputPicture& operator=(const InputPicture&) = delete;
    ~InputPicture();

    /// Maps a buffer that outlives this; its layout is that of its GstVideoMeta or, without one, that of
    /// info. Null, or why it is no frame; text that the caller frees.
    char* map(const GstVideoInfo& info, GstBuffer* buffer);

    const VelaImage& image() const { return image_; }

private:
    char* takePlanes(const GstVideoRectangle& region);

    GstVideoFrame frame_{};
    bool mapped_ = false;
    VelaImage image_{};
};

} // namespace vela::gst
