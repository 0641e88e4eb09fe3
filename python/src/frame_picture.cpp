// Frames as cameras and video give them.
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "arguments.h"
#include "picture.h"

namespace velajpeg_python {
namespace {

struct FrameFormat {
    VelaFormat format;
    int planes;
    /// Bytes of a row of the first plane, as width * bytes; packed 4:2:2 has whole pairs of pixels.
    int bytes;
    /// Of the planes of chroma: how many pixels across and down share a sample, and samples side by side.
    int across, down, together;
    std::array<const char*, 6> names; // ours, then others'
};
constexpr FrameFormat kFormats[] = {
    {VELA_FORMAT_GRAY8, 1, 1, 0, 0, 0, {"gray8", "gray", "grey"}},
    {VELA_FORMAT_RGB24, 1, 3, 0, 0, 0, {"rgb24", "rgb"}},
    {VELA_FORMAT_BGR24, 1, 3, 0, 0, 0, {"bgr24", "bgr", "bgr888"}},
    {VELA_FORMAT_RGBX32, 1, 4, 0, 0, 0, {"rgbx32", "rgbx", "rgba", "rgb0"}},
    {VELA_FORMAT_BGRX32, 1, 4, 0, 0, 0, {"bgrx32", "bgrx", "bgra", "bgr0"}},
    {VELA_FORMAT_XRGB32, 1, 4, 0, 0, 0, {"xrgb32", "xrgb", "argb", "0rgb"}},
    {VELA_FORMAT_XBGR32, 1, 4, 0, 0, 0, {"xbgr32", "xbgr", "abgr", "0bgr"}},
    {VELA_FORMAT_RGB565, 1, 2, 0, 0, 0, {"rgb565", "rgb565le"}},
    {VELA_FORMAT_RGB555, 1, 2, 0, 0, 0, {"rgb555", "rgb555le"}},
    {VELA_FORMAT_I420, 3, 1, 2, 2, 1, {"i420", "yuv420p", "yuvj420p", "yuv420", "yu12"}},
    {VELA_FORMAT_YV12, 3, 1, 2, 2, 1, {"yv12", "yvu420"}},
    {VELA_FORMAT_I422, 3, 1, 2, 1, 1, {"i422", "yuv422p", "yuvj422p", "422p"}},
    {VELA_FORMAT_I444, 3, 1, 1, 1, 1, {"i444", "yuv444p", "yuvj444p", "444p"}},
    {VELA_FORMAT_NV12, 2, 1, 2, 2, 2, {"nv12"}},
    {VELA_FORMAT_NV21, 2, 1, 2, 2, 2, {"nv21"}},
    {VELA_FORMAT_NV16, 2, 1, 2, 1, 2, {"nv16"}},
    {VELA_FORMAT_NV61, 2, 1, 2, 1, 2, {"nv61"}},
    {VELA_FORMAT_YUYV, 1, 2, 0, 0, 0, {"yuyv", "yuyv422", "yuy2"}},
    {VELA_FORMAT_YVYU, 1, 2, 0, 0, 0, {"yvyu", "yvyu422"}},
    {VELA_FORMAT_UYVY, 1, 2, 0, 0, 0, {"uyvy", "uyvy422"}},
    {VELA_FORMAT_VYUY, 1, 2, 0, 0, 0, {"vyuy", "vyuy422"}},
};

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

const FrameFormat& formatOf(const std::string& given) {
    const std::string name = lowered(given);
    std::string known;
    for (const FrameFormat& format : kFormats) {
        for (const char* const one : format.names)
            if (one && name == one)
                return format;
        known += std::string(known.empty() ? "" : ", ") + format.names[0];
    }
    throw py::value_error("format is '" + given + "', not one of " + known);
}

int64_t rowBytes(const FrameFormat& format, int plane, int64_t width) {
    if (plane > 0)
        return (width + format.across - 1) / format.across * format.together;
    return format.format >= VELA_FORMAT_YUYV ? (width + 1) / 2 * 4 : width * format.bytes;
}

int64_t rowsOf(const FrameFormat& format, int plane, int64_t height) {
    return plane > 0 ? (height + format.down - 1) / format.down : height;
}

std::string words(const py::object& object) {
    return lowered(textOf(object));
}

VelaRange rangeOf(const py::object& range) {
    const std::string name = words(range);
    if (name != "full" && name != "limited")
        throw py::value_error("range is '" + name + "', not 'full' or 'limited'");
    return name == "full" ? VELA_RANGE_FULL : VELA_RANGE_LIMITED;
}

VelaMatrix matrixOf(const py::object& matrix) {
    const std::string name = words(matrix);
    if (name == "601" || name == "bt601")
        return VELA_MATRIX_BT601;
    if (name == "709" || name == "bt709")
        return VELA_MATRIX_BT709;
    throw py::value_error("matrix is '" + name + "', not '601' or '709'");
}

} // namespace

class FrameReader {
public:
    FrameReader(const FrameFormat& format, const py::object& size) : format_(format) {
        const char* const wanted = "size must be (width, height), two numbers from 1 to 65535";
        if (!py::isinstance<py::sequence>(size) || py::len(size) != 2)
            throw py::type_error(wanted);
        int64_t sides[2];
        for (size_t i = 0; i < 2; ++i) {
            if (!PyIndex_Check(py::object(size[py::int_(i)]).ptr()))
                throw py::type_error(wanted);
            sides[i] = nearestNumber(py::object(size[py::int_(i)]));
            if (sides[i] < 1 || sides[i] > 65535)
                throw py::value_error(std::string(wanted) + ", not " + textOf(size));
        }
        image().format = format.format;
        image().width = static_cast<int32_t>(sides[0]);
        image().height = static_cast<int32_t>(sides[1]);
    }

