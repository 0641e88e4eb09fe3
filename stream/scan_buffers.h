// Room in the progressive scan buffers.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Bytes that are free in every scan buffer when the symbols of an MCU are packed.
inline constexpr int32_t kScanBufferReserve = 768;

/// Grows, through the host's grow callback, each scan buffer with less free room than the reserve.
/// ENC_STATUS_NOMEM if grow fails (that buffer stays as it was, later ones are not looked at) or
/// the size would not fit 32 bits.
[[nodiscard]] Status velaCheckOverflow_JPEG(EncoderState_JPEG* state);

} // namespace vela
