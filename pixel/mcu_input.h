// Input of MCUs, whole or partial, through the routines that set-up chose for the format.
#pragma once

#include <cstddef>

#include "pixel/row_sources.h"
#include "state/color_format.h"
#include "state/encoder_state.h"

namespace vela {

class McuInput {
public:
    explicit McuInput(const EncoderState_JPEG& state);

    /// Fills the blocks of count whole MCUs, or of one that is partial, from the one at column of an MCU row
    /// on. validWidth x validHeight pixels of each lie inside the picture.
    void convert(const PlanePointers& top, int32_t column, int32_t validWidth, int32_t validHeight,
                 const BlockSpec& blocks, int32_t count) const {
        const MCUSpec& mcu = state_.mcuSpec;
        const bool whole = validWidth == mcu.mcuWidth && validHeight == mcu.mcuHeight;
        for (int32_t m = 0; m < count; m++) {
            PlanePointers corner;
            for (int32_t p = 0; p < 3; p++)
                corner.plane[p] = top.plane[p] + ptrdiff_t{column + m} * advance_[p];
            int16_t* areas[3];
            findAreas(blocks, m, areas);
            if (whole)
                convertWhole(corner, areas);
            else
                convertPartial(corner, validWidth, validHeight, areas);
        }
    }

private:
    /// First blocks of an MCU's components.
    static void findAreas(const BlockSpec& blocks, int32_t mcu, int16_t* (&areas)[3]) {
        const int32_t luma = blocks.blockCount - blocks.chromaBlocks;
        areas[0] = blockOf(blocks, mcu, 0);
        areas[1] = areas[0] + luma * kBlockSamples;
        areas[2] = areas[1] + kBlockSamples;
    }

    void convertWhole(const PlanePointers& corner, int16_t* const areas[3]) const {
        const int32_t* const steps = state_.bufSpec.planeStep;
        if (singlePlane_)
            state_.procSpec.convertMcu(corner.plane[0], steps[0], areas);
        else
            state_.procSpec.convertMcuPlanar(corner.plane, steps, areas);
    }

    void convertPartial(const PlanePointers& corner, int32_t validWidth, int32_t validHeight,
                        int16_t* const areas[3]) const;

    const EncoderState_JPEG& state_;
    const bool singlePlane_;
    int32_t advance_
        [3]; // of the planes' pointers from one MCU to the next, in bytes; 0 for an absent plane
};

} // namespace vela
