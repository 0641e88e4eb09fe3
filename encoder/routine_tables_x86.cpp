// The kernels of each x86 instruction set.
#include "encoder/routine_tables.h"

#include "encoder/cpu_features.h"
#include "pixel/x86_kernels.h"
#include "progressive/x86_kernels.h"
#include "tables/x86_kernels.h"

namespace vela {

constexpr RoutineTable kSse41Routines = {
    .name = "sse4.1",
    .requiredFeatures = kCpuSse41,
    .transformMcu = transformMcuSse41,
    .encodeMcu = encodeMcuSse41,
    .packAc = packAcSse41,
    .input = &kInputSse41,
};

constexpr RoutineTable kAvx2Routines = {
    .name = "avx2",
    .requiredFeatures = kCpuAvx2,
    .transformMcu = transformMcuAvx2,
    .encodeMcu = encodeMcuAvx2,
    .packAc = packAcAvx2,
    .input = &kInputAvx2,
};

constexpr RoutineTable kAvx512Routines = {
    .name = "avx512",
    .requiredFeatures = kCpuAvx2 | kCpuAvx512,
    .transformMcu = transformMcuAvx512,
    .encodeMcu = encodeMcuAvx512,
    .packAc = packAcAvx512,
    .input = &kInputAvx2,
};

constexpr RoutineTable kAvx512VbmiRoutines = {
    .name = "avx512vbmi",
    .requiredFeatures = kCpuAvx2 | kCpuAvx512 | kCpuAvx512Vbmi,
    .transformMcu = transformMcuAvx512,
    .encodeMcu = encodeMcuAvx512Vbmi,
    .packAc = packAcAvx512,
    .input = &kInputAvx2,
};

} // namespace vela
