#include "pixel/row_sources.h"

#include <cstddef>

namespace vela {
namespace {

constexpr uint32_t kSeekFromHere = 1;

} // namespace

Status IntegratedRows::bring(int32_t mcuRow, int32_t, PlanePointers& top) {
    const BufSpec& picture = state_.bufSpec;
    const SourceLayout& layout = state_.sourceLayout;
    top = {};
    for (int32_t p = 0; p < layout.planes; p++)
        top.plane[p] =
            picture.planeCursor[p] + ptrdiff_t{mcuRow} * layout.bandRows[p] * picture.planeStep[p];
    return ENC_STATUS_OK;
}

SliceRows::SliceRows(const EncoderState_JPEG& state)
    : state_(state), layout_(state.sourceLayout), bottomUp_(state.bufSpec.planeStep[0] < 0) {
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