    VelaImage& image() { return picture_.image_; }

    void setStrides(const py::object& strides) {
        if (strides.is_none())
            return;
        if (PyIndex_Check(strides.ptr())) {
            strides_[0] = strideOf(strides);
            return;
        }
        if (!py::isinstance<py::sequence>(strides) || py::isinstance<py::str>(strides))
            throw py::type_error("strides must be a number, or one for each plane, of bytes");
        if (py::len(strides) < 1 || py::len(strides) > static_cast<size_t>(format_.planes))
            throw py::value_error("strides has " + std::to_string(py::len(strides)) +
                                  " numbers, the format has " + std::to_string(format_.planes) +
                                  " planes");
        for (size_t i = 0; i < py::len(strides); ++i)
            strides_[i] = strideOf(py::object(strides[py::int_(i)]));
    }

    /// All planes in one buffer, one after another.
    void readWhole(const py::object& buffer) {
        if (format_.planes == 1) {
            readPlane(0, buffer, "planes");
            return;
        }
        View view(buffer, "planes");
        if (!view.isDense() || view.dimensions() < 1 || view.dimensions() > 2)
            throw py::value_error(
                "planes has shape " + view.shapeText() +
                (view.isDense() ? ", not (bytes,) or (rows, bytes of a row of the first plane)"
                                : " and gaps; give a list with one array for each plane"));
        if (view.dimensions() == 2 && !strides_[0]) {
            checkRows(view);
            strides_[0] = view.shape()[1];
        }
        int64_t offset = 0;
        for (int p = 0; p < format_.planes; ++p) {
            const int64_t stride = strideIn(p), rows = rowsOf(format_, p, image().height);
            const int64_t end = offset + stride * (rows - 1) + rowBytes(format_, p, image().width);
            if (end > view.count())
                throw py::value_error("planes has " + std::to_string(view.count()) +
                                      " bytes; plane " + std::to_string(p) + " of " + what() +
                                      " ends at " + std::to_string(end));
            place(p, view.data() + offset, stride);
            offset += stride * rows;
        }
        picture_.views_.push_back(std::move(view));
    }

    void readEach(const py::sequence& buffers) {
        if (py::len(buffers) != static_cast<size_t>(format_.planes))
            throw py::value_error("planes has " + std::to_string(py::len(buffers)) + " buffers, " +
                                  format_.names[0] + " has " + std::to_string(format_.planes) +
                                  " planes");
        for (int p = 0; p < format_.planes; ++p)
            readPlane(p, py::object(buffers[py::int_(p)]), "planes[" + std::to_string(p) + "]");
    }

