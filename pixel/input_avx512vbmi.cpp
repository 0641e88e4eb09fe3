// Input of BGR888 in 512 bits, for processors with VBMI and VNNI: sixteen pixels at a time, each in a
// 32-bit element, weighed by one instruction. Rounding is that of the plain version
// (pixel/packed_input.cpp), and so are the results.
#include <immintrin.h>

#include <cstddef>

#include "pixel/color_weights.h"
#include "state/kernels.h"

namespace {

// The other formats, in 256 bits
#include "pixel/packed_input_lanes.inl"

#include "pixel/packed_input_x86.h"

#include "pixel/planar_input_x86.h"

using V = __m512i;

/// Byte positions of sixteen pixels that are put into the 32-bit elements in some order. An element is
///
///     | B | G | R | G |      bits 0..7 first
///
/// with green twice, since its weight in luminance, 150, is above what a signed byte holds.
struct PixelOrder {
    alignas(64) uint8_t bytes[64];

    constexpr explicit PixelOrder(int32_t (*byteOfElement)(int32_t)) : bytes() {
        for (int32_t i = 0; i < 64; i++)
            bytes[i] = static_cast<uint8_t>(byteOfElement(i / 4) + (i % 4 == 3 ? 1 : i % 4));
    }
};

/// A row of sixteen: even pixels in elements 0..7, odd ones in 8..15.
constexpr PixelOrder kEvenThenOdd([](int32_t element) {
    return 3 * (element < 8 ? 2 * element : 2 * (element - 8) + 1);
});

/// Two rows of eight, the second from byte 32 on.
constexpr PixelOrder kTwoRows([](int32_t element) {
    return element < 8 ? 3 * element : 32 + 3 * (element - 8);
});

/// Positions, among the 16-bit elements that join() makes of x and y, of those of four rows of eight.
struct WordOrder {
    alignas(64) uint16_t words[32];

    constexpr explicit WordOrder(int32_t (*wordOfSample)(int32_t row, int32_t column)) : words() {
        for (int32_t i = 0; i < 32; i++)
            words[i] = static_cast<uint16_t>(wordOfSample(i / 8, i % 8));
    }
};

/// x: rows 0 and 1; y: rows 2 and 3.
constexpr WordOrder kFourRows([](int32_t row, int32_t column) {
    return 2 * (8 * (row % 2) + column) + row / 2;
});

/// x and y: a row of sixteen each, as kEvenThenOdd has it. Rows 0 and 1 are the first eight pixels of
/// x and of y, rows 2 and 3 the others.
constexpr WordOrder kTwoHalves([](int32_t row, int32_t column) {
    return 2 * (8 * (column % 2) + 4 * (row / 2) + column / 2) + row % 2;
});

/// x / 2^shift and y / 2^shift as 16-bit elements in turns, then in the order given.
template <int32_t shift>
V join(V x, V y, const WordOrder& order) {
    const V words = _mm512_mask_blend_epi16(0xAAAAAAAA, _mm512_srli_epi32(x, shift),
                                            _mm512_slli_epi32(y, 16 - shift));
    return _mm512_permutexvar_epi16(_mm512_load_si512(order.words), words);
}

/// The weights of an element's bytes.
constexpr int32_t byteWeights(int32_t b, int32_t g, int32_t r, int32_t secondG) {
    return static_cast<int32_t>(
        static_cast<uint32_t>(b & 0xFF) | static_cast<uint32_t>(g & 0xFF) << 8 |
        static_cast<uint32_t>(r & 0xFF) << 16 | static_cast<uint32_t>(secondG & 0xFF) << 24);
}

/// sums + weighed pixels
template <int32_t weights>
V addWeighed(V sums, V pixels) {
    return _mm512_dpbusd_epi32(sums, pixels, _mm512_set1_epi32(weights));
}

/// 256 times luminance, level-shifted.
inline V luma(V pixels) {
    using vela::kLumaWeights;
    constexpr int32_t kHalfGreen = kLumaWeights.g / 2;
    static_assert(2 * kHalfGreen == kLumaWeights.g && kHalfGreen < 128);
    return addWeighed<byteWeights(kLumaWeights.b, kHalfGreen, kLumaWeights.r, kHalfGreen)>(
        _mm512_set1_epi32(-128 * 256), pixels);
}

/// The negated weights, so that 128 fits a signed byte as -128.
constexpr int32_t negated(const vela::ColorWeights& weights) {
    return byteWeights(-weights.b, -weights.g, -weights.r, 0);
}
constexpr int32_t kMinusCb = negated(vela::kCbWeights);
constexpr int32_t kMinusCr = negated(vela::kCrWeights);

/// Four rows of chrominance from 2^shift times their negative. floor(-x / 2^n) is
/// -floor((x + 2^n - 1) / 2^n); x and y have had the 2^n - 1 added.
template <int32_t shift>
void storeChroma(int16_t* to, V x, V y) {
    _mm512_storeu_si512(to, _mm512_sub_epi16(_mm512_setzero_si512(), join<shift>(x, y, kFourRows)));
}

inline V loadSixteen(const uint8_t* row) {
    const V bytes = _mm512_maskz_loadu_epi8(0xFFFFFFFFFFFF, row);
    return _mm512_permutexvar_epi8(_mm512_load_si512(kEvenThenOdd.bytes), bytes);
}

inline V loadTwoRows(const uint8_t* row, ptrdiff_t step) {
    const V bytes =
        _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_maskz_loadu_epi8(0xFFFFFF, row)),
                           _mm256_maskz_loadu_epi8(0xFFFFFF, row + step), 1);
    return _mm512_permutexvar_epi8(_mm512_load_si512(kTwoRows.bytes), bytes);
}

