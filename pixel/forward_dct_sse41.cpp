#include <immintrin.h>

#include "pixel/forward_dct_constants.h"
#include "pixel/x86_kernels.h"
#include "state/encoder_state.h"

namespace {

#include "pixel/forward_dct_x86.h"

#include "pixel/forward_dct_lanes.inl"

} // namespace

namespace vela {

void transformMcusSse41(const BlockSpec& blocks, int32_t mcuCount) {
    transformMcus<OneBlock>(blocks, mcuCount);
}

} // namespace vela
