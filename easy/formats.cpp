#include "easy/formats.h"

namespace vela::easy {
namespace {

constexpr PictureFormat rgb(VelaFormat code, int32_t pixelBytes, PixelOrder order) {
    return {code, Layout::rgb, pixelBytes, VELA_SUBSAMPLING_AUTO, false, -1, order, {}};
}

constexpr PictureFormat packed(VelaFormat code, PairOrder order) {
    return {code, Layout::packed422, 2, VELA_SUBSAMPLING_422, false, -1, {}, order};
}

constexpr PictureFormat planes(VelaFormat code, Layout layout, VelaSubsampling subsampling,
                               bool crFirst, int32_t coreCode) {
    return {code, layout, 1, subsampling, crFirst, coreCode, {}, {}};
}

constexpr PictureFormat kFormats[] = {
    planes(VELA_FORMAT_GRAY8, Layout::grey, VELA_SUBSAMPLING_AUTO, false, JPEG_CF_GRAY8),
    rgb(VELA_FORMAT_RGB24, 3, PixelOrder::rgb),
    rgb(VELA_FORMAT_BGR24, 3, PixelOrder::bgr),
    rgb(VELA_FORMAT_RGBX32, 4, PixelOrder::rgbx),
    rgb(VELA_FORMAT_BGRX32, 4, PixelOrder::bgrx),
    rgb(VELA_FORMAT_XRGB32, 4, PixelOrder::xrgb),
    rgb(VELA_FORMAT_XBGR32, 4, PixelOrder::xbgr),
    rgb(VELA_FORMAT_RGB565, 2, PixelOrder::rgb565),
    rgb(VELA_FORMAT_RGB555, 2, PixelOrder::rgb555),
    planes(VELA_FORMAT_I420, Layout::planar, VELA_SUBSAMPLING_420, false, JPEG_CF_YCBCR411_P3),
    planes(VELA_FORMAT_YV12, Layout::planar, VELA_SUBSAMPLING_420, true, JPEG_CF_YCBCR411_P3),
    planes(VELA_FORMAT_I422, Layout::planar, VELA_SUBSAMPLING_422, false, JPEG_CF_YCBCR422_P3),
    planes(VELA_FORMAT_I444, Layout::planar, VELA_SUBSAMPLING_444, false, JPEG_CF_YCBCR444_P3),
    planes(VELA_FORMAT_NV12, Layout::semiPlanar, VELA_SUBSAMPLING_420, false, JPEG_CF_NV12),
    planes(VELA_FORMAT_NV21, Layout::semiPlanar, VELA_SUBSAMPLING_420, true, JPEG_CF_NV21),
    planes(VELA_FORMAT_NV16, Layout::semiPlanar, VELA_SUBSAMPLING_422, false, -1),
    planes(VELA_FORMAT_NV61, Layout::semiPlanar, VELA_SUBSAMPLING_422, true, -1),
    packed(VELA_FORMAT_YUYV, PairOrder::yuyv),
    packed(VELA_FORMAT_YVYU, PairOrder::yvyu),
    packed(VELA_FORMAT_UYVY, PairOrder::uyvy),
    packed(VELA_FORMAT_VYUY, PairOrder::vyuy),
};

} // namespace

int64_t PictureFormat::rowBytes(int32_t plane, int32_t width) const {
    const int64_t columns = int64_t{width} + (width & 1);
    if (layout == Layout::packed422)
        return 2 * columns;
    if (plane == 0)
        return int64_t{width} * pixelBytes;
    if (layout == Layout::semiPlanar)
        return columns;
    return subsampling == VELA_SUBSAMPLING_444 ? width : columns / 2;
}

const PictureFormat* pictureFormatOf(int32_t code) {
    for (const PictureFormat& format : kFormats)
        if (format.code == code)
            return &format;
    return nullptr;
}

} // namespace vela::easy
