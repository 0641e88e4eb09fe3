// Choice of the instruction set's kernels, and among them of the picture's input routines.
#pragma once

#include "state/encoder_state.h"
#include "state/status.h"

namespace vela {

/// The plain kernels: the reference that every other table equals byte for byte.
extern const RoutineTable kPlainRoutines;

/// The best table that this machine can run.
const RoutineTable& routinesOfThisMachine();

/// ENC_STATUS_NOTSUPPORTED for an unknown format or subsampling; ENC_STATUS_ERR for a planar or
/// semi-planar format with a subsampling other than its own.
[[nodiscard]] Status velaInitProcSpec_JPEG(ProcSpec* procSpec, const ImageSpec* imageSpec,
                                           const RoutineTable* routines);

} // namespace vela
