// Quantization tables of the picture: scaled by its quality, written as DQT, turned into
// reciprocals.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Builds table 0 and, for more than one component, table 1 in the state, and writes a DQT segment
/// for each. custom holds two base tables (luminance, chrominance; natural order) to scale instead
/// of T.81 Tables K.1 and K.2, or is null.
[[nodiscard]] Status velaBuildEncodeQuantTables_JPEG(int32_t componentCount, const int16_t* custom,
                                                     Bitstream_JPEG* stream,
                                                     EncoderState_JPEG* state);

} // namespace vela
