#include "gstreamer/input_picture.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace vela::gst {
namespace {

struct Format {
    GstVideoFormat theirs;
    VelaFormat ours;
};

/// In the order that caps have them, where elements that can give several look for the first: what takes
/// the least work, but grey and 16 bits last, since they lose something.
constexpr Format kFormats[] = {
    {GST_VIDEO_FORMAT_NV12, VELA_FORMAT_NV12},    {GST_VIDEO_FORMAT_I420, VELA_FORMAT_I420},
    {GST_VIDEO_FORMAT_YV12, VELA_FORMAT_YV12},    {GST_VIDEO_FORMAT_NV21, VELA_FORMAT_NV21},
    {GST_VIDEO_FORMAT_Y42B, VELA_FORMAT_I422},    {GST_VIDEO_FORMAT_NV16, VELA_FORMAT_NV16},
    {GST_VIDEO_FORMAT_NV61, VELA_FORMAT_NV61},    {GST_VIDEO_FORMAT_YUY2, VELA_FORMAT_YUYV},
    {GST_VIDEO_FORMAT_UYVY, VELA_FORMAT_UYVY},    {GST_VIDEO_FORMAT_YVYU, VELA_FORMAT_YVYU},
    {GST_VIDEO_FORMAT_VYUY, VELA_FORMAT_VYUY},    {GST_VIDEO_FORMAT_Y444, VELA_FORMAT_I444},
    {GST_VIDEO_FORMAT_BGRx, VELA_FORMAT_BGRX32},  {GST_VIDEO_FORMAT_RGBx, VELA_FORMAT_RGBX32},
    {GST_VIDEO_FORMAT_xBGR, VELA_FORMAT_XBGR32},  {GST_VIDEO_FORMAT_xRGB, VELA_FORMAT_XRGB32},
    {GST_VIDEO_FORMAT_BGRA, VELA_FORMAT_BGRX32},  {GST_VIDEO_FORMAT_RGBA, VELA_FORMAT_RGBX32},
    {GST_VIDEO_FORMAT_ABGR, VELA_FORMAT_XBGR32},  {GST_VIDEO_FORMAT_ARGB, VELA_FORMAT_XRGB32},
    {GST_VIDEO_FORMAT_BGR, VELA_FORMAT_BGR24},    {GST_VIDEO_FORMAT_RGB, VELA_FORMAT_RGB24},
#if G_BYTE_ORDER == G_LITTLE_ENDIAN // theirs are words of the machine
    {GST_VIDEO_FORMAT_RGB16, VELA_FORMAT_RGB565}, {GST_VIDEO_FORMAT_RGB15, VELA_FORMAT_RGB555},
#endif
    {GST_VIDEO_FORMAT_GRAY8, VELA_FORMAT_GRAY8},
};

/// The caps name no other; 0 is refused by the easy layer.
VelaFormat formatOf(GstVideoFormat theirs) {
    const auto* const found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [theirs](const Format& format) { return format.theirs == theirs; });
    return found != std::end(kFormats) ? found->ours : VelaFormat{};
}

VelaRange rangeOf(const GstVideoColorimetry& colorimetry) {
    return colorimetry.range == GST_VIDEO_COLOR_RANGE_16_235 ? VELA_RANGE_LIMITED : VELA_RANGE_FULL;
}

/// The one of the two whose weights are nearer.
VelaMatrix matrixOf(const GstVideoColorimetry& colorimetry) {
    switch (colorimetry.matrix) {
    case GST_VIDEO_COLOR_MATRIX_BT709:
    case GST_VIDEO_COLOR_MATRIX_SMPTE240M:
    case GST_VIDEO_COLOR_MATRIX_BT2020:
        return VELA_MATRIX_BT709;
    case GST_VIDEO_COLOR_MATRIX_UNKNOWN:
    case GST_VIDEO_COLOR_MATRIX_RGB:
    case GST_VIDEO_COLOR_MATRIX_FCC:
    case GST_VIDEO_COLOR_MATRIX_BT601:
        break;
    }
    return VELA_MATRIX_BT601;
}