void convertBgr444(const void* src, int32_t srcStep, int16_t* const dst[3]) {
    const auto* const corner = static_cast<const uint8_t*>(src);
    const ptrdiff_t step = srcStep;
    const V rounding = _mm512_set1_epi32(255);
    for (int32_t y = 0; y < 8; y += 4) {
        const V upper = loadTwoRows(corner + y * step, step);
        const V lower = loadTwoRows(corner + (y + 2) * step, step);
        _mm512_storeu_si512(dst[0] + 8 * y, join<8>(luma(upper), luma(lower), kFourRows));
        storeChroma<8>(dst[1] + 8 * y, addWeighed<kMinusCb>(rounding, upper),
                       addWeighed<kMinusCb>(rounding, lower));
        storeChroma<8>(dst[2] + 8 * y, addWeighed<kMinusCr>(rounding, upper),
                       addWeighed<kMinusCr>(rounding, lower));
    }
}

/// Adds odd pixels to even ones: eight sums of x, then of y.
inline V addNeighbours(V x, V y) {
    return _mm512_add_epi32(_mm512_shuffle_i64x2(x, y, 0x44), _mm512_shuffle_i64x2(x, y, 0xEE));
}

/// Rows y and y + 1, y even, of luminance.
inline void storeLumaRows(int16_t* luma0, int32_t y, V upper, V lower) {
    const V words = join<8>(luma(upper), luma(lower), kTwoHalves);
    int16_t* const to = luma0 + 128 * (y / 8) + 8 * (y % 8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_castsi512_si256(words));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + 64), _mm512_extracti64x4_epi64(words, 1));
}

/// Four rows of chrominance, from the v rows of pixels over each.
template <int32_t v, int32_t weights>
void weighAndStore(int16_t* to, const V (&rows)[4 * v]) {
    constexpr int32_t kShift = 8 + v;                                      // of 2 v pixels
    const V rounding = _mm512_maskz_set1_epi32(0x00FF, (1 << kShift) - 1); // once per sum
    V sums[4];
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
        V rows[4 * v];
        for (int32_t i = 0; i < 4 * v; i++)
            rows[i] = loadSixteen(corner + ptrdiff_t{v * y + i} * srcStep);
        for (int32_t i = 0; i < 4 * v; i += 2)
            storeLumaRows(dst[0], v * y + i, rows[i], rows[i + 1]);
        weighAndStore<v, kMinusCb>(dst[1] + 8 * y, rows);
        weighAndStore<v, kMinusCr>(dst[2] + 8 * y, rows);
    }
}

} // namespace

namespace vela::avx512vbmi {

constexpr InputRoutines kInput = {
    .grey = convertGrey,
    .packed = {{convertBgr444, convertBgrHalved<1>, convertBgrHalved<2>},
               {convert444<Bgr555, TwoRows256>, convert422<Bgr555, Row256>,
                convert420<Bgr555, Row256>},
               {convert444<Bgr565, TwoRows256>, convert422<Bgr565, Row256>,
                convert420<Bgr565, Row256>}},
    .planar = {convertPlanar444, convertPlanarHalved<8>, convertPlanarHalved<16>},
    .semiPlanar = {convertSemiPlanar<1, 2>, convertSemiPlanar<2, 1>},
};

} // namespace vela::avx512vbmi
