// The NEON kernels of pixel/, for ARMv7-A and AArch64. Each gives the bytes of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

TransformMcus transformMcusNeon;

extern const InputRoutines kInputNeon;

} // namespace vela
