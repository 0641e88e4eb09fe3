// What a band of rows is converted with. One table per instruction set, all with the same results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vela {

/// RGB pixels, by the order of their bytes; packed words little-endian. X is not looked at.
enum class PixelOrder { rgb, bgr, rgbx, bgrx, xrgb, xbgr, rgb565, rgb555 };
inline constexpr int32_t kPixelOrders = 8;

/// Packed 4:2:2, by the order of the bytes of two pixels.
enum class PairOrder { yuyv, yvyu, uyvy, vyuy };
inline constexpr int32_t kPairOrders = 4;

/// Samples that are written after the last of an output row, at the most, so that kernels need no tail
/// there. Nothing is read after the last sample of an input row.
inline constexpr int32_t kOutputPadding = 64;

/// How YCbCr samples become full-range BT.601, in 1/2^14:
///     Y'  = luma * (Y - black) + lumaCb * (Cb - 128) + lumaCr * (Cr - 128)
///     Cb' = 128 + cbCb * (Cb - 128) + cbCr * (Cr - 128)
///     Cr' = 128 + crCb * (Cb - 128) + crCr * (Cr - 128)
/// each rounded to nearest once, and clamped to 0..255.
struct YcbcrAdjustment {
    int32_t black; // 0 or 16
    int32_t luma, lumaCb, lumaCr;
    int32_t cbCb, cbCr, crCb, crCr;
};

/// Width counts pixels, and is at least 1. JFIF's formula, each result rounded to nearest, a chroma sample
/// of several pixels once, from their sum; at an odd width the last pixel stands for its neighbour as well.
struct ColourRoutines {
    const char* name;          // of the instruction set
    uint32_t requiredFeatures; // a set of CpuFeature

    /// One row; chroma for each pixel, or, in the other one, for two: (width + 1) / 2 samples.
    void (*rgbTo444)(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y,
                     uint8_t* cb, uint8_t* cr);
    void (*rgbTo422)(const uint8_t* pixels, PixelOrder order, int32_t width, uint8_t* y,
                     uint8_t* cb, uint8_t* cr);
    /// Two rows, pixels[1] below pixels[0] (the same row twice at the bottom of an odd height); chroma of
    /// two by two pixels.
    void (*rgbTo420)(const uint8_t* const pixels[2], PixelOrder order, int32_t width,
                     uint8_t* const y[2], uint8_t* cb, uint8_t* cr);

    /// A row of packed 4:2:2, (width + 1) / 2 groups of 4 bytes, into its planes.
    void (*splitPacked422)(const uint8_t* row, PairOrder order, int32_t width, uint8_t* y,
                           uint8_t* cb, uint8_t* cr);
    /// Pairs of bytes into two planes: bytes 0, 2, 4 .. and bytes 1, 3, 5 ..
    void (*splitPairs)(const uint8_t* pairs, int32_t count, uint8_t* first, uint8_t* second);

    /// A row of luminance, in place or not, by the chroma that belongs to it before its own adjustment:
    /// one sample per pixel, or, where halved, for two. Chroma is not read where lumaCb and lumaCr are 0.
    void (*adjustLuma)(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, bool halved,
                       int32_t width, const YcbcrAdjustment& by, uint8_t* out);
    /// Count samples of each chroma plane, in place or not.
    void (*adjustChroma)(const uint8_t* cb, const uint8_t* cr, int32_t count,
                         const YcbcrAdjustment& by, uint8_t* cbOut, uint8_t* crOut);
};

/// Those of the instruction sets in this build, best first, the plain one last.
std::span<const ColourRoutines* const> colourRoutineTables();

/// The best that this machine can run.
const ColourRoutines& colourRoutinesOfThisMachine();

} // namespace vela
