// Level shift and block layout of planar, semi-planar and grey MCUs on NEON. Samples become what the plain
// versions (planar_plain.cpp) make of them.
#pragma once

#include <arm_neon.h>

#include <cstddef>

#include "cpu/isa.h"

namespace vela::VELA_ISA {
namespace {

/// Stores eight samples, level-shifted.
inline void storeShifted(int16_t* dst, uint8x8_t samples) {
    vst1q_s16(dst, vreinterpretq_s16_u16(vsubl_u8(samples, vdup_n_u8(128))));
}

inline void convertBlock(const uint8_t* src, ptrdiff_t step, int16_t* dst) {
    for (int32_t y = 0; y < 8; y++, src += step)
        storeShifted(dst + 8 * y, vld1_u8(src));
}

/// Luminance blocks of an MCU 16 pixels wide and 8 or 16 high.
inline void convertWideLuma(const uint8_t* src, ptrdiff_t step, int32_t height, int16_t* dst) {
    for (; height > 0; height -= 8, dst += 128) {
        for (int32_t y = 0; y < 8; y++, src += step) {
            const uint8x16_t samples = vld1q_u8(src);
            storeShifted(dst + 8 * y, vget_low_u8(samples));
            storeShifted(dst + 8 * y + 64, vget_high_u8(samples));
        }
    }
}

/// Eight pairs of bytes: the first ones of the pairs to one block's row, the second ones to another's.
inline void convertPairs(const uint8_t* src, int16_t* first, int16_t* second) {
    const uint8x8x2_t pairs = vld2_u8(src); // a0 b0 a1 b1 .. to a0..a7, b0..b7
    storeShifted(first, pairs.val[0]);
    storeShifted(second, pairs.val[1]);
}

} // namespace
} // namespace vela::VELA_ISA
