#include <immintrin.h>

#include "pixel/forward_dct_constants.h"
#include "pixel/x86_kernels.h"
#include "state/encoder_state.h"

namespace {

#include "pixel/forward_dct_x86.h"

#include "pixel/forward_dct_lanes.inl"

} // namespace

namespace vela {

void transformMcuSse41(BlockSpec* blocks) {
    for (int32_t i = 0; i < blocks->blockCount; i++)
        transformBlocks<OneBlock>(blocks->blockSamples + i, blocks->blockQuant + i);
}

} // namespace vela
