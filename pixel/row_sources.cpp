#include "pixel/row_sources.h"

#include <cstddef>
#include <limits>

#include "state/color_format.h"

namespace vela {
namespace {

constexpr uint32_t kSeekFromHere = 1;

bool fits32(int64_t value) {
    return value >= std::numeric_limits<int32_t>::min() &&
           value <= std::numeric_limits<int32_t>::max();
}

} // namespace

Status IntegratedRows::bring(int32_t mcuRow, int32_t, PlanePointers& top) {
    const int32_t bandRows[3] = {state_.mcuSpec.mcuHeight, 8, 8};
    top = {};
    for (int32_t p = 0; p < colorFormatOf(state_.imageSpec.colorFormat).planes; p++)
        top.plane[p] = state_.bufSpec.planeCursor[p] +
                       ptrdiff_t{mcuRow} * bandRows[p] * state_.bufSpec.planeStep[p];
    return ENC_STATUS_OK;
}

SourceLayout::SourceLayout(const ImageSpec& image, const MCUSpec& mcu, int32_t step0) {
    const ColorFormat format = colorFormatOf(image.colorFormat);
    const LumaFactors factors = lumaFactorsOf(image.subsampling);
    const int64_t lumaBytes = step0 < 0 ? -int64_t{step0} : step0;

    planes = format.planes;
    int64_t start = 0;
    for (int32_t p = 0; p < planes; p++) {
        const bool halfRows = p > 0 && format.layout == PlaneLayout::planar && factors.h == 2;
        rowBytes[p] = halfRows ? lumaBytes / 2 : lumaBytes;
        vertical[p] = p > 0 ? factors.v : 1;
        bandRows[p] = mcu.mcuHeight / vertical[p];
        planeStart[p] = start;
        start += bandBytes(p, image.height);
    }
}

bool SourceLayout::fitsSeek(const ImageSpec& image, const MCUSpec& mcu, bool bottomUp) const {
    const int32_t last = planes - 1;
    const int32_t largestBand = mcu.mcuRows > 0 ? mcu.mcuHeight : image.height;
    if (!fits32(bandBytes(0, largestBand)))
        return false;
    if (planes == 1)
        return !bottomUp || fits32(bandBytes(0, image.height));
    // Down from plane to plane and back up: the jumps get shorter from one MCU row to the next, and
    // the one back up, from the last plane, is the longest.
    return mcu.mcuRows == 0 ||
           fits32(bandStart(0, 1) - bandStart(last, 0) - bandBytes(last, mcu.mcuHeight));
}

SliceRows::SliceRows(const EncoderState_JPEG& state)
    : state_(state), layout_(state.imageSpec, state.mcuSpec, state.bufSpec.planeStep[0]),
      bottomUp_(state.bufSpec.planeStep[0] < 0) {
    for (int32_t p = 0; p < 3; p++)
        slot_[p] = const_cast<uint8_t*>(state.bufSpec.planeCursor[p]);
}

Status SliceRows::begin() {
    if (bottomUp_)
        seekBy(layout_.bandBytes(0, state_.imageSpec.height));
    return ENC_STATUS_OK;
}

Status SliceRows::bring(int32_t mcuRow, int32_t validHeight, PlanePointers& top) {
    top = {};
    return layout_.planes == 1 ? bringSinglePlane(validHeight, top)
                               : bringPlanes(mcuRow, validHeight, top);
}

void SliceRows::seekBy(int64_t offset) {
    state_.seek(state_.sourceHandle, static_cast<int32_t>(offset), kSeekFromHere);
}

/// Whether the source delivered as much as was asked.
bool SliceRows::read(int32_t plane, int64_t bytes) {
    const int32_t delivered =
        state_.read(&slot_[plane], 1, static_cast<uint32_t>(bytes), state_.sourceHandle);
    return delivered == bytes;
}

/// The slot keeps what the last read has left in it. A bottom-up source is read backwards: to the
/// band, through it, and back to where the next one ends.
Status SliceRows::bringSinglePlane(int32_t validHeight, PlanePointers& top) {
    const bool whole = validHeight == state_.mcuSpec.mcuHeight;
    const int64_t bytes = layout_.bandBytes(0, validHeight);
    if (bottomUp_)
        seekBy(-bytes);
    const bool delivered = read(0, bytes);
    if ((whole && !delivered) || slot_[0] == nullptr)
        return ENC_STATUS_ERR;

    const auto* const band = static_cast<const uint8_t*>(slot_[0]);
    top.plane[0] = band;
    if (bottomUp_) {
        top.plane[0] = band + static_cast<ptrdiff_t>(bytes - layout_.rowBytes[0]);
        if (whole)
            seekBy(-bytes);
    }
    return ENC_STATUS_OK;
}

/// From plane to plane; then, if another MCU row may follow, back to where its luminance begins.
Status SliceRows::bringPlanes(int32_t mcuRow, int32_t validHeight, PlanePointers& top) {
    const bool whole = validHeight == state_.mcuSpec.mcuHeight;
    for (int32_t p = 0; p < layout_.planes; p++) {
        const int64_t bytes = layout_.bandBytes(p, validHeight);
        slot_[p] = const_cast<uint8_t*>(state_.bufSpec.planeCursor[p]);
        if (!read(p, bytes) || slot_[p] == nullptr)
            return ENC_STATUS_ERR;
        top.plane[p] = static_cast<const uint8_t*>(slot_[p]);

        const int64_t here = layout_.bandStart(p, mcuRow) + bytes;
        if (p + 1 < layout_.planes)
            seekBy(layout_.bandStart(p + 1, mcuRow) - here);
        else if (whole)
            seekBy(layout_.bandStart(0, mcuRow + 1) - here);
    }
    return ENC_STATUS_OK;
}

} // namespace vela
