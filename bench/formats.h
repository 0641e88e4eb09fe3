// The input formats that are compared, and a picture's samples in one of them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "bench/pictures.h"
#include "vela/jpegenc.h"

namespace bench {

enum class Layout : uint8_t { packed, planar, semiPlanar, grey };

struct Format {
    std::string_view name;
    Layout layout;
    uint32_t colorFormat; // JPEG_CF_*
    uint32_t subsampling; // ENC_SUBSAMPLE_*
    int turboSubsampling; // TJSAMP_*
    bool crFirst = false; // semi-planar: pairs of Cr, Cb
};

extern const std::array<Format, 9> kFormats;

/// Null where there is none of that name.
const Format* findFormat(std::string_view name);

struct SamplePlane {
    std::vector<uint8_t> samples;
    int32_t step; // bytes from row to row
};

/// One picture's samples as both encoders get them. YCbCr is made from B, G, R by TurboJPEG.
struct FormatPicture {
    FormatPicture(const Format& format, const SourcePicture& source);

    Format format;
    int32_t width, height;            // in pixels
    std::array<SamplePlane, 3> plane; // those after the format's last one are empty

    /// Our description of it; nothing is written through its pointers.
    Picture_JPEG record() const;
};

/// Columns and rows of a Y (0), Cb (1) or Cr (2) plane.
int32_t planeWidth(int component, int32_t width, int turboSubsampling);
int32_t planeHeight(int component, int32_t height, int turboSubsampling);

/// Planes Y, Cb, Cr become Y and pairs of chroma samples.
void interleaveChroma(std::array<SamplePlane, 3>& planes, bool crFirst);

} // namespace bench
