// The formats of the easy layer: what their planes hold, and where the core knows them.
#pragma once

#include <cstdint>

#include "easy/colour/routines.h"
#include "vela/easy.h"

namespace vela::easy {

enum class Layout {
    grey,
    rgb,        // one plane of pixels, in PixelOrder
    packed422,  // one plane of groups of 4 bytes for 2 pixels, in PairOrder
    semiPlanar, // Y, and pairs of chroma
    planar      // Y, and two planes of chroma
};

struct PictureFormat {
    VelaFormat code;
    Layout layout;
    int32_t pixelBytes; // in plane 0, per pixel
    /// How the chroma of YCbCr formats is halved; VELA_SUBSAMPLING_AUTO for others.
    VelaSubsampling subsampling;
    bool crFirst; // planar and semi-planar: Cr stands before Cb
    int32_t
        coreCode; // JPEG_CF_* of what the core takes as it is (planes of chroma swapped), else -1
    PixelOrder pixels;
    PairOrder pairs;

    int32_t planes() const {
        return layout == Layout::planar ? 3 : layout == Layout::semiPlanar ? 2 : 1;
    }
    bool isYcbcr() const { return layout != Layout::grey && layout != Layout::rgb; }

    /// Of one row of a plane, in a picture of that width.
    int64_t rowBytes(int32_t plane, int32_t width) const;
    /// Of a plane that belong to rows of luminance.
    int32_t planeRows(int32_t plane, int32_t rows) const {
        return plane > 0 && subsampling == VELA_SUBSAMPLING_420 ? (rows + 1) / 2 : rows;
    }
};

/// Null for a code that is none.
const PictureFormat* pictureFormatOf(int32_t code);

} // namespace vela::easy
