// Entropy coding of one baseline MCU, and the restart step behind it.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Room that the scan makes in the output before every MCU. It holds nearly every MCU of real
/// content; a block that needs more than is left makes its own room.
inline constexpr int32_t kMcuReserve = 768;

/// Codes the blocks of an MCU into the output, counts down the restart interval and ends it where
/// it is complete. ENC_STATUS_OUTPUT_FULL where flush does not make the room that a block or a
/// marker needs.
[[nodiscard]] Status velaHuffmanEncode_BLS_JPEG(Bitstream_JPEG* stream, BlockSpec* blocks,
                                                EncoderState_JPEG* state);

/// How many of an MCU row's next MCUs, given that there are at most most, may be coded at once: without
/// making room and within the restart interval.
int32_t mcusAtOnce(const Bitstream_JPEG& stream, const EncoderState_JPEG& state, int32_t most);

/// Codes so many MCUs behind each other, as velaHuffmanEncode_BLS_JPEG does one by one.
[[nodiscard]] Status encodeMcusAtOnce(Bitstream_JPEG* stream, const BlockSpec& blocks,
                                      int32_t mcuCount, EncoderState_JPEG* state);

/// Ends a restart interval: clears the DC predictors, writes the next RST marker (which completes
/// the last byte of data with 1-bits) and starts the countdown anew. Returns the marker's status.
[[nodiscard]] Status velaAdjustRestartIntervalFwd_JPEG(Bitstream_JPEG* stream,
                                                       EncoderState_JPEG* state);

} // namespace vela
