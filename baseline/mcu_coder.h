// Entropy coding of baseline MCUs, and the restart step after them.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

// Room in the output, in bytes from cursor to the end. Before every MCU the scan makes the reserve, which
// holds nearly every MCU of real content; what there is decides how the MCU is coded. B is the most that
// an MCU's blocks take, kMaxBlockBytes = 417 each.
//
//     0            768                 2566                      768 + n B
//     |-------------|-------------------|-----------------------------|--------->
//     flush: make   one MCU, coded      one MCU, coded in place;      n MCUs, coded in place
//     the reserve   aside; put in if    2566 is B of six blocks       at once: each but the first
//                   it fits, else       and what a kernel stores      finds the reserve too, so no
//                   block by block,     past the end                  flush is due between them
//                   each making
//                   exactly the room
//                   that it needs
//
// So flush is called at the same places, with the same amounts, however many MCUs come at once.
inline constexpr int32_t kMcuReserve = 768;

/// Codes the blocks of an MCU into the output, counts down the restart interval and ends it where
/// it is complete. ENC_STATUS_OUTPUT_FULL where flush does not make the room that a block or a
/// marker needs.
[[nodiscard]] Status velaHuffmanEncode_BLS_JPEG(Bitstream_JPEG* stream, BlockSpec* blocks,
                                                EncoderState_JPEG* state);

/// The code tables as the kernels want them.
void prepareCodes(const EncoderState_JPEG& state, PreparedCodes& codes);

/// The same for so many MCUs, one after another; more than one only if mcusInPlace allows them. Not inlined,
/// as there would be two of it. codes: the state's, prepared.
[[nodiscard, gnu::noinline]] Status codeMcus(Bitstream_JPEG* stream, const BlockSpec& blocks,
                                             const PreparedCodes& codes, int32_t mcuCount,
                                             EncoderState_JPEG* state);

/// How many MCUs, at most most and at least 1, may be coded at once: in place, and within the restart
/// interval. The reserve is free.
int32_t mcusInPlace(const Bitstream_JPEG& stream, const EncoderState_JPEG& state, int32_t most);

/// Ends a restart interval: clears the DC predictors, writes the next RST marker (which completes
/// the last byte of data with 1-bits) and starts the countdown anew. Returns the marker's status.
[[nodiscard]] Status velaAdjustRestartIntervalFwd_JPEG(Bitstream_JPEG* stream,
                                                       EncoderState_JPEG* state);

} // namespace vela
