#include "pixel/mcu_input.h"

#include "state/color_format.h"

namespace vela {

McuAdvance mcuAdvance(const EncoderState_JPEG& state) {
    const ColorFormat& format = *colorFormatOf(state.imageSpec.colorFormat);
    const int32_t mcuWidth = state.mcuSpec.mcuWidth;
    return {
        {mcuWidth * format.sampleBytes[0], 8 * format.sampleBytes[1], 8 * format.sampleBytes[2]}};
}

void convertPartialMcu(const EncoderState_JPEG& state, const PlanePointers& corner,
                       int32_t validWidth, int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    const ProcSpec& routines = state.procSpec;
    const BufSpec& buffers = state.bufSpec;
    if (routines.convertMcu == nullptr) {
        routines.convertMcuExpand(corner.plane, buffers.planeStep, validWidth, validHeight,
                                  buffers.compBlocks[0]);
        return;
    }
    uint8_t* const edge = buffers.edgeBuffer[0];
    routines.copyExpand(corner.plane[0], buffers.planeStep[0], validWidth, validHeight, edge,
                        mcu.mcuRowBytes, mcu.mcuWidth, mcu.mcuHeight);
    routines.convertMcu(edge, mcu.mcuRowBytes, buffers.compBlocks[0]);
}

} // namespace vela
