// The x86 kernels of pixel/, per instruction set. Each gives the bytes of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

TransformMcus transformMcusSse41, transformMcusAvx2, transformMcusAvx512;

extern const InputRoutines kInputSse41, kInputAvx2, kInputAvx512Vbmi;

} // namespace vela
