// The MCUs that a walk has at hand: one in the state's MCU block area, or several where the kernels gain
// by taking so many at once.
#pragma once

#include <algorithm>

#include "state/encoder_state.h"

namespace vela {

class McuBatch {
public:
    explicit McuBatch(const EncoderState_JPEG& state)
        : single_(state.blockSpec), several_(state.blockSpec),
          size_(std::max<int32_t>(1, state.routines->batchBlocks / several_.blockCount)) {
        for (int32_t i = 0; i < several_.blockCount; i++)
            several_.blockSamples[i] = samples_ + i * kBlockSamples;
    }

    /// How many MCUs are worth being taken at once.
    int32_t size() const { return kMaxBatchBlocks > 0 ? size_ : 1; }

    /// The first of count MCUs' blocks, with those of the others after them (blockOf):
    ///
    ///     | Y | Y | Y | Y | Cb | Cr | Y | Y | Y | Y | Cb | Cr | ...
    const BlockSpec& blocks(int32_t count) {
        return kMaxBatchBlocks == 0 || count == 1 ? single_ : several_;
    }

private:
    const BlockSpec& single_;
    BlockSpec several_;
    int32_t size_;
    alignas(64) int16_t samples_[std::max(kMaxBatchBlocks, 1) * kBlockSamples];
};

} // namespace vela
