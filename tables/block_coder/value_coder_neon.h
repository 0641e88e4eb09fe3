// The baseline coder on NEON: the coefficients that are not 0 are found by masks and put one by one, gathered in words
// of the masks' size. What is coded is that of the plain version (plain.cpp).
#pragma once

#include <cstdint>

#include "cpu/isa.h"
#include "state/encoder_state.h"
#include "stream/word_gatherer.h"
#include "tables/block_coder/zigzag_neon.h"

namespace vela::VELA_ISA {
namespace {

using Gatherer = WordGatherer<uintptr_t>; // of the processor's registers

/// Takes the bits before the position in its byte along.
inline Gatherer gatherFrom(uint8_t* dst, int32_t bitPosition) {
    uint8_t* const out = dst + bitPosition / 8;
    const int32_t held = bitPosition % 8;
    return {out, held == 0 ? 0 : uintptr_t{*out} >> (8 - held), held};
}

/// Stores everything, the partial byte without moving past it, and returns the bit position.
inline int32_t storeRest(Gatherer& gatherer, const uint8_t* dst) {
    gatherer.storeBytes(gatherer.held() / 8);
    *gatherer.out = static_cast<uint8_t>(gatherer.bits << (8 - gatherer.held()));
    return static_cast<int32_t>(gatherer.out - dst) * 8 + gatherer.held();
}

inline void putCode(Gatherer& gatherer, uint32_t entry) {
    gatherer.put(entry & 0xFFFF, static_cast<int32_t>(entry >> 16));
}

/// A symbol, then the bits of value; mayBeZero: value may be 0, which has none.
template <bool mayBeZero>
void putValue(Gatherer& gatherer, const uint32_t* table, int32_t run, int32_t value) {
    const int32_t below = value + (value >> 31); // of a negative value the magnitude's complement
    const auto magnitude = static_cast<uint32_t>(below ^ (below >> 31));
    const int32_t size = mayBeZero && magnitude == 0 ? 0 : 32 - __builtin_clz(magnitude);
    const uint32_t entry = table[16 * run + size];
    // A negative value is coded as value - 1 + 2^size (T.81 F.1.2.1).
    const uint32_t code = (entry & 0xFFFF) - static_cast<uint32_t>(below >> 31);
    gatherer.put((code << size) + static_cast<uint32_t>(below),
                 static_cast<int32_t>(entry >> 16) + size);
}

/// Codes those of the coefficients from first on that have a bit in left, from its highest one on.
/// next: the first coefficient that is not coded yet, there or before; returns the new one. first
/// and next are places in kByteOffsets.
inline const uint8_t* codeCoefficients(Gatherer& gatherer, const int16_t* block, Word left,
                                       const uint8_t* first, const uint8_t* next,
                                       const uint32_t* table) {
    if (left == 0)
        return next;
    int32_t run = firstIndex(left);
    left <<= run;
    run += static_cast<int32_t>(first - next);
    for (;;) {
        next += run;
        for (; __builtin_expect(run >= 16, false); run -= 16)
            putCode(gatherer, table[0xF0]); // ZRL
        const auto* const value = reinterpret_cast<const unsigned char*>(block) + *next++;
        putValue<false>(gatherer, table, run, *reinterpret_cast<const int16_t*>(value));
        left <<= 1;
        if (left == 0)
            return next;
        run = firstIndex(left);
        left <<= run;
    }
}

inline void encodeBlock(const int16_t* block, Gatherer& gatherer, int16_t* predictor,
                        const uint32_t* dcTable, const uint32_t* acTable) {
    const uint8x8_t mask = vmvn_u8(zeroMask(block));
    // To core registers here, ahead of DC: right before its use a mask would be waited for (Cortex-A8, A9).
    Word words[kMaskWords];
    for (int32_t i = 0; i < kMaskWords; i++) {
        words[i] = maskWord(mask, i);
        __asm__ volatile("" : "+r"(words[i]));
    }
    putValue<true>(gatherer, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];

    const uint8_t* const offsets = kByteOffsets.of;
    const uint8_t* next = offsets + 1;
    next = codeCoefficients(gatherer, block, words[0] << 1, next, next, acTable);
    if constexpr (kMaskWords == 2)
        next = codeCoefficients(gatherer, block, words[1], offsets + kWordBits, next, acTable);
    if (next != offsets + 64)
        putCode(gatherer, acTable[0x00]); // EOB
}

VELA_INLINE int32_t encodeByValues(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                                   int32_t bitPosition) {
    Gatherer gatherer = gatherFrom(dst, bitPosition);
    int32_t i = 0;
    ptrdiff_t mcu = 0;
    // One loop, so that what encodeBlock keeps in registers is loaded once.
    for (int32_t left = mcuCount * blocks.blockCount; left > 0; left--) {
        encodeBlock(blocks.blockSamples[i] + mcu, gatherer, blocks.blockPredictor[i],
                    blocks.blockDcTable[i]->entry, blocks.blockAcTable[i]->entry);
        if (++i == blocks.blockCount) {
            i = 0;
            mcu += blocks.blockCount * kBlockSamples;
        }
    }
    return storeRest(gatherer, dst);
}

} // namespace
} // namespace vela::VELA_ISA
