// The forward transform of MCUs, as every instruction set's version does it too.
#pragma once

#include "state/encoder_state.h"

namespace vela {

/// Transforms and quantizes the blocks one after another, each with its own reciprocals.
TransformMcus velaTransformFwd_MCU_JPEG;

} // namespace vela
