#include "cli/input/raw_formats.h"

#include <strings.h>

#include <algorithm>
#include <vector>

#include "cli/failure.h"

namespace cli {
namespace {

struct RawFormat {
    VelaFormat format;
    std::vector<const char*> names; // ours first, then others' where they differ by more than case
    const char* what;
};

const std::vector<RawFormat>& rawFormats() {
    static const std::vector<RawFormat> formats = {
        {VELA_FORMAT_GRAY8, {"gray", "gray8", "GREY"}, "one byte per pixel"},
        {VELA_FORMAT_RGB24, {"rgb24", "RGB3"}, "R, G, B bytes"},
        {VELA_FORMAT_BGR24, {"bgr24", "bgr888", "BGR3"}, "B, G, R bytes"},
        {VELA_FORMAT_RGBX32,
         {"rgb0", "rgba", "rgbx", "rgbx32", "XB24", "AB24"},
         "R, G, B and a byte that is ignored"},
        {VELA_FORMAT_BGRX32,
         {"bgr0", "bgra", "bgrx", "bgrx32", "XR24", "AR24"},
         "B, G, R and a byte"},
        {VELA_FORMAT_XRGB32,
         {"0rgb", "argb", "xrgb", "xrgb32", "BX24", "BA24"},
         "a byte and R, G, B"},
        {VELA_FORMAT_XBGR32,
         {"0bgr", "abgr", "xbgr", "xbgr32", "RX24", "RA24"},
         "a byte and B, G, R"},
        {VELA_FORMAT_RGB565, {"rgb565le", "rgb565", "RGBP"}, "16-bit words, red in the high bits"},
        {VELA_FORMAT_RGB555,
         {"rgb555le", "rgb555", "XR15", "RGBO"},
         "the same with 5 bits of green"},
        {VELA_FORMAT_I420, {"yuv420p", "i420", "yuvj420p", "YU12"}, "4:2:0, planes Y, Cb, Cr"},
        {VELA_FORMAT_YV12, {"yv12"}, "4:2:0, planes Y, Cr, Cb"},
        {VELA_FORMAT_I422, {"yuv422p", "i422", "yuvj422p", "422P"}, "4:2:2, planes Y, Cb, Cr"},
        {VELA_FORMAT_I444, {"yuv444p", "i444", "yuvj444p", "444P"}, "4:4:4, planes Y, Cb, Cr"},
        {VELA_FORMAT_NV12, {"nv12"}, "4:2:0, plane Y, then Cb, Cr pairs"},
        {VELA_FORMAT_NV21, {"nv21"}, "4:2:0, plane Y, then Cr, Cb pairs"},
        {VELA_FORMAT_NV16, {"nv16"}, "4:2:2, plane Y, then Cb, Cr pairs"},
        {VELA_FORMAT_NV61, {"nv61"}, "4:2:2, plane Y, then Cr, Cb pairs"},
        {VELA_FORMAT_YUYV, {"yuyv422", "yuyv", "YUY2"}, "4:2:2, bytes Y Cb Y Cr"},
        {VELA_FORMAT_YVYU, {"yvyu422", "yvyu"}, "4:2:2, bytes Y Cr Y Cb"},
        {VELA_FORMAT_UYVY, {"uyvy422", "uyvy"}, "4:2:2, bytes Cb Y Cr Y"},
        {VELA_FORMAT_VYUY, {"vyuy422", "vyuy"}, "4:2:2, bytes Cr Y Cb Y"},
    };
    return formats;
}

} // namespace

VelaFormat rawFormat(const std::string& name) {
    // What ffmpeg calls bgr565le has blue in the high bits; until version 1.0 of this command the name stood
    // for the other order here.
    if (strcasecmp(name.c_str(), "bgr565") == 0 || strcasecmp(name.c_str(), "bgr555") == 0)
        throw UsageError("--raw: '" + name +
                         "' meant red in the high bits here, which everybody else calls rgb" +
                         name.substr(3) + "le: give that name");
    std::string known;
    for (const RawFormat& format : rawFormats()) {
        for (const char* const one : format.names)
            if (strcasecmp(name.c_str(), one) == 0)
                return format.format;
        known += std::string(known.empty() ? "" : ", ") + format.names[0];
    }
    throw UsageError("--raw: '" + name + "' is not one of " + known);
}

std::string rawFormatList() {
    std::string list;
    for (const RawFormat& format : rawFormats()) {
        std::string names = "  ";
        for (const char* const name : format.names)
            names += std::string(name) + " ";
        names.resize(std::max<size_t>(names.size(), 34), ' ');
        list += names + format.what + "\n";
    }
    return list;
}

} // namespace cli
