// Set-up of one encoder, step by step.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// What EncoderInitAlloc_JPEG does, with the kernels of one instruction set.
[[nodiscard]] Status initEncoder(const EncoderParams_JPEG* params, const Picture_JPEG* picture,
                                 Bitstream_JPEG* stream, const CallbackTable_JPEG* callbacks,
                                 EncoderState_JPEG** outState, const RoutineTable& routines);

/// Quantization tables with their DQT segments; in baseline mode also the Huffman tables with their
/// DHT segments.
[[nodiscard]] Status velaBuildTables_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state);

} // namespace vela
