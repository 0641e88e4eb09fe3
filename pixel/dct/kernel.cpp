// The forward transform of each instruction set.
#include "state/kernels.h"

#if defined __ARM_NEON
#include "pixel/dct/neon.h"
#else
#include "pixel/dct/x86.h"
#endif

namespace vela::VELA_ISA {

void transformMcus(const BlockSpec& blocks, int32_t mcuCount) {
    transformAll(blocks, mcuCount);
}

} // namespace vela::VELA_ISA
