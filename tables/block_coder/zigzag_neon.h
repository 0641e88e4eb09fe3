// A block's coefficients in zigzag order on NEON, and masks of them. Masks are visited in words of 64 bits
// on AArch64 and of 32 on ARMv7-A, where 64 take two registers.
#pragma once

#include <arm_neon.h>

#include <cstdint>

#include "cpu/isa.h"
#include "cpu/table.h"
#include "state/zigzag.h"

namespace vela::VELA_ISA {
namespace {

#ifdef __aarch64__
using Word = uint64_t;
#else
using Word = uint32_t;
#endif
constexpr int32_t kWordBits = 8 * sizeof(Word);

/// The least index that has a bit in a word that is not 0: masks start at the highest bit.
inline int32_t firstIndex(Word word) {
    if constexpr (kWordBits == 64)
        return __builtin_clzll(word);
    else
        return __builtin_clz(static_cast<uint32_t>(word));
}

/// The same, of a word that may be 0: kWordBits then.
inline Word zerosBefore(Word word) {
#ifdef __aarch64__ // the language has it as an int, which takes a move more
    Word zeros;
    __asm__("clz %0, %1" : "=r"(zeros) : "r"(word));
    return zeros;
#else
    return static_cast<Word>(word == 0 ? kWordBits : firstIndex(word));
#endif
}

inline Word bitOf(int32_t index) {
    return Word{1} << (kWordBits - 1) >> index;
}

/// All indices up to the greatest one of a word.
inline Word throughLast(Word word) {
    return word | (0 - word);
}

constexpr int32_t kMaskWords = 64 / kWordBits;

// ------------------------------------------------------------------------------- bytes of flags

inline int16x8_t nextRow(const int16_t*& rows) {
    const int16x8_t row = vld1q_s16(rows);
    rows += 8;
#ifndef __aarch64__ // its loads step on by themselves, if GCC does not make constants of the steps
    __asm__("" : "+r"(rows));
#endif
    return row;
}

/// A byte for each coefficient of the next two rows of a block, all ones where it is 0. The rows' bytes lie
/// in turn: 00 10 01 11 02 12 03 13 04 14 05 15 06 16 07 17 (row and column digits, from byte 0
/// on).
inline uint8x16_t zeroBytes(const int16_t*& rows) {
    const uint16x8_t upper = vceqq_s16(nextRow(rows), vdupq_n_s16(0));
    const uint16x8_t lower = vceqq_s16(nextRow(rows), vdupq_n_s16(0));
    return vreinterpretq_u8_u16(vsliq_n_u16(upper, lower, 8));
}

/// Likewise a byte with bit 0 as the coefficient has it, and bit 7 set where its magnitude is 2 or
/// more.
inline uint8x16_t magnitudeBytes(const int16_t*& rows) {
    const int16x8_t upper = nextRow(rows);
    const int16x8_t lower = nextRow(rows);
    const auto bitOneOnTop = [](int16x8_t row) { // and bits above it, which saturate
        return vqshlq_n_u16(vreinterpretq_u16_s16(vabsq_s16(row)), 14);
    };
    const uint16x8_t large = vsriq_n_u16(bitOneOnTop(lower), bitOneOnTop(upper), 8);
    const uint16x8_t low =
        vsliq_n_u16(vreinterpretq_u16_s16(upper), vreinterpretq_u16_s16(lower), 8);
    return vbslq_u8(vdupq_n_u8(0x80), vreinterpretq_u8_u16(large), vreinterpretq_u8_u16(low));
}

// ---------------------------------------------------------------------------------------- masks

/// Where in a block's 64 such bytes those for a mask are: slice s of byte i of the mask, in lane i,
/// is for its bit s. The mask's words have zigzag index k in bit kWordBits - 1 - k % kWordBits of
/// word k / kWordBits.
///
///     slice s     lanes 0..7: bit s of bytes 0..7     lanes 8..15: bit s + 4 of bytes 0..7
constexpr auto kSlices = makeTable<uint8_t, 4 * 16>([](int32_t i) {
    const int32_t s = i / 16, lane = i % 16;
    const int32_t bit = 8 * (lane % 8) + s + (lane < 8 ? 0 : 4); // of 64
    const int32_t position = kTransposedZigzag[static_cast<size_t>(bit ^ (kWordBits - 1))];
    const int32_t row = position / 8, column = position % 8;
    return 16 * (row / 2) + 2 * column + row % 2;
});

VELA_INLINE uint8x16_t sliceOrder(int32_t s) {
    return vld1q_u8(kSlices.of + 16 * s);
}

// The slices of a block's bytes, and the masks of the bytes' bits 0 and 7. Each insertion to the
// left replaces what the slices before it have left above their bits, each one to the right what is
// below. A lane of eight slices s0 .. s7, bit 7 of a byte first, of each of which bit 0 is wanted:
//
//     s0                       . . . . . . . 0
//     s1 inserted 1 further    . . . . . . 1 0
//     s2 inserted 2 further    . . . . . 2 1 0
//     ..
//     s7 inserted 7 further    7 6 5 4 3 2 1 0
#ifdef __aarch64__

struct Slices {
    uint8x16_t of[4];
};

/// The table's registers are named, because GCC 12 copies all four for each vqtbl4q_u8.
template <uint8x16_t bytesOf(const int16_t*& rows)>
VELA_INLINE Slices slicesOf(const int16_t* rows) {
    register uint8x16_t rows0 __asm__("v16") = bytesOf(rows);
    register uint8x16_t rows2 __asm__("v17") = bytesOf(rows);
    register uint8x16_t rows4 __asm__("v18") = bytesOf(rows);
    register uint8x16_t rows6 __asm__("v19") = bytesOf(rows);
    Slices slices;
    for (int32_t s = 0; s < 4; s++)
        __asm__("tbl %0.16b, {v16.16b - v19.16b}, %1.16b"
                : "=w"(slices.of[s])
                : "w"(sliceOrder(s)), "w"(rows0), "w"(rows2), "w"(rows4), "w"(rows6));
    return slices;
}

inline uint8x8_t maskOfBit0(const Slices& slices) {
    uint8x16_t fours = vsliq_n_u8(slices.of[0], slices.of[1], 1);
    fours = vsliq_n_u8(fours, slices.of[2], 2);
    fours = vsliq_n_u8(fours, slices.of[3], 3);
    return vsli_n_u8(vget_low_u8(fours), vget_high_u8(fours), 4);
}

inline uint8x8_t maskOfBit7(const Slices& slices) {
    uint8x16_t fours = vsriq_n_u8(slices.of[3], slices.of[2], 1);
    fours = vsriq_n_u8(fours, slices.of[1], 2);
    fours = vsriq_n_u8(fours, slices.of[0], 3);
    return vsri_n_u8(vget_high_u8(fours), vget_low_u8(fours), 4);
}

inline Word maskWord(uint8x8_t mask, int32_t) {
    return vget_lane_u64(vreinterpret_u64_u8(mask), 0);
}

#else

struct Slices {
    uint8x8_t of[8];
};

/// Of positions in the lower table the upper one yields zeros; those in the upper one wrap for the
/// lower one, and leave what is there.
template <uint8x16_t bytesOf(const int16_t*& rows)>
VELA_INLINE Slices slicesOf(const int16_t* rows) {
    register uint8x16_t rows0 __asm__("q0") = bytesOf(rows);
    register uint8x16_t rows2 __asm__("q1") = bytesOf(rows);
    register uint8x16_t rows4 __asm__("q2") = bytesOf(rows);
    register uint8x16_t rows6 __asm__("q3") = bytesOf(rows);
    Slices slices;
    for (int32_t s = 0; s < 8; s++) {
        const uint8x8_t at = vld1_u8(kSlices.of + 16 * (s % 4) + 8 * (s / 4));
        const uint8x8_t wrapped = vsub_u8(at, vdup_n_u8(32));
        __asm__("vtbl.8 %P0, {d0 - d3}, %P1\n\tvtbx.8 %P0, {d4 - d7}, %P2"
                : "=&w"(slices.of[s])
                : "w"(at), "w"(wrapped), "w"(rows0), "w"(rows2), "w"(rows4), "w"(rows6));
    }
    return slices;
}

inline uint8x8_t maskOfBit0(const Slices& slices) {
    uint8x8_t mask = vsli_n_u8(slices.of[0], slices.of[1], 1);
    mask = vsli_n_u8(mask, slices.of[2], 2);
    mask = vsli_n_u8(mask, slices.of[3], 3);
    mask = vsli_n_u8(mask, slices.of[4], 4);
    mask = vsli_n_u8(mask, slices.of[5], 5);
    mask = vsli_n_u8(mask, slices.of[6], 6);
    return vsli_n_u8(mask, slices.of[7], 7);
}

inline uint8x8_t maskOfBit7(const Slices& slices) {
    uint8x8_t mask = vsri_n_u8(slices.of[7], slices.of[6], 1);
    mask = vsri_n_u8(mask, slices.of[5], 2);
    mask = vsri_n_u8(mask, slices.of[4], 3);
    mask = vsri_n_u8(mask, slices.of[3], 4);
    mask = vsri_n_u8(mask, slices.of[2], 5);
    mask = vsri_n_u8(mask, slices.of[1], 6);
    return vsri_n_u8(mask, slices.of[0], 7);
}

inline Word maskWord(uint8x8_t mask, int32_t word) {
    const uint32x2_t words = vreinterpret_u32_u8(mask);
    return word == 0 ? vget_lane_u32(words, 0) : vget_lane_u32(words, 1);
}

#endif

/// The mask of a block's zero coefficients.
inline uint8x8_t zeroMask(const int16_t* block) {
    return maskOfBit0(slicesOf<zeroBytes>(block));
}

/// Offsets in bytes of the coefficients in a block of transposed order, by zigzag index; then as many places more as a
/// word of a mask has, and one, which may be looked at.
constexpr auto kByteOffsets = makeTable<uint8_t, 64 + kWordBits + 1>([](int32_t k) {
    return k < 64
               ? static_cast<int32_t>(sizeof(int16_t)) * kTransposedZigzag[static_cast<size_t>(k)]
               : 0;
});

/// The coefficients of a block of transposed order, by zigzag index from some index on.
struct OffsetOrder {
    const int16_t* block;
    const uint8_t* offsets = kByteOffsets.of;

    int32_t operator()(int32_t k) const {
        const auto* const at = reinterpret_cast<const unsigned char*>(block) + offsets[k];
        return *reinterpret_cast<const int16_t*>(at);
    }
};

inline OffsetOrder orderInWord(const OffsetOrder& order, int32_t word) {
    return {order.block, order.offsets + word * kWordBits};
}

/// AC coefficients that are not 0, and among them those of magnitude 1.
struct CoefficientMasks {
    uint8x8_t nonZero;
    uint8x8_t ones;
};

struct ScanNeon {
    using Order = OffsetOrder;

    static CoefficientMasks masks(const int16_t* block, Order& order) {
        order.block = block;
        const Slices slices = slicesOf<magnitudeBytes>(block);
        const uint8x8_t ac = vcreate_u8(~(uint64_t{1} << (kWordBits - 1))); // all but index 0
        const uint8x8_t low = vand_u8(maskOfBit0(slices), ac);
        const uint8x8_t large = vand_u8(maskOfBit7(slices), ac);
        return {vorr_u8(low, large), vbic_u8(low, large)};
    }
};

} // namespace
} // namespace vela::VELA_ISA
