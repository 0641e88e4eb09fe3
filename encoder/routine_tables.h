// The tables of kernels that a build may hold, one per instruction set. Each equals the plain one byte
// for byte.
#pragma once

#include "state/routines.h"

namespace vela {

extern const RoutineTable kPlainRoutines;
extern const RoutineTable kSse41Routines, kAvx2Routines, kAvx512Routines, kAvx512VbmiRoutines;
extern const RoutineTable kNeonRoutines;

} // namespace vela
