// Room in the progressive scan buffers.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Bytes that are free in every scan buffer before an MCU, a block that was deferred, or the end of
/// the picture is packed. What one of these adds to one buffer, at the most:
///  - DC first: 6 differences of 3 bytes and a marker, 20 bytes.
///  - DC refinement: 6 bits after 31 pending ones, every byte stuffed, and a marker, 12 bytes.
///  - AC first: 2 blocks of 197 bytes, 394 bytes (of a 4:2:0 MCU's four, two are deferred).
///  - AC refinement: 2 blocks of 299 bytes, 598 bytes.
/// The blocks' bounds are derived, and asserted, in progressive/ac_packers/plain.
inline constexpr int32_t kScanBufferReserve = 768;

/// Grows, through the host's grow callback, each scan buffer with less free room than the reserve.
/// ENC_STATUS_NOMEM if grow fails (that buffer stays as it was, later ones are not looked at) or
/// the size would not fit 32 bits.
[[nodiscard]] Status velaCheckOverflow_JPEG(EncoderState_JPEG* state);

/// The same for two scan buffers, in the order of their numbers: where nothing has been added to others
/// since all were looked at.
[[nodiscard]] Status checkOverflowOf(EncoderState_JPEG* state, int32_t first, int32_t second);

} // namespace vela
