// The x86 kernels of tables/, per instruction set. Each gives the bytes of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

EncodeMcus encodeMcusSse41, encodeMcusAvx2, encodeMcusAvx512, encodeMcusAvx512Vbmi;

} // namespace vela
