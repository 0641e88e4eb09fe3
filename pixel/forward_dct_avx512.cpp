#include <immintrin.h>

#include "pixel/forward_dct_constants.h"
#include "pixel/x86_kernels.h"
#include "state/encoder_state.h"

namespace {

#include "pixel/forward_dct_x86.h"

#include "pixel/forward_dct_lanes.inl"

} // namespace

namespace vela {

void transformMcuAvx512(BlockSpec* blocks) {
    int16_t* const* const samples = blocks->blockSamples;
    const int16_t* const* const quant = blocks->blockQuant;
    switch (blocks->blockCount) {
    case 1:
        transformMcuAvx2(blocks);
        break;
    case 3: { // the fourth lane does the last block's work once more
        int16_t* const four[] = {samples[0], samples[1], samples[2], samples[2]};
        const int16_t* const fourQuant[] = {quant[0], quant[1], quant[2], quant[2]};
        transformBlocks<FourBlocks>(four, fourQuant);
        break;
    }
    case 6:
        transformBlocks<TwoBlocks>(samples + 4, quant + 4);
        [[fallthrough]];
    default:
        transformBlocks<FourBlocks>(samples, quant);
    }
}

} // namespace vela
