// What the code needs to know of each input format, in one place.
#pragma once

#include <cstdint>

#include "vela/jpegenc.h"

namespace vela {

enum class PlaneLayout : uint8_t {
    unknown,
    singlePlane, ///< packed pixels or grey
    planar,      ///< Y, Cb, Cr
    semiPlanar   ///< Y, then interleaved chroma
};

struct ColorFormat {
    PlaneLayout layout;
    int32_t planes;
    int32_t bytesPerPixel;  ///< of a single-plane format, else 0
    int32_t componentCount; ///< 1 or 3
    bool ownSubsampling;    ///< the format's subsampling is fixed
    uint32_t subsampling;   ///< ENC_SUBSAMPLE_*, where it is
};

constexpr ColorFormat colorFormatOf(uint32_t code) {
    switch (code) {
    case JPEG_CF_BGR888:
        return {PlaneLayout::singlePlane, 1, 3, 3, false, 0};
    case JPEG_CF_BGR555:
    case JPEG_CF_BGR565:
        return {PlaneLayout::singlePlane, 1, 2, 3, false, 0};
    case JPEG_CF_YCBCR444_P3:
        return {PlaneLayout::planar, 3, 0, 3, true, ENC_SUBSAMPLE_444};
    case JPEG_CF_YCBCR422_P3:
        return {PlaneLayout::planar, 3, 0, 3, true, ENC_SUBSAMPLE_422};
    case JPEG_CF_YCBCR411_P3:
        return {PlaneLayout::planar, 3, 0, 3, true, ENC_SUBSAMPLE_420};
    case JPEG_CF_GRAY8:
        return {PlaneLayout::singlePlane, 1, 1, 1, true, ENC_SUBSAMPLE_444};
    case JPEG_CF_NV12:
    case JPEG_CF_NV21:
        return {PlaneLayout::semiPlanar, 2, 0, 3, true, ENC_SUBSAMPLE_420};
    default:
        return {PlaneLayout::unknown, 0, 0, 0, false, 0};
    }
}

/// Sampling factors of the luminance component; those of the chroma components are 1 x 1.
struct LumaFactors {
    int32_t h; ///< 0 for an unknown subsampling
    int32_t v;
};

constexpr LumaFactors lumaFactorsOf(uint32_t subsampling) {
    switch (subsampling) {
    case ENC_SUBSAMPLE_444:
        return {1, 1};
    case ENC_SUBSAMPLE_422:
        return {2, 1};
    case ENC_SUBSAMPLE_420:
        return {2, 2};
    default:
        return {0, 0};
    }
}

} // namespace vela
