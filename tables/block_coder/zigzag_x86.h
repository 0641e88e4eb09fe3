// A block's coefficients in zigzag order on x86, and masks of them.
#pragma once

#include "cpu/table.h"
#include "cpu/vectors_x86.h"
#include "state/encoder_state.h"
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

#ifdef __AVX2__

/// Bytes of coefficients: two vectors for a block.
using ByteVector = V256;

/// Shuffle controls, 32 bytes each: number 4 * d + s has what indices 32 * d .. 32 * d + 31 take from source s,
/// and zeros elsewhere. Sources are positions 0..31 and 32..63 as packing leaves them, and each with its lanes
/// exchanged, since a shuffle keeps to its lane:
///
///     source 0   0..7 16..23 | 8..15 24..31       1   8..15 24..31 | 0..7 16..23
///     source 2   32..39 48.. | 40..47 56..        3   40..47 56..  | 32..39 48..
constexpr auto kZigzagControls = makeTable<int8_t, 2 * 4 * 32>([](int32_t i) {
    const int32_t d = i / 128, s = i / 32 % 4, lane = i / 16 % 2;
    const int32_t position = kTransposedZigzag[static_cast<size_t>(32 * d + i % 32)];
    const int32_t eight = position / 8; // of the block
    const int32_t source = eight / 4 * 2 + (eight % 2 == lane ? 0 : 1);
    return source == s ? eight % 4 / 2 * 8 + position % 8 : -1;
});

VELA_INLINE void putInOrder(const V256 (&bytes)[2], V256 (&inOrder)[2]) {
    const auto exchanged = [](V256 a) { return V256{_mm256_permute4x64_epi64(a.raw, 0x4E)}; };
    const V256 sources[4] = {bytes[0], exchanged(bytes[0]), bytes[1], exchanged(bytes[1])};
    for (int32_t d = 0; d < 2; d++) {
        V256 part[4];
        for (int32_t s = 0; s < 4; s++)
            part[s] = shuffle8(sources[s], V256::load(kZigzagControls.of + 128 * d + 32 * s));
        inOrder[d] = part[0] | part[1] | (part[2] | part[3]);
    }
}

#else

/// Bytes of coefficients: four vectors for a block.
using ByteVector = V128;

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

/// The bytes of 16c..16c + 15 in zigzag order, which come from the given sources alone.
template <int32_t c, int32_t... source>
VELA_INLINE V128 ordered(const V128 (&bytes)[4]) {
    const int8_t* const controls = kZigzagControls.of + 64 * c;
    return (shuffle8(bytes[source], V128::load(controls + 16 * source)) | ...);
}

VELA_INLINE void putInOrder(const V128 (&bytes)[4], V128 (&inOrder)[4]) {
    inOrder[0] = ordered<0, 0, 1, 2>(bytes);
    inOrder[1] = ordered<1, 0, 1, 2, 3>(bytes);
    inOrder[2] = ordered<2, 0, 1, 2, 3>(bytes);
    inOrder[3] = ordered<3, 1, 2, 3>(bytes);
}

#endif

/// A byte per coefficient, put in order, tested.
struct ByteScan {
    using Order = TransposedOrder;
    static constexpr int32_t kVectorBytes = sizeof(ByteVector);
    static constexpr int32_t kVectors = kBlockSamples / kVectorBytes;
    using Bytes = ByteVector[kVectors];

    /// The coefficients in zigzag order, saturated to bytes, so that what was not 0 is not and what was
    /// not of magnitude 1 is not either. False if there is none but DC; inOrder is not set then.
    VELA_INLINE static bool orderedBytes(const int16_t* block, Bytes& inOrder) {
        Bytes bytes;
        for (int32_t i = 0; i < kVectors; i++) {
            const int16_t* const from = block + kVectorBytes * i;
            bytes[i] =
                packSaturated16(ByteVector::load(from), ByteVector::load(from + kVectorBytes / 2));
        }
        ByteVector any = andNot(bytes[0], ByteVector::lowest32(0xFF));
        for (int32_t i = 1; i < kVectors; i++)
            any = any | bytes[i];
        if (isZero(any))
            return false;
        putInOrder(bytes, inOrder);
        return true;
    }

    /// A bit for every byte that equals value.
    VELA_INLINE static uint64_t equalBits(const Bytes& bytes, int32_t value) {
        uint64_t bits = 0;
        for (int32_t i = 0; i < kVectors; i++)
            bits |= equalBits8(bytes[i], ByteVector::set8(value)) << (kVectorBytes * i);
        return bits;
    }

    /// A bit for every byte that is negative.
    VELA_INLINE static uint64_t signBits(const Bytes& bytes) {
        uint64_t bits = 0;
        for (int32_t i = 0; i < kVectors; i++)
            bits |= signBits8(bytes[i]) << (kVectorBytes * i);
        return bits;
    }

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        order.block = block;
        Bytes bytes;
        if (!orderedBytes(block, bytes))
            return {0, 0};
        const uint64_t nonZero = ~equalBits(bytes, 0);
        for (ByteVector& some : bytes)
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
