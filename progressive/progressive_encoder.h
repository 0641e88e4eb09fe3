// The progressive process (T.81 Annex G): one pass over the picture, then one scan after another.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Writes all scans, each with its DHT segments and SOS; the host's Encode_JPEG adds EOI.
[[nodiscard]] Status velaCompress_Progressive_JPEG(Bitstream_JPEG* out, EncoderState_JPEG* st);

} // namespace vela
