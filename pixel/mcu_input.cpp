#include "pixel/mcu_input.h"

namespace vela {

McuInput::McuInput(const EncoderState_JPEG& state)
    : state_(state),
      singlePlane_(colorFormatOf(state.imageSpec.colorFormat)->layout == PlaneLayout::singlePlane) {
    const uint8_t* const sampleBytes = colorFormatOf(state.imageSpec.colorFormat)->sampleBytes;
    advance_[0] = state.mcuSpec.mcuWidth * sampleBytes[0];
    for (int32_t p = 1; p < 3; p++)
        advance_[p] = 8 * sampleBytes[p]; // a chroma block's width in every format
}

void McuInput::convertPartial(const PlanePointers& corner, int32_t validWidth, int32_t validHeight,
                              int16_t* const areas[]) const {
    const MCUSpec& mcu = state_.mcuSpec;
    const ProcSpec& routines = state_.procSpec;
    const BufSpec& buffers = state_.bufSpec;
    if (!singlePlane_) {
        routines.convertMcuExpand(corner.plane, buffers.planeStep, validWidth, validHeight, areas);
        return;
    }
    uint8_t* const edge = buffers.edgeBuffer[0];
    routines.copyExpand(corner.plane[0], buffers.planeStep[0], validWidth, validHeight, edge,
                        mcu.mcuRowBytes, mcu.mcuWidth, mcu.mcuHeight);
    routines.convertMcu(edge, mcu.mcuRowBytes, areas);
}

} // namespace vela
