// The forward transform on x86 vectors of 16-bit elements, several blocks at once: one block per lane.
// The functions are inlined, so that a compiler sees where wide registers have been used and cleans their
// upper halves up before other code runs.
//
// Steps and constants are those of the plain version (plain.cpp), and so are the results for
// level-shifted samples. Two of the steps are written differently:
//
// - The product floor(x * c / 2^15) is the upper half of x * 2c. Where 2c does not fit 16 bits the
//   factor is 2c - 2^16, and x is added back: floor(x * (2c - 2^16) / 2^16) + x.
// - Quantization scales each coefficient by 2^shift in 16 bits before one multiplication takes the
//   upper half. No coefficient gets above 23400 that way: 128 * 8 a(u) a(v) times the sums of the
//   magnitudes of the two basis functions, times the power of two, is at most 23329.
#pragma once

#include "cpu/vectors_x86.h"
#include "pixel/dct/constants.h"
#include "pixel/dct/transform8.h"
#include "state/dct_scale.h"
#include "state/encoder_state.h"

namespace vela::VELA_ISA {
namespace {

/// One block in 128 bits.
struct OneBlock {
    using V = V128;
    static constexpr int32_t blocks = 1;

    static void load(int16_t* const block[], V (&d)[8]) {
        for (int32_t y = 0; y < 8; y++)
            d[y] = V::load(block[0] + 8 * y);
    }
    static void store(int16_t* const block[], V (&d)[8]) {
        for (int32_t u = 0; u < 8; u++)
            d[u].store(block[0] + 8 * u);
    }
};

#ifdef __AVX2__
/// Two blocks in 256 bits.
struct TwoBlocks {
    using V = V256;
    using Half = OneBlock;
    static constexpr int32_t blocks = 2;

    static void load(int16_t* const block[], V (&d)[8]) {
        for (int32_t y = 0; y < 8; y++)
            d[y] = V::join(V128::load(block[0] + 8 * y), V128::load(block[1] + 8 * y));
    }
    static void store(int16_t* const block[], V (&d)[8]) {
        for (int32_t u = 0; u < 8; u++) {
            d[u].low().store(block[0] + 8 * u);
            d[u].high().store(block[1] + 8 * u);
        }
    }
};
#endif

#ifdef __AVX512BW__
/// Four blocks in 512 bits.
struct FourBlocks {
    using V = V512;
    using Half = TwoBlocks;
    static constexpr int32_t blocks = 4;

