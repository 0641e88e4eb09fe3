// The NEON kernels of tables/, for ARMv7-A and AArch64. Each gives the bytes of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

EncodeMcus encodeMcusNeon;

} // namespace vela
