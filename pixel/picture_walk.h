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

/// Converts and transforms MCUs of an MCU row, whole ones, from the one at column on.
inline void bringBatch(const EncoderState_JPEG& state, const PlanePointers& top,
                       const McuAdvance& advance, int32_t column, int32_t count, McuBatch& batch) {
    for (int32_t m = 0; m < count; m++) {
        int16_t* areas[3];
        batch.areas(m, areas);
        convertWholeMcu(state, mcuCorner(top, advance, column + m), areas);
    }
    state.routines->transformMcus(batch.blocks(), count);
}

/// Converts and transforms one MCU, whole or partial, in the MCU block area.
inline void bringMcu(const EncoderState_JPEG& state, const PlanePointers& corner,
                     int32_t validWidth, int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    if (validWidth == mcu.mcuWidth && validHeight == mcu.mcuHeight)
        convertWholeMcu(state, corner, state.bufSpec.compBlocks[0]);
    else
        convertPartialMcu(state, corner, validWidth, validHeight);
    state.routines->transformMcus(state.blockSpec, 1);
}

/// One MCU row.
template <class RowSource, class Visitor>
[[nodiscard]] Status walkMcuRow(EncoderState_JPEG& state, RowSource& rows, Visitor& visitor,
                                McuBatch& batch, int32_t mcuRow, int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t columns = mcu.mcusAcross + (mcu.widthRemainder > 0 ? 1 : 0);
    const int32_t wholeColumns = validHeight == mcu.mcuHeight ? mcu.mcusAcross : 0;
    const McuAdvance advance = mcuAdvance(state);

    PlanePointers top;
    Status status = rows.bring(mcuRow, validHeight, top);
    if (status == ENC_STATUS_OK)
        status = visitor.beginRow();
    int32_t column = mcu.startColumn;
    while (status == ENC_STATUS_OK && column < columns) {
        const int32_t most = std::min(batch.size(), wholeColumns - column);
        if (const int32_t count = most > 1 ? visitor.mcusAtOnce(most) : most; count > 1) {
            bringBatch(state, top, advance, column, count, batch);
            status = visitor.mcus(batch.blocks(), count);
            column += count;
            continue;
        }
        const int32_t validWidth = column < mcu.mcusAcross ? mcu.mcuWidth : mcu.widthRemainder;
        bringMcu(state, mcuCorner(top, advance, column), validWidth, validHeight);
        status = visitor.mcu(validWidth, validHeight);
        column++;
    }
    return status == ENC_STATUS_OK ? visitor.endRow(validHeight) : status;
}

/// The whole picture. The first failure ends the walk. A visitor has
///
///     Status beginRow()
///     Status mcu(validWidth, validHeight)   one MCU, whose quantized coefficients are in the state's
///                                           BlockSpec
///     int32_t mcusAtOnce(most)              how many whole MCUs, of at most most, it takes at once
///     Status mcus(blocks, count)            so many, if they are more than one
///     Status endRow(validHeight)
template <class RowSource, class Visitor>
[[nodiscard]] Status walkPicture(EncoderState_JPEG& state, RowSource rows, Visitor& visitor) {
    const MCUSpec& mcu = state.mcuSpec;
    const int32_t mcuRows = mcu.mcuRows + (mcu.heightRemainder > 0 ? 1 : 0);
    McuBatch batch(state);

    Status status = rows.begin();
    for (int32_t row = mcu.startRow; status == ENC_STATUS_OK && row < mcuRows; row++) {
        const int32_t validHeight = row < mcu.mcuRows ? mcu.mcuHeight : mcu.heightRemainder;
        status = walkMcuRow(state, rows, visitor, batch, row, validHeight);
    }
    return status;
}

} // namespace vela
