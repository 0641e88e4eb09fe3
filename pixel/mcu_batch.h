// The MCUs that a walk has at hand: one in the state's MCU block area, or several where the kernels gain
// by taking so many at once.
#pragma once

#include <algorithm>

#include "state/encoder_state.h"

namespace vela {

class McuBatch {
public:
    explicit McuBatch(const EncoderState_JPEG& state) : state_(state) {
        if (kMaxBatchBlocks == 0)
            return;
        several_ = state.blockSpec;
        size_ = std::max<int32_t>(1, state.routines->batchBlocks / several_.blockCount);
        for (int32_t i = 0; i < several_.blockCount; i++)
            several_.blockSamples[i] = samples_ + i * kBlockSamples;
    }

    /// How many MCUs are worth being taken at once.
    int32_t size() const { return kMaxBatchBlocks > 0 ? size_ : 1; }

    /// The first of count MCUs' blocks, with those of the others after them (blockOf):
    ///
    ///     | Y | Y | Y | Y | Cb | Cr | Y | Y | Y | Y | Cb | Cr | ...
    const BlockSpec& blocks(int32_t count) const {
        return isSingle(count) ? state_.blockSpec : several_;
    }

    /// Calls use(areas) for each of count MCUs in their order, areas being its components' first blocks.
    template <class Use>
    void forEach(int32_t count, Use use) const {
        if (isSingle(count)) {
            use(state_.bufSpec.compBlocks[0]);
            return;
        }
        const ptrdiff_t blocks = several_.blockCount;
        const ptrdiff_t luma = blocks - several_.chromaBlocks;
        int16_t* first = several_.blockSamples[0];
        for (int32_t m = 0; m < count; m++) {
            int16_t* const chroma = first + luma * kBlockSamples;
            int16_t* const areas[3] = {first, chroma, chroma + kBlockSamples};
            use(areas);
            first += blocks * kBlockSamples;
        }
    }

private:
    static bool isSingle(int32_t count) { return kMaxBatchBlocks == 0 || count == 1; }

    const EncoderState_JPEG& state_;
    BlockSpec several_; // used where batches are
    int32_t size_;
    alignas(64) int16_t samples_[std::max<int32_t>(kMaxBatchBlocks, 1) * kBlockSamples];
};

} // namespace vela
