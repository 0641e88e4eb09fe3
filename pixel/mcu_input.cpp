#include "pixel/mcu_input.h"

#include "state/color_format.h"

namespace vela {

McuAdvance mcuAdvance(const EncoderState_JPEG& state) {
    const int32_t mcuWidth = state.mcuSpec.mcuWidth;
    switch (colorFormatOf(state.imageSpec.colorFormat).layout) {
    case PlaneLayout::planar:
        return {{mcuWidth, 8, 8}};
    case PlaneLayout::semiPlanar:
        return {{mcuWidth, 16, 0}};
    default:
        return {{state.mcuSpec.mcuRowBytes, 0, 0}};
    }
}

void convertMcu(const EncoderState_JPEG& state, const PlanePointers& corner, int32_t validWidth,
                int32_t validHeight) {
    const MCUSpec& mcu = state.mcuSpec;
    const ProcSpec& routines = state.procSpec;
    const BufSpec& buffers = state.bufSpec;
    int16_t* const* const blocks = buffers.compBlocks[0];
    const bool whole = validWidth == mcu.mcuWidth && validHeight == mcu.mcuHeight;

    if (routines.convertMcu == nullptr) {
        if (whole)
            routines.convertMcuPlanar(corner.plane, buffers.planeStep, blocks);
        else
            routines.convertMcuExpand(corner.plane, buffers.planeStep, validWidth, validHeight,
                                      blocks);
    } else if (whole) {
        routines.convertMcu(corner.plane[0], buffers.planeStep[0], blocks);
    } else {
        uint8_t* const edge = buffers.edgeBuffer[0];
        routines.copyExpand(corner.plane[0], buffers.planeStep[0], validWidth, validHeight, edge,
                            mcu.mcuRowBytes, mcu.mcuWidth, mcu.mcuHeight);
        routines.convertMcu(edge, mcu.mcuRowBytes, blocks);
    }
}

} // namespace vela
