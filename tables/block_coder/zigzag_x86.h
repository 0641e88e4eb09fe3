// A block's coefficients in zigzag order on x86, and masks of them.
#pragma once

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

/// Shuffle controls, 16 bytes each: number 4 * c + s puts those of the 16 transposed positions from
/// 16 * s on that belong there to zigzag indices 16 * c .. 16 * c + 15, and zeros elsewhere. The first
/// row, joined by OR (- is a zero):
///
///     bytes of positions   0..15   0  8  1  2  9  -  -  -  10 3  4  11 -  -  -  -
///                         16..31   -  -  -  -  -  16 24 17 -  -  -  -  18 25 -  -
///                         32..47   -  -  -  -  -  -  -  -  -  -  -  -  -  -  32 40
///     index                        0  1  2  3  4  5  6  7  8  9  10 11 12 13 14 15
constexpr auto kZigzagControls = makeTable<int8_t, 4 * 4 * 16>([](int32_t i) {
    const int32_t c = i / 64, s = i / 16 % 4;
    const int32_t position = kTransposedZigzag[static_cast<size_t>(16 * c + i % 16)];
    return position / 16 == s ? position % 16 : -1;
});

/// In 128 bits: a byte per coefficient, put in order, tested.
struct Scan128 {
    using Order = TransposedOrder;

    /// The bytes of 16c..16c + 15 in zigzag order, which come from the given sources alone.
    template <int32_t c, int32_t... source>
    VELA_INLINE static V128 ordered(const V128 (&bytes)[4]) {
        const int8_t* const controls = kZigzagControls.of + 64 * c;
        return (shuffle8(bytes[source], V128::load(controls + 16 * source)) | ...);
    }

    VELA_INLINE static void order(const V128 (&bytes)[4], V128 (&inOrder)[4]) {
        inOrder[0] = ordered<0, 0, 1, 2>(bytes);
        inOrder[1] = ordered<1, 0, 1, 2, 3>(bytes);
        inOrder[2] = ordered<2, 0, 1, 2, 3>(bytes);
        inOrder[3] = ordered<3, 1, 2, 3>(bytes);
    }

    /// The coefficients in zigzag order, saturated to bytes, so that what was not 0 is not and what was
    /// not of magnitude 1 is not either. False if there is none but DC; ordered is not set then.
    VELA_INLINE static bool orderedBytes(const int16_t* block, V128 (&orderedBytes)[4]) {
        V128 bytes[4];
        for (int32_t i = 0; i < 4; i++)
            bytes[i] = packSaturated16(V128::load(block + 16 * i), V128::load(block + 16 * i + 8));
        const V128 dcAlone = V128::lowest32(0xFF);
        if (isZero(andNot(bytes[0], dcAlone) | bytes[1] | (bytes[2] | bytes[3])))
            return false;
        order(bytes, orderedBytes);
        return true;
    }

    /// A bit for every byte that equals value.
    VELA_INLINE static uint64_t equalBits(const V128 (&bytes)[4], int32_t value) {
        uint64_t bits = 0;
        for (int32_t c = 0; c < 4; c++)
            bits |= equalBits8(bytes[c], V128::set8(value)) << (16 * c);
        return bits;
    }

    /// Non-zero AC coefficients.
    static uint64_t scan(const int16_t* block, Order& order) {
        order.block = block;
        V128 bytes[4];
        return orderedBytes(block, bytes) ? ~equalBits(bytes, 0) & ~uint64_t{1} : 0;
    }

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        order.block = block;
        V128 bytes[4];
        if (!orderedBytes(block, bytes))
            return {0, 0};
        const uint64_t nonZero = ~equalBits(bytes, 0);
        for (V128& some : bytes)
            some = absolute8(some);
        return {nonZero & ~uint64_t{1}, equalBits(bytes, 1) & ~uint64_t{1}};
    }
};

#ifdef __AVX512BW__

/// From two vectors of a block's coefficients, positions 0..31 and 32..63, to zigzag order:
///
///     0 1 2 .. 31, 32 33 .. 63   to   0 8 1 2 9 16 .. (indices 0..31), .. 47 54 61 62 55 63 (32..63)
constexpr auto kZigzagPositions =
    makeTable<int16_t, 64>([](int32_t k) { return kTransposedZigzag[static_cast<size_t>(k)]; });

/// 0 1 2 .. 63
constexpr auto kIndices = makeTable<uint8_t, 64>([](int32_t k) { return k; });

/// In 512 bits: the coefficients themselves are put in order.
struct Scan512 {
    struct Order {
        alignas(64) int16_t values[64];
        int32_t operator()(int32_t k) const { return values[k]; }
    };

    struct Ordered {
        V512 first, second;
    };

    /// Loaded as the transform has stored it, in 128 bits, so that a block that was stored just now
    /// comes straight from the store buffer.
    VELA_INLINE static V512 half(const int16_t* block) {
        return V512::join(V256::join(V128::load(block), V128::load(block + 8)),
                          V256::join(V128::load(block + 16), V128::load(block + 24)));
    }

    VELA_INLINE static Ordered ordered(const int16_t* block) {
        const V512 low = half(block);
        const V512 high = half(block + 32);
        return {permute16(low, V512::load(kZigzagPositions.of), high),
                permute16(low, V512::load(kZigzagPositions.of + 32), high)};
    }

    VELA_INLINE static Ordered ordered(const int16_t* block, Order& order) {
        const Ordered words = ordered(block);
        words.first.store(order.values);
        words.second.store(order.values + 32);
        return words;
    }

    VELA_INLINE static uint64_t nonZeroBits(const Ordered& words) {
        return (nonZeroBits16(words.first) | nonZeroBits16(words.second) << 32) & ~uint64_t{1};
    }

    /// Non-zero AC coefficients.
    static uint64_t scan(const int16_t* block, Order& order) {
        return nonZeroBits(ordered(block, order));
    }

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        const Ordered words = ordered(block, order);
        const V512 one = V512::set16(1);
        const uint64_t ones = equalBits16(absolute16(words.first), one) |
                              equalBits16(absolute16(words.second), one) << 32;
        return {nonZeroBits(words), ones & ~uint64_t{1}};
    }
};

#endif

} // namespace
} // namespace vela::VELA_ISA
