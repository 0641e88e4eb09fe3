// Level shift and block layout of planar, semi-planar and grey MCUs on x86 vectors. Samples become what
// the plain versions (planar_plain.cpp) make of them.
#pragma once

#include <cstddef>

#include "cpu/vectors_x86.h"

namespace vela::VELA_ISA {
namespace {

/// Samples in 16-bit elements, level-shifted.
template <class V>
VELA_INLINE V levelShift(V samples) {
    return sub16(samples, V::set16(128));
}

inline void convertBlock(const uint8_t* src, ptrdiff_t step, int16_t* dst) {
    for (int32_t y = 0; y < 8; y++) {
        const auto* const row = reinterpret_cast<const __m128i*>(src + y * step);
        levelShift(V128{_mm_cvtepu8_epi16(_mm_loadl_epi64(row))}).store(dst + 8 * y);
    }
}

/// Sixteen samples of a row, to two blocks side by side.
inline void convertSixteen(const uint8_t* src, int16_t* dst) {
    const V128 samples = V128::load(src);
#ifdef __AVX2__
    const V256 shifted = levelShift(V256{_mm256_cvtepu8_epi16(samples.raw)});
    shifted.low().store(dst);
    shifted.high().store(dst + 64);
#else
    levelShift(V128{_mm_cvtepu8_epi16(samples.raw)}).store(dst);
    levelShift(V128{_mm_unpackhi_epi8(samples.raw, _mm_setzero_si128())}).store(dst + 64);
#endif
}

/// Luminance blocks of an MCU 16 pixels wide and 8 or 16 high.
inline void convertWideLuma(const uint8_t* src, ptrdiff_t step, int32_t height, int16_t* dst) {
    for (int32_t y = 0; y < height; y++)
        convertSixteen(src + y * step, dst + 128 * (y / 8) + 8 * (y % 8));
}

/// Eight pairs of bytes: the first ones of the pairs to one block's row, the second ones to another's.
inline void convertPairs(const uint8_t* src, int16_t* first, int16_t* second) {
    const V128 pairs = V128::load(src); // a0 b0 a1 b1 .. a7 b7
    levelShift(pairs & V128::set16(0xFF)).store(first);
    levelShift(shiftRight16<8>(pairs)).store(second);
}

} // namespace
} // namespace vela::VELA_ISA
