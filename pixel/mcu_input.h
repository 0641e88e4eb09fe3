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

    /// The top-left sample of an MCU, given that of its MCU row.
    PlanePointers corner(const PlanePointers& top, int32_t column) const {
        PlanePointers corner;
        for (int32_t p = 0; p < 3; p++)
            corner.plane[p] = top.plane[p] + ptrdiff_t{column} * advance_[p];
        return corner;
    }

    /// Fills an MCU's blocks, given the first one of each component, from the MCU at corner.
    void convertWhole(const PlanePointers& corner, int16_t* const areas[]) const {
        const int32_t* const steps = state_.bufSpec.planeStep;
        if (singlePlane_)
            state_.procSpec.convertMcu(corner.plane[0], steps[0], areas);
        else
            state_.procSpec.convertMcuPlanar(corner.plane, steps, areas);
    }

    /// The same of an MCU of which only validWidth x validHeight pixels lie inside the picture.
    void convertPartial(const PlanePointers& corner, int32_t validWidth, int32_t validHeight,
                        int16_t* const areas[]) const;

private:
    const EncoderState_JPEG& state_;
    const bool singlePlane_;
    int32_t advance_
        [3]; // of the planes' pointers from one MCU to the next, in bytes; 0 for an absent plane
};

} // namespace vela
