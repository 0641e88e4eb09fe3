// The sample blocks that the input routines fill.
#pragma once

#include <cstddef>
#include <cstdint>

#include "state/encoder_state.h"

namespace vela {

inline constexpr int32_t kBlockRow = 8; // samples in a row of a block

inline int16_t levelShift(uint8_t sample) {
    return static_cast<int16_t>(sample - 128);
}

/// One block from every pitch-th byte of 8 rows.
template <int32_t pitch>
void levelShiftBlock(const uint8_t* src, ptrdiff_t step, int16_t* dst) {
    for (int32_t y = 0; y < 8; y++)
        for (int32_t x = 0; x < 8; x++)
            dst[kBlockRow * y + x] = levelShift(src[y * step + pitch * x]);
}

} // namespace vela
