// The kernels of NEON, on ARMv7-A and AArch64.
#include "encoder/routine_tables.h"

#include "pixel/neon_kernels.h"
#include "progressive/neon_kernels.h"
#include "tables/neon_kernels.h"

namespace vela {

constexpr RoutineTable kNeonRoutines = {
    .name = "neon",
    .requiredFeatures = 0, // a build that has these kernels is for processors with NEON
    .batchBlocks = 0,
    .transformMcus = transformMcusNeon,
    .encodeMcus = encodeMcusNeon,
    .packAc = packAcNeon,
    .input = &kInputNeon,
};

} // namespace vela
