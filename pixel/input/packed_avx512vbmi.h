// Input of BGR888 in 512 bits, for processors with VBMI and VNNI: sixteen pixels at a time, each in a
// 32-bit element, weighed by one instruction. Rounding is that of the plain version (packed_plain.cpp),
// and so are the results.
#pragma once

#include <immintrin.h>

#include <cstddef>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "pixel/input/color_weights.h"

namespace vela::VELA_ISA {
namespace {

// --------------------------------------------------------------------------------- orders of elements

/// Sixteen pixels, three bytes each, are put into 32-bit elements. An element is
///
///     | B | G | R | G |      bits 0..7 first
///
/// with green twice, since its weight in luminance, 150, is above what a signed byte holds.
constexpr int32_t byteOfPixel(int32_t pixelStart, int32_t byte) {
    return pixelStart + (byte % 4 == 3 ? 1 : byte % 4);
}

using ByteOrder = Table<uint8_t, 64>;

/// Of a row of sixteen, even pixels to elements 0..7, odd ones to 8..15:
///
///     | 0 2 4 6 8 10 12 14 | 1 3 5 7 9 11 13 15 |
constexpr ByteOrder kEvenThenOdd = makeTable<uint8_t, 64>([](int32_t byte) {
    const int32_t element = byte / 4;
    return byteOfPixel(3 * (element < 8 ? 2 * element : 2 * (element - 8) + 1), byte);
});

/// Of two rows of eight, the second from byte 32 on, one after the other.
constexpr ByteOrder kTwoRows = makeTable<uint8_t, 64>([](int32_t byte) {
    const int32_t element = byte / 4;
    return byteOfPixel(element < 8 ? 3 * element : 32 + 3 * (element - 8), byte);
});

/// Positions, among the 16-bit elements x0 y0 x1 y1 .. that join() makes of x and y, of the samples of
/// four rows of eight.
using WordOrder = Table<uint16_t, 32>;

constexpr int32_t wordOf(bool inY, int32_t element) {
    return 2 * element + (inY ? 1 : 0);
}

/// x: rows 0 and 1; y: rows 2 and 3, eight elements each.
constexpr WordOrder kFourRows = makeTable<uint16_t, 32>([](int32_t sample) {
    const int32_t row = sample / 8, column = sample % 8;
    return wordOf(row >= 2, 8 * (row % 2) + column);
});

/// x and y: a row of sixteen each, as kEvenThenOdd has it. Rows 0 and 1 are the first eight pixels of
/// x and of y, rows 2 and 3 the others.
constexpr WordOrder kTwoHalves = makeTable<uint16_t, 32>([](int32_t sample) {
    const int32_t row = sample / 8, column = sample % 8;
    return wordOf(row % 2 == 1, 8 * (column % 2) + 4 * (row / 2) + column / 2);
});

/// x / 2^shift and y / 2^shift as 16-bit elements in turns, then in the order given:
///
///     x, shifted:  | x0 . | x1 . | x2 . | ..      what fits 16 bits of it is below
///     y, shifted:  | . y0 | . y1 | . y2 | ..      and above
///     blended:     x0 y0 x1 y1 x2 y2 ..
template <int32_t shift>
VELA_INLINE __m512i join(__m512i x, __m512i y, const WordOrder& order) {
    const __m512i words = _mm512_mask_blend_epi16(0xAAAAAAAA, _mm512_srli_epi32(x, shift),
                                                  _mm512_slli_epi32(y, 16 - shift));
    return _mm512_permutexvar_epi16(_mm512_load_si512(order.of), words);
}

// ------------------------------------------------------------------------------------------ weighing

/// The weights of an element's bytes.
constexpr int32_t byteWeights(int32_t b, int32_t g, int32_t r, int32_t secondG) {
    return static_cast<int32_t>(
        static_cast<uint32_t>(b & 0xFF) | static_cast<uint32_t>(g & 0xFF) << 8 |
        static_cast<uint32_t>(r & 0xFF) << 16 | static_cast<uint32_t>(secondG & 0xFF) << 24);
}

/// sums + weighed pixels
template <int32_t weights>
__m512i addWeighed(__m512i sums, __m512i pixels) {
    return _mm512_dpbusd_epi32(sums, pixels, _mm512_set1_epi32(weights));
}

/// 256 times luminance, level-shifted.
inline __m512i luma(__m512i pixels) {
    constexpr int32_t kHalfGreen = kLumaWeights.g / 2;
    static_assert(2 * kHalfGreen == kLumaWeights.g && kHalfGreen < 128);
    return addWeighed<byteWeights(kLumaWeights.b, kHalfGreen, kLumaWeights.r, kHalfGreen)>(
        _mm512_set1_epi32(-128 * 256), pixels);
}

/// The negated weights, so that 128 fits a signed byte as -128.
constexpr int32_t negated(const ColorWeights& weights) {
    return byteWeights(-weights.b, -weights.g, -weights.r, 0);
}
constexpr int32_t kMinusCb = negated(kCbWeights);
constexpr int32_t kMinusCr = negated(kCrWeights);

/// Four rows of chrominance from 2^shift times their negative. floor(-x / 2^n) is
/// -floor((x + 2^n - 1) / 2^n); x and y have had the 2^n - 1 added.
template <int32_t shift>
void storeChroma(int16_t* to, __m512i x, __m512i y) {
    _mm512_storeu_si512(to, _mm512_sub_epi16(_mm512_setzero_si512(), join<shift>(x, y, kFourRows)));
}

// --------------------------------------------------------------------------------------- conversion

inline __m512i loadSixteen(const uint8_t* row) {
    const __m512i bytes = _mm512_maskz_loadu_epi8(0xFFFFFFFFFFFF, row);
    return _mm512_permutexvar_epi8(_mm512_load_si512(kEvenThenOdd.of), bytes);
}

inline __m512i loadTwoRows(const uint8_t* row, ptrdiff_t step) {
    const __m512i bytes =
        _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_maskz_loadu_epi8(0xFFFFFF, row)),
                           _mm256_maskz_loadu_epi8(0xFFFFFF, row + step), 1);
    return _mm512_permutexvar_epi8(_mm512_load_si512(kTwoRows.of), bytes);
}