    // Four rows of a block at once, of which the lanes are transposed:
    //
    //     block 0, rows 0..3:  00 01 02 03        row 0 of blocks 0..3:  00 10 20 30
    //     block 1:             10 11 12 13   to   row 1:                 01 11 21 31
    //     ..                                      ..
    static void load(int16_t* const block[], V (&d)[8]) {
        for (int32_t y = 0; y < 8; y += 4) {
            for (int32_t b = 0; b < 4; b++)
                d[y + b] = V::load(block[b] + 8 * y);
            transposeFour(&d[y]);
        }
    }
    static void store(int16_t* const block[], V (&d)[8]) {
        for (int32_t u = 0; u < 8; u += 4) {
            transposeFour(&d[u]);
            for (int32_t b = 0; b < 4; b++)
                d[u + b].store(block[b] + 8 * u);
        }
    }
    VELA_INLINE static void transposeFour(V* d) {
        const __m512i a0 = _mm512_shuffle_i64x2(d[0].raw, d[1].raw, 0x44); // 00 01 10 11
        const __m512i a1 = _mm512_shuffle_i64x2(d[0].raw, d[1].raw, 0xEE); // 02 03 12 13
        const __m512i a2 = _mm512_shuffle_i64x2(d[2].raw, d[3].raw, 0x44); // 20 21 30 31
        const __m512i a3 = _mm512_shuffle_i64x2(d[2].raw, d[3].raw, 0xEE); // 22 23 32 33
        d[0] = {_mm512_shuffle_i64x2(a0, a2, 0x88)};                       // 00 10 20 30
        d[1] = {_mm512_shuffle_i64x2(a0, a2, 0xDD)};                       // 01 11 21 31
        d[2] = {_mm512_shuffle_i64x2(a1, a3, 0x88)};
        d[3] = {_mm512_shuffle_i64x2(a1, a3, 0xDD)};
    }
};
#endif

/// floor(x * c / 2^15) for a constant 0 < c < 2^15.
template <int32_t c, class V>
VELA_INLINE V mulQ15(V x) {
    if constexpr (2 * c < 32768)
        return multiplyHigh16(x, V::set16(2 * c));
    else
        return add16(multiplyHigh16(x, V::set16(2 * c - 65536)), x);
}

/// The products of transform8.
template <class V>
struct Factors {
    VELA_INLINE V cosPi4(V x) const { return mulQ15<kCosPi4>(x); }
    VELA_INLINE V sinPi8(V x) const { return mulQ15<kSinPi8>(x); }
    VELA_INLINE V sum(V x) const { // x * 4c / 2^16, 4c being above 2^16
        static_assert(4 * kHalfSum - 65536 < 32768);
        return add16(multiplyHigh16(x, V::set16(4 * kHalfSum - 65536)), x);
    }
    VELA_INLINE V difference(V x) const { return mulQ15<kDifference>(x); }
};

/// Transposes the 8 x 8 elements of each lane. Drawn: row and column digits of the elements, the lowest
/// one of a lane first.
template <class V>
VELA_INLINE void transposeLanes(V (&d)[8]) {
    //                                     d[0]: 00 01 02 03 04 05 06 07, d[1]: 10 11 12 ..
    const V a0 = unpackLow16(d[0], d[1]);  // 00 10 01 11 02 12 03 13
    const V a1 = unpackHigh16(d[0], d[1]); // 04 14 05 15 06 16 07 17
    const V a2 = unpackLow16(d[2], d[3]);  // 20 30 21 31 22 32 23 33
    const V a3 = unpackHigh16(d[2], d[3]); // 24 34 25 35 26 36 27 37
    const V a4 = unpackLow16(d[4], d[5]);  // 40 50 41 51 42 52 43 53
    const V a5 = unpackHigh16(d[4], d[5]); // 44 54 45 55 46 56 47 57
    const V a6 = unpackLow16(d[6], d[7]);  // 60 70 61 71 62 72 63 73
    const V a7 = unpackHigh16(d[6], d[7]); // 64 74 65 75 66 76 67 77
    const V b0 = unpackLow32(a0, a2);      // 00 10 20 30 01 11 21 31
    const V b1 = unpackHigh32(a0, a2);     // 02 12 22 32 03 13 23 33
    const V b2 = unpackLow32(a1, a3);      // 04 14 24 34 05 15 25 35
    const V b3 = unpackHigh32(a1, a3);     // 06 16 26 36 07 17 27 37
    const V b4 = unpackLow32(a4, a6);      // 40 50 60 70 41 51 61 71
    const V b5 = unpackHigh32(a4, a6);     // 42 52 62 72 43 53 63 73
    const V b6 = unpackLow32(a5, a7);      // 44 54 64 74 45 55 65 75
    const V b7 = unpackHigh32(a5, a7);     // 46 56 66 76 47 57 67 77
    d[0] = unpackLow64(b0, b4);            // 00 10 20 30 40 50 60 70
    d[1] = unpackHigh64(b0, b4);           // 01 11 21 31 41 51 61 71
    d[2] = unpackLow64(b1, b5);            // and so on
    d[3] = unpackHigh64(b1, b5);
    d[4] = unpackLow64(b2, b6);
    d[5] = unpackHigh64(b2, b6);
    d[6] = unpackLow64(b3, b7);
    d[7] = unpackHigh64(b3, b7);
}

/// (x + 1) / 2, rounded down: the instruction's (x * 2^14 / 2^14 + 1) / 2.
template <class V>
VELA_INLINE V halveRounded(V x) {
    return multiplyRounded16(x, V::set16(1 << 14));
}

/// Elements 0..3 of each lane, then 4..7.
template <class V>
VELA_INLINE V setHalves(int32_t low, int32_t high) {
    return unpackLow64(V::set16(low), V::set16(high));
}

/// Powers of two by which the coefficients of horizontal frequency u are scaled up, for v = 0..7.
template <class V>
VELA_INLINE V preScale(int32_t u) {
    return setHalves<V>(1 << kPreScaleShift.of[8 * u], 1 << kPreScaleShift.of[8 * u + 4]);
}

/// Transforms and quantizes Group::blocks blocks in place. The same block may be given more than once.
template <class Group>
VELA_INLINE void transformBlocks(int16_t* const blocks[], const int16_t* quant) {
    using V = typename Group::V;
    V d[8];
    Group::load(blocks, d);
    transform8(d, Factors<V>{});
    transposeLanes(d);
    transform8(d, Factors<V>{});
    for (int32_t u = 0; u < 8; u++) {
        const V scaled = multiplyLow16(d[u], preScale<V>(u));
        const V product = multiplyHigh16(scaled, V::toAllLanes(V128::load(quant + 8 * u)));
        d[u] = halveRounded(product);
    }
    Group::store(blocks, d);
}

/// Fewer blocks than Group takes.
template <class Group>
void transformRest(int16_t* blocks[], int32_t count, const int16_t* quant) {
    using Half = typename Group::Half;
    if (count > Half::blocks) { // the lanes left over do the last block's work once more
        for (int32_t i = count; i < Group::blocks; i++)
            blocks[i] = blocks[count - 1];
        transformBlocks<Group>(blocks, quant);
    } else if (count == Half::blocks) {
        transformBlocks<Half>(blocks, quant);
    } else if constexpr (Half::blocks > 1) {
        transformRest<Half>(blocks, count, quant);
    }
}

/// Blocks first..end - 1 of each MCU, which share their reciprocals, Group::blocks at a time.
template <class Group>
void transformAlike(const BlockSpec& blocks, int32_t mcuCount, int32_t first, int32_t end) {
    int16_t* group[Group::blocks];
    int32_t grouped = 0;
    for (int32_t mcu = 0; mcu < mcuCount; mcu++)
        for (int32_t i = first; i < end; i++) {
            group[grouped++] = blockOf(blocks, mcu, i);
            if (grouped == Group::blocks) {
                transformBlocks<Group>(group, blocks.blockQuant[first]);
                grouped = 0;
            }
        }
    if constexpr (Group::blocks > 1)
        transformRest<Group>(group, grouped, blocks.blockQuant[first]);
}

#if defined __AVX512BW__
using WidestGroup = FourBlocks;
#elif defined __AVX2__
using WidestGroup = TwoBlocks;
#else
using WidestGroup = OneBlock;
#endif

inline void transformAll(const BlockSpec& blocks, int32_t mcuCount) {
    const int32_t luma = blocks.blockCount - blocks.chromaBlocks;
    transformAlike<WidestGroup>(blocks, mcuCount, 0, luma);
    transformAlike<WidestGroup>(blocks, mcuCount, luma, blocks.blockCount);
}

} // namespace
} // namespace vela::VELA_ISA
