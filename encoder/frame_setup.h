// Set-up steps that derive the frame's geometry from the parameters and the picture.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// What is described before anything is allocated, and moves to the state after the checks.
struct PictureDescription {
    ImageSpec image;
    MCUSpec mcu;
    SourceLayout source;
};

/// Of a picture whose sizes T.81 can carry. ENC_STATUS_NOTSUPPORTED for an unknown format or subsampling.
[[nodiscard]] Status describePicture(PictureDescription* description,
                                     const EncoderParams_JPEG& params, const Picture_JPEG& picture);

/// Callbacks, handles and settings; the table pointers into the state. Always ENC_STATUS_OK.
[[nodiscard]] Status velaInitEncoderState_JPEG(EncoderState_JPEG* state,
                                               const EncoderParams_JPEG* params,
                                               const CallbackTable_JPEG* callbacks);

/// ENC_STATUS_NOTSUPPORTED for an unknown colorFormat.
[[nodiscard]] Status velaInitImageSpec_JPEG(ImageSpec* imageSpec, const EncoderParams_JPEG* params,
                                            const Picture_JPEG* picture);

/// Sampling factors and table selectors. ENC_STATUS_NOTSUPPORTED for an unknown format or
/// subsampling.
[[nodiscard]] Status velaInitCompSpec_JPEG(ComponentSpec* componentSpecs,
                                           const ImageSpec* imageSpec);

/// Fills entry index of componentSpecs.
void velaInitComponentSpec_JPEG(int32_t index, int32_t hFactor, int32_t vFactor,
                                int32_t quantSelector, int32_t dcSelector, int32_t acSelector,
                                ComponentSpec* componentSpecs);

/// ENC_STATUS_NOTSUPPORTED for an unknown format or subsampling.
[[nodiscard]] Status velaInitMCUSpec_JPEG(MCUSpec* mcuSpec, const ImageSpec* imageSpec);

/// Always ENC_STATUS_OK.
[[nodiscard]] Status velaInitCounter_JPEG(RestartCounter* restartCounter,
                                          const EncoderState_JPEG* state);

/// Always ENC_STATUS_OK.
[[nodiscard]] Status velaInitFrameSpec_JPEG(FrameSpec* frameSpec, const ImageSpec* imageSpec,
                                            const EncoderState_JPEG* state);

} // namespace vela
