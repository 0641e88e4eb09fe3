// Input of MCUs, whole or partial, through the routines that set-up chose for the format.
#pragma once

#include <cstddef>

#include "pixel/mcu_batch.h"
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

    /// Fills the blocks of count MCUs of a batch from the MCUs that begin at corner.
    void convertWhole(PlanePointers corner, const McuBatch& batch, int32_t count) const {
        const int32_t* const steps = state_.bufSpec.planeStep;
        if (singlePlane_) {
            const uint8_t* from = corner.plane[0];
            const auto convert = state_.procSpec.convertMcu;
            const int32_t step = steps[0], advance = advance_[0];
            batch.forEach(count, [=](int16_t* const areas[]) mutable {
                convert(from, step, areas);
                from += advance;
            });
            return;
        }
        batch.forEach(count, [&](int16_t* const areas[]) {
            state_.procSpec.convertMcuPlanar(corner.plane, steps, areas);
            advance(corner);
        });
    }

    /// The same of MCUs of which only validWidth x validHeight pixels lie inside the picture.
    void convertPartial(PlanePointers corner, int32_t validWidth, int32_t validHeight,
                        const McuBatch& batch, int32_t count) const {
        batch.forEach(count, [&](int16_t* const areas[]) {
            convertPartial(corner, validWidth, validHeight, areas);
            advance(corner);
        });
    }

private:
    void convertPartial(const PlanePointers& corner, int32_t validWidth, int32_t validHeight,
                        int16_t* const areas[]) const;

    /// From an MCU's corner to that of the next one.
    void advance(PlanePointers& corner) const {
        for (int32_t p = 0; p < 3; p++)
            corner.plane[p] += advance_[p];
    }

    const EncoderState_JPEG& state_;
    const bool singlePlane_;
    /// Of the planes' pointers from one MCU to the next, in bytes; 0 for an absent plane.
    int32_t advance_[3];
};

} // namespace vela
