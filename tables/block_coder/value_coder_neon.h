// The baseline coder of one block on NEON. Bits are gathered in words of the masks' size. What is coded
// is that of the plain version (plain.cpp).
#pragma once

#include "tables/block_coder/value_coder.h"
#include "tables/block_coder/zigzag_neon.h"

namespace vela::VELA_ISA {
namespace {

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
    putValue<true>(gatherer, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];

    const uint8_t* const offsets = kByteOffsets.of;
    const uint8_t* next = offsets + 1;
    next = codeCoefficients(gatherer, block, maskWord(mask, 0) << 1, next, next, acTable);
    if constexpr (kMaskWords == 2)
        next = codeCoefficients(gatherer, block, maskWord(mask, 1), offsets + kWordBits, next,
                                acTable);
    if (next != offsets + 64)
        putCode(gatherer, acTable[0x00]); // EOB
}

} // namespace
} // namespace vela::VELA_ISA
