// The baseline coder of whole MCUs that visits non-zero coefficients alone, which NEON finds. Bits
// are gathered in words of the masks' size. What is coded is that of the plain version
// (tables/block_coder.cpp).
#include <arm_neon.h>

#include "state/encoder_state.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_neon.h"

#include "stream/word_gatherer.inl"

#include "tables/value_coder.inl"

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

namespace vela::neon {

int32_t encodeMcus(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    return ::encodeMcus(blocks, mcuCount, dst, bitPosition, encodeBlock);
}

} // namespace vela::neon