/// How a plane lies in memory. Several components of a packed plane may be of different widths.
struct PlaneShape {
    gint acrossShift = 0, downShift = 0; // of the position of a pixel
    gint pixelBytes = 0;                 // at that shift
    gint rowBytes = 0, rows = 0;
};

PlaneShape shapeOf(const GstVideoFormatInfo* format, guint plane, gint width, gint height) {
    PlaneShape shape;
    for (guint c = 0; c < GST_VIDEO_FORMAT_INFO_N_COMPONENTS(format); c++) {
        if (GST_VIDEO_FORMAT_INFO_PLANE(format, c) != plane)
            continue;
        const gint pixelBytes = GST_VIDEO_FORMAT_INFO_PSTRIDE(format, c);
        const gint rowBytes = GST_VIDEO_FORMAT_INFO_SCALE_WIDTH(format, c, width) * pixelBytes;
        if (rowBytes >= shape.rowBytes)
            shape = {gint(GST_VIDEO_FORMAT_INFO_W_SUB(format, c)),
                     gint(GST_VIDEO_FORMAT_INFO_H_SUB(format, c)), pixelBytes, rowBytes,
                     GST_VIDEO_FORMAT_INFO_SCALE_HEIGHT(format, c, height)};
    }
    return shape;
}

/// What is to be seen of a frame. A crop that begins between two samples of chroma begins one pixel earlier.
GstVideoRectangle regionOf(const GstVideoFrame& frame, const GstVideoInfo& info) {
    const gint64 frameWidth = GST_VIDEO_FRAME_WIDTH(&frame);
    const gint64 frameHeight = GST_VIDEO_FRAME_HEIGHT(&frame);
    gint64 x = 0, y = 0, width = GST_VIDEO_INFO_WIDTH(&info), height = GST_VIDEO_INFO_HEIGHT(&info);
    if (const GstVideoCropMeta* const crop = gst_buffer_get_video_crop_meta(frame.buffer)) {
        x = crop->x;
        y = crop->y;
        width = crop->width;
        height = crop->height;
    }
    if (frame.info.finfo->n_components > 1) {
        x &= -(gint64{1} << GST_VIDEO_FORMAT_INFO_W_SUB(frame.info.finfo, 1));
        y &= -(gint64{1} << GST_VIDEO_FORMAT_INFO_H_SUB(frame.info.finfo, 1));
    }
    width = std::min(width, frameWidth - x);
    height = std::min(height, frameHeight - y);
    return {gint(std::min(x, frameWidth)), gint(std::min(y, frameHeight)),
            gint(std::max(width, gint64{0})), gint(std::max(height, gint64{0}))};
}

} // namespace

