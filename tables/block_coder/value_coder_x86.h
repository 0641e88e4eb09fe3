// The baseline coder of one block on SSE4.1. What is coded is that of the plain version (plain.cpp).
#pragma once

#include "tables/block_coder/value_coder.h"
#include "tables/block_coder/zigzag_x86.h"

namespace vela::VELA_ISA {
namespace {

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
} // namespace vela::VELA_ISA