    Picture take() { return std::move(picture_); }

private:
    static int64_t strideOf(const py::object& stride) {
        if (!PyIndex_Check(stride.ptr()))
            throw py::type_error("strides must be whole numbers of bytes");
        const int64_t bytes = nearestNumber(stride);
        if (bytes < 1 || bytes > INT32_MAX)
            throw py::value_error("strides has " + std::to_string(bytes) +
                                  ", not 1 to 2147483647 bytes");
        return bytes;
    }

    /// The one given, else what follows from the first plane's.
    int64_t strideIn(int plane) const {
        const int64_t tight = rowBytes(format_, plane, picture_.image_.width);
        int64_t stride = tight;
        if (strides_[plane])
            stride = *strides_[plane];
        else if (plane > 0 && strides_[0])
            stride = std::max(tight, format_.together == format_.across
                                         ? *strides_[0]
                                         : (*strides_[0] + format_.across - 1) / format_.across);
        if (stride < tight)
            throw py::value_error("strides has " + std::to_string(stride) + " for plane " +
                                  std::to_string(plane) + " of " + what() + ", whose rows have " +
                                  std::to_string(tight) + " bytes");
        return stride;
    }

    /// An array of rows holds those of all planes, in rows of the first one's length.
    void checkRows(const View& view) const {
        const int64_t width = rowBytes(format_, 0, picture_.image_.width);
        const int64_t height = picture_.image_.height;
        const int64_t rows = height + rowsOf(format_, 1, height) * (format_.planes - 1) *
                                          format_.together / format_.across;
        if (view.shape()[0] != rows || view.shape()[1] < width)
            throw py::value_error("planes has shape " + view.shapeText() + "; " + what() +
                                  " has (" + std::to_string(rows) + ", " + std::to_string(width) +
                                  " or more)");
    }

    /// A buffer with one plane alone: flat, or an array whose first dimension are the rows.
    void readPlane(int plane, const py::object& buffer, const std::string& name) {
        View view(buffer, name);
        const int64_t bytes = rowBytes(format_, plane, image().width);
        const int64_t rows = rowsOf(format_, plane, image().height);
        if (view.dimensions() < 2 || strides_[plane]) {
            if (!view.isDense())
                throw py::value_error(name + " has gaps; strides are for buffers without");
            const int64_t stride = strideIn(plane), needed = stride * (rows - 1) + bytes;
            if (needed > view.count())
                throw py::value_error(name + " has " + std::to_string(view.count()) + " bytes; " +
                                      what() + " needs " + std::to_string(needed));
            place(plane, view.data(), stride);
        } else {
            const int64_t stride = view.strides()[0], step = stride < 0 ? -stride : stride;
            if (view.shape()[0] < rows || view.count(1) < bytes)
                throw py::value_error(name + " has shape " + view.shapeText() + "; " + what() +
                                      " needs " + std::to_string(rows) + " rows of " +
                                      std::to_string(bytes) + " bytes");
            if (!view.isDense(1) || (rows > 1 && (step < bytes || step > INT32_MAX)))
                throw py::value_error(name + " has gaps within its rows, or rows that overlap");
            place(plane, view.data(), rows > 1 ? stride : 0);
        }
        picture_.views_.push_back(std::move(view));
    }

    void place(int plane, const uint8_t* data, int64_t stride) {
        image().plane[plane] = data;
        image().stride[plane] = static_cast<ptrdiff_t>(stride);
    }

    std::string what() const {
        return std::string(format_.names[0]) + " of " + std::to_string(picture_.image_.width) +
               " x " + std::to_string(picture_.image_.height);
    }

    const FrameFormat& format_;
    std::optional<int64_t> strides_[3];
    Picture picture_;
};

Picture pictureOfFrame(const py::object& planes, const py::object& format, const py::object& size,
                       const py::object& strides, const py::object& range,
                       const py::object& matrix) {
    FrameReader reader(formatOf(stringArgument("format", format)), size);
    reader.image().range = rangeOf(range);
    reader.image().matrix = matrixOf(matrix);
    reader.setStrides(strides);
    if (py::isinstance<py::list>(planes) || py::isinstance<py::tuple>(planes))
        reader.readEach(planes);
    else
        reader.readWhole(planes);
    return reader.take();
}

} // namespace velajpeg_python
