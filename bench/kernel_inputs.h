// What the kernels work on inside the encoder, taken from a picture with a photograph's detail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "state/encoder_state.h"

namespace bench {

inline constexpr int32_t kInputWidth = 512, kInputHeight = 128; // in pixels

/// An encoder that is set up for BGR 8-8-8 to 4:2:0, and the blocks of its whole MCUs. All blocks
/// fit a second-level cache.
class KernelInputs {
public:
    KernelInputs(uint32_t quality, const vela::RoutineTable& routines);
    ~KernelInputs();
    KernelInputs(const KernelInputs&) = delete;
    KernelInputs& operator=(const KernelInputs&) = delete;

    EncoderState_JPEG& state() { return *state_; }
    const vela::BlockSpec& blocks() const { return state_->blockSpec; }

    size_t mcus() const { return samples_.size() / kMcuElements; }
    /// How many of the MCUs from one on the kernels take at once.
    int32_t atOnce(size_t mcu) const;
    /// Copies of the samples of so many MCUs, for the transform to replace.
    const vela::BlockSpec& samples(size_t mcu, int32_t count);
    /// An MCU's blocks, transformed and quantized, those of the next MCUs after them; the first four
    /// are luminance.
    const vela::BlockSpec& coded(size_t mcu) const { return coded_[mcu]; }

private:
    static constexpr size_t kMcuElements = size_t{6} * vela::kBlockSamples;

    std::vector<int16_t> samples_, coefficients_; // MCU by MCU
    std::vector<int16_t> area_;                   // of samples()
    vela::BlockSpec areaBlocks_;
    std::vector<vela::BlockSpec> coded_; // with their blocks among the coefficients
    EncoderState_JPEG* state_ = nullptr;
};

} // namespace bench
