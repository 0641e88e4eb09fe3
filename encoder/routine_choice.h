// Choice of the instruction set's kernels, and among them of the picture's input routines.
#pragma once

#include <span>

#include "state/encoder_state.h"
#include "state/routines.h"
#include "state/status.h"

namespace vela {

/// The routines that every processor can run. Each other table equals it byte for byte.
namespace plain {
extern const RoutineTable kRoutines;
}
inline constexpr const RoutineTable& kPlainRoutines = plain::kRoutines;

/// Every table of this build, best first; the last one is the plain one.
std::span<const RoutineTable* const> routineTables();

/// Whether this machine has the instructions that a table needs.
bool canRun(const RoutineTable& routines);

/// The best table that this machine can run.
const RoutineTable& routinesOfThisMachine();

/// ENC_STATUS_NOTSUPPORTED for an unknown format or subsampling; ENC_STATUS_ERR for a planar or
/// semi-planar format with a subsampling other than its own.
[[nodiscard]] Status velaInitProcSpec_JPEG(ProcSpec* procSpec, const ImageSpec* imageSpec,
                                           const RoutineTable* routines);

} // namespace vela