inline void convertBgr444(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    const ptrdiff_t step = srcStep;
    const __m512i rounding = _mm512_set1_epi32(255);
    for (int32_t y = 0; y < 8; y += 4) {
        const __m512i upper = loadTwoRows(corner + y * step, step);
        const __m512i lower = loadTwoRows(corner + (y + 2) * step, step);
        _mm512_storeu_si512(dst[0] + 8 * y, join<8>(luma(upper), luma(lower), kFourRows));
        storeChroma<8>(dst[1] + 8 * y, addWeighed<kMinusCb>(rounding, upper),
                       addWeighed<kMinusCb>(rounding, lower));
        storeChroma<8>(dst[2] + 8 * y, addWeighed<kMinusCr>(rounding, upper),
                       addWeighed<kMinusCr>(rounding, lower));
    }
}

/// Adds odd pixels to even ones, each row as kEvenThenOdd has it:
///
///     | x0 x2 .. x14 | y0 y2 .. y14 |
///   + | x1 x3 .. x15 | y1 y3 .. y15 |
inline __m512i addNeighbours(__m512i x, __m512i y) {
    return _mm512_add_epi32(_mm512_shuffle_i64x2(x, y, 0x44), _mm512_shuffle_i64x2(x, y, 0xEE));
}

/// Rows y and y + 1, y even, of luminance.
inline void storeLumaRows(int16_t* luma0, int32_t y, __m512i upper, __m512i lower) {
    const __m512i words = join<8>(luma(upper), luma(lower), kTwoHalves);
    int16_t* const to = luma0 + 128 * (y / 8) + 8 * (y % 8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_castsi512_si256(words));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + 64), _mm512_extracti64x4_epi64(words, 1));
}

/// Four rows of chrominance, from the v rows of pixels over each.
template <int32_t v, int32_t weights>
void weighAndStore(int16_t* to, const __m512i (&rows)[4 * v]) {
    constexpr int32_t kShift = 8 + v;                                            // of 2 v pixels
    const __m512i rounding = _mm512_maskz_set1_epi32(0x00FF, (1 << kShift) - 1); // once per sum
    __m512i sums[4];
    for (int32_t i = 0; i < 4; i++) {
        sums[i] = addWeighed<weights>(rounding, rows[v * i]);
        if constexpr (v == 2)
            sums[i] = addWeighed<weights>(sums[i], rows[v * i + 1]);
    }
    storeChroma<kShift>(to, addNeighbours(sums[0], sums[1]), addNeighbours(sums[2], sums[3]));
}

/// 4:2:2 (v = 1) and 4:2:0 (v = 2)
template <int32_t v>
void convertBgrHalved(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    for (int32_t y = 0; y < 8; y += 4) {
        __m512i rows[4 * v];
        for (int32_t i = 0; i < 4 * v; i++)
            rows[i] = loadSixteen(corner + ptrdiff_t{v * y + i} * srcStep);
        for (int32_t i = 0; i < 4 * v; i += 2)
            storeLumaRows(dst[0], v * y + i, rows[i], rows[i + 1]);
        weighAndStore<v, kMinusCb>(dst[1] + 8 * y, rows);
        weighAndStore<v, kMinusCr>(dst[2] + 8 * y, rows);
    }
}

} // namespace
} // namespace vela::VELA_ISA
