// Input of one MCU, whole or partial, through the routines that set-up chose for the format.
#pragma once

#include <cstddef>

#include "pixel/row_sources.h"
#include "state/encoder_state.h"

namespace vela {

/// How far the planes' pointers move from one MCU to the next, in bytes; 0 for an absent plane.
struct McuAdvance {
    int32_t plane[3];
};
McuAdvance mcuAdvance(const EncoderState_JPEG& state);

/// The top-left sample of an MCU, given that of its MCU row.
inline PlanePointers mcuCorner(const PlanePointers& top, const McuAdvance& advance,
                               int32_t column) {
    PlanePointers corner;
    for (int32_t p = 0; p < 3; p++)
        corner.plane[p] = top.plane[p] + ptrdiff_t{column} * advance.plane[p];
    return corner;
}

/// Fills an MCU's blocks, given the first one of each component, from the MCU at corner.
inline void convertWholeMcu(const EncoderState_JPEG& state, const PlanePointers& corner,
                            int16_t* const areas[]) {
    const int32_t* const steps = state.bufSpec.planeStep;
    if (state.procSpec.convertMcu != nullptr)
        state.procSpec.convertMcu(corner.plane[0], steps[0], areas);
    else
        state.procSpec.convertMcuPlanar(corner.plane, steps, areas);
}

/// Fills the MCU block area from an MCU of which only validWidth x validHeight pixels lie inside the
/// picture.
void convertPartialMcu(const EncoderState_JPEG& state, const PlanePointers& corner,
                       int32_t validWidth, int32_t validHeight);

} // namespace vela
