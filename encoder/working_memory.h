// The encoder's memory: one working allocation, carved here, and in progressive mode one buffer per
// scan.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// Plane pointers and steps, and the sizes of all areas. In progressive mode allocates the scan
/// buffers first and returns their failure.
[[nodiscard]] Status velaInitBufSpec_JPEG(BufSpec* bufSpec, const Picture_JPEG* picture,
                                          const MCUSpec* mcuSpec, const ImageSpec* imageSpec,
                                          EncoderState_JPEG* state);

/// Allocates the scan buffers. On ENC_STATUS_NOMEM (allocate failed, or a size above 32 bits) those
/// that were allocated stay recorded in the state.
[[nodiscard]] Status velaInitScanBitstream_JPEG(const MCUSpec* mcuSpec, const ImageSpec* imageSpec,
                                                EncoderState_JPEG* state);

/// Allocates the working memory and lays it out. ENC_STATUS_NOMEM if allocate fails;
/// ENC_STATUS_NOTSUPPORTED for a component count other than 1 or 3.
[[nodiscard]] Status velaInitBufferPointer_JPEG(const MCUSpec* mcuSpec, const ImageSpec* imageSpec,
                                                BufSpec* bufSpec, EncoderState_JPEG* state);

/// Describes the blocks of an MCU. 1 if there are not 1, 3, 4 or 6 of them.
[[nodiscard]] Status velaInitBlockSpec_JPEG(BlockSpec* blockSpec, const MCUSpec* mcuSpec,
                                            const BufSpec* bufSpec, EncoderState_JPEG* state);

} // namespace vela
