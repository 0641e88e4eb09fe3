#include "scattered_pixels.h"

namespace velajpeg_python {
namespace {

template <int Samples>
void copyRow(const ScatteredPixels& from, const uint8_t* pixel, uint8_t* to) {
    for (int32_t x = 0; x < from.width; ++x, pixel += from.pixelStride)
        for (int c = 0; c < Samples; ++c)
            *to++ = pixel[c * from.sampleStride];
}

} // namespace

void ScatteredPixels::copyRows(int64_t first, int64_t count, uint8_t* to,
                               ptrdiff_t toStride) const {
    const auto copy = samples == 1 ? copyRow<1> : samples == 3 ? copyRow<3> : copyRow<4>;
    for (int64_t y = first; y < first + count; ++y, to += toStride)
        copy(*this, data + y * rowStride, to);
}

} // namespace velajpeg_python
