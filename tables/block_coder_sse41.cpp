// The baseline coder of whole MCUs that visits non-zero coefficients alone, which SSE4.1 finds. What is
// coded is that of the plain version (tables/block_coder.cpp).
#include <immintrin.h>

#include "state/encoder_state.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_x86.h"

using Word = uint64_t;

#include "stream/word_gatherer.inl"

#include "tables/value_coder.inl"

inline void encodeBlock(const int16_t* block, Gatherer& gatherer, int16_t* predictor,
                        const uint32_t* dcTable, const uint32_t* acTable) {
    putValue<true>(gatherer, dcTable, 0, block[0] - *predictor);
    *predictor = block[0];

    TransposedOrder order;
    uint64_t left = Scan128::scan(block, order);
    int32_t next = 1; // the first coefficient that is not coded yet
    while (left != 0) {
        const int32_t k = __builtin_ctzll(left);
        left &= left - 1;
        int32_t run = k - next;
        for (; run >= 16; run -= 16)
            putCode(gatherer, acTable[0xF0]); // ZRL
        putValue<false>(gatherer, acTable, run, order(k));
        next = k + 1;
    }
    if (next <= 63)
        putCode(gatherer, acTable[0x00]); // EOB
}

} // namespace

namespace vela::sse41 {

int32_t encodeMcus(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    return ::encodeMcus(blocks, mcuCount, dst, bitPosition, encodeBlock);
}

} // namespace vela::sse41
