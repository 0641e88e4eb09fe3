// Non-zero coefficients in zigzag order on x86 vectors. Blocks are in transposed order: position 8 * column +
// row.
#pragma once

#include <immintrin.h>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "cpu/vectors_x86.h"
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

/// Shuffle control that picks, for the 16 zigzag indices from 16 * index on, those that stand at the 16
/// transposed positions from 16 * source on, and zeros for the others. Four of them, or fewer where nothing
/// comes from a source, make sixteen bytes in order:
///
///     source 0 | source 1 | source 2 | source 3     64 bytes by position
///     .. each shuffled, zeros elsewhere, and or-ed together
///     16 bytes by zigzag index
template <size_t index, size_t source>
constexpr Table<int8_t, 16> kZigzagControl = makeTable<int8_t, 16>([](int32_t i) {
    const uint8_t position = makeTransposedZigzag()[16 * index + static_cast<size_t>(i)];
    return position / 16 == source ? position % 16 : -1;
});

/// In 128 bits: a byte per coefficient, put in order, tested.
struct Scan128 {
    using Order = TransposedOrder;

    struct Bytes {
        V128 of[4];
    };

    /// Zigzag bytes 16 * index on, of which none comes from the sources not given.
    template <size_t index, size_t... source>
    VELA_INLINE static V128 ordered(const Bytes& bytes) {
        V128 result = V128::zero();
        ((result =
              result | shuffle8(bytes.of[source], V128::load(kZigzagControl<index, source>.of))),
         ...);
        return result;
    }

    /// A bit for every byte that equals value, bit 16 * index for the first one.
    template <int32_t index>
    VELA_INLINE static uint64_t equalBits(V128 bytes, int32_t value) {
        const __m128i equal = _mm_cmpeq_epi8(bytes.raw, _mm_set1_epi8(static_cast<int8_t>(value)));
        return uint64_t{static_cast<uint32_t>(_mm_movemask_epi8(equal))} << (16 * index);
    }

    /// The coefficients in zigzag order, saturated to bytes, so that what was not 0 is not and what was
    /// not of magnitude 1 is not either. False if there is none but DC; inOrder is not set then.
    VELA_INLINE static bool orderedBytes(const int16_t* block, Bytes& inOrder) {
        Bytes bytes;
        for (int32_t i = 0; i < 4; i++)
            bytes.of[i] = {_mm_packs_epi16(V128::load(block + 16 * i).raw,
                                           V128::load(block + 16 * i + 8).raw)};
        const V128 acOfFirst = {_mm_andnot_si128(_mm_cvtsi32_si128(0xFF), bytes.of[0].raw)};
        const V128 ac = (acOfFirst | bytes.of[1]) | (bytes.of[2] | bytes.of[3]);
        if (_mm_testz_si128(ac.raw, ac.raw) != 0)
            return false;
        inOrder.of[0] = ordered<0, 0, 1, 2>(bytes);
        inOrder.of[1] = ordered<1, 0, 1, 2, 3>(bytes);
        inOrder.of[2] = ordered<2, 0, 1, 2, 3>(bytes);
        inOrder.of[3] = ordered<3, 1, 2, 3>(bytes);
        return true;
    }

    VELA_INLINE static uint64_t zeroBits(const Bytes& bytes) {
        return equalBits<0>(bytes.of[0], 0) | equalBits<1>(bytes.of[1], 0) |
               equalBits<2>(bytes.of[2], 0) | equalBits<3>(bytes.of[3], 0);
    }

    VELA_INLINE static V128 absolute8(V128 x) { return {_mm_abs_epi8(x.raw)}; }

    /// Non-zero AC coefficients.
    VELA_INLINE static uint64_t scan(const int16_t* block, Order& order) {
        order.block = block;
        Bytes bytes;
        return orderedBytes(block, bytes) ? ~zeroBits(bytes) & ~uint64_t{1} : 0;
    }

    VELA_INLINE static CoefficientMasks masks(const int16_t* block, Order& order) {
        order.block = block;
        Bytes bytes;
        if (!orderedBytes(block, bytes))
            return {0, 0};
        const uint64_t ones =
            equalBits<0>(absolute8(bytes.of[0]), 1) | equalBits<1>(absolute8(bytes.of[1]), 1) |
            equalBits<2>(absolute8(bytes.of[2]), 1) | equalBits<3>(absolute8(bytes.of[3]), 1);
        return {~zeroBits(bytes) & ~uint64_t{1}, ones & ~uint64_t{1}};
    }
};

#ifdef __AVX512BW__
/// Transposed positions by zigzag index, and the indices themselves.
constexpr Table<int16_t, 64> kZigzagWords = makeTable<int16_t, 64>(
    [](int32_t k) { return makeTransposedZigzag()[static_cast<size_t>(k)]; });
constexpr Table<uint8_t, 64> kIndices = makeTable<uint8_t, 64>([](int32_t k) { return k; });

/// In 512 bits: the coefficients themselves are put in order.
struct Scan512 {
    struct Order {
        alignas(64) int16_t values[64];
        int32_t operator()(int32_t k) const { return values[k]; }
    };

    struct Ordered {
        __m512i first, second; // 32 coefficients each
    };

    /// Loaded as the transform has stored it, in 128 bits, so that a block that was stored just now
    /// comes straight from the store buffer.
    VELA_INLINE static __m512i half(const int16_t* block) {
        const auto quarter = [block](int32_t i) { return V128::load(block + 8 * i); };
        return V512::join(V256::join(quarter(0), quarter(1)), V256::join(quarter(2), quarter(3)))
            .raw;
    }

    ///     low: positions 0..31 | high: positions 32..63   to   zigzag 0..31 | zigzag 32..63
    VELA_INLINE static Ordered ordered(const int16_t* block) {
        const __m512i low = half(block);
        const __m512i high = half(block + 32);
        return {_mm512_permutex2var_epi16(low, _mm512_load_si512(kZigzagWords.of), high),
                _mm512_permutex2var_epi16(low, _mm512_load_si512(kZigzagWords.of + 32), high)};
    }

    VELA_INLINE static Ordered ordered(const int16_t* block, Order& order) {
        const Ordered words = ordered(block);
        _mm512_store_si512(order.values, words.first);
        _mm512_store_si512(order.values + 32, words.second);
        return words;
    }

    VELA_INLINE static uint64_t nonZeroBits(const Ordered& words) {
        return (uint64_t{_mm512_test_epi16_mask(words.first, words.first)} |
                uint64_t{_mm512_test_epi16_mask(words.second, words.second)} << 32) &
               ~uint64_t{1};
    }

    /// Non-zero AC coefficients.
    VELA_INLINE static uint64_t scan(const int16_t* block, Order& order) {
        return nonZeroBits(ordered(block, order));
    }

    VELA_INLINE static CoefficientMasks masks(const int16_t* block, Order& order) {
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
