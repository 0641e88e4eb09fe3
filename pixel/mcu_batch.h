// Whole MCUs of an MCU row that are converted and transformed at once, where the kernels gain by that.
#pragma once

#include <algorithm>

#include "state/encoder_state.h"

namespace vela {

/// Room for MCUs behind each other:
///
///     | Y | Y | Y | Y | Cb | Cr | Y | Y | Y | Y | Cb | Cr | ...
class McuBatch {
public:
    explicit McuBatch(const EncoderState_JPEG& state)
        : blocks_(state.blockSpec), size_(state.routines->batchBlocks / blocks_.blockCount) {
        for (int32_t i = 0; i < blocks_.blockCount; i++)
            blocks_.blockSamples[i] = samples_ + i * kBlockSamples;
    }

    /// MCUs that are worth being taken at once: less than 2 if the kernels do not gain by it.
    int32_t size() const { return kMaxBatchBlocks > 0 ? size_ : 0; }

    /// The blocks of the first MCU, with those of the others behind them.
    const BlockSpec& blocks() const { return blocks_; }

    /// First blocks of an MCU's components.
    void areas(int32_t mcu, int16_t* (&area)[3]) {
        const int32_t luma = blocks_.blockCount - blocks_.chromaBlocks;
        area[0] = blockOf(blocks_, mcu, 0);
        area[1] = area[0] + luma * kBlockSamples;
        area[2] = area[1] + kBlockSamples;
    }

private:
    BlockSpec blocks_;
    int32_t size_;
    alignas(64) int16_t samples_[std::max<int32_t>(kMaxBatchBlocks, 1) * kBlockSamples];
};

} // namespace vela
