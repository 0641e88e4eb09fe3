// Arrays of pixels.
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "arguments.h"
#include "picture.h"

namespace velajpeg_python {
namespace {

struct Order {
    const char* name;
    int32_t samples;
    VelaFormat format;
};
/// An order of three letters says as well where the first three of four samples lie.
constexpr std::array<Order, 12> kOrders = {{{"rgb", 3, VELA_FORMAT_RGB24},
                                            {"bgr", 3, VELA_FORMAT_BGR24},
                                            {"rgb", 4, VELA_FORMAT_RGBX32},
                                            {"bgr", 4, VELA_FORMAT_BGRX32},
                                            {"rgba", 4, VELA_FORMAT_RGBX32},
                                            {"bgra", 4, VELA_FORMAT_BGRX32},
                                            {"argb", 4, VELA_FORMAT_XRGB32},
                                            {"abgr", 4, VELA_FORMAT_XBGR32},
                                            {"rgbx", 4, VELA_FORMAT_RGBX32},
                                            {"bgrx", 4, VELA_FORMAT_BGRX32},
                                            {"xrgb", 4, VELA_FORMAT_XRGB32},
                                            {"xbgr", 4, VELA_FORMAT_XBGR32}}};

/// The same samples from the last to the first.
VelaFormat reversed(VelaFormat format) {
    switch (format) {
    case VELA_FORMAT_RGB24:
        return VELA_FORMAT_BGR24;
    case VELA_FORMAT_BGR24:
        return VELA_FORMAT_RGB24;
    case VELA_FORMAT_RGBX32:
        return VELA_FORMAT_XBGR32;
    case VELA_FORMAT_XBGR32:
        return VELA_FORMAT_RGBX32;
    case VELA_FORMAT_BGRX32:
        return VELA_FORMAT_XRGB32;
    case VELA_FORMAT_XRGB32:
        return VELA_FORMAT_BGRX32;
    default:
        return format;
    }
}

VelaFormat formatOf(const std::string& order, int32_t samples, const View& view) {
    bool known = false;
    for (const Order& one : kOrders) {
        if (order != one.name)
            continue;
        known = true;
        if (one.samples == samples)
            return one.format;
    }
    if (!known)
        throw py::value_error("order is '" + order +
                              "', not rgb, bgr, rgba, bgra, argb, abgr, rgbx, bgrx, xrgb or xbgr");
    if (samples == 1)
        return VELA_FORMAT_GRAY8;
    throw py::value_error("order '" + order + "' has four samples for each pixel, " + view.name() +
                          " of shape " + view.shapeText() + " has three");
}

} // namespace

void Picture::gather() {
    if (!scattered_)
        return;
    const int64_t rowBytes = int64_t{scattered_->width} * scattered_->samples;
    gathered_.resize(static_cast<size_t>(rowBytes * image_.height));
    scattered_->copyRows(0, image_.height, gathered_.data(), rowBytes);
    image_.plane[0] = gathered_.data();
    image_.readRows = nullptr;
}

class ArrayReader {
public:
    static Picture read(const py::object& array, const std::string& order) {
        refuseMode(array);
        View view(array, "array");
        const auto& shape = view.shape();
        const size_t dimensions = view.dimensions();
        const int64_t samples = dimensions == 3 ? shape[2] : 1;
        if ((dimensions != 2 && dimensions != 3) || (samples != 1 && samples != 3 && samples != 4))
            throw py::value_error("array has shape " + view.shapeText() +
                                  ", not (h, w), (h, w, 1), (h, w, 3) or (h, w, 4)");
        for (const int64_t side : {shape[0], shape[1]})
            if (side < 1 || side > 65535)
                throw py::value_error("array has shape " + view.shapeText() +
                                      "; a picture has 1 to 65535 rows and columns");
        Picture picture;
        VelaImage& image = picture.image_;
        image.format = formatOf(order, static_cast<int32_t>(samples), view);
        image.height = static_cast<int32_t>(shape[0]);
        image.width = static_cast<int32_t>(shape[1]);
        const ScatteredPixels pixels = {view.data(),       view.strides()[0],
                                        view.strides()[1], samples > 1 ? view.strides()[2] : 1,
                                        image.width,       static_cast<int32_t>(samples)};
        if (!pointAt(image, pixels))
            readFrom(picture, pixels);
        picture.views_.push_back(std::move(view));
        return picture;
    }

private:
    /// Images of PIL whose samples are neither gray nor RGB look like those that are.
    static void refuseMode(const py::object& array) {
        if (PyObject_CheckBuffer(array.ptr()) || !py::hasattr(array, "mode"))
            return;
        const std::string mode = textOf(array.attr("mode"));
        for (const char* const other : {"P", "PA", "CMYK", "YCbCr", "LAB", "HSV"})
            if (mode == other)
                throw py::value_error("array is an image of mode " + mode +
                                      "; convert it to L, RGB or RGBA");
    }

    /// False where the easy layer cannot read the pixels from where they are.
    static bool pointAt(VelaImage& image, const ScatteredPixels& pixels) {
        const int64_t rowBytes = int64_t{pixels.width} * pixels.samples;
        const bool backwards = pixels.samples > 1 && pixels.sampleStride == -1;
        const int64_t step = std::abs(pixels.rowStride);
        if ((pixels.width > 1 && pixels.pixelStride != pixels.samples) ||
            (pixels.sampleStride != 1 && !backwards) ||
            (image.height > 1 && (step < rowBytes || step > INT32_MAX)))
            return false;
        image.format = backwards ? reversed(image.format) : image.format;
        image.plane[0] = backwards ? pixels.data - (pixels.samples - 1) : pixels.data;
        image.stride[0] = image.height > 1 ? pixels.rowStride : 0;
        return true;
    }

    static void readFrom(Picture& picture, const ScatteredPixels& pixels) {
        picture.scattered_ = std::make_unique<ScatteredPixels>(pixels);
        picture.image_.readContext = picture.scattered_.get();
        picture.image_.readRows = [](void* context, int32_t firstRow, int32_t rowCount,
                                     void* const plane[3], const ptrdiff_t stride[3]) {
            static_cast<const ScatteredPixels*>(context)->copyRows(
                firstRow, rowCount, static_cast<uint8_t*>(plane[0]), stride[0]);
            return 0;
        };
    }
};

Picture pictureOfArray(const py::object& array, const py::object& order) {
    return ArrayReader::read(array, stringArgument("order", order));
}

} // namespace velajpeg_python
