// The forward transform of one MCU.
#pragma once

#include "state/encoder_state.h"

namespace vela {

/// Transforms and quantizes the blocks of an MCU in place, each with its own reciprocals.
void velaTransformFwd_MCU_JPEG(BlockSpec* blocks);

} // namespace vela
