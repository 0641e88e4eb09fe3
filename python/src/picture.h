// What Python gives as a picture, made into one of the easy layer.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "scattered_pixels.h"
#include "vela/easy.h"
#include "view.h"

namespace velajpeg_python {

/// A picture of the easy layer, and what holds the memory that it points to. Where pixels are scattered, its
/// rows are read (image().readRows).
class Picture {
public:
    const VelaImage& image() const { return image_; }

    /// Brings scattered pixels into memory of the picture's own, for encoders that look at them more than once.
    void gather();

private:
    friend class ArrayReader;
    friend class FrameReader;

    VelaImage image_{};
    std::vector<View> views_;
    std::unique_ptr<ScatteredPixels> scattered_;
    std::vector<uint8_t> gathered_;
};

/// Of an array (h, w), (h, w, 1), (h, w, 3) or (h, w, 4); order names the channels of the last two.
Picture pictureOfArray(const py::object& array, const py::object& order);

/// Of a camera frame: one buffer for all planes, or a list or tuple with one for each.
Picture pictureOfFrame(const py::object& planes, const py::object& format, const py::object& size,
                       const py::object& strides, const py::object& range,
                       const py::object& matrix);

} // namespace velajpeg_python
