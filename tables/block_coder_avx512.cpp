#include <immintrin.h>

#include "state/encoder_state.h"
#include "state/zigzag.h"
#include "tables/x86_kernels.h"

namespace {

#include "tables/zigzag_scan_x86.h"

#include "stream/bit_gatherer.inl"

#include "tables/block_coder_lanes.inl"

} // namespace

namespace vela {

int32_t encodeMcuAvx512(const BlockSpec* blocks, uint8_t* dst, int32_t bitPosition) {
    // The way through memory to the ordered coefficients is long, and overlaps from block to block: a
    // single block is coded faster in narrower registers.
    return blocks->blockCount == 1 ? encodeMcuAvx2(blocks, dst, bitPosition)
                                   : encodeMcu<Scan512>(blocks, dst, bitPosition);
}

} // namespace vela
