// The NEON kernels of progressive/, for ARMv7-A and AArch64. Each gives the records of the plain
// one.
#pragma once

#include "state/routines.h"

namespace vela {

PackAc packAcNeon;

} // namespace vela
