#include <immintrin.h>

#include "pixel/forward_dct_constants.h"
#include "pixel/x86_kernels.h"
#include "state/encoder_state.h"

namespace {

#include "pixel/forward_dct_x86.h"

#include "pixel/forward_dct_lanes.inl"

} // namespace

namespace vela {

void transformMcuAvx2(BlockSpec* blocks) {
    int16_t* const* const samples = blocks->blockSamples;
    const int16_t* const* const quant = blocks->blockQuant;
    if (blocks->blockCount == 1) {
        transformBlocks<OneBlock>(samples, quant);
        return;
    }
    for (int32_t i = 0; i < blocks->blockCount;
         i += 2) { // a third block also takes a fourth's lane
        const int32_t second = i + 1 < blocks->blockCount ? i + 1 : i;
        int16_t* const two[] = {samples[i], samples[second]};
        const int16_t* const twoQuant[] = {quant[i], quant[second]};
        transformBlocks<TwoBlocks>(two, twoQuant);
    }
}

} // namespace vela
