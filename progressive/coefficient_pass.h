// The one pass over the picture: every block is converted, transformed and packed into all scans.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

// By input family (planar, semi-planar, single plane) and buffer mode. ENC_STATUS_NOMEM if a scan
// buffer cannot grow, ENC_STATUS_ERR if the source delivers too little.
[[nodiscard]] Status velaInitEncodeCoeffYUV_JPEG(EncoderState_JPEG* st);
[[nodiscard]] Status velaInitEncodeCoeffYUV_IntegrateBuf_JPEG(EncoderState_JPEG* st);
[[nodiscard]] Status velaInitEncodeCoeffNV_JPEG(EncoderState_JPEG* st);
[[nodiscard]] Status velaInitEncodeCoeffNV_IntegrateBuf_JPEG(EncoderState_JPEG* st);
[[nodiscard]] Status velaInitEncodeCoeffRGB_JPEG(EncoderState_JPEG* st);
[[nodiscard]] Status velaInitEncodeCoeffRGB_IntegrateBuf_JPEG(EncoderState_JPEG* st);

} // namespace vela
