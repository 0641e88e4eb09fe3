// The x86 kernels of tables/, per instruction set. Each gives the bytes of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

EncodeMcu encodeMcuSse41, encodeMcuAvx2, encodeMcuAvx512, encodeMcuAvx512Vbmi;

} // namespace vela
