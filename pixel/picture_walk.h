// The walk over the picture: every MCU in raster order, brought within reach, converted,
// transformed and handed to a visitor.
#pragma once

#include <algorithm>

#include "pixel/mcu_batch.h"
#include "pixel/mcu_input.h"
#include "pixel/row_sources.h"
#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// One MCU row: as many MCUs at a time as are worth it and the visitor has room for.
template <class RowSource, class Visitor>
[[nodiscard]] Status walkMcuRow(EncoderState_JPEG& state, RowSource& rows, const McuInput& input,
                                McuBatch& batch, Visitor& visitor, int32_t mcuRow,
                                int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t columns = mcu.mcusAcross + (mcu.widthRemainder > 0 ? 1 : 0);

    PlanePointers top;
    Status status = rows.bring(mcuRow, validHeight, top);
    if (status == ENC_STATUS_OK)
        status = visitor.beginRow();
    int32_t column = mcu.startColumn;
    while (status == ENC_STATUS_OK && column < columns) {
        const bool wide = column < mcu.mcusAcross, whole = wide && validHeight == mcu.mcuHeight;
        int32_t count = wide ? std::min(batch.size(), mcu.mcusAcross - column) : 1;
        status = visitor.room(count);
        if (status != ENC_STATUS_OK)
            break;
        const int32_t validWidth = wide ? mcu.mcuWidth : mcu.widthRemainder;
        const PlanePointers corner = input.corner(top, column);
        if (whole)
            input.convertWhole(corner, batch, count);
        else
            input.convertPartial(corner, validWidth, validHeight, batch, count);
        const BlockSpec& blocks = batch.blocks(count);
        state.routines->transformMcus(blocks, count);
        status = visitor.take(blocks, count, validWidth, validHeight);
        column += count;
    }
    return status == ENC_STATUS_OK ? visitor.endRow() : status;
}

/// The whole picture. The first failure ends the walk. A visitor has
///
///     Status beginRow()
///     Status room(count)     makes room for the next MCU at least, and lowers count, which is how many
///                            are to come at once, to how many there is room for
///     Status take(blocks, count, validWidth, validHeight)
///                            count MCUs' quantized coefficients: the first one's blocks, with those of the
///                            others after them (blockOf); of each, validWidth x validHeight pixels lie
///                            inside the picture
///     Status endRow()
template <class RowSource, class Visitor>
[[nodiscard]] Status walkPicture(EncoderState_JPEG& state, RowSource rows, Visitor& visitor) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t mcuRows = mcu.mcuRows + (mcu.heightRemainder > 0 ? 1 : 0);
    const McuInput input(state);
    McuBatch batch(state);

    Status status = rows.begin();
    for (int32_t row = mcu.startRow; status == ENC_STATUS_OK && row < mcuRows; row++) {
        const int32_t validHeight = row < mcu.mcuRows ? mcu.mcuHeight : mcu.heightRemainder;
        status = walkMcuRow(state, rows, input, batch, visitor, row, validHeight);
    }
    return status;
}

} // namespace vela
