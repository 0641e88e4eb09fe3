#include "cli/input/frames.h"

#include <string>

#include "cli/failure.h"

namespace cli {
namespace {

struct Shape {
    int planes;
    int pixelBytes;   // of plane 0
    int across, down; // by which chroma is halved
};

Shape shapeOf(VelaFormat format) {
    switch (format) {
    case VELA_FORMAT_GRAY8:
        return {1, 1, 1, 1};
    case VELA_FORMAT_RGB24:
    case VELA_FORMAT_BGR24:
        return {1, 3, 1, 1};
    case VELA_FORMAT_RGBX32:
    case VELA_FORMAT_BGRX32:
    case VELA_FORMAT_XRGB32:
    case VELA_FORMAT_XBGR32:
        return {1, 4, 1, 1};
    case VELA_FORMAT_RGB565:
    case VELA_FORMAT_RGB555:
        return {1, 2, 1, 1};
    case VELA_FORMAT_I420:
    case VELA_FORMAT_YV12:
        return {3, 1, 2, 2};
    case VELA_FORMAT_I422:
        return {3, 1, 2, 1};
    case VELA_FORMAT_I444:
        return {3, 1, 1, 1};
    case VELA_FORMAT_NV12:
    case VELA_FORMAT_NV21:
        return {2, 1, 2, 2};
    case VELA_FORMAT_NV16:
    case VELA_FORMAT_NV61:
        return {2, 1, 2, 1};
    case VELA_FORMAT_YUYV:
    case VELA_FORMAT_YVYU:
    case VELA_FORMAT_UYVY:
    case VELA_FORMAT_VYUY:
        return {1, 2, 2, 1};
    }
    throw Failure("no such format"); // not reached
}

} // namespace

int64_t FrameLayout::bytes() const {
    int64_t sum = 0;
    for (int p = 0; p < planes; p++)
        sum += plane[size_t(p)].bytes();
    return sum;
}

void FrameLayout::place(VelaImage& image, const uint8_t* samples) const {
    for (size_t p = 0; p < size_t(planes); p++) {
        const FramePlane& one = plane[p];
        image.plane[p] = samples + (one.step < 0 ? one.bytes() + one.step : 0);
        image.stride[p] = static_cast<ptrdiff_t>(one.step);
        samples += one.bytes();
    }
}

FrameLayout frameLayout(VelaFormat format, int32_t width, int32_t height,
                        const std::vector<int32_t>& steps) {
    const Shape shape = shapeOf(format);
    if (steps.size() > size_t(shape.planes))
        throw UsageError("--step: " + std::to_string(steps.size()) +
                         " steps given, but the format has " + std::to_string(shape.planes) +
                         " plane(s)");
    FrameLayout layout{shape.planes, {}};
    for (int p = 0; p < shape.planes; p++) {
        FramePlane& plane = layout.plane[size_t(p)];
        // Rounded up: an odd row ends in half a chroma sample.
        const auto chroma = [&](int64_t luma) {
            return (luma + shape.across - 1) / shape.across * (shape.planes == 2 ? 2 : 1);
        };
        const int64_t columns =
            shape.planes == 1 ? (width + shape.across - 1) / shape.across * shape.across : width;
        plane.rowBytes = p == 0 ? columns * shape.pixelBytes : chroma(width);
        plane.rows = p == 0 ? height : (height + shape.down - 1) / shape.down;
        plane.step = size_t(p) < steps.size() ? steps[size_t(p)]
                     : p == 0                 ? plane.rowBytes
                                              : chroma(layout.plane[0].step);
        if (plane.step < 0 && shape.planes > 1)
            throw UsageError(
                "--step: rows of a format of several planes cannot be stored bottom-up");
        if ((plane.step < 0 ? -plane.step : plane.step) < plane.rowBytes)
            throw UsageError("--step: " + std::to_string(plane.step) + " for plane " +
                             std::to_string(p) + " is less than a row's " +
                             std::to_string(plane.rowBytes) + " bytes");
    }
    return layout;
}

} // namespace cli
