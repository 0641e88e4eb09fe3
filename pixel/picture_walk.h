// The walk over the picture: every MCU in raster order, brought within reach, converted,
// transformed and handed to a visitor.
#pragma once

#include "pixel/mcu_input.h"
#include "pixel/row_sources.h"
#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// One MCU row. The visitor's mcu() finds the quantized coefficients in the state's BlockSpec.
template <class RowSource, class Visitor>
[[nodiscard]] Status walkMcuRow(EncoderState_JPEG& state, RowSource& rows, Visitor& visitor,
                                int32_t mcuRow, int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t columns = mcu.mcusAcross + (mcu.widthRemainder > 0 ? 1 : 0);
    const McuAdvance advance = mcuAdvance(state);

    PlanePointers top;
    Status status = rows.bring(mcuRow, validHeight, top);
    if (status == ENC_STATUS_OK)
        status = visitor.beginRow();
    for (int32_t column = mcu.startColumn; status == ENC_STATUS_OK && column < columns; column++) {
        const int32_t validWidth = column < mcu.mcusAcross ? mcu.mcuWidth : mcu.widthRemainder;
        const PlanePointers corner = mcuCorner(top, advance, column);
        if (validWidth == mcu.mcuWidth && validHeight == mcu.mcuHeight)
            convertWholeMcu(state, corner);
        else
            convertPartialMcu(state, corner, validWidth, validHeight);
        state.routines->transformMcu(&state.blockSpec);
        status = visitor.mcu(validWidth, validHeight);
    }
    return status == ENC_STATUS_OK ? visitor.endRow(validHeight) : status;
}

/// The whole picture. A visitor has beginRow(), mcu(validWidth, validHeight) and
/// endRow(validHeight); the first failure ends the walk.
template <class RowSource, class Visitor>
[[nodiscard]] Status walkPicture(EncoderState_JPEG& state, RowSource rows, Visitor& visitor) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t mcuRows = mcu.mcuRows + (mcu.heightRemainder > 0 ? 1 : 0);

    Status status = rows.begin();
    for (int32_t row = mcu.startRow; status == ENC_STATUS_OK && row < mcuRows; row++) {
        const int32_t validHeight = row < mcu.mcuRows ? mcu.mcuHeight : mcu.heightRemainder;
        status = walkMcuRow(state, rows, visitor, row, validHeight);
    }
    return status;
}

} // namespace vela
