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
    vela::BlockSpec& blocks() { return state_->blockSpec; }

    size_t mcus() const { return samples_.size() / kMcuElements; }
    /// Puts the samples of an MCU where the transform takes them.
    void putSamples(size_t mcu);
    /// An MCU's blocks, transformed and quantized; the first four are luminance.
    const vela::BlockSpec& coded(size_t mcu) const { return coded_[mcu]; }

private:
    static constexpr size_t kMcuElements = size_t{6} * vela::kBlockSamples;

    std::vector<int16_t> samples_, coefficients_; // MCU by MCU
    std::vector<vela::BlockSpec> coded_;          // with their blocks among the coefficients
    EncoderState_JPEG* state_ = nullptr;
};

} // namespace bench
