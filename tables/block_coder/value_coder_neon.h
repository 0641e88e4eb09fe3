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

inline int32_t valueAt(const int16_t* block, const uint8_t* place) {
    return *reinterpret_cast<const int16_t*>(reinterpret_cast<const unsigned char*>(block) +
                                             *place);
}

/// Codes those of the coefficients from first on that have a bit in left, from its highest one on.
/// next: the first coefficient that is not coded yet, there or before; returns the new one. first
/// and next are places in kByteOffsets. Each value is loaded while the one before it is coded, because cores that
/// take instructions in their order would wait for it; after the last one it is that of some other place.
inline const uint8_t* codeCoefficients(Gatherer& gatherer, const int16_t* block, Word left,
                                       const uint8_t* first, const uint8_t* next,
                                       const uint32_t* table) {
    if (left == 0)
        return next;
    // By distances from the coefficient before, 1 beyond the zeros between, which the table is looked up by.
    const auto* const byDistance =
        reinterpret_cast<const uint32_t*>(reinterpret_cast<uintptr_t>(table) - 16 * sizeof *table);
    const uint8_t* at = first + firstIndex(left);
    left <<= firstIndex(left);
    auto distance = static_cast<Word>(at - next) + 1;
    int32_t value = valueAt(block, at);
    for (; __builtin_expect(distance > 16, false); distance -= 16)
        putCode(gatherer, table[0xF0]); // ZRL
    for (;;) {
        const Word rest = left & ~bitOf(0);
        const Word further = zerosBefore(rest);
        at += further;
        const int32_t following = valueAt(block, at);
        putValue<false>(gatherer, byDistance, static_cast<int32_t>(distance), value);
        distance = further;
        value = following;
        if (__builtin_expect(distance > 16, false)) {
            if (rest == 0)
                return at - kWordBits + 1;
            left = rest << distance;
            for (; distance > 16; distance -= 16)
                putCode(gatherer, table[0xF0]);
            continue;
        }
        left = rest << distance;
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
