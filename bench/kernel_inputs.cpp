#include "bench/kernel_inputs.h"

#include <algorithm>

#include "bench/formats.h"
#include "bench/host_memory.h"
#include "cli/failure.h"
#include "encoder/setup.h"

namespace bench {
namespace {

int32_t discard(uint8_t*, uint32_t, int32_t usedBytes, uint32_t) {
    return usedBytes;
}

/// The blocks of an MCU one after another.
void placeBlocks(vela::BlockSpec& blocks, int16_t* at) {
    for (int32_t i = 0; i < blocks.blockCount; i++)
        blocks.blockSamples[i] = at + i * vela::kBlockSamples;
}

} // namespace

KernelInputs::KernelInputs(uint32_t quality, const vela::RoutineTable& routines) {
    const FormatPicture picture(*findFormat("bgr888-420"),
                                makePhotoTexture(kInputWidth, kInputHeight));
    EncoderParams_JPEG params{};
    params.quality = quality;
    params.mode = ENC_MODE_BASELINE;
    params.subsampling = ENC_SUBSAMPLE_420;
    params.bufferMode = ENC_BUFFER_INTEGRATED;
    const Picture_JPEG record = picture.record();
    const CallbackTable_JPEG callbacks{nullptr, allocateBlock, releaseBlock, growBlock,
                                       discard, nullptr,       nullptr};
    uint8_t buffer[2048];
    Bitstream_JPEG header{buffer, sizeof buffer, nullptr, 0};
    if (vela::initEncoder(&params, &record, &header, &callbacks, &state_, routines) !=
        ENC_STATUS_OK)
        throw cli::Failure("the encoder cannot be set up");

    for (int32_t y = 0; y < kInputHeight; y += 16)
        for (int32_t x = 0; x < kInputWidth; x += 16) {
            const uint8_t* const corner = record.plane[0] + record.step[0] * y + 3 * x;
            state_->procSpec.convertMcu(corner, record.step[0], state_->bufSpec.compBlocks[0]);
            const vela::BlockSpec& mcu = blocks();
            for (int32_t i = 0; i < mcu.blockCount; i++)
                samples_.insert(samples_.end(), mcu.blockSamples[i],
                                mcu.blockSamples[i] + vela::kBlockSamples);
            routines.transformMcus(blocks(), 1);
            for (int32_t i = 0; i < mcu.blockCount; i++)
                coefficients_.insert(coefficients_.end(), mcu.blockSamples[i],
                                     mcu.blockSamples[i] + vela::kBlockSamples);
        }
    coded_.assign(mcus(), blocks());
    for (size_t mcu = 0; mcu < mcus(); mcu++)
        placeBlocks(coded_[mcu], coefficients_.data() + mcu * kMcuElements);
    area_.resize(kMcuElements * static_cast<size_t>(atOnce(0)));
    areaBlocks_ = blocks();
    placeBlocks(areaBlocks_, area_.data());
}

KernelInputs::~KernelInputs() {
    EncoderFree_JPEG(&state_);
}

int32_t KernelInputs::atOnce(size_t mcu) const {
    const int32_t most = std::max(state_->routines->batchBlocks / blocks().blockCount, 1);
    return std::min(most, static_cast<int32_t>(mcus() - mcu));
}

const vela::BlockSpec& KernelInputs::samples(size_t mcu, int32_t count) {
    std::copy_n(samples_.data() + mcu * kMcuElements, kMcuElements * static_cast<size_t>(count),
                area_.data());
    return areaBlocks_;
}

} // namespace bench
