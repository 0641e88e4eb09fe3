// What one block's DC coefficient contributes to the DC scans (T.81 Annex G.1.2.1).
#pragma once

#include "state/encoder_state.h"

namespace vela {

/// The difference of the coefficient without its Al low bits, as a record of the packed symbol stream,
/// counted; and bit 0, in final form. The buffers have room. Returns 0.
int32_t velaCoeffPack_DC_JPEG(const int16_t* block, uint32_t* counts, Bitstream_JPEG* dcFirstBuf,
                              Bitstream_JPEG* dcRefineBuf, ScanCoderState* refineCoder,
                              int16_t* predictor, int32_t Al);

} // namespace vela
