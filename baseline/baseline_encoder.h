// The baseline process (T.81 F.1): one interleaved scan over all components.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Writes SOS and the whole scan; the host's Encode_JPEG adds EOI.
[[nodiscard]] Status velaCompress_BaseLine_JPEG(Bitstream_JPEG* stream, EncoderState_JPEG* state);

/// Describes the scan and clears the DC predictors. Always SCAN_LAST: it is the only one.
[[nodiscard]] Status velaInitScanParam_BLS_JPEG(EncoderState_JPEG* state);

/// The scan's entropy-coded data, from a picture pulled through read and seek, or from one in
/// memory.
[[nodiscard]] Status velaEncodeScanData_BLS_SliceBUF_JPEG(Bitstream_JPEG* stream,
                                                          EncoderState_JPEG* state);
[[nodiscard]] Status velaEncodeScanData_BLS_IntegratedBUF_JPEG(Bitstream_JPEG* stream,
                                                               EncoderState_JPEG* state);

} // namespace vela
