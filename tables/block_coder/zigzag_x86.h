// zz
#pragma once

#include <immintrin.h>

#include "cpu/isa.h"
#include "state/zigzag.h"
#include "vela/primitives.h"

namespace vela::VELA_ISA {
namespace {

/// A bit per zigzag index: coefficients that are not 0, and among them those of magnitude 1.
struct CoefficientMasks {
    uint64_t nonZero;
    uint64_t ones;
};

/// The coefficient of a zigzag index in a block of transposed order.
struct TransposedOrder {
    const int16_t* block;
    int32_t operator()(int32_t k) const { return block[_ntIZigZagIndex[k]]; }
};

/// Shuffle control that picks, for 16 zigzag indices from first on, those of the 16 transposed
/// positions from base on, and zeros for the others.
struct ZigzagControl {
    alignas(16) int8_t bytes[4 /* index / 16 */][4 /* position / 16 */][16];

    constexpr ZigzagControl() : bytes() {
        for (size_t k = 0; k < 64; k++)
            for (size_t source = 0; source < 4; source++)
                bytes[k / 16][source][k % 16] =
                    static_cast<int8_t>(vela::makeTransposedZigzag()[k] / 16 == source
                                            ? vela::makeTransposedZigzag()[k] % 16
                                            : -1);
    }
};
constexpr ZigzagControl kZigzagControl;

/// In 128 bits: a byte per coefficient, put in order, tested.
struct Scan128 {
    using Order = TransposedOrder;

    static __m128i load(const int16_t* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    }

    /// Zigzag bytes 16c..16c + 15, of which none comes from the sources not given.
    template <int32_t c, int32_t... source>
    static __m128i ordered(const __m128i (&bytes)[4]) {
        __m128i result = _mm_setzero_si128();
        ((result =
              _mm_or_si128(result, _mm_shuffle_epi8(bytes[source],
                                                    _mm_load_si128(reinterpret_cast<const __m128i*>(
                                                        kZigzagControl.bytes[c][source]))))),
         ...);
        return result;
    }

    /// A bit for every byte of 16c..16c + 15 that equals value.
    template <int32_t c>
    static uint64_t equalBits(__m128i bytes, int32_t value) {
        const __m128i equal = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<int8_t>(value)));
        return uint64_t{static_cast<uint32_t>(_mm_movemask_epi8(equal))} << (16 * c);
    }

    /// The coefficients in zigzag order, saturated to bytes, so that what was not 0 is not and what was
    /// not of magnitude 1 is not either. False if there is none but DC; ordered is not set then.
    static bool orderedBytes(const int16_t* block, __m128i (&orderedBytes)[4]) {
        __m128i bytes[4];
        for (int32_t i = 0; i < 4; i++)
            bytes[i] = _mm_packs_epi16(load(block + 16 * i), load(block + 16 * i + 8));
        const __m128i dcAlone = _mm_cvtsi32_si128(0xFF);
        const __m128i ac = _mm_or_si128(_mm_or_si128(_mm_andnot_si128(dcAlone, bytes[0]), bytes[1]),
                                        _mm_or_si128(bytes[2], bytes[3]));
        if (_mm_testz_si128(ac, ac) != 0)
            return false;
        orderedBytes[0] = ordered<0, 0, 1, 2>(bytes);
        orderedBytes[1] = ordered<1, 0, 1, 2, 3>(bytes);
        orderedBytes[2] = ordered<2, 0, 1, 2, 3>(bytes);
        orderedBytes[3] = ordered<3, 1, 2, 3>(bytes);
        return true;
    }

    static uint64_t zeroBits(const __m128i (&bytes)[4]) {
        return equalBits<0>(bytes[0], 0) | equalBits<1>(bytes[1], 0) | equalBits<2>(bytes[2], 0) |
               equalBits<3>(bytes[3], 0);
    }

    /// Non-zero AC coefficients.
    static uint64_t scan(const int16_t* block, Order& order) {
        order.block = block;
        __m128i bytes[4];
        return orderedBytes(block, bytes) ? ~zeroBits(bytes) & ~uint64_t{1} : 0;
    }

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        order.block = block;
        __m128i bytes[4];
        if (!orderedBytes(block, bytes))
            return {0, 0};
        const uint64_t ones =
            equalBits<0>(_mm_abs_epi8(bytes[0]), 1) | equalBits<1>(_mm_abs_epi8(bytes[1]), 1) |
            equalBits<2>(_mm_abs_epi8(bytes[2]), 1) | equalBits<3>(_mm_abs_epi8(bytes[3]), 1);
        return {~zeroBits(bytes) & ~uint64_t{1}, ones & ~uint64_t{1}};
    }
};

#ifdef __AVX512BW__
struct ZigzagWords {
    alignas(64) int16_t position[64];

    constexpr ZigzagWords() : position() {
        for (size_t k = 0; k < 64; k++)
            position[k] = vela::makeTransposedZigzag()[k];
    }
};
constexpr ZigzagWords kZigzagWords;

struct CountingBytes {
    alignas(64) uint8_t bytes[64];

    constexpr CountingBytes() : bytes() {
        for (size_t k = 0; k < 64; k++)
            bytes[k] = static_cast<uint8_t>(k);
    }
};
constexpr CountingBytes kIndices;

/// In 512 bits: the coefficients themselves are put in order.
struct Scan512 {
    struct Order {
        alignas(64) int16_t values[64];
        int32_t operator()(int32_t k) const { return values[k]; }
    };

    struct Ordered {
        __m512i first, second;
    };

    /// Loaded as the transform has stored it, in 128 bits, so that a block that was stored just now
    /// comes straight from the store buffer.
    static __m512i half(const int16_t* block) {
        const auto quarter = [block](int32_t i) { return Scan128::load(block + 8 * i); };
        return _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_set_m128i(quarter(1), quarter(0))),
                                  _mm256_set_m128i(quarter(3), quarter(2)), 1);
    }

    static Ordered ordered(const int16_t* block) {
        const __m512i low = half(block);
        const __m512i high = half(block + 32);
        return {
            _mm512_permutex2var_epi16(low, _mm512_load_si512(kZigzagWords.position), high),
            _mm512_permutex2var_epi16(low, _mm512_load_si512(kZigzagWords.position + 32), high)};
    }

    static Ordered ordered(const int16_t* block, Order& order) {
        const Ordered words = ordered(block);
        _mm512_store_si512(order.values, words.first);
        _mm512_store_si512(order.values + 32, words.second);
        return words;
    }

    static uint64_t nonZeroBits(const Ordered& words) {
        return (uint64_t{_mm512_test_epi16_mask(words.first, words.first)} |
                uint64_t{_mm512_test_epi16_mask(words.second, words.second)} << 32) &
               ~uint64_t{1};
    }

    /// Non-zero AC coefficients.
    static uint64_t scan(const int16_t* block, Order& order) {
        return nonZeroBits(ordered(block, order));
    }

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        const Ordered words = ordered(block, order);
        const __m512i one = _mm512_set1_epi16(1);
        const uint64_t ones =
            uint64_t{_mm512_cmpeq_epi16_mask(_mm512_abs_epi16(words.first), one)} |
            uint64_t{_mm512_cmpeq_epi16_mask(_mm512_abs_epi16(words.second), one)} << 32;
        return {nonZeroBits(words), ones & ~uint64_t{1}};
    }
};
#endif

} // namespace
} // namespace vela::VELA_ISA