GstCaps* inputCaps(VelaSubsampling subsampling) {
    GValue names = G_VALUE_INIT;
    g_value_init(&names, GST_TYPE_LIST);
    for (const Format& format : kFormats) {
        const VelaSubsampling own = subsamplingOf(format.theirs);
        if (subsampling != VELA_SUBSAMPLING_AUTO && own != VELA_SUBSAMPLING_AUTO &&
            own != subsampling)
            continue;
        GValue name = G_VALUE_INIT;
        g_value_init(&name, G_TYPE_STRING);
        g_value_set_static_string(&name, gst_video_format_to_string(format.theirs));
        gst_value_list_append_and_take_value(&names, &name);
    }
    GstCaps* const caps = gst_caps_new_empty_simple("video/x-raw");
    gst_caps_set_value(caps, "format", &names);
    gst_caps_set_simple(caps, "width", GST_TYPE_INT_RANGE, 1, 65535, "height", GST_TYPE_INT_RANGE,
                        1, 65535, "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
    g_value_unset(&names);
    return caps;
}

VelaSubsampling subsamplingOf(GstVideoFormat format) {
    const GstVideoFormatInfo* const info = gst_video_format_get_info(format);
    if (!GST_VIDEO_FORMAT_INFO_IS_YUV(info))
        return VELA_SUBSAMPLING_AUTO;
    if (GST_VIDEO_FORMAT_INFO_W_SUB(info, 1) == 0)
        return VELA_SUBSAMPLING_444;
    return GST_VIDEO_FORMAT_INFO_H_SUB(info, 1) == 0 ? VELA_SUBSAMPLING_422 : VELA_SUBSAMPLING_420;
}

const char* subsamplingName(VelaSubsampling subsampling) {
    switch (subsampling) {
    case VELA_SUBSAMPLING_444:
        return "4:4:4";
    case VELA_SUBSAMPLING_422:
        return "4:2:2";
    case VELA_SUBSAMPLING_420:
        return "4:2:0";
    case VELA_SUBSAMPLING_AUTO:
        break;
    }
    return "auto";
}

InputPicture::~InputPicture() {
    if (mapped_)
        gst_video_frame_unmap(&frame_);
}

char* InputPicture::map(const GstVideoInfo& info, GstBuffer* buffer) {
    const char* const format = gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info));
    mapped_ =
        gst_video_frame_map(&frame_, &info, buffer,
                            GstMapFlags(int{GST_MAP_READ} | int{GST_VIDEO_FRAME_MAP_FLAG_NO_REF}));
    if (!mapped_)
        return g_strdup_printf(
            "a buffer of %" G_GSIZE_FORMAT
            " bytes cannot be read as a frame of %s, %d x %d pixels, which has %" G_GSIZE_FORMAT,
            gst_buffer_get_size(buffer), format, GST_VIDEO_INFO_WIDTH(&info),
            GST_VIDEO_INFO_HEIGHT(&info), GST_VIDEO_INFO_SIZE(&info));
    if (GST_VIDEO_FRAME_FORMAT(&frame_) != GST_VIDEO_INFO_FORMAT(&info))
        return g_strdup_printf("the buffer's GstVideoMeta says %s, its caps say %s",
                               gst_video_format_to_string(GST_VIDEO_FRAME_FORMAT(&frame_)), format);

    const GstVideoRectangle region = regionOf(frame_, info);
    if (region.w == 0 || region.h == 0)
        return g_strdup_printf("the crop begins at %d, %d, outside a frame of %d x %d pixels",
                               region.x, region.y, GST_VIDEO_FRAME_WIDTH(&frame_),
                               GST_VIDEO_FRAME_HEIGHT(&frame_));
    image_.format = formatOf(GST_VIDEO_INFO_FORMAT(&info));
    image_.width = region.w;
    image_.height = region.h;
    image_.range = rangeOf(GST_VIDEO_INFO_COLORIMETRY(&info));
    image_.matrix = matrixOf(GST_VIDEO_INFO_COLORIMETRY(&info));
    return takePlanes(region);
}

/// Null, or which plane is longer than its memory. A GstVideoMeta is not held against that by anybody else.
char* InputPicture::takePlanes(const GstVideoRectangle& region) {
    for (guint p = 0; p < GST_VIDEO_FRAME_N_PLANES(&frame_); p++) {
        const PlaneShape shape = shapeOf(frame_.info.finfo, p, region.w, region.h);
        const gint64 stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, p);
        // Without a GstVideoMeta one map holds all planes.
        const GstMapInfo& memory = frame_.map[frame_.meta != nullptr ? p : 0];
        const gint64 start = static_cast<guint8*>(frame_.data[p]) - memory.data +
                             (region.y >> shape.downShift) * stride +
                             (region.x >> shape.acrossShift) * gint64{shape.pixelBytes};
        const gint64 toLast = (shape.rows - 1) * stride;
        if (start + std::min(gint64{0}, toLast) < 0 ||
            start + std::max(gint64{0}, toLast) + shape.rowBytes > gint64(memory.size))
            return g_strdup_printf("plane %u has %d rows of %d bytes, %" G_GINT64_FORMAT
                                   " from row to row, from byte %" G_GINT64_FORMAT
                                   " on, more than its memory of %" G_GSIZE_FORMAT " bytes",
                                   p, shape.rows, shape.rowBytes, stride, start, memory.size);
        if (std::abs(stride) < shape.rowBytes && shape.rows > 1)
            return g_strdup_printf("plane %u has %" G_GINT64_FORMAT
                                   " bytes from row to row, less than the %d of a row",
                                   p, stride, shape.rowBytes);
        image_.plane[p] = memory.data + start;
        image_.stride[p] = shape.rows > 1 ? ptrdiff_t(stride) : 0;
    }
    return nullptr;
}

} // namespace vela::gst
