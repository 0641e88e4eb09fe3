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

int32_t encodeMcusSse41(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst,
                        int32_t bitPosition) {
    return encodeMcus<Scan128>(blocks, mcuCount, dst, bitPosition);
}

} // namespace vela
