// The x86 kernels of progressive/, per instruction set. Each gives the records of the plain one.
#pragma once

#include "state/routines.h"

namespace vela {

PackAc packAcSse41, packAcAvx2, packAcAvx512, packAcAvx512Vbmi;

} // namespace vela
