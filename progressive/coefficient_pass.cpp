#include "progressive/coefficient_pass.h"

#include "pixel/picture_walk.h"
#include "progressive/coefficient_pack.h"

namespace vela {
namespace {

/// Packs each MCU, and after each MCU row the blocks that were deferred.
class Packer {
public:
    explicit Packer(EncoderState_JPEG* st) : st_(st) {}

    [[nodiscard]] Status beginRow() {
        st_->deferredCursor = st_->bufSpec.deferredBlocks;
        return ENC_STATUS_OK;
    }

    /// The packing of an MCU makes its own room, in the scan buffers.
    [[nodiscard]] Status room(int32_t&) const { return ENC_STATUS_OK; }

    [[nodiscard]] Status take(const BlockSpec& blocks, int32_t count, int32_t validWidth,
                              int32_t validHeight) {
        const int32_t right = validWidth > 8 ? 1 : 0;
        const int32_t lower = validHeight > 8 ? 1 : 0;
        const int32_t lumaPresent[4] = {1, right, lower, right * lower};
        if (count == 1)
            return velaCoeffPack_MCU_JPEG(st_, &blocks, lumaPresent);
        BlockSpec mcu = blocks;
        Status status = ENC_STATUS_OK;
        for (int32_t m = 0; status == ENC_STATUS_OK && m < count; m++) {
            for (int32_t i = 0; i < mcu.blockCount; i++)
                mcu.blockSamples[i] = blockOf(blocks, m, i);
            status = velaCoeffPack_MCU_JPEG(st_, &mcu, lumaPresent);
        }
        return status;
    }

    [[nodiscard]] Status endRow() {
        return velaCoeffPack411Final_JPEG(st_->bufSpec.deferredBlocks, st_);
    }

private:
    EncoderState_JPEG* st_;
};

template <class RowSource>
Status packPicture(EncoderState_JPEG* st) {
    Packer packer(st);
    const Status status = walkPicture(*st, RowSource(*st), packer);
    return status == ENC_STATUS_OK ? velaCoeffPackEnd_JPEG(&st->blockSpec, st) : status;
}

} // namespace

Status velaInitEncodeCoeffYUV_JPEG(EncoderState_JPEG* st) {
    return packPicture<SliceRows>(st);
}

Status velaInitEncodeCoeffYUV_IntegrateBuf_JPEG(EncoderState_JPEG* st) {
    return packPicture<IntegratedRows>(st);
}

Status velaInitEncodeCoeffNV_JPEG(EncoderState_JPEG* st) {
    return packPicture<SliceRows>(st);
}

Status velaInitEncodeCoeffNV_IntegrateBuf_JPEG(EncoderState_JPEG* st) {
    return packPicture<IntegratedRows>(st);
}

Status velaInitEncodeCoeffRGB_JPEG(EncoderState_JPEG* st) {
    return packPicture<SliceRows>(st);
}

Status velaInitEncodeCoeffRGB_IntegrateBuf_JPEG(EncoderState_JPEG* st) {
    return packPicture<IntegratedRows>(st);
}

} // namespace vela
