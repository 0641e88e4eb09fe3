#include <immintrin.h>

#include <algorithm>

#include "state/encoder_state.h"
#include "state/kernels.h"
#include "state/zigzag.h"

namespace {

#include "tables/zigzag_scan_x86.h"

#include "tables/record_coder_x86.h"

inline int32_t Records::addBlock(int32_t count, const int16_t* block, int32_t predictor,
                                 uint8_t tables) {
    return addOneByOne<Scan128>(*this, count, block, predictor, tables);
}

#include "tables/record_coder_lanes.inl"

} // namespace

namespace vela::avx2 {

int32_t encodeMcus(const BlockSpec& blocks, int32_t mcuCount, uint8_t* dst, int32_t bitPosition) {
    return ::encodeMcus<EightRecords>(blocks, mcuCount, dst, bitPosition);
}

} // namespace vela::avx2
