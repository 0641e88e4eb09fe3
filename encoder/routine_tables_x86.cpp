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
    .batchBlocks = 0,
    .transformMcus = transformMcusSse41,
    .encodeMcus = encodeMcusSse41,
    .packAc = packAcSse41,
    .input = &kInputSse41,
};

constexpr RoutineTable kAvx2Routines = {
    .name = "avx2",
    .requiredFeatures = kCpuAvx2,
    .batchBlocks = kMaxBatchBlocks,
    .transformMcus = transformMcusAvx2,
    .encodeMcus = encodeMcusAvx2,
    .packAc = packAcAvx2,
    .input = &kInputAvx2,
};

constexpr RoutineTable kAvx512Routines = {
    .name = "avx512",
    .requiredFeatures = kCpuAvx2 | kCpuAvx512,
    .batchBlocks = kMaxBatchBlocks,
    .transformMcus = transformMcusAvx512,
    .encodeMcus = encodeMcusAvx512,
    .packAc = packAcAvx512,
    .input = &kInputAvx2,
};

constexpr RoutineTable kAvx512VbmiRoutines = {
    .name = "avx512vbmi",
    .requiredFeatures = kCpuAvx2 | kCpuAvx512 | kCpuAvx512Vbmi,
    .batchBlocks = kMaxBatchBlocks,
    .transformMcus = transformMcusAvx512,
    .encodeMcus = encodeMcusAvx512Vbmi,
    .packAc = packAcAvx512Vbmi,
    .input = &kInputAvx512Vbmi,
};

} // namespace vela
