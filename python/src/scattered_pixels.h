// Pixels that do not lie one after another.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velajpeg_python {

/// Brought into rows that have no gaps, some rows at a time.
struct ScatteredPixels {
    const uint8_t* data;
    int64_t rowStride, pixelStride, sampleStride; // in bytes
    int32_t width, samples;                       // samples of a pixel

    void copyRows(int64_t first, int64_t count, uint8_t* to, ptrdiff_t toStride) const;
};

} // namespace velajpeg_python
