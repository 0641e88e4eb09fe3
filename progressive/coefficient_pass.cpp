#include "progressive/coefficient_pass.h"

#include "pixel/picture_walk.h"
#include "progressive/coefficient_pack.h"

namespace vela {
namespace {

/// Packs each MCU, and behind each MCU row the blocks that were deferred.
class Packer {
public:
    explicit Packer(EncoderState_JPEG* st) : st_(st) {}

    [[nodiscard]] Status beginRow() {
        st_->deferredCursor = st_->bufSpec.deferredBlocks;
        return ENC_STATUS_OK;
    }

    [[nodiscard]] Status mcu(int32_t validWidth, int32_t validHeight) {
        return pack(st_->blockSpec, validWidth, validHeight);
    }

    int32_t mcusAtOnce(int32_t most) const { return most; }

    [[nodiscard]] Status mcus(const BlockSpec& blocks, int32_t count) {
        BlockSpec mcu = blocks;
        Status status = ENC_STATUS_OK;
        for (int32_t m = 0; status == ENC_STATUS_OK && m < count; m++) {
            for (int32_t i = 0; i < mcu.blockCount; i++)
                mcu.blockSamples[i] = blockOf(blocks, m, i);
            status = pack(mcu, st_->mcuSpec.mcuWidth, st_->mcuSpec.mcuHeight);
        }
        return status;
    }

    [[nodiscard]] Status endRow(int32_t) {
        return velaCoeffPack411Final_JPEG(st_->bufSpec.deferredBlocks, st_);
    }

private:
    Status pack(const BlockSpec& blocks, int32_t validWidth, int32_t validHeight) {
        const int32_t right = validWidth > 8 ? 1 : 0;
        const int32_t lower = validHeight > 8 ? 1 : 0;
        const int32_t lumaPresent[4] = {1, right, lower, right * lower};
        return velaCoeffPack_MCU_JPEG(st_, &blocks, lumaPresent);
    }

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
